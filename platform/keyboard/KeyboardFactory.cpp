// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/keyboard/KeyboardFactory.h"

#include "platform/keyboard/KeyboardEvents_xtest.h"
#include "platform/keyboard/NullKeyboardEvents.h"

namespace clipmule {

std::unique_ptr<KeyboardEvents>
makeKeyboardEvents(const std::shared_ptr<X11Connection> &connection,
                   std::function<std::optional<QString>()> pasteKeys) {
    if (!connection || !hasXTestSupport(*connection))
        return std::make_unique<NullKeyboardEvents>();
    return std::make_unique<XTestKeyboardEvents>(connection, std::move(pasteKeys));
}

} // namespace clipmule
