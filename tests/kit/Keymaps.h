// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include <QByteArray>

#include <cstdlib>

#include <xkbcommon/xkbcommon.h>

namespace clipmule::kit {

/// The text of a keyboard's layout, as compositors hand it out; empty when there is no such layout.
[[nodiscard]] inline QByteArray keymapText(const QByteArray &layouts,
                                           const QByteArray &variants = {},
                                           const QByteArray &options = {}) {
    xkb_context *const context = xkb_context_new(XKB_CONTEXT_NO_ENVIRONMENT_NAMES);
    const xkb_rule_names names{.rules = "evdev",
                               .model = "pc105",
                               .layout = layouts.constData(),
                               .variant = variants.constData(),
                               .options = options.constData()};
    xkb_keymap *const keymap =
        xkb_keymap_new_from_names(context, &names, XKB_KEYMAP_COMPILE_NO_FLAGS);
    QByteArray text;
    if (keymap) {
        char *const made = xkb_keymap_get_as_string(keymap, XKB_KEYMAP_FORMAT_TEXT_V1);
        text = made;
        std::free(made);
    }
    xkb_keymap_unref(keymap);
    xkb_context_unref(context);
    return text;
}

} // namespace clipmule::kit
