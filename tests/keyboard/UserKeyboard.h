// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/x11/X11Connection.h"
#include "platform/x11/Xkb.h"

#include <xcb/xtest.h>

/// What the user does at the keyboard.
namespace clipmule::kit {

/// Returns when all that was sent before has been done.
inline void roundTrip(X11Connection &connection) {
    (void)connection.reply(xcb_get_input_focus_reply, xcb_get_input_focus(connection.xcb()));
}

inline void lockGroup(X11Connection &connection, int group) {
    xcb_xkb_latch_lock_state(connection.xcb(), XCB_XKB_ID_USE_CORE_KBD, 0, 0, 1, quint8(group), 0,
                             0, 0);
    roundTrip(connection);
}

inline void fakeKey(X11Connection &connection, bool isDown, int key) {
    xcb_test_fake_input(connection.xcb(), isDown ? XCB_KEY_PRESS : XCB_KEY_RELEASE, quint8(key),
                        XCB_CURRENT_TIME, XCB_NONE, 0, 0, 0);
    roundTrip(connection);
}

} // namespace clipmule::kit
