// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/keyboard/backends/wayland/WaylandKeyboardEvents.h"

#include "platform/foundation/Log.h"
#include "platform/keyboard/backends/wayland/KdeLayouts.h"

#include <utility>

namespace clipmule {

WaylandKeyboardEvents::WaylandKeyboardEvents(std::unique_ptr<WaylandKeyboard> keyboard,
                                             PasteStroke::FindName pasteKeys)
    : _keyboard(std::move(keyboard))
    , _pasteStroke(std::move(pasteKeys)) {
    if (_keyboard->name() != u"fake-input")
        return;
    _layouts = std::make_unique<KdeLayouts>();
    _layouts->onChange = [this](std::optional<quint32> layout) { _keyboard->setGroup(layout); };
    _layouts->start();
}

WaylandKeyboardEvents::~WaylandKeyboardEvents() = default;

void WaylandKeyboardEvents::paste() {
    const QList<quint32> keys = _pasteStroke.keys();
    if (!keys.isEmpty() && !_keyboard->type(keys))
        qCWarning(logKeyboard, "the compositor takes no key strokes from us at the moment");
}

} // namespace clipmule
