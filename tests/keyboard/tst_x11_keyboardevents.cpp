// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/foundation/QtRunLoop.h"
#include "platform/keyboard/KeyboardEvents.h"
#include "platform/keyboard/backends/xtest/XTestKeyboardEvents.h"
#include "platform/pasteboard/Pasteboard.h"
#include "platform/session/Session.h"
#include "platform/wayland/WaylandConnection.h"
#include "tests/keyboard/KeyWindow.h"
#include "tests/keyboard/UserKeyboard.h"
#include "tests/kit/Await.h"
#include "tests/kit/ManualRunLoop.h"
#include "tests/kit/TestCase.h"
#include "tests/kit/TestCompositor.h"
#include "tests/pasteboard/clients/ClientProcess.h"

#include <QTest>

using namespace clipmule;
using namespace clipmule::kit;

class X11KeyboardEventsTest final : public kit::TestCase {
    Q_OBJECT

    void begin() override {
        _connection = X11Connection::open();
        QVERIFY(_connection);
        QVERIFY(hasXTestSupport(*_connection));
    }

    void end() override {
        _connection.reset();
        setLayout({QStringLiteral("us")});
    }

private Q_SLOTS:
    void keysArriveInOrder() {
        KeyWindow window;
        XTestKeyboardEvents keyboard(_connection);
        keyboard.paste();
        QVERIFY(await([&] { return window.strokes.size() == 4; }));
        // The us layout: 37 is the left Control key, 55 the letter.
        QCOMPARE(window.strokes.join(u' '), QStringLiteral("+37 +55 -55 -37"));
        QCOMPARE(window.states,
                 (QList<int>{0, XCB_MOD_MASK_CONTROL, XCB_MOD_MASK_CONTROL, XCB_MOD_MASK_CONTROL}));
    }

    // The us layout: 37 is the left Control key, 50 Shift, 64 Alt, 55 the "v", 29 the "y", 118
    // Insert.
    void pasteFitsTheWindow_data() {
        QTest::addColumn<QString>("keys");
        QTest::addColumn<QString>("strokes");
        QTest::newRow("of a terminal")
            << QStringLiteral("Ctrl+Shift+V") << QStringLiteral("+37 +50 +55 -55 -50 -37");
        QTest::newRow("of an old terminal")
            << QStringLiteral("Shift+Insert") << QStringLiteral("+50 +118 -118 -50");
        QTest::newRow("of an editor")
            << QStringLiteral("ctrl+y") << QStringLiteral("+37 +29 -29 -37");
        QTest::newRow("with everything") << QStringLiteral("Ctrl+Shift+Alt+V")
                                         << QStringLiteral("+37 +50 +64 +55 -55 -64 -50 -37");
        QTest::newRow("usual") << QString() << QStringLiteral("+37 +55 -55 -37");
    }
    void pasteFitsTheWindow() {
        QFETCH(QString, keys);
        QFETCH(QString, strokes);
        KeyWindow window;
        int asked = 0;
        XTestKeyboardEvents keyboard(_connection, [&]() -> std::optional<QString> {
            ++asked;
            return keys.isEmpty() ? std::nullopt : std::optional(keys);
        });
        keyboard.paste();
        const qsizetype count = strokes.count(u' ') + 1;
        QVERIFY(await([&] { return window.strokes.size() >= count; }));
        window.roundTrip();
        QCoreApplication::processEvents();
        QCOMPARE(window.strokes.join(u' '), strokes);
        QCOMPARE(asked, 1);
    }

    void windowThatTakesNoStrokeGetsNone() {
        KeyWindow window;
        QString keys = QStringLiteral("none");
        XTestKeyboardEvents keyboard(_connection, [&] { return keys; });
        keyboard.paste();
        keys = QStringLiteral("x");
        keyboard.paste();
        QVERIFY(await([&] { return window.strokes.size() == 2; }));
        QCOMPARE(window.strokes.join(u' '), QStringLiteral("+53 -53"));
    }

    void strokeWithoutMeaningIsTheUsualOneAndSaidOnce() {
        KeyWindow window;
        XTestKeyboardEvents keyboard(_connection, [] { return QStringLiteral("Ctrl+\nV"); });
        QTest::ignoreMessage(QtWarningMsg, "no key stroke has this name: Ctrl+\\nV");
        keyboard.paste();
        keyboard.paste();
        QVERIFY(await([&] { return window.strokes.size() == 8; }));
        QCOMPARE(window.strokes.first(4).join(u' '), QStringLiteral("+37 +55 -55 -37"));
    }

