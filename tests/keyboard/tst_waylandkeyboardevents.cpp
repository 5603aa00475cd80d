// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/keyboard/KeyboardEvents.h"
#include "platform/keyboard/backends/wayland/WaylandKeyboardEvents.h"
#include "platform/session/Session.h"
#include "platform/wayland/WaylandConnection.h"
#include "platform/wayland/WaylandDataControl.h"
#include "tests/kit/Await.h"
#include "tests/kit/ManualRunLoop.h"
#include "tests/kit/Served.h"
#include "tests/kit/TestCase.h"
#include "tests/kit/TestCompositor.h"

#include <QTest>

#include <optional>

using namespace clipmule;
using namespace clipmule::kit;

class WaylandKeyboardEventsTest final : public kit::TestCase {
    Q_OBJECT

    void begin() override {
        _pasteKeys.reset();
        open({});
    }
    void end() override {
        _clipboard.reset();
        _keyboard.reset();
        _session = {};
        _compositor.reset();
    }

private Q_SLOTS:
    void itSaysWhatItIs() {
        QCOMPARE(_keyboard->description(), QStringLiteral("virtual-keyboard"));
    }

    void pastes_data() {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QByteArray>("typed");
        const QByteArray usual =
            "press 29, modifiers 4, press 47, release 47, release 29, modifiers 0";
        QTest::newRow("nothing known") << QString() << usual;
        QTest::newRow("named") << QStringLiteral("Shift+Insert")
                               << QByteArray("press 42, modifiers 1, press 110, release 110, "
                                             "release 42, modifiers 0");
        QTest::newRow("nothing") << QStringLiteral("None") << QByteArray();
    }
    void pastes() {
        QFETCH(QString, name);
        QFETCH(QByteArray, typed);
        if (!name.isNull())
            _pasteKeys = name;
        _keyboard->paste();
        const QByteArray all = typed.isEmpty() ? QByteArray("keymap us") : "keymap us, " + typed;
        QVERIFY(await([&] { return _compositor->typed().join(", ").size() >= all.size(); }));
        QCOMPARE(_compositor->typed().join(", "), all);
    }

    void kdeHasFakeInput() {
        open({.keyboards = false, .fakeInput = 4});
        QCOMPARE(_keyboard->description(), QStringLiteral("fake-input"));
        QCOMPARE(_keyboard->obstacle(), QString());
        _keyboard->paste();
        QVERIFY(await([&] {
            return _compositor->typed().join(", ").endsWith("press 47, release 47, release 29");
        }));
    }

    void heldModifiersAreWaitedFor() {
        openKde();
        const int timers = _runLoop.pendingCount();
        hold(shift);
        _keyboard->paste();
        _runLoop.advance(WaylandKeyboardEvents::patience - RunLoop::Seconds(0.001));
        QCOMPARE(pasted(), 0);
        letGo(shift);
        QCOMPARE(pasted(), 1);
        // Once.
        hold(shift);
        letGo(shift);
        QCOMPARE(pasted(), 1);
        QCOMPARE(_runLoop.pendingCount(), timers);
    }

    void nobodyIsWaitedForWithoutHeldModifiers() {
        openKde();
        const int timers = _runLoop.pendingCount();
        hold(shift);
        letGo(shift);
        _keyboard->paste();
        QCOMPARE(pasted(), 1);
        QCOMPARE(_runLoop.pendingCount(), timers);
    }

    void aCompositorThatTellsNothingIsNotWaitedFor() {
        openKde();
        _keyboard->paste();
        QCOMPARE(pasted(), 1);
    }

    void modifiersThatStayHeldAreNotWaitedForLong() {
        openKde();
        hold(shift);
        _keyboard->paste();
        QTest::ignoreMessage(QtInfoMsg, "not pasted: modifier keys are held");
        _runLoop.advance(WaylandKeyboardEvents::patience);
        letGo(shift);
        QCOMPARE(pasted(), 0);
        _keyboard->paste();
        QCOMPARE(pasted(), 1);
    }

    // What is on the clipboard then is pasted, and nothing twice.
    void theNextPasteTakesThePlaceOfOneThatWaits() {
        openKde();
        hold(shift);
        _keyboard->paste();
        _runLoop.advance(WaylandKeyboardEvents::patience - RunLoop::Seconds(0.001));
        _keyboard->paste();
        _runLoop.advance(WaylandKeyboardEvents::patience - RunLoop::Seconds(0.001));
        letGo(shift);
        QCOMPARE(pasted(), 1);
        _keyboard->paste();
        QCOMPARE(pasted(), 2);
    }

    // The user cuts something with the very key that is held: it would be put back.
    void whatOthersCopyIsNotPasted() {
        openKde();
        hold(control);
        _keyboard->paste();
        _compositor->copy({{"text/plain", "cut"}});
        serve();
        QTest::ignoreMessage(QtInfoMsg,
                             "not pasted: while modifier keys were held the clipboard has changed");
        letGo(control);
        QCOMPARE(pasted(), 0);
        hold(control);
        _keyboard->paste();
        letGo(control);
        QCOMPARE(pasted(), 1);
    }

