// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include <QStringList>

#include <optional>

namespace clipmule {

/// Longer names are not compared: the time is that of both lengths multiplied.
inline constexpr qsizetype longestCompared = 255;

/// What somebody who typed a name that is not there probably meant: one that differs in letter
/// case, in the shape of quotation marks, dashes and blanks, or in few characters. Nothing when
/// none is near.
[[nodiscard]] std::optional<QString> nearestName(const QString &typed, const QStringList &names);

} // namespace clipmule
