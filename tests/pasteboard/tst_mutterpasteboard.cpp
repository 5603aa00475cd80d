// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/session/Session.h"
#include "platform/wayland/WaylandConnection.h"
#include "tests/kit/TestCase.h"
#include "tests/kit/TestCompositor.h"
#include "tests/pasteboard/MutterDesktop.h"
#include "tests/pasteboard/Pipes.h"

#include <QTest>

#include <optional>

using namespace clipmule;
using namespace clipmule::kit;

using Owner = FakeMutter::Owner;

namespace {

const QString plain = QStringLiteral("text/plain");

QString own(int number) {
    return QStringLiteral("application/x-clipmule-own-selection-%1").arg(number);
}

} // namespace

class MutterPasteboardTest final : public kit::TestCase {
    Q_OBJECT

    void begin() override { _desktop.emplace(); }
    void end() override { _desktop.reset(); }

private Q_SLOTS:
    void itIsChosenWhereTheCompositorHasNoDataControl_data() {
        QTest::addColumn<bool>("hasControl");
        QTest::addColumn<bool>("isThere");
        QTest::addColumn<QString>("description");
        QTest::newRow("GNOME") << false << true << QStringLiteral("mutter");
        QTest::newRow("both") << true << true << QStringLiteral("ext-data-control");
        QTest::newRow("neither") << false << false << QStringLiteral("none");
    }
    void itIsChosenWhereTheCompositorHasNoDataControl() {
        QFETCH(bool, hasControl);
        QFETCH(bool, isThere);
        QFETCH(QString, description);
        if (!isThere)
            _desktop->mutter->vanish();
        const TestCompositor compositor({.agreed = hasControl, .wlroots = hasControl});
        qputenv("WAYLAND_DISPLAY", compositor.display());
        qunsetenv("DISPLAY");
        QCOMPARE(makePasteboard(openSession())->description(), description);
    }

    void withoutABusItIsNotThere() {
        _desktop->bus.stop();
        QVERIFY(!MutterConnection::open());
    }

    // Such a session would show the user a mark.
    void theSessionIsNeverStarted() {
        _desktop->pasteboard->write({.text = "ours"});
        _desktop->settle();
        copy({{plain, "theirs"}});
        QVERIFY(_desktop->fetchEnds());
        QCOMPARE(
            mutter().calls,
            (QStringList{QStringLiteral("CreateSession"), QStringLiteral("1 EnableClipboard"),
                         QStringLiteral("1 SetSelection"), QStringLiteral("1 SelectionRead")}));
    }

    void allMeaningsAreRead_data() {
        QTest::addColumn<bool>("hasStructure");
        QTest::newRow("types in a structure") << true;
        QTest::newRow("types alone") << false;
    }
    void allMeaningsAreRead() {
        QFETCH(bool, hasStructure);
        mutter().hasStructure = hasStructure;
        copy({{QStringLiteral("text/plain;charset=utf-8"), "text"},
              {QStringLiteral("text/html"), "<b>text</b>"},
              {QStringLiteral("application/x-other"), "other"},
              {PasteboardMarker::passwordHint, "secret"}});
        QVERIFY(_desktop->fetchEnds());
        const PasteboardContents expected{
            .text = "text",
            .html = "<b>text</b>",
            .others = {{QStringLiteral("application/x-other"), "other"},
                       {PasteboardMarker::passwordHint, "secret"}}};
        QCOMPARE(_desktop->pasteboard->contents(), expected);
    }

    void whatWasThereBeforeUsIsNoCopy() {
        _desktop.reset();
        _desktop.emplace(FindPasteboardAudience(), FakeMutter::Contents{{plain, "before"}});
        QVERIFY(!_desktop->pasteboard->isFetching());
        QCOMPARE(_desktop->pasteboard->changeCount(), 0);
        QVERIFY(mutter().asked.isEmpty());
    }

