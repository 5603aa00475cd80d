// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/foundation/RunLoop.h"
#include "platform/keyboard/KeyboardEvents.h"
#include "platform/keyboard/PasteStroke.h"
#include "platform/keyboard/backends/xtest/XTestKeymap.h"
#include "platform/x11/X11Connection.h"

#include <deque>
#include <memory>
#include <optional>

namespace clipmule {

/// Key strokes through the XTEST extension.
///
/// A stroke is made in one go, other clients held off meanwhile. The user's own devices cannot be
/// held off; the few milliseconds are short. Modifiers that the user holds are released for the
/// stroke, and pressed again afterwards if they are still held. Caps Lock and Num Lock stay.
///
/// The stroke that pastes is made with the keys that the active window takes for it; with Control
/// and the key that types "v" where nothing else is known of it.
///
/// A layout that cannot type the character lends an unused key for it for a moment; the stroke is
/// then made after borrowDelay. Strokes keep their order.
class XTestKeyboardEvents final : public KeyboardEvents {
public:
    /// How long the programs get to learn of a borrowed key before it is pressed.
    static constexpr RunLoop::Seconds borrowDelay{0.1};
    /// How long it stays afterwards: a program looks up what it means when it handles the press.
    static constexpr RunLoop::Seconds borrowTime{0.3};

    /// Which windows get the strokes: all that there are, or, beside a compositor, those of X11
    /// programs.
    enum class Reach { AllWindows, X11Windows };

    /// Without `pasteKeys`, the usual keys paste everywhere.
    explicit XTestKeyboardEvents(std::shared_ptr<X11Connection> connection,
                                 PasteStroke::FindName pasteKeys = {},
                                 Reach reach = Reach::AllWindows);
    ~XTestKeyboardEvents() override;

    void paste() override;
    [[nodiscard]] QString description() const override;
    [[nodiscard]] QString obstacle() const override;

private:
    // The keys, by their symbols, in the order in which they go down; they go up in the opposite
    // one.
    using Stroke = QList<xcb_keysym_t>;

    void performPending();
    void perform(const Stroke &stroke, const XTestKeymap &keymap);
    [[nodiscard]] std::optional<xcb_keycode_t> keyFor(xcb_keysym_t symbol,
                                                      const XTestKeymap &keymap) const;
    bool borrow(xcb_keysym_t symbol, const XTestKeymap &keymap);
    void giveBack();
    void fake(bool isDown, xcb_keycode_t key);

    struct Borrowed {
        xcb_keycode_t key;
        xcb_keysym_t symbol;
        bool isKnown = false; // to the programs
    };
    std::shared_ptr<X11Connection> _connection;
    PasteStroke _pasteStroke;
    const Reach _reach;
    std::deque<Stroke> _pending;
    std::optional<Borrowed> _borrowed;
    RunLoop::Timer _timer;
};

/// Whether the display takes synthesised keys and tells of its keyboards.
[[nodiscard]] bool hasXTestSupport(X11Connection &connection);

} // namespace clipmule
