// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include <QList>
#include <QString>

namespace clipmule {

/// A text as a square that a phone's camera reads.
namespace QrPicture {

/// Empty modules around it, without which cameras do not find it.
inline constexpr qsizetype quietZone = 4;

/// Rows of modules, true for dark ones, without the zone around. Empty when the text is too long,
/// above some 2,000 characters.
[[nodiscard]] QList<QList<bool>> modules(const QString &text);

/// Lines of half blocks for a terminal, whose colours they set: dark on white whatever theme it
/// has. Empty when the text is too long.
[[nodiscard]] QString forTerminal(const QString &text);

} // namespace QrPicture

} // namespace clipmule
