// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/wayland/WaylandKeyboard.h"

#include "platform/foundation/Callbacks.h"
#include "platform/foundation/FileHandle.h"
#include "platform/foundation/Log.h"
#include "platform/foundation/RunLoop.h"
#include "platform/wayland/KeyLayout.h"
#include "platform/wayland/WaylandConnection.h"
#include "platform/wayland/WaylandModifiers.h"
#include "platform/wayland/WaylandSeatLayout.h"

#include <QByteArray>
#include <QCoreApplication>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <utility>

#include <fake-input-client-protocol.h>
#include <virtual-keyboard-unstable-v1-client-protocol.h>
#include <wayland-client-protocol.h>
#include <xkbcommon/xkbcommon.h>

namespace clipmule {

namespace {

struct StateUnref {
    void operator()(xkb_state *state) const { xkb_state_unref(state); }
};

// What the two systems of numbers for keys differ by.
constexpr xkb_keycode_t evdevOffset = 8;

// The first that takes keys; we need no later one.
constexpr quint32 fakeInputVersion = 4;

} // namespace

class VirtualKeyboard final : public WaylandKeyboard, private WaylandObserver {
public:
    explicit VirtualKeyboard(std::shared_ptr<WaylandConnection> connection)
        : _connection(std::move(connection))
        , _manager(_connection->bind<zwp_virtual_keyboard_manager_v1>(
              zwp_virtual_keyboard_manager_v1_interface))
        // A whole layout, of which we need four keys: X11 programs die of one that lacks what they
        // expect.
        , _layout(KeyLayout::usual()) {
        if (!_layout) {
            qCWarning(logWayland, "no key strokes can be made: %s",
                      qUtf8Printable(_layout.error().reason));
            return;
        }
        _state.reset(xkb_state_new(_layout->keymap()));
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
        QList<quint32> keys;
        for (const quint32 symbol : symbols) {
            const std::optional<quint32> key = _layout->keyOf(symbol);
            if (!key)
                return false;
            keys.append(*key);
        }
        for (const quint32 key : keys)
            send(key, true);
        for (auto key = keys.crbegin(); key != keys.crend(); ++key)
            send(*key, false);
        _connection->flush();
        return true;
    }

private:
    void followSeat() {
        _seat = _connection->seat();
        if (!_manager || !_seat)
            return;
        char *const text = xkb_keymap_get_as_string(_layout->keymap(), XKB_KEYMAP_FORMAT_TEXT_V1);
        // With its end.
        const quint32 size = quint32(std::strlen(text)) + 1;
        const FileHandle file = fileInMemory({text, qsizetype(size)});
        const int reason = errno;
        std::free(text);
        if (!file.isOpen()) {
            qCWarning(logWayland, "no keyboard layout can be handed over: %s",
                      std::strerror(reason));
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
    void send(quint32 key, bool isDown) {
        const auto time = quint32(RunLoop::current().now().count() * 1000);
        zwp_virtual_keyboard_v1_key(_keyboard, time, key,
                                    isDown ? WL_KEYBOARD_KEY_STATE_PRESSED
                                           : WL_KEYBOARD_KEY_STATE_RELEASED);
        if (xkb_state_update_key(_state.get(), key + evdevOffset,
                                 isDown ? XKB_KEY_DOWN : XKB_KEY_UP) == 0)
            return;
        // Nobody else works out what the keys do to the modifiers.
        zwp_virtual_keyboard_v1_modifiers(
            _keyboard, xkb_state_serialize_mods(_state.get(), XKB_STATE_MODS_DEPRESSED),
            xkb_state_serialize_mods(_state.get(), XKB_STATE_MODS_LATCHED),
            xkb_state_serialize_mods(_state.get(), XKB_STATE_MODS_LOCKED), 0);
    }

    std::shared_ptr<WaylandConnection> _connection;
    zwp_virtual_keyboard_manager_v1 *_manager;
    Result<KeyLayout> _layout;
    std::unique_ptr<xkb_state, StateUnref> _state;
    wl_seat *_seat = nullptr; // that the keyboard belongs to
    zwp_virtual_keyboard_v1 *_keyboard = nullptr;
};

// KDE's own way, for programs that an installed desktop entry allows it. The compositor takes the
// keys for the user's: with the user's layout, and among the keys that the user holds.
class FakeInput final : public WaylandKeyboard {
public:
    explicit FakeInput(const std::shared_ptr<WaylandConnection> &connection)
        : _connection(connection)
        , _layout(connection)
        , _modifiers(connection)
        , _input(_connection->bind<org_kde_kwin_fake_input>(org_kde_kwin_fake_input_interface,
                                                            fakeInputVersion)) {
        _modifiers.onRelease = [this] { callCopyOf(onModifiersReleased); };
        // Texts that the compositor may show when it asks whether we are allowed to.
        const QByteArray reason =
            QCoreApplication::translate("Clipmule", "Pastes what arrives from phones").toUtf8();
        org_kde_kwin_fake_input_authenticate(_input, "Clipmule Sync", reason.constData());
        _connection->flush();
    }
    // Without a request: later versions alone have one for that.
    ~FakeInput() override { wl_proxy_destroy(reinterpret_cast<wl_proxy *>(_input)); }
    FakeInput(const FakeInput &) = delete;
    FakeInput &operator=(const FakeInput &) = delete;

    [[nodiscard]] QString name() const override { return QStringLiteral("fake-input"); }
    void setGroup(std::optional<quint32> group) override { _layout.setGroup(group); }
    [[nodiscard]] bool wouldModifiersMixIn() const override {
        return _modifiers.isAnyActive() && !_connection->isLost();
    }

    [[nodiscard]] bool type(const QList<quint32> &symbols) override {
        const auto stroke = _connection->isLost() ? std::nullopt : _layout.stroke(symbols);
        if (!stroke)
            return false;
        for (const auto &[key, isDown] : *stroke)
            org_kde_kwin_fake_input_keyboard_key(_input, key,
                                                 isDown ? WL_KEYBOARD_KEY_STATE_PRESSED
                                                        : WL_KEYBOARD_KEY_STATE_RELEASED);
        _connection->flush();
        return true;
    }

private:
    std::shared_ptr<WaylandConnection> _connection;
    WaylandSeatLayout _layout;
    WaylandModifiers _modifiers;
    org_kde_kwin_fake_input *_input;
};

std::unique_ptr<WaylandKeyboard>
WaylandKeyboard::make(const std::shared_ptr<WaylandConnection> &connection) {
    if (!connection)
        return nullptr;
    if (connection->seat() && connection->offers(zwp_virtual_keyboard_manager_v1_interface.name))
        return std::make_unique<VirtualKeyboard>(connection);
    if (connection->offers(org_kde_kwin_fake_input_interface.name, fakeInputVersion))
        return std::make_unique<FakeInput>(connection);
    return nullptr;
}

QString WaylandKeyboard::obstacle(const WaylandConnection &connection) {
    if (!connection.offers("org_kde_plasma_shell"))
        return QStringLiteral("the compositor takes no key strokes from programs");
    return QStringLiteral("no installed desktop entry has both Exec=%1 and "
                          "X-KDE-Wayland-Interfaces=%2")
        .arg(QCoreApplication::applicationFilePath(),
             QLatin1String(org_kde_kwin_fake_input_interface.name));
}

} // namespace clipmule
