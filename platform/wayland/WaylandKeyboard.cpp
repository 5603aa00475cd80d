// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/wayland/WaylandKeyboard.h"

#include "platform/foundation/FileHandle.h"
#include "platform/foundation/Log.h"
#include "platform/foundation/RunLoop.h"
#include "platform/wayland/WaylandConnection.h"

#include <QByteArray>
#include <QHash>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <utility>

#include <sys/mman.h>
#include <unistd.h>
#include <virtual-keyboard-unstable-v1-client-protocol.h>
#include <wayland-client-protocol.h>
#include <xkbcommon/xkbcommon.h>

namespace clipmule {

namespace {

struct KeymapUnref {
    void operator()(xkb_keymap *keymap) const { xkb_keymap_unref(keymap); }
};
struct StateUnref {
    void operator()(xkb_state *state) const { xkb_state_unref(state); }
};

// What the two systems of numbers for keys differ by.
constexpr xkb_keycode_t evdevOffset = 8;

// A whole layout, of which we need four keys: X11 programs die of one that lacks what they expect.
std::unique_ptr<xkb_keymap, KeymapUnref> wholeKeymap() {
    xkb_context *const context = xkb_context_new(XKB_CONTEXT_NO_ENVIRONMENT_NAMES);
    const xkb_rule_names names{.rules = "evdev", .model = "pc105", .layout = "us"};
    std::unique_ptr<xkb_keymap, KeymapUnref> keymap(
        context ? xkb_keymap_new_from_names(context, &names, XKB_KEYMAP_COMPILE_NO_FLAGS)
                : nullptr);
    xkb_context_unref(context);
    return keymap;
}

// The keys that type a symbol by themselves, by the symbol.
QHash<quint32, xkb_keycode_t> plainKeys(xkb_keymap *keymap) {
    QHash<quint32, xkb_keycode_t> keys;
    for (xkb_keycode_t key = xkb_keymap_min_keycode(keymap); key <= xkb_keymap_max_keycode(keymap);
         ++key) {
        const xkb_keysym_t *symbols = nullptr;
        const int count = xkb_keymap_key_get_syms_by_level(keymap, key, 0, 0, &symbols);
        // Of two keys with one symbol the first is the usual one.
        if (count == 1 && !keys.contains(symbols[0]))
            keys.insert(symbols[0], key);
    }
    return keys;
}

// A file without a name that holds the text with its end.
FileHandle inMemory(const char *text) {
    FileHandle file(::memfd_create("keymap", MFD_CLOEXEC | MFD_ALLOW_SEALING));
    const qsizetype size = qsizetype(std::strlen(text)) + 1;
    qsizetype written = 0;
    while (file.isOpen() && written < size) {
        const ssize_t count = ::write(file.descriptor(), text + written, size_t(size - written));
        if (count <= 0)
            file.close();
        else
            written += count;
    }
    return file;
}

} // namespace

class VirtualKeyboard final : public WaylandKeyboard, private WaylandObserver {
public:
    explicit VirtualKeyboard(std::shared_ptr<WaylandConnection> connection)
        : _connection(std::move(connection))
        , _manager(_connection->bind<zwp_virtual_keyboard_manager_v1>(
              zwp_virtual_keyboard_manager_v1_interface))
        , _keymap(wholeKeymap()) {
        if (!_keymap) {
            qCWarning(logWayland, "there is no keyboard layout to make key strokes with");
            return;
        }
        _state.reset(xkb_state_new(_keymap.get()));
        _keys = plainKeys(_keymap.get());
        _connection->addObserver(this);
        followSeat();
    }
    ~VirtualKeyboard() override {
        _connection->removeObserver(this);
        leaveSeat();
        if (_manager)
            zwp_virtual_keyboard_manager_v1_destroy(_manager);
        _connection->flush();
    }
    VirtualKeyboard(const VirtualKeyboard &) = delete;
    VirtualKeyboard &operator=(const VirtualKeyboard &) = delete;

    [[nodiscard]] QString name() const override { return QStringLiteral("virtual-keyboard"); }

    [[nodiscard]] bool type(const QList<quint32> &symbols) override {
        if (!_keyboard || _connection->isLost())
            return false;
        for (const quint32 symbol : symbols) {
            if (!_keys.contains(symbol))
                return false;
        }
        for (const quint32 symbol : symbols)
            send(_keys.value(symbol), true);
        for (auto symbol = symbols.crbegin(); symbol != symbols.crend(); ++symbol)
            send(_keys.value(*symbol), false);
        _connection->flush();
        return true;
    }

private:
    void followSeat() {
        _seat = _connection->seat();
        if (!_manager || !_seat)
            return;
        char *const text = xkb_keymap_get_as_string(_keymap.get(), XKB_KEYMAP_FORMAT_TEXT_V1);
        const FileHandle file = inMemory(text);
        const quint32 size = quint32(std::strlen(text)) + 1;
        std::free(text);
        if (!file.isOpen()) {
            qCWarning(logWayland, "no keyboard layout can be handed over: %s",
                      std::strerror(errno));
            return;
        }
        _keyboard = zwp_virtual_keyboard_manager_v1_create_virtual_keyboard(_manager, _seat);
        zwp_virtual_keyboard_v1_keymap(_keyboard, WL_KEYBOARD_KEYMAP_FORMAT_XKB_V1,
                                       file.descriptor(), size);
        _connection->flush();
    }
    void leaveSeat() {
        if (_keyboard)
            zwp_virtual_keyboard_v1_destroy(std::exchange(_keyboard, nullptr));
    }
    void waylandGlobalsChanged() override {
        if (_connection->seat() == _seat)
            return;
        leaveSeat();
        followSeat();
    }
    void send(xkb_keycode_t key, bool isDown) {
        const auto time = quint32(RunLoop::current().now().count() * 1000);
        zwp_virtual_keyboard_v1_key(_keyboard, time, key - evdevOffset,
                                    isDown ? WL_KEYBOARD_KEY_STATE_PRESSED
                                           : WL_KEYBOARD_KEY_STATE_RELEASED);
        if (xkb_state_update_key(_state.get(), key, isDown ? XKB_KEY_DOWN : XKB_KEY_UP) == 0)
            return;
        // Nobody else works out what the keys do to the modifiers.
        zwp_virtual_keyboard_v1_modifiers(
            _keyboard, xkb_state_serialize_mods(_state.get(), XKB_STATE_MODS_DEPRESSED),
            xkb_state_serialize_mods(_state.get(), XKB_STATE_MODS_LATCHED),
            xkb_state_serialize_mods(_state.get(), XKB_STATE_MODS_LOCKED), 0);
    }

    std::shared_ptr<WaylandConnection> _connection;
    zwp_virtual_keyboard_manager_v1 *_manager;
    std::unique_ptr<xkb_keymap, KeymapUnref> _keymap;
    std::unique_ptr<xkb_state, StateUnref> _state;
    QHash<quint32, xkb_keycode_t> _keys;
    wl_seat *_seat = nullptr; // that the keyboard belongs to
    zwp_virtual_keyboard_v1 *_keyboard = nullptr;
};

std::unique_ptr<WaylandKeyboard>
WaylandKeyboard::make(const std::shared_ptr<WaylandConnection> &connection) {
    if (!connection || !connection->seat() ||
        !connection->offers(zwp_virtual_keyboard_manager_v1_interface.name))
        return nullptr;
    return std::make_unique<VirtualKeyboard>(connection);
}

} // namespace clipmule
