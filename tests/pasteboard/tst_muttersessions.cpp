// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "tests/kit/TestCase.h"
#include "tests/pasteboard/MutterDesktop.h"
#include "tests/pasteboard/Pipes.h"

#include <QTest>

#include <optional>

using namespace clipmule;
using namespace clipmule::kit;

namespace {

const QString plain = QStringLiteral("text/plain");

} // namespace

// What becomes of the clipboard when the compositor takes its session, or goes.
class MutterSessionsTest final : public kit::TestCase {
    Q_OBJECT

    void begin() override { _desktop.emplace(); }
    void end() override { _desktop.reset(); }

private Q_SLOTS:
    // As when the screen is locked: sessions are closed, and none are given until it is not.
    void aClosedSessionIsAskedForAgain() {
        copy({{plain, "theirs"}});
        QVERIFY(_desktop->fetchEnds());
        mutter().errors[QStringLiteral("CreateSession")] = QStringLiteral("inhibited");
        mutter().closeSessions();
        _desktop->settle();
        QCOMPARE(mutter().calls.count(QStringLiteral("CreateSession")), 1);
        for (int refusals = 1; refusals <= 3; ++refusals) {
            _desktop->runLoop.advance(MutterSession::retryInterval);
            _desktop->settle();
            QCOMPARE(mutter().calls.count(QStringLiteral("CreateSession")), 1 + refusals);
        }
        mutter().errors.clear();
        _desktop->runLoop.advance(MutterSession::retryInterval);
        _desktop->settle();
        // What was there before was read.
        QVERIFY(!_desktop->pasteboard->isFetching());
        QCOMPARE(_desktop->pasteboard->changeCount(), 1);
        QCOMPARE(_desktop->pasteboard->contents().text, std::optional<QByteArray>("theirs"));
        copy({{plain, "new"}});
        QVERIFY(_desktop->fetchEnds());
        QCOMPARE(_desktop->pasteboard->contents().text, std::optional<QByteArray>("new"));
    }

    void whatIsWrittenWithoutASessionIsOfferedWithTheNext() {
        copy({{plain, "theirs"}});
        QVERIFY(_desktop->fetchEnds());
        mutter().errors[QStringLiteral("CreateSession")] = QStringLiteral("inhibited");
        mutter().closeSessions();
        _desktop->settle();
        _desktop->pasteboard->write({.text = "ours"});
        mutter().errors.clear();
        _desktop->runLoop.advance(MutterSession::retryInterval);
        _desktop->settle();
        QCOMPARE(paste("text/plain"), "ours");
        QCOMPARE(_desktop->pasteboard->contents().text, std::optional<QByteArray>("ours"));
    }

    // The compositor keeps one form of what we owned when it takes the session.
    void whatWeOwnedIsOfferedAgain_data() {
        QTest::addColumn<QString>("kept");
        QTest::addColumn<bool>("isOurs");
        QTest::newRow("kept") << QStringLiteral("text/plain") << true;
        QTest::newRow("not kept") << QString() << true;
        QTest::newRow("somebody copied") << QStringLiteral("text/x-other") << false;
    }
    void whatWeOwnedIsOfferedAgain() {
        QFETCH(QString, kept);
        QFETCH(bool, isOurs);
        copy({{QStringLiteral("text/x-before"), "theirs"}});
        QVERIFY(_desktop->fetchEnds());
        _desktop->pasteboard->write({.text = "ours", .html = "<i>ours</i>"});
        _desktop->settle();
        mutter().closeSessions();
        if (!kept.isNull())
            mutter().copy({{kept, "ours"}});
        _desktop->settle();
        _desktop->runLoop.advance(MutterSession::retryInterval);
        if (isOurs) {
            _desktop->settle();
            QCOMPARE(paste("text/html"), "<i>ours</i>");
            QCOMPARE(_desktop->pasteboard->changeCount(), 2);
        } else {
            QVERIFY(_desktop->fetchEnds());
            QCOMPARE(mutter().ownTypes(), QStringList());
            QCOMPARE(_desktop->pasteboard->changeCount(), 3);
            mutter().askFor(plain, 5);
            QVERIFY(await([&] { return !mutter().writesDone.isEmpty(); }));
            QCOMPARE(mutter().writesDone.last(), (std::pair<uint, bool>(5, false)));
        }
    }

