// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/foundation/Result.h"

#include <QByteArray>
#include <QString>

namespace clipmule {

// Colours and fonts as preferences store them: old archives without keys.

/// A calibrated RGB colour as preferences store it: components of single precision, 0 to 1 for what
/// a screen shows, but not limited to that.
struct ArchivedColor {
    float red = 0;
    float green = 0;
    float blue = 0;
    float alpha = 1;
    friend bool operator==(const ArchivedColor &, const ArchivedColor &) = default;
};

namespace ColorArchive {

[[nodiscard]] QByteArray archivedData(const ArchivedColor &color);
/// Device RGB, white and CMYK colours are converted; of a named colour the stand-in that comes with
/// it is taken.
[[nodiscard]] Result<ArchivedColor> unarchivedColor(QByteArrayView archive);

} // namespace ColorArchive

/// A font as preferences store it.
struct ArchivedFont {
    /// The font's own (PostScript) name, for example "Menlo-Regular".
    QString name;
    /// The size in points.
    float size = 0;
    friend bool operator==(const ArchivedFont &, const ArchivedFont &) = default;
};

namespace FontArchive {

[[nodiscard]] QByteArray archivedData(const ArchivedFont &font);
/// A failure also for a font with a matrix of its own.
[[nodiscard]] Result<ArchivedFont> unarchivedFont(QByteArrayView archive);

} // namespace FontArchive

} // namespace clipmule