    // Shift is held by the user and part of the stroke.
    void heldModifierThatIsPartOfTheStroke() {
        KeyWindow window;
        XTestKeyboardEvents keyboard(_connection, [] { return QStringLiteral("Ctrl+Shift+V"); });
        fakeKey(*_connection, true, 50);
        QVERIFY(await([&] { return window.strokes.size() == 1; }));
        window.strokes.clear();
        window.states.clear();
        keyboard.paste();
        QVERIFY(await([&] { return window.strokes.contains(QStringLiteral("-37")); }));
        const qsizetype pressed = window.strokes.indexOf(QStringLiteral("+55"));
        QCOMPARE(window.states.at(pressed), int(XCB_MOD_MASK_CONTROL | XCB_MOD_MASK_SHIFT));
        fakeKey(*_connection, false, 50);
    }

    void heldModifiersAreOutOfTheWay_data() {
        QTest::addColumn<int>("key");
        QTest::newRow("Shift") << 50;
        QTest::newRow("Control") << 37;
        QTest::newRow("right Control") << 105;
        QTest::newRow("Alt") << 64;
        QTest::newRow("Super") << 133;
    }
    void heldModifiersAreOutOfTheWay() {
        QFETCH(int, key);
        KeyWindow window;
        XTestKeyboardEvents keyboard(_connection);
        fakeKey(*_connection, true, key);
        QVERIFY(await([&] { return window.strokes.size() == 1; }));
        window.strokes.clear();
        window.states.clear();
        keyboard.paste();
        QVERIFY(await([&] { return window.strokes.contains(QStringLiteral("-55")); }));
        const qsizetype pressed = window.strokes.indexOf(QStringLiteral("+55"));
        QCOMPARE(window.states.at(pressed), int(XCB_MOD_MASK_CONTROL));
        QVERIFY(window.strokes.contains(QStringLiteral("-%1").arg(key)));
        if (key == 64 || key == 133) // alone, these open a menu
            QVERIFY(window.strokes.indexOf(QStringLiteral("+37")) <
                    window.strokes.indexOf(QStringLiteral("-%1").arg(key)));
        fakeKey(*_connection, false, key);
    }

    void locksStay() {
        KeyWindow window;
        XTestKeyboardEvents keyboard(_connection);
        fakeKey(*_connection, true, 66);
        fakeKey(*_connection, false, 66);
        keyboard.paste();
        QVERIFY(await([&] { return window.strokes.size() == 6; }));
        QCOMPARE(window.states.at(3), int(XCB_MOD_MASK_CONTROL | XCB_MOD_MASK_LOCK));
        fakeKey(*_connection, true, 66);
        fakeKey(*_connection, false, 66);
        QVERIFY(await([&] { return window.strokes.size() == 8; }));
        QCOMPARE(window.states.last() & XCB_MOD_MASK_LOCK, int(XCB_MOD_MASK_LOCK));
    }

    void keyIsBorrowedWhereTheLayoutHasNone() {
        setLayout({QStringLiteral("ru")});
        kit::ManualRunLoop runLoop;
        const RunLoop::Installation installation(runLoop);
        KeyWindow window;
        XTestKeyboardEvents keyboard(_connection);
        const auto spare = XTestKeymap(*_connection).unusedKey();
        QVERIFY(spare);
        keyboard.paste();
        keyboard.paste();
        roundTrip(*_connection);
        QCOMPARE(window.symbolOf(*spare), QStringLiteral("76"));
        runLoop.advance(XTestKeyboardEvents::borrowDelay - RunLoop::Seconds(0.01));
        QCoreApplication::processEvents();
        QCOMPARE(window.strokes, QStringList());
        runLoop.advance(0.01);
        QVERIFY(await([&] { return window.strokes.size() == 8; }));
        QCOMPARE(window.strokes.first(4).join(u' '), QStringLiteral("+37 +%1 -%1 -37").arg(*spare));
        // It stays for a while, used again at once, and goes.
        runLoop.advance(XTestKeyboardEvents::borrowTime - RunLoop::Seconds(0.01));
        QCOMPARE(window.symbolOf(*spare), QStringLiteral("76"));
        keyboard.paste();
        QVERIFY(await([&] { return window.strokes.size() == 12; }));
        runLoop.advance(XTestKeyboardEvents::borrowTime - RunLoop::Seconds(0.01));
        QCOMPARE(window.symbolOf(*spare), QStringLiteral("76"));
        runLoop.advance(0.01);
        roundTrip(*_connection);
        QCOMPARE(window.symbolOf(*spare), QStringLiteral("0"));
        QCOMPARE(runLoop.pendingCount(), 0);
    }

