// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include <QList>
#include <QString>

#include <functional>
#include <memory>
#include <optional>

namespace clipmule {

class WaylandConnection;

/// Key strokes of our own beside the user's, where the compositor lets programs make some. It has
/// every symbol of a keyboard whatever the user types with, and the modifiers that the user holds
/// do not mix in: either it is a keyboard with a layout and modifiers of its own, or the compositor
/// takes its keys for the user's, in the user's layout, and the user's modifiers are let go of, or
/// where it does not allow that it is told whether there are any.
///
/// It is there from the beginning, since programs learn of a seat's first keyboard only when they
/// have asked for it, and miss what is typed before.
class WaylandKeyboard {
public:
    /// Null when the compositor has no such thing for us, or no seat.
    [[nodiscard]] static std::unique_ptr<WaylandKeyboard>
    make(const std::shared_ptr<WaylandConnection> &connection);
    /// What has to be otherwise for make() to make one, in plain English without a full stop.
    [[nodiscard]] static QString obstacle(const WaylandConnection &connection);

    WaylandKeyboard() = default;
    virtual ~WaylandKeyboard() = default;
    WaylandKeyboard(const WaylandKeyboard &) = delete;
    WaylandKeyboard &operator=(const WaylandKeyboard &) = delete;

    /// "virtual-keyboard" or "fake-input".
    [[nodiscard]] virtual QString name() const = 0;

    /// Which group of the user's layout is in force, for who knows; nothing for unknown. Of no
    /// meaning where the keys are made in another layout.
    virtual void setGroup(std::optional<quint32> group) { Q_UNUSED(group) }

    /// Whether modifiers are active that would take part in a stroke; false where none would, or
    /// nobody tells.
    [[nodiscard]] virtual bool wouldModifiersMixIn() const { return false; }
    /// None would any more. From the run loop; may be empty.
    std::function<void()> onModifiersReleased;

    /// Presses the keys of these symbols (X11's numbers) in their order and releases them in the
    /// reverse. False, and nothing is pressed, when there is no key for one of them or the seat has
    /// gone.
    [[nodiscard]] virtual bool type(const QList<quint32> &symbols) = 0;
};

} // namespace clipmule
