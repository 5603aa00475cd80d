// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/keyboard/KeyboardEvents.h"
#include "platform/session/Session.h"
#include "platform/wayland/WaylandConnection.h"
#include "tests/kit/Await.h"
#include "tests/kit/ManualRunLoop.h"
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
};

QTEST_GUILESS_MAIN(WaylandKeyboardEventsTest)
#include "tst_waylandkeyboardevents.moc"
