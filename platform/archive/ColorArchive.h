// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include <QByteArray>

namespace clipmule {

/// A calibrated RGB colour as preferences store it: components of single precision, 0 to 1 for what
/// a screen shows, but not limited to that.
struct ArchivedColor {
    float red = 0;
    float green = 0;
    float blue = 0;
    float alpha = 1;
    friend bool operator==(const ArchivedColor &, const ArchivedColor &) = default;
};

/// Colours as old archives without keys.
namespace ColorArchive {

[[nodiscard]] QByteArray archivedData(const ArchivedColor &color);
/// Device RGB, white and CMYK colours are converted; of a named colour the stand-in that comes with
/// it is taken. Anything else raises a PlatformException named "InvalidArchive".
[[nodiscard]] ArchivedColor unarchivedColor(QByteArrayView archive);

} // namespace ColorArchive

} // namespace clipmule
