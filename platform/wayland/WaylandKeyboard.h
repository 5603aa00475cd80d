// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include <QList>
#include <QString>

#include <memory>

namespace clipmule {

class WaylandConnection;

/// A keyboard of our own beside the user's, where the compositor lets programs have one. It brings
/// its own layout, so that every symbol of a keyboard is there whatever the user types with, and it
/// has its own modifiers: those that the user holds do not mix in.
///
/// It is there from the beginning, since programs learn of a seat's first keyboard only when they
/// have asked for it, and miss what is typed before.
class WaylandKeyboard {
public:
    /// Null when the compositor has no such thing for us, or no seat.
    [[nodiscard]] static std::unique_ptr<WaylandKeyboard>
    make(const std::shared_ptr<WaylandConnection> &connection);

    WaylandKeyboard() = default;
    virtual ~WaylandKeyboard() = default;
    WaylandKeyboard(const WaylandKeyboard &) = delete;
    WaylandKeyboard &operator=(const WaylandKeyboard &) = delete;

    /// "virtual-keyboard".
    [[nodiscard]] virtual QString name() const = 0;

    /// Presses the keys of these symbols (X11's numbers) in their order and releases them in the
    /// reverse. False, and nothing is pressed, when there is no key for one of them or the seat has
    /// gone.
    [[nodiscard]] virtual bool type(const QList<quint32> &symbols) = 0;
};

} // namespace clipmule