    void anOwnerThatHangsLosesItsTargetOnly() {
        copy({{plain, "read"}});
        QVERIFY(_desktop->fetchEnds());
        copy({{plain, "x"}}, Owner::NeverAnswers);
        QVERIFY(_desktop->fetchBegins());
        _desktop->settle();
        QTest::ignoreMessage(QtWarningMsg,
                             "the clipboard's owner does not answer for its text/plain");
        _desktop->runLoop.advance(TargetTransfer::stepLimit);
        QVERIFY(!_desktop->pasteboard->isFetching());
        QCOMPARE(_desktop->pasteboard->contents().text, std::optional<QByteArray>("read"));
        QCOMPARE(_desktop->pasteboard->unansweredCount(), 1);
        copy({{plain, "next"}});
        QVERIFY(_desktop->fetchEnds());
        QCOMPARE(_desktop->pasteboard->contents().text, std::optional<QByteArray>("next"));
    }

    void aCompositorThatGivesNoPipeIsSkipped_data() {
        QTest::addColumn<QString>("how");
        for (const char *how : {"refuses", "is silent", "answers without", "closes it", "stalls"})
            QTest::newRow(how) << QString::fromLatin1(how);
    }
    void aCompositorThatGivesNoPipeIsSkipped() {
        QFETCH(QString, how);
        Owner owner = Owner::Answers;
        if (how == u"refuses")
            mutter().errors[QStringLiteral("SelectionRead")] = QStringLiteral("no");
        else if (how == u"is silent")
            mutter().silent.insert(QStringLiteral("SelectionRead"));
        else if (how == u"answers without")
            owner = Owner::NoPipe;
        else if (how == u"closes it")
            owner = Owner::ClosesAtOnce;
        else
            owner = Owner::StallsMidway;
        copy({{plain, "not to be had"}}, owner);
        QVERIFY(_desktop->fetchBegins());
        _desktop->settle();
        const bool hangs = how == u"is silent" || how == u"stalls";
        if (hangs)
            QTest::ignoreMessage(QtWarningMsg,
                                 "the clipboard's owner does not answer for its text/plain");
        _desktop->runLoop.advance(hangs ? TargetTransfer::stepLimit : RunLoop::Seconds(0));
        QVERIFY(!_desktop->pasteboard->isFetching());
        QVERIFY(!_desktop->pasteboard->contents().text);
        // A late pipe is nobody's.
        mutter().silent.clear();
        mutter().errors.clear();
        mutter().answerHeld();
        copy({{plain, "next"}});
        QVERIFY(_desktop->fetchEnds());
        QCOMPARE(_desktop->pasteboard->contents().text, std::optional<QByteArray>("next"));
    }

    void ofManyTypesSomeAreKept_data() {
        QTest::addColumn<int>("count");
        QTest::addColumn<int>("kept");
        QTest::newRow("one less") << 254 << 255;
        QTest::newRow("as many") << 255 << 256;
        QTest::newRow("one more") << 256 << 256;
        QTest::newRow("ten thousand") << 10'000 << 256;
    }
    void ofManyTypesSomeAreKept() {
        QFETCH(int, count);
        QFETCH(int, kept);
        FakeMutter::Contents contents;
        for (int number = 0; number < count; ++number)
            contents.append({QStringLiteral("application/x-%1").arg(number), "x"});
        contents.append({PasteboardMarker::passwordHint, "secret"});
        contents.append(contents.first());
        copy(contents);
        QVERIFY(_desktop->fetchEnds());
        const auto others = _desktop->pasteboard->contents().others;
        QCOMPARE(others.value(PasteboardMarker::passwordHint), std::optional<QByteArray>("secret"));
        QCOMPARE(mutter().asked.size(), kept);
    }

