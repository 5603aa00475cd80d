// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include <QByteArray>
#include <QString>

namespace clipmule {

/// A font as preferences store it.
struct ArchivedFont {
    /// The font's own (PostScript) name, for example "Menlo-Regular".
    QString name;
    /// The size in points.
    float size = 0;
    friend bool operator==(const ArchivedFont &, const ArchivedFont &) = default;
};

/// Fonts as old archives without keys.
namespace FontArchive {

[[nodiscard]] QByteArray archivedData(const ArchivedFont &font);
/// A font with a matrix of its own, and anything else that is no plain font, raises a
/// PlatformException named "InvalidArchive".
[[nodiscard]] ArchivedFont unarchivedFont(QByteArrayView archive);

} // namespace FontArchive

} // namespace clipmule
