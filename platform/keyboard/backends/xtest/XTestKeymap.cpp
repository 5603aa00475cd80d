// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/keyboard/backends/xtest/XTestKeymap.h"

#include "platform/x11/Xkb.h"

#include <algorithm>
#include <map>

#include <xcb/xinput.h>

namespace clipmule {

namespace {

constexpr int lockRow = 1;

bool isDown(const quint8 *keys, int key) {
    return (keys[key / 8] >> (key % 8)) & 1;
}

} // namespace

XTestKeymap::XTestKeymap(X11Connection &connection)
    : _connection(connection) {
    findKeyboards();
    readMap();
    readGroup();
}

void XTestKeymap::findKeyboards() {
    xcb_connection_t *xcb = _connection.xcb();
    // Requested together, answered in one round trip.
    const auto pointerCookie = xcb_input_xi_get_client_pointer(xcb, XCB_NONE);
    const auto devicesCookie = xcb_input_xi_query_device(xcb, XCB_INPUT_DEVICE_ALL);
    const auto pointer = _connection.reply(xcb_input_xi_get_client_pointer_reply, pointerCookie);
    const auto devices = _connection.reply(xcb_input_xi_query_device_reply, devicesCookie);
    if (!devices)
        return;

    struct Device {
        quint16 type;
        quint16 attachment;
        bool isSynthetic;
    };
    std::map<quint16, Device> all;
    for (auto it = xcb_input_xi_query_device_infos_iterator(devices.get()); it.rem > 0;
         xcb_input_xi_device_info_next(&it)) {
        const QByteArray name(xcb_input_xi_device_info_name(it.data), it.data->name_len);
        all[it.data->deviceid] = {it.data->type, it.data->attachment, name.contains("XTEST")};
    }
    // The keyboard that goes with our pointer, as on a display with several of each.
    std::optional<quint16> master;
    for (const auto &[identifier, device] : all) {
        if (device.type == XCB_INPUT_DEVICE_TYPE_MASTER_KEYBOARD &&
            (!master || (pointer && pointer->set && device.attachment == pointer->deviceid)))
            master = identifier;
    }
    for (const auto &[identifier, device] : all) {
        if (device.type != XCB_INPUT_DEVICE_TYPE_SLAVE_KEYBOARD || device.attachment != master)
            continue;
        if (device.isSynthetic)
            _synthetic = identifier;
        else
            _physical.append(identifier);
    }
}

void XTestKeymap::readMap() {
    const quint16 device = _synthetic ? _synthetic : quint16(XCB_XKB_ID_USE_CORE_KBD);
    const auto cookie = xcb_xkb_get_map(_connection.xcb(), device, XCB_XKB_MAP_PART_KEY_SYMS, 0, 0,
                                        0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0);
    const auto map = _connection.reply(xcb_xkb_get_map_reply, cookie);
    if (!map || !(map->present & XCB_XKB_MAP_PART_KEY_SYMS))
        return;
    // The symbols are all that was asked for, so they come first.
    xcb_xkb_key_sym_map_iterator_t it{
        static_cast<xcb_xkb_key_sym_map_t *>(xcb_xkb_get_map_map(map.get())), map->nKeySyms, 0};
    for (int code = map->firstKeySym; it.rem > 0; ++code, xcb_xkb_key_sym_map_next(&it)) {
        const xcb_keysym_t *symbols = xcb_xkb_key_sym_map_syms(it.data);
        const int count = xcb_xkb_key_sym_map_syms_length(it.data);
        Key key{xcb_keycode_t(code), {}};
        const bool isUsed =
            std::any_of(symbols, symbols + count, [](xcb_keysym_t symbol) { return symbol != 0; });
        for (int group = 0; isUsed && group < (it.data->groupInfo & 0x0f); ++group) {
            const int first = group * it.data->width;
            key.symbols.append(first < count ? symbols[first] : 0);
        }
        _keys.append(key);
    }
}

void XTestKeymap::readGroup() {
    const auto state = _connection.reply(
        xcb_xkb_get_state_reply, xcb_xkb_get_state(_connection.xcb(), XCB_XKB_ID_USE_CORE_KBD));
    if (state)
        _group = state->group;
}

std::optional<xcb_keycode_t> XTestKeymap::keyFor(xcb_keysym_t symbol) const {
    for (const Key &key : _keys) {
        if (!key.symbols.isEmpty() && key.symbols.at(_group % key.symbols.size()) == symbol)
            return key.code;
    }
    for (const Key &key : _keys) {
        if (key.symbols.contains(symbol))
            return key.code;
    }
    return std::nullopt;
}

std::optional<xcb_keycode_t> XTestKeymap::unusedKey() const {
    const auto key = std::find_if(_keys.crbegin(), _keys.crend(),
                                  [](const Key &candidate) { return candidate.symbols.isEmpty(); });
    return key == _keys.crend() ? std::nullopt : std::optional<xcb_keycode_t>(key->code);
}

QList<XTestKeymap::HeldModifier> XTestKeymap::heldModifiers() const {
    xcb_connection_t *xcb = _connection.xcb();
    const auto mappingCookie = xcb_get_modifier_mapping(xcb);
    const auto keymapCookie = xcb_query_keymap(xcb);
    const auto mapping = _connection.reply(xcb_get_modifier_mapping_reply, mappingCookie);
    const auto keymap = _connection.reply(xcb_query_keymap_reply, keymapCookie);
    QList<HeldModifier> held;
    if (!mapping || !keymap)
        return held;
    const QList<xcb_keycode_t> synthetic = heldOn(_synthetic);
    const xcb_keycode_t *keys = xcb_get_modifier_mapping_keycodes(mapping.get());
    const int perRow = mapping->keycodes_per_modifier;
    for (int index = 0; index < 8 * perRow; ++index) {
        const xcb_keycode_t key = keys[index];
        const bool isKnown =
            std::any_of(held.cbegin(), held.cend(),
                        [key](const HeldModifier &modifier) { return modifier.key == key; });
        if (key == 0 || index / perRow == lockRow || isKnown)
            continue;
        const bool isEffective = isDown(keymap->keys, key);
        if (isEffective || synthetic.contains(key))
            held.append({key, index / perRow, isEffective});
    }
    return held;
}

QList<xcb_keycode_t> XTestKeymap::physicallyHeld() const {
    QList<xcb_keycode_t> held;
    for (const quint16 device : _physical)
        held += heldOn(device);
    return held;
}

QList<xcb_keycode_t> XTestKeymap::heldOn(quint16 device) const {
    xcb_connection_t *xcb = _connection.xcb();
    QList<xcb_keycode_t> held;
    // State is told of opened devices only.
    if (device == 0 ||
        !_connection.reply(xcb_input_open_device_reply, xcb_input_open_device(xcb, quint8(device))))
        return held;
    const auto state = _connection.reply(xcb_input_query_device_state_reply,
                                         xcb_input_query_device_state(xcb, quint8(device)));
    xcb_input_close_device(xcb, quint8(device));
    if (!state)
        return held;
    for (auto it = xcb_input_query_device_state_classes_iterator(state.get()); it.rem > 0;
         xcb_input_input_state_next(&it)) {
        if (it.data->class_id != XCB_INPUT_INPUT_CLASS_KEY)
            continue;
        const auto *keys = reinterpret_cast<const xcb_input_key_state_t *>(it.data);
        for (int key = 8; key < 256; ++key) {
            if (isDown(keys->keys, key))
                held.append(xcb_keycode_t(key));
        }
    }
    return held;
}

} // namespace clipmule