    void longNamesAreNoTypes_data() {
        QTest::addColumn<int>("length");
        QTest::addColumn<bool>("isKept");
        QTest::newRow("as long as any") << 255 << true;
        QTest::newRow("too long") << 256 << false;
        QTest::newRow("a megabyte") << 1'000'000 << false;
    }
    void longNamesAreNoTypes() {
        QFETCH(int, length);
        QFETCH(bool, isKept);
        MutterDataControl control(_desktop->connection);
        std::optional<QStringList> told;
        control.onSelection = [&](const auto &types, auto) { told = types; };
        _desktop->settle();
        const QString name = QStringLiteral("x/").leftJustified(length, u'x');
        copy({{name, "long"}, {plain, "text"}});
        QVERIFY(_desktop->fetchEnds());
        QCOMPARE(_desktop->pasteboard->contents().text, std::optional<QByteArray>("text"));
        QCOMPARE(mutter().asked.contains(name), isKept);
        QCOMPARE(told, isKept ? QStringList({name, plain}) : QStringList(plain));
    }

    void whatIsNotUnderstoodIsSaidOnce_data() {
        QTest::addColumn<QVariantList>("arguments");
        QTest::newRow("nothing") << QVariantList();
        QTest::newRow("a number") << QVariantList{7};
        QTest::newRow("types as a text")
            << QVariantList{QVariantMap{{QStringLiteral("mime-types"), plain}}};
        QTest::newRow("types as a map")
            << QVariantList{QVariantMap{{QStringLiteral("mime-types"), QVariantMap()}}};
        QTest::newRow("two maps") << QVariantList{QVariantMap(), QVariantMap()};
    }
    void whatIsNotUnderstoodIsSaidOnce() {
        QFETCH(QVariantList, arguments);
        copy({{plain, "here"}});
        QVERIFY(_desktop->fetchEnds());
        QTest::ignoreMessage(QtWarningMsg,
                             "what the compositor says of the clipboard is not understood");
        mutter().say(QStringLiteral("SelectionOwnerChanged"), arguments);
        mutter().say(QStringLiteral("SelectionOwnerChanged"), arguments);
        mutter().say(QStringLiteral("SelectionTransfer"), arguments);
        _desktop->settle();
        QVERIFY(!_desktop->pasteboard->isFetching());
        QCOMPARE(_desktop->pasteboard->contents().text, std::optional<QByteArray>("here"));
        QVERIFY(mutter().writesDone.isEmpty());
    }

    void nobodyElseOnTheBusIsBelieved() {
        copy({{plain, "here"}});
        QVERIFY(_desktop->fetchEnds());
        const QString name = QStringLiteral("impostor");
        {
            const auto impostor = QDBusConnection::connectToBus(_desktop->bus.address(), name);
            mutter().sayFrom(impostor, QStringLiteral("SelectionOwnerChanged"), {QVariantMap()});
            mutter().sayFrom(impostor, QStringLiteral("Closed"), {});
            // What it said is on its way before what it says here.
            impostor.call(QDBusMessage::createMethodCall(
                QStringLiteral("org.freedesktop.DBus"), QStringLiteral("/"),
                QStringLiteral("org.freedesktop.DBus.Peer"), QStringLiteral("Ping")));
        }
        QDBusConnection::disconnectFromBus(name);
        _desktop->settle();
        QCOMPARE(_desktop->pasteboard->contents().text, std::optional<QByteArray>("here"));
        QCOMPARE(mutter().calls.count(QStringLiteral("CreateSession")), 1);
    }

    void whatIsWrittenIsServed() {
        _desktop->pasteboard->write({.text = "ours", .html = "<i>ours</i>"});
        _desktop->settle();
        QCOMPARE(mutter().ownTypes().last(), own(1));
        // The compositor's own keeper asks, and then who pastes.
        QCOMPARE(paste("text/plain;charset=utf-8"), "ours");
        QCOMPARE(paste("text/plain;charset=utf-8"), "ours");
        QCOMPARE(paste("text/html"), "<i>ours</i>");
        QVERIFY(await([&] { return mutter().writesDone.size() == 3; }));
        QCOMPARE(mutter().writesDone,
                 (QList<std::pair<uint, bool>>{{1, true}, {2, true}, {3, true}}));
        QCOMPARE(paste("image/png"), "");
        QVERIFY(await([&] { return mutter().writesDone.size() == 4; }));
        QCOMPARE(mutter().writesDone.last(), (std::pair<uint, bool>(4, false)));
        QVERIFY(mutter().asked.isEmpty());
        QCOMPARE(_desktop->pasteboard->changeCount(), 1);
    }

