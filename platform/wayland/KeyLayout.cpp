// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/wayland/KeyLayout.h"

#include <algorithm>
#include <utility>

#include <linux/input-event-codes.h>
#include <xkbcommon/xkbcommon.h>

namespace clipmule {

namespace {

// What the two systems of numbers for keys differ by.
constexpr xkb_keycode_t evdevOffset = 8;

std::shared_ptr<xkb_context> makeContext() {
    std::shared_ptr<xkb_context> context(xkb_context_new(XKB_CONTEXT_NO_ENVIRONMENT_NAMES),
                                         xkb_context_unref);
    // What is wrong with a layout is said by us.
    if (context)
        xkb_context_set_log_level(context.get(), XKB_LOG_LEVEL_CRITICAL);
    return context;
}

// The keys that the kernel has numbers for: a layout may claim millions more.
template <typename Visit>
void forEachKey(xkb_keymap *keymap, const Visit &visit) {
    const xkb_keycode_t last = std::min(xkb_keymap_max_keycode(keymap), KEY_MAX + evdevOffset);
    for (xkb_keycode_t key = std::max(xkb_keymap_min_keycode(keymap), evdevOffset); key <= last;
         ++key)
        visit(key);
}

std::optional<quint32> keyInGroup(xkb_keymap *keymap, quint32 symbol, quint32 group) {
    std::optional<quint32> found;
    forEachKey(keymap, [&](xkb_keycode_t key) {
        const xkb_layout_index_t groups = xkb_keymap_num_layouts_for_key(keymap, key);
        if (found || groups == 0)
            return;
        const xkb_keysym_t *symbols = nullptr;
        // A key with fewer groups begins with them again.
        const int count =
            xkb_keymap_key_get_syms_by_level(keymap, key, group % groups, 0, &symbols);
        if (count == 1 && symbols[0] == symbol)
            found = key - evdevOffset;
    });
    return found;
}

} // namespace

KeyLayout::KeyLayout(std::shared_ptr<xkb_keymap> keymap)
    : _keymap(std::move(keymap)) {
    const xkb_mod_mask_t harmless =
        1U << xkb_keymap_mod_get_index(_keymap.get(), XKB_MOD_NAME_SHIFT) |
        1U << xkb_keymap_mod_get_index(_keymap.get(), XKB_MOD_NAME_CTRL);
    forEachKey(_keymap.get(), [&](xkb_keycode_t key) {
        xkb_mod_mask_t held = 0;
        for (quint32 group = 0; group < xkb_keymap_num_layouts_for_key(_keymap.get(), key);
             ++group) {
            const std::unique_ptr<xkb_state, void (*)(xkb_state *)> state(
                xkb_state_new(_keymap.get()), xkb_state_unref);
            xkb_state_update_mask(state.get(), 0, 0, 0, 0, 0, group);
            xkb_state_update_key(state.get(), key, XKB_KEY_DOWN);
            // What it locks stays when it is let go of.
            held |= xkb_state_serialize_mods(state.get(), XKB_STATE_MODS_DEPRESSED) &
                    ~xkb_state_serialize_mods(state.get(), XKB_STATE_MODS_LOCKED);
        }
        if (held != 0)
            ((held & ~harmless) == 0 ? _harmless : _menuOpening).append(key - evdevOffset);
    });
}

Result<KeyLayout> KeyLayout::usual() {
    const std::shared_ptr<xkb_context> context = makeContext();
    const xkb_rule_names names{.rules = "evdev", .model = "pc105", .layout = "us"};
    xkb_keymap *const keymap =
        context ? xkb_keymap_new_from_names(context.get(), &names, XKB_KEYMAP_COMPILE_NO_FLAGS)
                : nullptr;
    if (!keymap)
        return failure(QStringLiteral("the system has no descriptions of keyboards"));
    return KeyLayout(std::shared_ptr<xkb_keymap>(keymap, xkb_keymap_unref));
}

Result<KeyLayout> KeyLayout::parse(const QByteArray &text) {
    if (text.size() > longestText)
        return failure(QStringLiteral("it has more than %1 bytes").arg(longestText));
    const std::shared_ptr<xkb_context> context = makeContext();
    xkb_keymap *const keymap =
        context ? xkb_keymap_new_from_buffer(context.get(), text.constData(),
                                             qstrnlen(text.constData(), size_t(text.size())),
                                             XKB_KEYMAP_FORMAT_TEXT_V1, XKB_KEYMAP_COMPILE_NO_FLAGS)
                : nullptr;
    if (!keymap)
        return failure(QStringLiteral("it describes no keyboard"));
    return KeyLayout(std::shared_ptr<xkb_keymap>(keymap, xkb_keymap_unref));
}

std::optional<quint32> KeyLayout::keyOf(quint32 symbol, std::optional<quint32> group) const {
    std::optional<quint32> key;
    if (group)
        key = keyInGroup(_keymap.get(), symbol, *group);
    for (quint32 each = 0; !key && each < xkb_keymap_num_layouts(_keymap.get()); ++each)
        key = keyInGroup(_keymap.get(), symbol, each);
    return key;
}

QList<quint32> KeyLayout::keysOf(quint32 symbol) const {
    QList<quint32> keys;
    for (quint32 group = 0; group < xkb_keymap_num_layouts(_keymap.get()); ++group) {
        const std::optional<quint32> key = keyInGroup(_keymap.get(), symbol, group);
        if (key && !keys.contains(*key))
            keys.append(*key);
    }
    return keys;
}

QList<KeyLayout::Step> KeyLayout::strokeAmongHeldKeys(const QList<quint32> &keys) const {
    QList<Step> steps;
    if (keys.isEmpty())
        return steps;
    for (const quint32 key : _harmless)
        steps.append({key, false});
    for (const quint32 key : keys) {
        steps.append({key, true});
        // Alt or Super that goes down and up alone opens a menu: not while another key is down.
        if (key == keys.first()) {
            for (const quint32 held : _menuOpening) {
                if (held != key)
                    steps.append({held, false});
            }
        }
    }
    for (auto key = keys.crbegin(); key != keys.crend(); ++key)
        steps.append({*key, false});
    return steps;
}

} // namespace clipmule
