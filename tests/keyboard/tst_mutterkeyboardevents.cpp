// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/keyboard/KeyboardEvents.h"
#include "platform/mutter/MutterKeyboard.h"
#include "platform/session/Session.h"
#include "platform/wayland/WaylandConnection.h"
#include "tests/kit/Await.h"
#include "tests/kit/FakeMutter.h"
#include "tests/kit/Keymaps.h"
#include "tests/kit/ManualRunLoop.h"
#include "tests/kit/TestCase.h"
#include "tests/kit/TestCompositor.h"
#include "tests/services/PrivateBus.h"

#include <QTest>

#include <optional>

using namespace clipmule;
using namespace clipmule::kit;

class MutterKeyboardEventsTest final : public kit::TestCase, private WaylandObserver {
    Q_OBJECT

    void begin() override {
        _pasteKeys.reset();
        PrivateBus &bus = PrivateBus::running();
        qputenv("DBUS_SESSION_BUS_ADDRESS", bus.address().toUtf8());
        _mutter.emplace(bus.address());
        _mutter->appear();
        _session.mutter = MutterConnection::open();
        _compositor.emplace(
            TestCompositor::Offers{.agreed = false, .wlroots = false, .keyboards = false});
        qputenv("WAYLAND_DISPLAY", _compositor->display());
        _session.wayland = WaylandConnection::open();
        _keyboard = makeKeyboardEvents(_session, [this] { return _pasteKeys; });
        QVERIFY(calls(1));
        _mutter->settle(*_session.mutter);
    }
    void end() override {
        _keyboard.reset();
        _session = {};
        _mutter.reset();
        _compositor.reset();
    }

private Q_SLOTS:
    void itSaysWhatItIs() { QCOMPARE(_keyboard->description(), QStringLiteral("mutter")); }

    void eachStrokeHasASession_data() {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("typed");
        QTest::newRow("nothing known")
            << QString() << QStringLiteral("29 down, 47 down, 47 up, 29 up");
        QTest::newRow("named") << QStringLiteral("Shift+Insert")
                               << QStringLiteral("42 down, 110 down, 110 up, 42 up");
        QTest::newRow("nothing") << QStringLiteral("None") << QString();
    }
    void eachStrokeHasASession() {
        QFETCH(QString, name);
        QFETCH(QString, typed);
        if (!name.isNull())
            _pasteKeys = name;
        _keyboard->paste();
        _mutter->settle(*_session.mutter);
        QStringList expected{QStringLiteral("CreateSession")};
        if (!typed.isEmpty()) {
            expected.append(QStringLiteral("1 Start"));
            for (const QString &key : typed.split(QStringLiteral(", ")))
                expected.append(QStringLiteral("1 NotifyKeyboardKeycode ") + key);
            expected.append({QStringLiteral("1 Stop"), QStringLiteral("CreateSession")});
        }
        QCOMPARE(_mutter->calls, expected);
    }

    // By the number of the key where that is the same in all groups, else by the symbol.
    void theKeyIsThatOfTheUsersLayout_data() {
        QTest::addColumn<QByteArray>("layouts");
        QTest::addColumn<QByteArray>("variants");
        QTest::addColumn<QString>("key");
        const QString code = QStringLiteral("1 NotifyKeyboardKeycode %1 down");
        QTest::newRow("English") << QByteArray("us") << QByteArray() << code.arg(47);
        QTest::newRow("Dvorak") << QByteArray("us") << QByteArray("dvorak") << code.arg(52);
        QTest::newRow("Greek") << QByteArray("gr") << QByteArray() << code.arg(47);
        QTest::newRow("Greek beside Dvorak")
            << QByteArray("gr,us") << QByteArray(",dvorak") << code.arg(52);
        QTest::newRow("English beside Dvorak") << QByteArray("us,us") << QByteArray(",dvorak")
                                               << QStringLiteral("1 NotifyKeyboardKeysym 118 down");
    }
    void theKeyIsThatOfTheUsersLayout() {
        QFETCH(QByteArray, layouts);
        QFETCH(QByteArray, variants);
        QFETCH(QString, key);
        _compositor->setKeymap(TestCompositor::Keymap{.text = keymapText(layouts, variants)});
        // What the seat has is told first; then it is asked for it.
        for (int round = 0; round < 2; ++round) {
            bool isServed = false;
            _session.wayland->whenServed(this, [&] { isServed = true; });
            QVERIFY(await([&] { return isServed; }));
        }
        _keyboard->paste();
        QVERIFY(calls(8));
        QCOMPARE(_mutter->calls.at(2), QStringLiteral("1 NotifyKeyboardKeycode 29 down"));
        QCOMPARE(_mutter->calls.at(3), key);
    }

