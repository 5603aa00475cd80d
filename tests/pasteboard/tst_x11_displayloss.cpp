// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/foundation/QtRunLoop.h"
#include "platform/keyboard/backends/xtest/XTestKeyboardEvents.h"
#include "platform/pasteboard/backends/x11/X11Pasteboard.h"
#include "platform/session/Session.h"
#include "platform/windows/backends/x11/X11ActiveApplication.h"
#include "tests/kit/Await.h"
#include "tests/kit/TestCase.h"

#include <QProcess>
#include <QTest>

using namespace clipmule;
using clipmule::kit::await;

// A display server of the test's own, which dies.
class X11DisplayLossTest final : public kit::TestCase {
    Q_OBJECT

    void begin() override {
        _server.start(QStringLiteral("Xvfb"),
                      {QStringLiteral("-displayfd"), QStringLiteral("1"),
                       QStringLiteral("-noreset"), QStringLiteral("-nolisten"),
                       QStringLiteral("tcp"), QStringLiteral("-screen"), QStringLiteral("0"),
                       QStringLiteral("64x64x24")});
        QVERIFY(await([this] { return _server.canReadLine(); }));
        _display = ":" + _server.readLine().trimmed();
    }

    void end() override {
        _server.kill();
        _server.waitForFinished();
    }

private Q_SLOTS:
    void everybodyGoesOnWithoutIt() {
        const auto connection = X11Connection::open(_display);
        QVERIFY(connection);
        const auto pasteboard = makePasteboard({connection});
        QVERIFY(dynamic_cast<X11Pasteboard *>(pasteboard.get()));
        XTestKeyboardEvents keyboard(connection);
        const X11ActiveApplication application(
            connection, KnownPrograms({}, std::make_unique<DesktopFiles>(QStringList())));
        pasteboard->write({.text = "x"});
        int losses = 0;
        whenDisplayIsLost({connection}, [&] { ++losses; });

        QTest::ignoreMessage(QtWarningMsg, "the X11 display server has gone");
        _server.kill();
        QVERIFY(await([&] { return losses > 0; }));
        QCOMPARE(losses, 1);
        QVERIFY(connection->isLost());
        QVERIFY(pasteboard->contents().isEmpty());
        pasteboard->write({.text = "y"});
        QVERIFY(pasteboard->contents().isEmpty());
        pasteboard->setWatching(false);
        pasteboard->setWatching(true);
        keyboard.paste();
        QCOMPARE(application.identifier(), std::nullopt);
        bool isDone = false;
        pasteboard->prepareToQuit([&] { isDone = true; });
        QVERIFY(isDone);
    }

    // The death is found out in the middle of a question, not by the run loop.
    void questionsAfterTheDeathHaveNoAnswer() {
        const auto connection = X11Connection::open(_display);
        const X11ActiveApplication application(
            connection, KnownPrograms({}, std::make_unique<DesktopFiles>(QStringList())));
        XTestKeyboardEvents keyboard(connection);
        const auto pasteboard = makePasteboard({connection});
        _server.kill();
        _server.waitForFinished();
        QCOMPARE(application.identifier(), std::nullopt);
        QTest::ignoreMessage(QtWarningMsg, "the keyboard layout has no key for this stroke, and "
                                           "none to spare");
        keyboard.paste();
        pasteboard->write({.text = "y"});
        QTest::ignoreMessage(QtWarningMsg, "the X11 display server has gone");
        QVERIFY(await([&] { return connection->isLost(); }));
        QVERIFY(pasteboard->contents().isEmpty());
    }

    void quittingHandOverEndsWithTheServer() {
        const auto connection = X11Connection::open(_display);
        const auto pasteboard = makePasteboard({connection});
        pasteboard->write({.text = "y"});
        int calls = 0;
        pasteboard->prepareToQuit([&] { ++calls; });
        QVERIFY(await([&] { return pasteboard->isAccessible(); }));
        QTest::ignoreMessage(QtWarningMsg, "the X11 display server has gone");
        _server.kill();
        QVERIFY(await([&] { return connection->isLost(); }));
        QCOMPARE(calls, 1);
        QVERIFY(!pasteboard->isAccessible());
    }

    void missingDisplayIsSaid() {
        const QByteArray display = qgetenv("DISPLAY");
        qputenv("DISPLAY", ":54321");
        QTest::ignoreMessage(QtWarningMsg, "the X11 display \":54321\" cannot be opened");
        QVERIFY(!openSession().x11);
        qunsetenv("DISPLAY");
        QTest::ignoreMessage(QtInfoMsg, "there is no X11 display in this session");
        const auto connection = openSession().x11;
        QVERIFY(!connection);
        qputenv("DISPLAY", display);
        const auto pasteboard = makePasteboard({connection});
        QCOMPARE(pasteboard->description(), QStringLiteral("none"));
        whenDisplayIsLost({connection}, [] {});
    }

private:
    QtRunLoop _runLoop;
    RunLoop::Installation _installation{_runLoop};
    QProcess _server;
    QByteArray _display;
};

QTEST_GUILESS_MAIN(X11DisplayLossTest)
#include "tst_x11_displayloss.moc"
