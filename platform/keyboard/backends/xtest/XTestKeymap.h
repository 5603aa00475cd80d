// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/x11/X11Connection.h"

#include <QList>

#include <optional>

namespace clipmule {

/// What the display server's keyboards are like at this moment. Every function costs a few round
/// trips to the server.
///
/// Synthesised keys are those of a keyboard of its own, with a layout of its own: its map counts,
/// not that of the keyboard which the user types on.
class XTestKeymap {
public:
    /// Reads the devices and the map.
    explicit XTestKeymap(X11Connection &connection);

    /// The key that types this symbol without modifiers: in the layout in force if there is one,
    /// else in another of those switched between, where the toolkits find it too.
    [[nodiscard]] std::optional<xcb_keycode_t> keyFor(xcb_keysym_t symbol) const;
    /// The highest key that types nothing at all.
    [[nodiscard]] std::optional<xcb_keycode_t> unusedKey() const;

    struct HeldModifier {
        xcb_keycode_t key;
        /// The row of the modifier map: 0 Shift, 2 Control, 3 to 7 the others. Never 1, the lock.
        int row;
        /// False for a key that only the synthetic keyboard still takes for pressed: it was pressed
        /// on the user's behalf, and the user has let go of it on the real keyboard. It has no
        /// effect, but cannot be pressed again before it is released.
        bool isEffective;
    };
    /// The modifier keys that are down, however they came to be.
    [[nodiscard]] QList<HeldModifier> heldModifiers() const;
    /// The keys that the user's fingers are on, on any keyboard that is not synthetic.
    [[nodiscard]] QList<xcb_keycode_t> physicallyHeld() const;

private:
    void findKeyboards();
    void readMap();
    void readGroup();
    [[nodiscard]] QList<xcb_keycode_t> heldOn(quint16 device) const;

    X11Connection &_connection;
    quint16 _synthetic = 0;
    QList<quint16> _physical;
    int _group = 0;
    struct Key {
        xcb_keycode_t code;
        // The symbol without modifiers in each group; empty for a key that types nothing.
        QList<xcb_keysym_t> symbols;
    };
    QList<Key> _keys;
};

} // namespace clipmule
