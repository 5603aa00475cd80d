// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/keyboard/KeyboardEvents.h"
#include "platform/keyboard/PasteStroke.h"
#include "platform/wayland/WaylandKeyboard.h"

#include <memory>
#include <utility>

namespace clipmule {

/// Key strokes by what a Wayland compositor offers for them. They come after whatever was sent
/// on the same connection before: what is pasted is what was written to the clipboard last.
class WaylandKeyboardEvents final : public KeyboardEvents {
public:
    explicit WaylandKeyboardEvents(std::unique_ptr<WaylandKeyboard> keyboard,
                                   PasteStroke::FindName pasteKeys = {})
        : _keyboard(std::move(keyboard))
        , _pasteStroke(std::move(pasteKeys)) {}

    void paste() override;
    [[nodiscard]] QString description() const override { return _keyboard->name(); }

private:
    std::unique_ptr<WaylandKeyboard> _keyboard;
    PasteStroke _pasteStroke;
};

} // namespace clipmule
