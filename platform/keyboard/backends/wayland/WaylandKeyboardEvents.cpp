// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/keyboard/backends/wayland/WaylandKeyboardEvents.h"

#include "platform/foundation/Log.h"

namespace clipmule {

void WaylandKeyboardEvents::paste() {
    const QList<quint32> keys = _pasteStroke.keys();
    if (!keys.isEmpty() && !_keyboard->type(keys))
        qCWarning(logKeyboard, "the compositor takes no key strokes from us at the moment");
}

} // namespace clipmule