    void whatIsCopiedMeanwhileIsTaken() {
        copy({{plain, "before"}});
        QVERIFY(_desktop->fetchEnds());
        mutter().closeSessions();
        copy({{QStringLiteral("text/html"), "<b>meanwhile</b>"}});
        _desktop->settle();
        _desktop->runLoop.advance(MutterSession::retryInterval);
        QVERIFY(_desktop->fetchEnds());
        QCOMPARE(_desktop->pasteboard->contents().html,
                 std::optional<QByteArray>("<b>meanwhile</b>"));
    }

    void whatWasClearedMeanwhileIsNoCopy() {
        _desktop.reset();
        _desktop.emplace(FindPasteboardAudience(), FakeMutter::Contents{{plain, "before"}});
        mutter().clear();
        _desktop->settle();
        reopen();
        QVERIFY(!_desktop->pasteboard->isFetching());
        QCOMPARE(_desktop->pasteboard->changeCount(), 0);
    }

    void anotherCompositorGivesAnotherSession() {
        _desktop->pasteboard->write({.text = "ours"});
        _desktop->settle();
        mutter().silent.insert(QStringLiteral("SetSelection"));
        _desktop->pasteboard->write({.text = "never answered"});
        _desktop->settle();
        mutter().vanish();
        QVERIFY(await([&] { return !_desktop->connection->isThere(); }));
        mutter().silent.clear();
        _desktop->runLoop.advance(MutterDataControl::answerLimit);
        // There is none to own.
        _desktop->pasteboard->write({.text = "lost"});
        QVERIFY(_desktop->pasteboard->contents().isEmpty());
        mutter().appear();
        QVERIFY(
            await([&] { return mutter().calls.contains(QStringLiteral("2 EnableClipboard")); }));
        _desktop->pasteboard->write({.text = "new"});
        _desktop->settle();
        QCOMPARE(paste("text/plain"), "new");
    }

    void anotherBusGivesAnotherSession() {
        _desktop->bus.stop();
        QVERIFY(await([&] { return !_desktop->connection->isThere(); }));
        _desktop->mutter.reset();
        QVERIFY(_desktop->bus.start());
        _desktop->mutter.emplace(_desktop->bus.address());
        mutter().appear();
        // The compositor's end may be noticed before that of the bus.
        QVERIFY(await([&] {
            if (!_desktop->connection->isThere())
                _desktop->runLoop.advance(BusConnection::retryInterval);
            return mutter().calls.contains(QStringLiteral("1 EnableClipboard"));
        }));
        QCOMPARE(mutter().calls.count(QStringLiteral("CreateSession")), 1);
        copy({{plain, "new"}});
        QVERIFY(_desktop->fetchEnds());
        QCOMPARE(_desktop->pasteboard->contents().text, std::optional<QByteArray>("new"));
    }

    void aClipboardThatIsRefusedIsSaid() {
        mutter().errors[QStringLiteral("EnableClipboard")] =
            QStringLiteral("no clipboard\nfor you");
        mutter().closeSessions();
        _desktop->settle();
        _desktop->pasteboard->write({.text = "waiting"});
        QTest::ignoreMessage(QtWarningMsg, "the compositor does not let us have its clipboard: "
                                           "no clipboard\\nfor you");
        _desktop->runLoop.advance(MutterSession::retryInterval);
        QVERIFY(
            await([&] { return mutter().calls.contains(QStringLiteral("2 EnableClipboard")); }));
        _desktop->settle();
        // What nobody watches is let go of, unless it is ours.
        _desktop->pasteboard->setWatching(false);
        QVERIFY(_desktop->pasteboard->contents().isEmpty());
        _desktop->pasteboard->write({.text = "lost"});
        QVERIFY(_desktop->pasteboard->contents().isEmpty());
        QCOMPARE(mutter().calls.count(QStringLiteral("CreateSession")), 2);
    }

