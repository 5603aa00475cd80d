// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/foundation/Result.h"

#include <QByteArray>
#include <QList>

#include <memory>
#include <optional>

struct xkb_keymap;

namespace clipmule {

/// A keyboard's layout in the form in which compositors hand it out, and the keys to press in it.
/// Symbols have X11's numbers, keys the kernel's. A layout may hold several that are switched
/// between, its groups, of which one is in force at a time.
class KeyLayout final {
public:
    /// Bytes, with the zero byte at the end if there is one. A layout of four groups has 100,000.
    static constexpr qsizetype longestText = 1'000'000;

    /// One movement of a key.
    struct Step {
        quint32 key;
        bool isDown;

        friend bool operator==(const Step &, const Step &) = default;
    };

    /// That of a keyboard with English letters and every usual key; fails where the system has no
    /// descriptions of keyboards.
    [[nodiscard]] static Result<KeyLayout> usual();
    /// As a compositor tells it: text in version 1 of the format, without or with a zero byte at
    /// its end. Fails for a text that is too long or describes no layout.
    [[nodiscard]] static Result<KeyLayout> parse(const QByteArray &text);

    /// The key that types the symbol without modifiers: in the group if it is known and has one,
    /// else in the first group that has. Of two such keys the one with the smaller number.
    [[nodiscard]] std::optional<quint32> keyOf(quint32 symbol,
                                               std::optional<quint32> group = {}) const;
    /// The keys that type the symbol in one group or another, each once: more than one where it
    /// depends on the group in force.
    [[nodiscard]] QList<quint32> keysOf(quint32 symbol) const;
    /// These keys, pressed in their order and released in the reverse, on a keyboard whose state is
    /// shared with the user's. Not every compositor tells which modifiers the user holds, so every
    /// key that may be one is released before; for a key that is not down this has no effect. What
    /// the user holds acts again when it is pressed again: pressed by us, it would stay down for
    /// ever if the user had released it meanwhile.
    [[nodiscard]] QList<Step> strokeAmongHeldKeys(const QList<quint32> &keys) const;

    /// For the library that the layout is made with; owned by this object.
    [[nodiscard]] xkb_keymap *keymap() const { return _keymap.get(); }

private:
    explicit KeyLayout(std::shared_ptr<xkb_keymap> keymap);

    std::shared_ptr<xkb_keymap> _keymap;
    // Keys that act while they are held: those of Shift and Control, and the others.
    QList<quint32> _harmless;
    QList<quint32> _menuOpening;
};

} // namespace clipmule
