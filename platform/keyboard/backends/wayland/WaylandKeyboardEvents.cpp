// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/keyboard/backends/wayland/WaylandKeyboardEvents.h"

#include "platform/foundation/Log.h"
#include "platform/keyboard/backends/wayland/KdeLayouts.h"
#include "platform/wayland/WaylandConnection.h"

#include <utility>

namespace clipmule {

WaylandKeyboardEvents::WaylandKeyboardEvents(std::unique_ptr<WaylandKeyboard> keyboard,
                                             PasteStroke::FindName pasteKeys,
                                             std::shared_ptr<WaylandConnection> connection)
    : _keyboard(std::move(keyboard))
    , _connection(std::move(connection))
    , _pasteStroke(std::move(pasteKeys)) {
    _keyboard->onModifiersReleased = [this] { endWait(); };
    if (_keyboard->name() != u"fake-input")
        return;
    _layouts = std::make_unique<KdeLayouts>();
    _layouts->onChange = [this](std::optional<quint32> layout) { _keyboard->setGroup(layout); };
    _layouts->start();
}

WaylandKeyboardEvents::~WaylandKeyboardEvents() = default;

void WaylandKeyboardEvents::paste() {
    if (_keyboard->wouldModifiersMixIn())
        wait();
    else
        type();
}

void WaylandKeyboardEvents::wait() {
    _wait = {clipboardChanges(), RunLoop::current().performAfter(patience, [this] {
                 _wait.reset();
                 qCInfo(logKeyboard, "not pasted: modifier keys are held");
             })};
}

// The window in front may be another by now, which takes other keys.
void WaylandKeyboardEvents::endWait() {
    if (!_wait)
        return;
    const bool isOutdated = _wait->clipboardChanges != clipboardChanges();
    _wait.reset();
    if (isOutdated)
        qCInfo(logKeyboard, "not pasted: while modifier keys were held the clipboard has changed");
    else
        type();
}

quint64 WaylandKeyboardEvents::clipboardChanges() const {
    return _connection ? _connection->clipboardChanges() : 0;
}

void WaylandKeyboardEvents::type() {
    const QList<quint32> keys = _pasteStroke.keys();
    if (!keys.isEmpty() && !_keyboard->type(keys))
        qCWarning(logKeyboard, "the compositor takes no key strokes from us at the moment");
}

} // namespace clipmule
