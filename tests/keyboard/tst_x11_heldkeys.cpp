// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/foundation/QtRunLoop.h"
#include "platform/keyboard/backends/xtest/XTestKeyboardEvents.h"
#include "tests/keyboard/KeyWindow.h"
#include "tests/kit/Await.h"
#include "tests/kit/TestCase.h"

#include <QProcess>
#include <QTest>

#include <xcb/xtest.h>

using namespace clipmule;
using clipmule::kit::await;
using clipmule::kit::KeyWindow;

// A display server inside another one: what is typed on the outer one is the inner one's hardware,
// as a user's fingers are.
class X11HeldKeysTest final : public kit::TestCase {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() {
        QTest::failOnWarning(QRegularExpression(QStringLiteral(".*")));
        _inner.start(QStringLiteral("Xephyr"),
                     {QStringLiteral("-displayfd"), QStringLiteral("1"), QStringLiteral("-noreset"),
                      QStringLiteral("-nolisten"), QStringLiteral("tcp"), QStringLiteral("-screen"),
                      QStringLiteral("300x200")});
        if (!_inner.waitForStarted())
            QSKIP("Xephyr is not installed");
        QVERIFY(await([this] { return _inner.canReadLine(); }));
        _display = ":" + _inner.readLine().trimmed();
        _outer = X11Connection::open();
        QVERIFY(_outer);
    }
    void cleanupTestCase() {
        _inner.kill();
        _inner.waitForFinished();
    }

    void heldModifierIsTakenOutOfTheWayAndPutBack_data() {
        QTest::addColumn<int>("key");
        QTest::addColumn<int>("state");
        QTest::addColumn<QString>("strokes");
        QTest::newRow("Shift") << 50 << int(XCB_MOD_MASK_SHIFT)
                               << QStringLiteral("-50 +37 +55 -55 -37 +50");
        QTest::newRow("Control") << 37 << int(XCB_MOD_MASK_CONTROL)
                                 << QStringLiteral("-37 +37 +55 -55 -37 +37");
        QTest::newRow("Alt") << 64 << int(XCB_MOD_MASK_1)
                             << QStringLiteral("+37 -64 +55 -55 -37 +64");
    }
    void heldModifierIsTakenOutOfTheWayAndPutBack() {
        QFETCH(int, key);
        QFETCH(int, state);
        QFETCH(QString, strokes);
        KeyWindow window(_display);
        const auto connection = X11Connection::open(_display);
        QVERIFY(hasXTestSupport(*connection));
        XTestKeyboardEvents keyboard(connection);
        // The window manager outside has to give the keys to the inner server first: a key that
        // went down before is no news to anybody afterwards.
        QVERIFY(await([this] { return activeWindowOutside() != XCB_NONE; }));
        QVERIFY(await([&] {
            type(key, true);
            window.roundTrip();
            QCoreApplication::processEvents();
            return !window.strokes.isEmpty();
        }));
        window.strokes.clear();
        window.states.clear();

        for (int round = 1; round <= 2; ++round) {
            keyboard.paste();
            QVERIFY2(await([&] { return window.strokes.size() == 6; }),
                     qPrintable(window.strokes.join(u' ')));
            QCOMPARE(window.strokes.join(u' '), strokes);
            QCOMPARE(window.states.at(2), int(XCB_MOD_MASK_CONTROL));
            window.strokes.clear();
            window.states.clear();
        }

        // What the user still holds acts on what he types, and no longer than he holds it.
        type(38, true);
        type(38, false);
        QVERIFY(await([&] { return window.states.size() == 2; }));
        QCOMPARE(window.states.first(), state);
        type(key, false);
        type(38, true);
        type(38, false);
        QVERIFY(await([&] { return window.states.size() == 5; }));
        QCOMPARE(window.states.at(3), 0);

        // Nothing of it is in the way of the next stroke.
        window.strokes.clear();
        keyboard.paste();
        QVERIFY(await([&] { return window.strokes.contains(QStringLiteral("-37")); }));
        QCOMPARE(window.strokes.join(u' '), QStringLiteral("+37 +55 -55 -37"));
    }

private:
    void type(int key, bool isDown) {
        xcb_test_fake_input(_outer->xcb(), isDown ? XCB_KEY_PRESS : XCB_KEY_RELEASE, quint8(key),
                            XCB_CURRENT_TIME, XCB_NONE, 0, 0, 0);
        (void)_outer->reply(xcb_get_input_focus_reply, xcb_get_input_focus(_outer->xcb()));
    }

    [[nodiscard]] xcb_window_t activeWindowOutside() const {
        constexpr std::string_view name = "_NET_ACTIVE_WINDOW";
        const auto atom =
            _outer->reply(xcb_intern_atom_reply,
                          xcb_intern_atom(_outer->xcb(), 0, uint16_t(name.size()), name.data()));
        const xcb_window_t root = xcb_setup_roots_iterator(xcb_get_setup(_outer->xcb())).data->root;
        const auto property = _outer->reply(
            xcb_get_property_reply,
            xcb_get_property(_outer->xcb(), 0, root, atom->atom, XCB_ATOM_WINDOW, 0, 1));
        if (!property || xcb_get_property_value_length(property.get()) < int(sizeof(xcb_window_t)))
            return XCB_NONE;
        return *static_cast<const xcb_window_t *>(xcb_get_property_value(property.get()));
    }

    QtRunLoop _runLoop;
    RunLoop::Installation _installation{_runLoop};
    QProcess _inner;
    QByteArray _display;
    std::shared_ptr<X11Connection> _outer;
};

QTEST_GUILESS_MAIN(X11HeldKeysTest)
#include "tst_x11_heldkeys.moc"
