// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include <QList>
#include <QString>

#include <optional>

namespace clipmule {

/// A key stroke written out, "Ctrl+Shift+V" or "Shift+Insert", as the keys to press in this order,
/// by X11's numbers of their symbols. Modifiers are Ctrl, Shift, Alt and Super, each at most once;
/// the last part is a letter, a digit or "Insert". In any case of letters, without blanks. "None"
/// is a stroke without keys. Nothing for any other text.
[[nodiscard]] std::optional<QList<quint32>> keysOfName(const QString &name);

} // namespace clipmule