    // The next one is there before it is needed, and nobody waits in between.
    void strokesKeepTheirOrder() {
        _keyboard->paste();
        _pasteKeys = QStringLiteral("Shift+Insert");
        _keyboard->paste();
        QVERIFY(calls(15));
        QCOMPARE(_mutter->calls.at(7), QStringLiteral("CreateSession"));
        QCOMPARE(_mutter->calls.at(8), QStringLiteral("2 Start"));
        QCOMPARE(_mutter->calls.at(9), QStringLiteral("2 NotifyKeyboardKeycode 42 down"));
        QCOMPARE(_mutter->calls.at(14), QStringLiteral("CreateSession"));
        _runLoop.advance(MutterKeyboard::patience);
    }

    // A later one would paste what came to the clipboard next.
    void aStrokeDoesNotWaitLong() {
        _mutter->silent.insert(QStringLiteral("CreateSession"));
        _keyboard->paste();
        _keyboard->paste();
        QVERIFY(calls(8));
        _runLoop.advance(MutterKeyboard::patience - RunLoop::Seconds(0.001));
        QTest::ignoreMessage(QtWarningMsg,
                             "the compositor has no session for a key stroke: it is not made");
        _runLoop.advance(RunLoop::Seconds(0.001));
        _mutter->silent.clear();
        _mutter->answerHeld();
        _mutter->settle(*_session.mutter);
        QCOMPARE(_mutter->calls.size(), 8);
        _keyboard->paste();
        QVERIFY(calls(15));
    }

    void aRefusedStrokeIsSaid() {
        _mutter->errors[QStringLiteral("Start")] = QStringLiteral("not\nnow");
        QTest::ignoreMessage(QtWarningMsg,
                             "the compositor takes no key strokes from us: not\\nnow");
        _keyboard->paste();
        _mutter->settle(*_session.mutter);
        _mutter->errors.clear();
        _keyboard->paste();
        _mutter->settle(*_session.mutter);
        QVERIFY(_mutter->calls.contains(QStringLiteral("2 Stop")));
    }

    void withoutACompositorThereAreNone() {
        _mutter->vanish();
        QVERIFY(await([&] { return !_session.mutter->isThere(); }));
        QTest::ignoreMessage(QtWarningMsg,
                             "the compositor takes no key strokes from us at the moment");
        _keyboard->paste();
        _mutter->appear();
        QVERIFY(calls(2));
        _mutter->settle(*_session.mutter);
        _keyboard->paste();
        _mutter->settle(*_session.mutter);
        QVERIFY(_mutter->calls.contains(QStringLiteral("2 Start")));
    }

private:
    [[nodiscard]] bool calls(qsizetype count) {
        return await([&] { return _mutter->calls.size() >= count; });
    }

    ManualRunLoop _runLoop;
    RunLoop::Installation _installation{_runLoop};
    std::optional<TestCompositor> _compositor;
    std::optional<FakeMutter> _mutter;
    Session _session;
    std::optional<QString> _pasteKeys;
    std::unique_ptr<KeyboardEvents> _keyboard;
};

QTEST_GUILESS_MAIN(MutterKeyboardEventsTest)
#include "tst_mutterkeyboardevents.moc"
