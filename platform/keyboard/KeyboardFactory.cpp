// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/keyboard/KeyboardFactory.h"

#include "platform/keyboard/KeyboardEvents_xtest.h"
#include "platform/keyboard/NullKeyboardEvents.h"

namespace clipmule {

std::unique_ptr<KeyboardEvents>
makeKeyboardEvents(const std::shared_ptr<X11Connection> &connection) {
    if (!connection || !hasXTestSupport(*connection))
        return std::make_unique<NullKeyboardEvents>();
    return std::make_unique<XTestKeyboardEvents>(connection);
}

} // namespace clipmule
