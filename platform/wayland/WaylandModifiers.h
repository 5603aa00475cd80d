// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/wayland/WaylandConnection.h"

#include <functional>
#include <memory>

struct org_kde_kwin_keystate;

namespace clipmule {

/// Whether modifiers are active on the keyboard that the user and we share, as newer versions of
/// KDE's compositor tell.
class WaylandModifiers final : private WaylandObserver {
public:
    explicit WaylandModifiers(std::shared_ptr<WaylandConnection> connection);
    ~WaylandModifiers() override;
    WaylandModifiers(const WaylandModifiers &) = delete;
    WaylandModifiers &operator=(const WaylandModifiers &) = delete;

    /// Whether Shift, Control, Alt, Super or AltGr is held down, or was locked or latched. False
    /// while nobody tells. The locks that a keyboard has lamps for are none of them.
    [[nodiscard]] bool isAnyActive() const { return _active != 0; }

    /// None is active any more. From the run loop; may be empty.
    std::function<void()> onRelease;

private:
    struct Listener;

    void waylandGlobalsChanged() override;
    void setActive(quint32 active);

    std::shared_ptr<WaylandConnection> _connection;
    org_kde_kwin_keystate *_states = nullptr; // while it is offered
    quint32 _active = 0;                      // a bit for each, by the protocol's number
};

} // namespace clipmule
