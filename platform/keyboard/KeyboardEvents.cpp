// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/keyboard/KeyboardEvents.h"

#include "platform/keyboard/backends/null/NullKeyboardEvents.h"
#include "platform/keyboard/backends/xtest/XTestKeyboardEvents.h"
#include "platform/session/Session.h"

namespace clipmule {

std::unique_ptr<KeyboardEvents>
makeKeyboardEvents(const Session &session, std::function<std::optional<QString>()> pasteKeys) {
    if (!session.x11 || !hasXTestSupport(*session.x11))
        return std::make_unique<NullKeyboardEvents>();
    return std::make_unique<XTestKeyboardEvents>(session.x11, std::move(pasteKeys));
}

} // namespace clipmule