    void largeContentsGoBothWays() {
        QByteArray picture("\x89PNG\r\n\x1a\n", 8);
        picture += QByteArray(9'900'000, 'p');
        copy({{QStringLiteral("image/png"), picture}});
        QVERIFY(_desktop->fetchEnds());
        QVERIFY(_desktop->pasteboard->contents().images == QList<QByteArray>{picture});
        _desktop->pasteboard->write({.images = {picture}});
        _desktop->settle();
        QVERIFY(paste("image/png") == picture);
    }

    void ofManyReadersSomeAreServed() {
        _desktop->pasteboard->write({.text = "ours"});
        _desktop->settle();
        mutter().silent.insert(QStringLiteral("SelectionWrite"));
        for (int reader = 0; reader <= MutterDataControl::mostRequests; ++reader)
            mutter().askFor(plain, 1000 + uint(reader));
        QVERIFY(await([&] { return !mutter().writesDone.isEmpty(); }));
        QCOMPARE(mutter().writesDone, (QList<std::pair<uint, bool>>{
                                          {1000 + uint(MutterDataControl::mostRequests), false}}));
        QCOMPARE(mutter().calls.count(QStringLiteral("1 SelectionWrite")),
                 MutterDataControl::mostRequests);
        // Those requests were for nothing, and are over.
        mutter().silent.clear();
        mutter().answerHeld();
        QCOMPARE(paste("text/plain"), "ours");
    }

    void whatWeDoNotOwnIsNotServed() {
        _desktop->pasteboard->write({.text = "ours"});
        _desktop->settle();
        copy({{plain, "theirs"}});
        QVERIFY(_desktop->fetchEnds());
        mutter().askFor(plain, 5);
        QVERIFY(await([&] { return !mutter().writesDone.isEmpty(); }));
        QCOMPARE(mutter().writesDone.last(), (std::pair<uint, bool>(5, false)));
    }

    // What others copied before we took the clipboard was on its way.
    void whatWasCopiedBeforeWeWroteIsOutOfDate() {
        mutter().silent.insert(QStringLiteral("SetSelection"));
        _desktop->pasteboard->write({.text = "ours"});
        copy({{plain, "before"}});
        _desktop->settle();
        QVERIFY(!_desktop->pasteboard->isFetching());
        mutter().silent.clear();
        mutter().answerHeld();
        _desktop->settle();
        QCOMPARE(_desktop->pasteboard->contents().text, std::optional<QByteArray>("ours"));
        copy({{plain, "after"}});
        QVERIFY(_desktop->fetchEnds());
        QCOMPARE(_desktop->pasteboard->contents().text, std::optional<QByteArray>("after"));
        QCOMPARE(mutter().asked, QStringList{plain});
    }

    void aRefusedSelectionIsNotServed() {
        mutter().errors[QStringLiteral("SetSelection")] = QStringLiteral("not now");
        QTest::ignoreMessage(QtWarningMsg,
                             "the compositor does not make the clipboard ours: not now");
        _desktop->pasteboard->write({.text = "ours"});
        _desktop->settle();
        mutter().askFor(plain, 5);
        QVERIFY(await([&] { return !mutter().writesDone.isEmpty(); }));
        QCOMPARE(mutter().writesDone.last(), (std::pair<uint, bool>(5, false)));
        // What nobody watches is let go of, unless it is ours.
        _desktop->pasteboard->setWatching(false);
        QVERIFY(_desktop->pasteboard->contents().isEmpty());
    }

