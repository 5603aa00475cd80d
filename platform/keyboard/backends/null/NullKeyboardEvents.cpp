// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/keyboard/backends/null/NullKeyboardEvents.h"
#include "platform/foundation/Log.h"

namespace clipmule {

void NullKeyboardEvents::postKeyboardEvent(quint16, quint16, bool) {
    if (_said)
        return;
    _said = true;
    qCWarning(logKeyboard, "no key strokes can be made in this session: what arrives stays on the "
                           "clipboard and is not pasted");
}

} // namespace clipmule
