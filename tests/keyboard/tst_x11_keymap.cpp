// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/foundation/QtRunLoop.h"
#include "platform/keyboard/backends/xtest/XTestKeyboardEvents.h"
#include "platform/keyboard/backends/xtest/XTestKeymap.h"
#include "tests/keyboard/UserKeyboard.h"
#include "tests/kit/Await.h"
#include "tests/kit/TestCase.h"

#include <QProcess>
#include <QTest>

#include <xcb/xinput.h>

#include <array>

using namespace clipmule;
using namespace clipmule::kit;

namespace {

// The us layout: 37 is the left Control key, 50 Shift, 66 the lock, 36 Return, 55 the "v".
// In dvorak the "v" is on the key of the full stop.
constexpr xcb_keycode_t letterV = 55;
constexpr xcb_keycode_t letterVInDvorak = 60;
constexpr xcb_keysym_t symbolV = 'v';
constexpr xcb_keysym_t symbolReturn = 0xff0d;
constexpr xcb_keysym_t cyrillicM = 0x6cd;

} // namespace

class X11KeymapTest final : public kit::TestCase {
    Q_OBJECT

    void begin() override {
        _connection = X11Connection::open();
        QVERIFY(_connection);
        QVERIFY(hasXTestSupport(*_connection));
    }

    void end() override {
        lockGroup(*_connection, 0);
        _connection.reset();
        setLayout({QStringLiteral("-layout"), QStringLiteral("us")});
    }

private Q_SLOTS:
    void theLayoutInForceCounts() {
        setLayout({QStringLiteral("-layout"), QStringLiteral("us,us"), QStringLiteral("-variant"),
                   QStringLiteral(",dvorak")});
        lockGroup(*_connection, 0);
        QCOMPARE(XTestKeymap(*_connection).keyFor(symbolV), letterV);
        QCOMPARE(XTestKeymap(*_connection).keyFor(symbolReturn), xcb_keycode_t(36));
        lockGroup(*_connection, 1);
        QCOMPARE(XTestKeymap(*_connection).keyFor(symbolV), letterVInDvorak);
        // Keys that are the same in both have one symbol for both.
        QCOMPARE(XTestKeymap(*_connection).keyFor(symbolReturn), xcb_keycode_t(36));
    }

    void anotherLayoutServesWhereThatHasNone() {
        setLayout({QStringLiteral("-layout"), QStringLiteral("us,ru")});
        lockGroup(*_connection, 0);
        QCOMPARE(XTestKeymap(*_connection).keyFor(cyrillicM), letterV);
        lockGroup(*_connection, 1);
        QCOMPARE(XTestKeymap(*_connection).keyFor(symbolV), letterV);
        // What takes a modifier to type is on no key.
        QCOMPARE(XTestKeymap(*_connection).keyFor('V'), std::nullopt);
        QCOMPARE(XTestKeymap(*_connection).keyFor('@'), std::nullopt);
    }

    void aKeyThatIsTheSameInEveryLayoutCountsInEach() {
        setLayout({QStringLiteral("-layout"), QStringLiteral("us,ru")});
        const auto key = XTestKeymap(*_connection).unusedKey();
        QVERIFY(key && *key > letterV);
        setOnlySymbol(*key, symbolV);
        lockGroup(*_connection, 0);
        QCOMPARE(XTestKeymap(*_connection).keyFor(symbolV), letterV);
        lockGroup(*_connection, 1);
        QCOMPARE(XTestKeymap(*_connection).keyFor(symbolV), key);
    }

    void aKeyWithoutAnySymbolIsUnused() {
        const auto key = XTestKeymap(*_connection).unusedKey();
        QVERIFY(key);
        setOnlySymbol(*key, symbolV);
        QVERIFY(XTestKeymap(*_connection).unusedKey() < key);
        setOnlySymbol(*key, XCB_NO_SYMBOL);
        QCOMPARE(XTestKeymap(*_connection).unusedKey(), key);
    }

    void everyModifierThatIsHeldIsTold() {
        const auto held = [this] {
            QStringList keys;
            const auto modifiers = XTestKeymap(*_connection).heldModifiers();
            for (const auto &modifier : modifiers)
                keys.append(QStringLiteral("%1 in row %2%3")
                                .arg(modifier.key)
                                .arg(modifier.row)
                                .arg(modifier.isEffective ? QString() : QStringLiteral(", idle")));
            return keys;
        };
        QCOMPARE(held(), QStringList());
        for (const int key : {37, 50, 66, 38})
            fakeKey(*_connection, true, key);
        const QStringList expected{QStringLiteral("50 in row 0"), QStringLiteral("37 in row 2")};
        const QStringList found = held();
        for (const int key : {37, 50, 66, 38})
            fakeKey(*_connection, false, key);
        // Once more, so that the lock is off again.
        fakeKey(*_connection, true, 66);
        fakeKey(*_connection, false, 66);
        QCOMPARE(found, expected);
        QCOMPARE(held(), QStringList());
    }

    void aModifierInTwoRowsIsToldOnce() {
        setModifiers(37, XCB_MOD_MASK_CONTROL | XCB_MOD_MASK_3);
        fakeKey(*_connection, true, 37);
        const auto held = XTestKeymap(*_connection).heldModifiers();
        fakeKey(*_connection, false, 37);
        QCOMPARE(held.size(), 1);
        QCOMPARE(held.constFirst().key, xcb_keycode_t(37));
    }

