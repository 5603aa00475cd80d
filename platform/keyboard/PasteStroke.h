// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include <QList>
#include <QSet>
#include <QString>

#include <functional>
#include <optional>
#include <utility>

namespace clipmule {

/// A key stroke written out, "Ctrl+Shift+V" or "Shift+Insert", as the keys to press in this order,
/// by X11's numbers of their symbols. Modifiers are Ctrl, Shift, Alt and Super, each at most once;
/// the last part is a letter, a digit or "Insert". In any case of letters, without blanks. "None"
/// is a stroke without keys. Nothing for any other text.
[[nodiscard]] std::optional<QList<quint32>> keysOfName(const QString &name);

/// The key stroke that pastes: the one that the active window takes for it, or Control with "v".
class PasteStroke final {
public:
    /// Which keys paste in the active window, by name; nothing where the usual ones do.
    using FindName = std::function<std::optional<QString>()>;

    /// Without the function the usual keys paste everywhere.
    explicit PasteStroke(FindName findName)
        : _findName(std::move(findName)) {}

    /// The keys for the window that is active now, in the order in which they go down; they go up
    /// in the opposite one. None where nothing is to be typed. A name that no stroke has is said
    /// once.
    [[nodiscard]] QList<quint32> keys();

private:
    FindName _findName;
    QSet<QString> _unknownNames; // said already
};

} // namespace clipmule
