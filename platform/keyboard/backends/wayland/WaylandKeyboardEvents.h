// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/keyboard/KeyboardEvents.h"
#include "platform/keyboard/PasteStroke.h"
#include "platform/wayland/WaylandKeyboard.h"

#include <memory>
#include <utility>

namespace clipmule {

class KdeLayouts;

/// Key strokes by what a Wayland compositor offers for them. They come after whatever was sent
/// on the same connection before: what is pasted is what was written to the clipboard last.
class WaylandKeyboardEvents final : public KeyboardEvents {
public:
    explicit WaylandKeyboardEvents(std::unique_ptr<WaylandKeyboard> keyboard,
                                   PasteStroke::FindName pasteKeys = {});
    ~WaylandKeyboardEvents() override;
    WaylandKeyboardEvents(const WaylandKeyboardEvents &) = delete;
    WaylandKeyboardEvents &operator=(const WaylandKeyboardEvents &) = delete;

    void paste() override;
    [[nodiscard]] QString description() const override { return _keyboard->name(); }

private:
    std::unique_ptr<WaylandKeyboard> _keyboard;
    std::unique_ptr<KdeLayouts> _layouts; // where KDE takes the keys in them
    PasteStroke _pasteStroke;
};

} // namespace clipmule
