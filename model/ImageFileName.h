// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include <QDateTime>
#include <QString>

#include <optional>

namespace clipmule {

/// Names of the files that a pasted image clip is written to.
namespace ImageFileName {

/// The clip's title or, when it has none or a blank one, the program's name and the time, "Clipmule
/// 2026-01-31 15.04.05 PM"; then a blank and the counter, where there is one; then a dot and the
/// extension.
///
/// The title comes from another machine. What cannot stand in a file name is replaced, and the
/// title is cut between two characters so that the whole takes at most 255 bytes of UTF-8.
[[nodiscard]] QString make(const std::optional<QString> &title, const QDateTime &localTime,
                           std::optional<qsizetype> counter, const QString &extension);

} // namespace ImageFileName

} // namespace clipmule