    void borrowedKeyTypesTheSameWhateverIsInForce() {
        setLayout({QStringLiteral("ru,ua,bg,gr")});
        XTestKeyboardEvents keyboard(_connection);
        const auto spare = XTestKeymap(*_connection).unusedKey();
        QVERIFY(spare);
        keyboard.paste();
        roundTrip(*_connection);
        QCOMPARE(symbolsOf(*spare), QStringList(8, QStringLiteral("76")));
    }

    void borrowedKeyIsGivenBackAtTheEnd() {
        setLayout({QStringLiteral("ru")});
        kit::ManualRunLoop runLoop;
        const RunLoop::Installation installation(runLoop);
        KeyWindow window;
        const auto spare = XTestKeymap(*_connection).unusedKey();
        {
            XTestKeyboardEvents keyboard(_connection);
            keyboard.paste();
            roundTrip(*_connection);
            QCOMPARE(window.symbolOf(*spare), QStringLiteral("76"));
        }
        roundTrip(*_connection);
        QCOMPARE(window.symbolOf(*spare), QStringLiteral("0"));
    }

    void strokesMayBorrowOneAfterAnother() {
        setLayout({QStringLiteral("ru")});
        kit::ManualRunLoop runLoop;
        const RunLoop::Installation installation(runLoop);
        KeyWindow window;
        QString keys = QStringLiteral("Ctrl+V");
        XTestKeyboardEvents keyboard(_connection, [&] { return keys; });
        keyboard.paste();
        keys = QStringLiteral("Ctrl+Y");
        keyboard.paste();
        runLoop.advance(XTestKeyboardEvents::borrowDelay);
        QVERIFY(await([&] { return window.strokes.size() == 4; }));
        runLoop.advance(XTestKeyboardEvents::borrowDelay);
        QVERIFY(await([&] { return window.strokes.size() == 8; }));
        const int key = window.strokes.at(5).mid(1).toInt();
        QCOMPARE(window.symbolOf(xcb_keycode_t(key)), QStringLiteral("79"));
    }

    // Two keys that the layout does not have cannot be lent at once.
    void strokeThatNeedsTwoBorrowedKeysIsLeftOut() {
        setLayout({QStringLiteral("ru")});
        constexpr xcb_keysym_t super = 0xffeb;
        const xcb_keysym_t nothing = XCB_NO_SYMBOL;
        while (const auto key = XTestKeymap(*_connection).keyFor(super)) {
            xcb_change_keyboard_mapping(_connection->xcb(), 1, *key, 1, &nothing);
            roundTrip(*_connection);
        }
        KeyWindow window;
        XTestKeyboardEvents keyboard(_connection, [] { return QStringLiteral("Super+V"); });
        QTest::ignoreMessage(QtWarningMsg, "the keyboard layout has no key for this stroke, and "
                                           "none to spare");
        keyboard.paste();
        roundTrip(*_connection);
        window.roundTrip();
        QCoreApplication::processEvents();
        QCOMPARE(window.strokes, QStringList());
    }

    void pastes_data() {
        QTest::addColumn<QString>("toolkit");
        QTest::addColumn<QStringList>("layout");
        QTest::addColumn<int>("group");
        for (const char *toolkit : {"gtk", "qt"}) {
            const auto row = [toolkit](const char *name, const QStringList &layout, int group) {
                QTest::addRow("%s, %s", toolkit, name)
                    << QString::fromLatin1(toolkit) << layout << group;
            };
            row("us", {QStringLiteral("us")}, 0);
            row("de", {QStringLiteral("de")}, 0);
            row("dvorak",
                {QStringLiteral("us"), QStringLiteral("-variant"), QStringLiteral("dvorak")}, 0);
            row("us and ru, ru active", {QStringLiteral("us,ru")}, 1);
            row("ru and us, ru active", {QStringLiteral("ru,us")}, 0);
            row("ru alone", {QStringLiteral("ru")}, 0);
            row("gr alone", {QStringLiteral("gr")}, 0);
        }
    }
    // What was put on the clipboard a moment before, into another program's window.
    void pastes() {
        QFETCH(QString, toolkit);
        QFETCH(QStringList, layout);
        QFETCH(int, group);
        ClientProcess client(toolkit);
        QVERIFY(client.isReady());
        setLayout(layout);
        lockGroup(*_connection, group);
        const auto pasteboard = makePasteboard({_connection});
        const auto keyboard = makeKeyboardEvents({_connection});
        for (int round = 1; round <= 5; ++round) {
            const QString text = QStringLiteral("clip %1 €").arg(round);
            QCOMPARE(client.ask(QStringLiteral("clear")), QStringLiteral("done"));
            pasteboard->write({.text = text.toUtf8()});
            keyboard->paste();
            QVERIFY2(client.shows(text), qPrintable(client.shownText()));
        }
        QCOMPARE(keyboard->description(), QStringLiteral("xtest"));
        QCOMPARE(keyboard->obstacle(), QString());
    }

