// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/wayland/KeyLayout.h"
#include "platform/wayland/WaylandConnection.h"

#include <memory>
#include <optional>

struct wl_keyboard;

namespace clipmule {

/// The layout that the user types with, for whoever makes key strokes as numbers of keys that the
/// compositor interprets. It is told to everybody who asks for the seat's keyboard; which of its
/// groups is in force is told to whoever has the focus, so that it is known only if somebody else
/// says so.
class WaylandSeatLayout final : private WaylandObserver {
public:
    explicit WaylandSeatLayout(std::shared_ptr<WaylandConnection> connection);
    ~WaylandSeatLayout() override;
    WaylandSeatLayout(const WaylandSeatLayout &) = delete;
    WaylandSeatLayout &operator=(const WaylandSeatLayout &) = delete;

    /// KeyLayout::strokeAmongHeldKeys() of these symbols at this moment. A symbol that the layout
    /// has in no group has the key that an English keyboard has for it: there, programs look for
    /// what is pressed together with Control. So it is for all symbols while no layout is known.
    /// Nothing when there is no key for one of them.
    [[nodiscard]] std::optional<QList<KeyLayout::Step>> stroke(const QList<quint32> &symbols) const;

    /// The one key that types the symbol whichever group is in force, or that of an English
    /// keyboard as above; nothing where it depends on the group.
    [[nodiscard]] std::optional<quint32> keyOfEveryGroup(quint32 symbol) const;

    /// The group in force, for who knows; nothing for unknown.
    void setGroup(std::optional<quint32> group) { _group = group; }

private:
    struct Listener;

    void waylandGlobalsChanged() override;
    void leaveKeyboard();
    void read(quint32 format, int descriptor, quint32 size);

    std::shared_ptr<WaylandConnection> _connection;
    Result<KeyLayout> _usual;
    std::optional<KeyLayout> _layout; // nothing while the seat has told none that is one
    std::optional<quint32> _group;
    wl_keyboard *_keyboard = nullptr;
};

} // namespace clipmule