    void aSessionThatIsNeverGivenIsSaid() {
        mutter().silent.insert(QStringLiteral("CreateSession"));
        mutter().closeSessions();
        _desktop->settle();
        _desktop->runLoop.advance(MutterSession::retryInterval);
        _desktop->settle();
        QTest::ignoreMessage(QtWarningMsg, "the compositor does not answer us");
        _desktop->runLoop.advance(MutterSession::answerLimit);
        _desktop->runLoop.advance(RunLoop::Seconds(3600));
        QCOMPARE(mutter().calls.count(QStringLiteral("CreateSession")), 2);
        mutter().silent.clear();
        mutter().answerHeld();
        _desktop->settle();
        copy({{plain, "new"}});
        QVERIFY(_desktop->fetchEnds());
        QCOMPARE(_desktop->pasteboard->contents().text, std::optional<QByteArray>("new"));
    }

    void anAnswerToAnEarlierRequestIsNobodys() {
        mutter().silent.insert(QStringLiteral("CreateSession"));
        mutter().closeSessions();
        _desktop->settle();
        _desktop->runLoop.advance(MutterSession::retryInterval);
        _desktop->settle();
        mutter().vanish();
        QVERIFY(await([&] { return !_desktop->connection->isThere(); }));
        // It has gone, and owes no answer.
        _desktop->runLoop.advance(MutterSession::answerLimit);
        mutter().silent.clear();
        mutter().appear();
        QVERIFY(
            await([&] { return mutter().calls.contains(QStringLiteral("2 EnableClipboard")); }));
        mutter().answerHeld();
        _desktop->settle();
        QVERIFY(!mutter().calls.contains(QStringLiteral("3 EnableClipboard")));
        copy({{plain, "new"}});
        QVERIFY(_desktop->fetchEnds());
        QCOMPARE(_desktop->pasteboard->contents().text, std::optional<QByteArray>("new"));
    }

    // What an earlier session was asked for says nothing of this one.
    void answersOfAClosedSessionAreNobodys() {
        mutter().silent.insert(QStringLiteral("EnableClipboard"));
        reopen();
        mutter().silent.clear();
        reopen();
        QVERIFY(mutter().calls.contains(QStringLiteral("3 EnableClipboard")));
        mutter().answerHeld();
        _desktop->settle();
        _desktop->pasteboard->write({.text = "ours"});
        _desktop->settle();
        QCOMPARE(paste("text/plain"), "ours");
    }

    void whatIsAwaitedOfAClosedSessionIsForgotten() {
        _desktop->pasteboard->write({.text = QByteArray(1'000'000, 'x')});
        _desktop->settle();
        Pipe reader;
        reader.reading = mutter().paste(plain);
        QVERIFY(await([&] { return !reader.read().isEmpty(); }));
        mutter().silent = {QStringLiteral("SelectionWrite"), QStringLiteral("SetSelection")};
        for (int number = 0; number < MutterDataControl::mostRequests; ++number)
            mutter().askFor(plain, 1000 + uint(number));
        _desktop->pasteboard->write({.text = "ours"});
        _desktop->settle();
        mutter().silent.clear();
        mutter().closeSessions();
        _desktop->settle();
        // A reader is served to the end, of which there is nobody to tell.
        QVERIFY(!reader.readAll().isEmpty());
        _desktop->runLoop.advance(MutterDataControl::answerLimit);
        _desktop->settle();
        QCOMPARE(paste("text/plain"), "ours");
        QVERIFY(await([&] { return !mutter().writesDone.isEmpty(); }));
        QCOMPARE(mutter().writesDone, (QList<std::pair<uint, bool>>{{2, true}}));
    }

