// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/keyboard/KeyboardEvents.h"
#include "platform/mutter/MutterKeyboard.h"
#include "platform/session/Session.h"
#include "tests/kit/Await.h"
#include "tests/kit/FakeMutter.h"
#include "tests/kit/ManualRunLoop.h"
#include "tests/kit/TestCase.h"
#include "tests/services/PrivateBus.h"

#include <QTest>

#include <optional>

using namespace clipmule;
using namespace clipmule::kit;

class MutterKeyboardEventsTest final : public kit::TestCase {
    Q_OBJECT

    void begin() override {
        _pasteKeys.reset();
        PrivateBus &bus = PrivateBus::running();
        qputenv("DBUS_SESSION_BUS_ADDRESS", bus.address().toUtf8());
        _mutter.emplace(bus.address());
        _mutter->appear();
        _session.mutter = MutterConnection::open();
        _keyboard = makeKeyboardEvents(_session, [this] { return _pasteKeys; });
        QVERIFY(calls(1));
        _mutter->settle(*_session.mutter);
    }
    void end() override {
        _keyboard.reset();
        _session = {};
        _mutter.reset();
    }

private Q_SLOTS:
    void itSaysWhatItIs() { QCOMPARE(_keyboard->description(), QStringLiteral("mutter")); }

    void eachStrokeHasASession_data() {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("typed");
        QTest::newRow("nothing known")
            << QString() << QStringLiteral("65507 down, 118 down, 118 up, 65507 up");
        QTest::newRow("named") << QStringLiteral("Shift+Insert")
                               << QStringLiteral("65505 down, 65379 down, 65379 up, 65505 up");
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
                expected.append(QStringLiteral("1 NotifyKeyboardKeysym ") + key);
            expected.append({QStringLiteral("1 Stop"), QStringLiteral("CreateSession")});
        }
        QCOMPARE(_mutter->calls, expected);
    }

    // The next one is there before it is needed, and nobody waits in between.
    void strokesKeepTheirOrder() {
        _keyboard->paste();
        _pasteKeys = QStringLiteral("Shift+Insert");
        _keyboard->paste();
        QVERIFY(calls(15));
        QCOMPARE(_mutter->calls.at(7), QStringLiteral("CreateSession"));
        QCOMPARE(_mutter->calls.at(8), QStringLiteral("2 Start"));
        QCOMPARE(_mutter->calls.at(9), QStringLiteral("2 NotifyKeyboardKeysym 65505 down"));
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
    std::optional<FakeMutter> _mutter;
    Session _session;
    std::optional<QString> _pasteKeys;
    std::unique_ptr<KeyboardEvents> _keyboard;
};

QTEST_GUILESS_MAIN(MutterKeyboardEventsTest)
#include "tst_mutterkeyboardevents.moc"
