// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/wayland/WaylandModifiers.h"

#include "platform/foundation/Callbacks.h"

#include <utility>

#include <keystate-client-protocol.h>

namespace clipmule {

namespace {

// The first that tells of modifiers.
constexpr quint32 leastVersion = 5;

} // namespace

struct WaylandModifiers::Listener {
    static void change(void *memory, org_kde_kwin_keystate *, quint32 key, quint32 state) {
        auto *const self = static_cast<WaylandModifiers *>(memory);
        if (key < ORG_KDE_KWIN_KEYSTATE_KEY_ALT || key > ORG_KDE_KWIN_KEYSTATE_KEY_ALTGR)
            return;
        const quint32 bit = 1U << key;
        // A state that we do not know must not keep us from typing for ever.
        const bool isActive = state == ORG_KDE_KWIN_KEYSTATE_STATE_PRESSED ||
                              state == ORG_KDE_KWIN_KEYSTATE_STATE_LATCHED ||
                              state == ORG_KDE_KWIN_KEYSTATE_STATE_LOCKED;
        self->setActive(isActive ? self->_active | bit : self->_active & ~bit);
    }

    static constexpr org_kde_kwin_keystate_listener states{change};
};

WaylandModifiers::WaylandModifiers(std::shared_ptr<WaylandConnection> connection)
    : _connection(std::move(connection)) {
    _connection->addObserver(this);
    waylandGlobalsChanged();
}

WaylandModifiers::~WaylandModifiers() {
    _connection->removeObserver(this);
    if (_states)
        org_kde_kwin_keystate_destroy(_states);
    _connection->flush();
}

void WaylandModifiers::waylandGlobalsChanged() {
    const bool isOffered = _connection->offers(org_kde_kwin_keystate_interface.name, leastVersion);
    if (isOffered && !_states) {
        _states = _connection->bind<org_kde_kwin_keystate>(org_kde_kwin_keystate_interface);
        org_kde_kwin_keystate_add_listener(_states, &Listener::states, this);
        // From then on it is told without being asked.
        org_kde_kwin_keystate_fetchStates(_states);
        _connection->flush();
    } else if (!isOffered && _states) {
        org_kde_kwin_keystate_destroy(std::exchange(_states, nullptr));
        _connection->flush();
        setActive(0);
    }
}

void WaylandModifiers::setActive(quint32 active) {
    const bool wasAnyActive = std::exchange(_active, active) != 0;
    if (wasAnyActive && !isAnyActive())
        callCopyOf(onRelease);
}

} // namespace clipmule