    void theAnswerForAnEarlierOneSaysNothing() {
        const QString method = QStringLiteral("SetSelection");
        mutter().silent.insert(method);
        _desktop->pasteboard->write({.text = "one"});
        _desktop->pasteboard->write({.text = "two"});
        _desktop->settle();
        mutter().errors[method] = QStringLiteral("too late");
        mutter().answerFirstHeld();
        _desktop->settle();
        mutter().errors.clear();
        mutter().answerFirstHeld();
        _desktop->settle();
        QCOMPARE(paste("text/plain"), "two");
    }

    // Of two of ours, one upon the other, the first is out of date as well.
    void whatWasCopiedBetweenOursIsOutOfDate() {
        mutter().silent.insert(QStringLiteral("SetSelection"));
        _desktop->pasteboard->write({.text = "one"});
        _desktop->pasteboard->write({.text = "two"});
        _desktop->settle();
        mutter().say(QStringLiteral("SelectionOwnerChanged"), {saysOwn(1)});
        copy({{plain, "between"}});
        _desktop->settle();
        QVERIFY(!_desktop->pasteboard->isFetching());
        mutter().say(QStringLiteral("SelectionOwnerChanged"), {saysOwn(2)});
        copy({{plain, "after"}});
        QVERIFY(_desktop->fetchEnds());
        QCOMPARE(_desktop->pasteboard->contents().text, std::optional<QByteArray>("after"));
    }

    void aClosedSessionGivesNoAccess() {
        QVERIFY(_desktop->pasteboard->isAccessible());
        mutter().closeSessions();
        QVERIFY(await([&] { return !_desktop->pasteboard->isAccessible(); }));
    }

    void aRefusedSelectionIsSaidAndTheirsIsTaken_data() {
        QTest::addColumn<bool>("isSilent");
        QTest::newRow("refused") << false;
        QTest::newRow("never answered") << true;
    }
    void aRefusedSelectionIsSaidAndTheirsIsTaken() {
        QFETCH(bool, isSilent);
        const QString method = QStringLiteral("SetSelection");
        mutter().silent.insert(method);
        _desktop->pasteboard->write({.text = "ours"});
        copy({{plain, "theirs"}});
        _desktop->settle();
        if (isSilent) {
            _desktop->runLoop.advance(MutterDataControl::answerLimit - RunLoop::Seconds(0.001));
            QVERIFY(!_desktop->pasteboard->isFetching());
            QTest::ignoreMessage(
                QtWarningMsg,
                "the compositor does not make the clipboard ours: it does not answer");
            _desktop->runLoop.advance(RunLoop::Seconds(0.001));
        } else {
            QTest::ignoreMessage(QtWarningMsg,
                                 "the compositor does not make the clipboard ours: not now");
            mutter().errors[method] = QStringLiteral("not now");
            mutter().answerHeld();
        }
        QVERIFY(_desktop->fetchEnds());
        QCOMPARE(_desktop->pasteboard->contents().text, std::optional<QByteArray>("theirs"));
        mutter().askFor(plain, 5);
        QVERIFY(await([&] { return !mutter().writesDone.isEmpty(); }));
        QCOMPARE(mutter().writesDone.last(), (std::pair<uint, bool>(5, false)));
        mutter().silent.clear();
        mutter().errors.clear();
        _desktop->pasteboard->write({.text = "again"});
        _desktop->settle();
        QCOMPARE(paste("text/plain"), "again");
    }

private:
    [[nodiscard]] FakeMutter &mutter() { return *_desktop->mutter; }
    void copy(const FakeMutter::Contents &contents, Owner owner = Owner::Answers) {
        mutter().copy(contents, owner);
    }
    [[nodiscard]] QByteArray paste(const char *type) {
        Pipe pipe;
        pipe.reading = mutter().paste(QString::fromLatin1(type));
        return pipe.readAll();
    }
    [[nodiscard]] static QVariantMap saysOwn(int number) {
        return {{QStringLiteral("mime-types"), QStringList{plain, own(number)}},
                {QStringLiteral("session-is-owner"), true}};
    }

    std::optional<MutterDesktop> _desktop;
};

QTEST_GUILESS_MAIN(MutterPasteboardTest)
#include "tst_mutterpasteboard.moc"