    // Where it has a clipboard, they would be in no order with that.
    void besideACompositor_data() {
        QTest::addColumn<bool>("dataControl");
        QTest::addColumn<bool>("keyboards");
        QTest::addColumn<QString>("description");
        QTest::addColumn<QString>("obstacle");
        QTest::newRow("clipboard alone")
            << true << false << QStringLiteral("none")
            << QStringLiteral("the compositor takes no key strokes from programs");
        QTest::newRow("both") << true << true << QStringLiteral("virtual-keyboard") << QString();
        QTest::newRow("neither") << false << false << QStringLiteral("xwayland")
                                 << QStringLiteral(
                                        "the compositor takes no key strokes for other windows");
    }
    void besideACompositor() {
        QFETCH(bool, dataControl);
        QFETCH(bool, keyboards);
        const kit::TestCompositor compositor(
            {.agreed = false, .wlroots = dataControl, .keyboards = keyboards});
        qputenv("WAYLAND_DISPLAY", compositor.display());
        const auto keyboard =
            makeKeyboardEvents({.x11 = _connection, .wayland = WaylandConnection::open()});
        QTEST(keyboard->description(), "description");
        QTEST(keyboard->obstacle(), "obstacle");
    }

    void nullSaysOnce() {
        const auto keyboard = makeKeyboardEvents({});
        QCOMPARE(keyboard->description(), QStringLiteral("none"));
        QCOMPARE(keyboard->obstacle(), QStringLiteral("there is no display"));
        QTest::ignoreMessage(QtWarningMsg, "what arrives stays on the clipboard and is not pasted: "
                                           "there is no display");
        keyboard->paste();
        keyboard->paste();
    }

private:
    static void setLayout(const QStringList &layout) {
        QProcess setxkbmap;
        setxkbmap.start(
            QStringLiteral("setxkbmap"),
            QStringList{QStringLiteral("-option"), QString(), QStringLiteral("-layout")} + layout);
        QVERIFY(await([&] { return setxkbmap.state() == QProcess::NotRunning; }));
        QCOMPARE(setxkbmap.exitCode(), 0);
    }
    // In each of four groups, without and with Shift.
    [[nodiscard]] QStringList symbolsOf(xcb_keycode_t key) const {
        QStringList found;
        const auto map = _connection->reply(
            xcb_xkb_get_map_reply, xcb_xkb_get_map(_connection->xcb(), XCB_XKB_ID_USE_CORE_KBD, 0,
                                                   XCB_XKB_MAP_PART_KEY_SYMS, 0, 0, key, 1, 0, 0, 0,
                                                   0, 0, 0, 0, 0, 0, 0, 0));
        const auto *symbols =
            static_cast<const xcb_xkb_key_sym_map_t *>(xcb_xkb_get_map_map(map.get()));
        const int groups = symbols->groupInfo & 0x0f;
        for (int index = 0; groups > 0 && index < 8; ++index) {
            const int level = std::min(index % 2, symbols->width - 1);
            const xcb_keysym_t symbol =
                xcb_xkb_key_sym_map_syms(symbols)[index / 2 % groups * symbols->width + level];
            found.append(QString::number(symbol, 16));
        }
        return found;
    }

    QtRunLoop _runLoop;
    RunLoop::Installation _installation{_runLoop};
    std::shared_ptr<X11Connection> _connection;
};

QTEST_GUILESS_MAIN(X11KeyboardEventsTest)
#include "tst_x11_keyboardevents.moc"
