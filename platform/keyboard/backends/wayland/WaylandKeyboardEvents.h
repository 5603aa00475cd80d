// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/foundation/RunLoop.h"
#include "platform/keyboard/KeyboardEvents.h"
#include "platform/keyboard/PasteStroke.h"
#include "platform/wayland/WaylandKeyboard.h"

#include <memory>
#include <optional>
#include <utility>

namespace clipmule {

class KdeLayouts;
class WaylandConnection;

/// Key strokes by what a Wayland compositor offers for them. They come after whatever was sent
/// on the same connection before: what is pasted is what was written to the clipboard last.
///
/// Where modifiers would mix in, a paste waits for the user to let go of them. One at a time waits:
/// the next one is of something else that is on the clipboard then.
class WaylandKeyboardEvents final : public KeyboardEvents {
public:
    /// How long a paste waits. Who types a capital or switches windows is done by then, who is not
    /// does something else, in which a paste would be a surprise.
    static constexpr RunLoop::Seconds patience{1.5};

    /// The connection is the clipboard's; null where nobody tells of its changes.
    WaylandKeyboardEvents(std::unique_ptr<WaylandKeyboard> keyboard,
                          PasteStroke::FindName pasteKeys,
                          std::shared_ptr<WaylandConnection> connection);
    ~WaylandKeyboardEvents() override;
    WaylandKeyboardEvents(const WaylandKeyboardEvents &) = delete;
    WaylandKeyboardEvents &operator=(const WaylandKeyboardEvents &) = delete;

    void paste() override;
    [[nodiscard]] QString description() const override { return _keyboard->name(); }

private:
    struct Wait {
        quint64 clipboardChanges; // at its beginning
        RunLoop::Timer end;
    };

    [[nodiscard]] quint64 clipboardChanges() const;
    void type();
    void wait();
    void endWait();

    std::unique_ptr<WaylandKeyboard> _keyboard;
    std::shared_ptr<WaylandConnection> _connection;
    std::unique_ptr<KdeLayouts> _layouts; // where KDE takes the keys in them
    PasteStroke _pasteStroke;
    std::optional<Wait> _wait;
};

} // namespace clipmule