    // As where two people sit at one display: each pointer has a keyboard of its own.
    void theKeyboardThatGoesWithOurPointerCounts() {
        const QList<quint16> before = devices(XCB_INPUT_DEVICE_TYPE_MASTER_POINTER);
        const QList<quint16> keyboards = devices(XCB_INPUT_DEVICE_TYPE_SLAVE_KEYBOARD);
        addPointerAndKeyboard({"second"});
        const quint16 pointer = added(before, devices(XCB_INPUT_DEVICE_TYPE_MASTER_POINTER));
        const quint16 keyboard = added(keyboards, devices(XCB_INPUT_DEVICE_TYPE_SLAVE_KEYBOARD));
        QVERIFY(pointer && keyboard);
        setLayout({QStringLiteral("-device"), QString::number(keyboard), QStringLiteral("-layout"),
                   QStringLiteral("us"), QStringLiteral("-variant"), QStringLiteral("dvorak")});
        QCOMPARE(XTestKeymap(*_connection).keyFor(symbolV), letterV);
        setPointer(pointer);
        QCOMPARE(XTestKeymap(*_connection).keyFor(symbolV), letterVInDvorak);
        setPointer(before.constFirst());
        QCOMPARE(XTestKeymap(*_connection).keyFor(symbolV), letterV);
    }

private:
    static void setLayout(const QStringList &arguments) {
        QProcess setxkbmap;
        setxkbmap.start(QStringLiteral("setxkbmap"),
                        QStringList{QStringLiteral("-option"), QString()} + arguments);
        QVERIFY(await([&] { return setxkbmap.state() == QProcess::NotRunning; }));
        QCOMPARE(setxkbmap.exitCode(), 0);
    }
    // One layout, one level, that symbol: what there is no other way to ask for, since the core
    // protocol's request leaves a key without symbols no layout at all.
    void setOnlySymbol(xcb_keycode_t key, xcb_keysym_t symbol) {
        const struct {
            xcb_xkb_key_sym_map_t head;
            xcb_keysym_t symbol;
        } map{{{0, 0, 0, 0}, 1, 1, 1}, symbol};
        static_assert(sizeof(map) == 12);
        const auto *setup = xcb_get_setup(_connection->xcb());
        xcb_xkb_set_map(_connection->xcb(), XCB_XKB_ID_USE_CORE_KBD, XCB_XKB_MAP_PART_KEY_SYMS, 0,
                        setup->min_keycode, setup->max_keycode, 0, 0, key, 1, 1, 0, 0, 0, 0, 0, 0,
                        0, 0, 0, 0, 0, 0, 0, 0, 0, 0, &map);
        roundTrip(*_connection);
    }
    void setModifiers(xcb_keycode_t key, int modifiers) {
        // Twice the same, since a request is as long as a number of 32-bit words.
        const std::array<quint8, 4> map{key, quint8(modifiers), key, quint8(modifiers)};
        const auto *setup = xcb_get_setup(_connection->xcb());
        xcb_xkb_set_map(_connection->xcb(), XCB_XKB_ID_USE_CORE_KBD, XCB_XKB_MAP_PART_MODIFIER_MAP,
                        0, setup->min_keycode, setup->max_keycode, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,
                        0, 0, 0, key, 1, 2, 0, 0, 0, 0, map.data());
        roundTrip(*_connection);
    }

    [[nodiscard]] QList<quint16> devices(int type) const {
        const auto reply =
            _connection->reply(xcb_input_xi_query_device_reply,
                               xcb_input_xi_query_device(_connection->xcb(), XCB_INPUT_DEVICE_ALL));
        QList<quint16> found;
        for (auto it = xcb_input_xi_query_device_infos_iterator(reply.get()); it.rem > 0;
             xcb_input_xi_device_info_next(&it)) {
            if (it.data->type == type)
                found.append(it.data->deviceid);
        }
        return found;
    }
    static quint16 added(const QList<quint16> &before, const QList<quint16> &after) {
        for (const quint16 device : after) {
            if (!before.contains(device))
                return device;
        }
        return 0;
    }
    void addPointerAndKeyboard(const std::array<char, 8> &name) {
        struct {
            xcb_input_add_master_t head;
            std::array<char, 8> name;
        } change{{XCB_INPUT_HIERARCHY_CHANGE_TYPE_ADD_MASTER, 4, 6, 1, 1}, name};
        static_assert(sizeof(change) == 16);
        xcb_input_xi_change_hierarchy(
            _connection->xcb(), 1, reinterpret_cast<const xcb_input_hierarchy_change_t *>(&change));
        roundTrip(*_connection);
    }
    void setPointer(quint16 pointer) {
        xcb_input_xi_set_client_pointer(_connection->xcb(), XCB_NONE, pointer);
        roundTrip(*_connection);
    }

    QtRunLoop _runLoop;
    RunLoop::Installation _installation{_runLoop};
    std::shared_ptr<X11Connection> _connection;
};

QTEST_GUILESS_MAIN(X11KeymapTest)
#include "tst_x11_keymap.moc"