    void theSessionsOfOthersAreNotOurs() {
        copy({{plain, "here"}});
        QVERIFY(_desktop->fetchEnds());
        bool isMade = false;
        _desktop->connection->call(QStringLiteral("/org/gnome/Mutter/RemoteDesktop"),
                                   QStringLiteral("org.gnome.Mutter.RemoteDesktop"),
                                   QStringLiteral("CreateSession"), {}, this,
                                   [&](const QDBusMessage &) { isMade = true; });
        QVERIFY(await([&] { return isMade; }));
        mutter().say(QStringLiteral("SelectionOwnerChanged"), {QVariantMap()});
        mutter().say(QStringLiteral("SelectionTransfer"), {plain, 9U});
        mutter().say(QStringLiteral("Closed"), {});
        _desktop->settle();
        QCOMPARE(_desktop->pasteboard->contents().text, std::optional<QByteArray>("here"));
        QVERIFY(mutter().writesDone.isEmpty());
        _desktop->runLoop.advance(MutterSession::retryInterval);
        _desktop->settle();
        QCOMPARE(mutter().calls.count(QStringLiteral("CreateSession")), 2);
    }

    void whatIsWrittenBeforeTheFirstSessionIsOffered() {
        _desktop.reset();
        ManualRunLoop runLoop;
        const RunLoop::Installation installation(runLoop);
        FakeMutter fake(PrivateBus::running().address());
        fake.appear();
        fake.copy({{QStringLiteral("text/x-before"), "before"}});
        const auto connection = MutterConnection::open();
        WaylandPasteboard pasteboard(std::make_unique<MutterDataControl>(connection));
        pasteboard.setWatching(true);
        pasteboard.write({.text = "ours"});
        FakeMutter::settle(*connection);
        Pipe reader;
        reader.reading = fake.paste(plain);
        QCOMPARE(reader.readAll(), "ours");
        QCOMPARE(pasteboard.contents().text, std::optional<QByteArray>("ours"));
        QCOMPARE(pasteboard.changeCount(), 1);
    }

    void withoutASessionNothingIsAskedFor() {
        copy({{plain, "theirs"}});
        QVERIFY(await([&] { return _desktop->pasteboard->isFetching(); }));
        mutter().closeSessions();
        _desktop->settle();
        _desktop->runLoop.advance(PasteboardHistory::settleTime);
        _desktop->runLoop.advance(RunLoop::Seconds(0));
        QVERIFY(!_desktop->pasteboard->isFetching());
        QVERIFY(mutter().asked.isEmpty());
    }

    void aPathThatIsNoneIsARefusal() {
        mutter().errors[QStringLiteral("CreateSession")] = QString();
        mutter().closeSessions();
        _desktop->settle();
        _desktop->runLoop.advance(MutterSession::retryInterval);
        _desktop->settle();
        mutter().errors.clear();
        _desktop->runLoop.advance(MutterSession::retryInterval);
        _desktop->settle();
        copy({{plain, "new"}});
        QVERIFY(_desktop->fetchEnds());
    }

private:
    [[nodiscard]] FakeMutter &mutter() { return *_desktop->mutter; }
    void copy(const FakeMutter::Contents &contents) { mutter().copy(contents); }
    [[nodiscard]] QByteArray paste(const char *type) {
        Pipe pipe;
        pipe.reading = mutter().paste(QString::fromLatin1(type));
        return pipe.readAll();
    }
    void reopen() {
        mutter().closeSessions();
        _desktop->settle();
        _desktop->runLoop.advance(MutterSession::retryInterval);
        _desktop->settle();
    }

    std::optional<MutterDesktop> _desktop;
};

QTEST_GUILESS_MAIN(MutterSessionsTest)
#include "tst_muttersessions.moc"