    void whatWeWriteBeforeIsPastedAndAfterwardsIsNot() {
        openKde();
        hold(shift);
        QVERIFY(_clipboard->own({QStringLiteral("text/plain")}));
        _keyboard->paste();
        serve();
        letGo(shift);
        QCOMPARE(pasted(), 1);
        // A clip that is not to be pasted.
        hold(shift);
        _keyboard->paste();
        QVERIFY(_clipboard->own({QStringLiteral("text/plain")}));
        serve();
        QTest::ignoreMessage(QtInfoMsg,
                             "not pasted: while modifier keys were held the clipboard has changed");
        letGo(shift);
        QCOMPARE(pasted(), 1);
    }

    // Another window may have come to the front.
    void theKeysAreThoseOfTheMoment() {
        openKde();
        hold(shift);
        _keyboard->paste();
        _pasteKeys = QStringLiteral("Shift+Insert");
        letGo(shift);
        serve();
        QVERIFY(_compositor->typed().join(", ").endsWith("press 110, release 110, release 42"));
    }

    void whoGoesWaitsNoMore() {
        openKde();
        hold(shift);
        _keyboard->paste();
        _keyboard.reset();
        letGo(shift);
        QCOMPARE(pasted(), 0);
        QCOMPARE(_runLoop.pendingCount(), 0);
    }

    void whatKeepsKeyStrokesAwayIsSaid_data() {
        QTest::addColumn<bool>("isKde");
        QTest::addColumn<QString>("obstacle");
        QTest::newRow("another") << false
                                 << QStringLiteral(
                                        "the compositor takes no key strokes from programs");
        QTest::newRow("KDE") << true
                             << QStringLiteral("no installed desktop entry has both Exec=%1 and "
                                               "X-KDE-Wayland-Interfaces=org_kde_kwin_fake_input")
                                    .arg(QCoreApplication::applicationFilePath());
    }
    void whatKeepsKeyStrokesAwayIsSaid() {
        QFETCH(bool, isKde);
        QFETCH(QString, obstacle);
        open({.keyboards = false, .plasmaShell = isKde});
        QCOMPARE(_keyboard->description(), QStringLiteral("none"));
        QCOMPARE(_keyboard->obstacle(), obstacle);
        const QString said =
            QStringLiteral("what arrives stays on the clipboard and is not pasted: ") + obstacle;
        QTest::ignoreMessage(QtWarningMsg, qPrintable(said));
        _keyboard->paste();
        _keyboard->paste();
    }

    void aNameThatIsNoneIsSaidOnce() {
        _pasteKeys = QStringLiteral("Hyper+V");
        QTest::ignoreMessage(QtWarningMsg, "no key stroke has this name: Hyper+V");
        _keyboard->paste();
        _keyboard->paste();
        QVERIFY(await([&] { return _compositor->typed().size() == 13; }));
    }

    void aCompositorThatTakesNoneIsSaid() {
        QTest::ignoreMessage(QtWarningMsg,
                             QRegularExpression(QStringLiteral("^the compositor has gone: ")));
        _compositor->disconnectClients();
        QVERIFY(await([&] { return _session.wayland->isLost(); }));
        QTest::ignoreMessage(QtWarningMsg,
                             "the compositor takes no key strokes from us at the moment");
        _keyboard->paste();
    }

private:
    // By KDE's numbers.
    static constexpr quint32 control = 4;
    static constexpr quint32 shift = 5;

    void openKde() {
        open({.keyboards = false, .fakeInput = 4, .keyStates = 5});
        // As the pasteboard does beside it.
        _clipboard = WaylandDataControl::make(_session.wayland);
        serve();
    }
    void hold(quint32 key) {
        _compositor->setKeyState(key, 3);
        serve();
    }
    void letGo(quint32 key) {
        _compositor->setKeyState(key, 0);
        serve();
    }
    // Everything that either side has sent has been heard.
    void serve() { QVERIFY(served(*_session.wayland)); }
    // How often "v" was pressed.
    int pasted() {
        serve();
        return int(_compositor->typed().count("press 47"));
    }
    void open(const TestCompositor::Offers &offers) {
        end();
        _compositor.emplace(offers);
        qputenv("WAYLAND_DISPLAY", _compositor->display());
        _session.wayland = WaylandConnection::open();
        _keyboard = makeKeyboardEvents(_session, [this] { return _pasteKeys; });
    }

    ManualRunLoop _runLoop;
    RunLoop::Installation _installation{_runLoop};
    std::optional<TestCompositor> _compositor;
    Session _session;
    std::optional<QString> _pasteKeys;
    std::unique_ptr<KeyboardEvents> _keyboard;
    std::unique_ptr<WaylandDataControl> _clipboard;
};

QTEST_GUILESS_MAIN(WaylandKeyboardEventsTest)
#include "tst_waylandkeyboardevents.moc"
