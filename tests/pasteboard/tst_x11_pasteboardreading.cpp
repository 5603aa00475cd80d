// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "tests/kit/TestCase.h"
#include "tests/pasteboard/X11Desktop.h"
#include "tests/pasteboard/X11TestOwner.h"

#include <QTest>

using namespace clipmule;
using clipmule::kit::await;
using clipmule::kit::kinds;
using clipmule::kit::textOn;
using Desktop = kit::X11Desktop;
using clipmule::kit::X11TestOwner;

namespace {

QList<X11TestOwner::Answer> text(const QByteArray &utf8) {
    return {{"UTF8_STRING", utf8}};
}

} // namespace

class X11PasteboardReadingTest final : public kit::TestCase {
    Q_OBJECT

private Q_SLOTS:
    void whatIsThereAtStartIsNeitherReadNorCounted() {
        X11TestOwner owner;
        owner.own(text("before"));
        Desktop desktop;
        desktop.runLoop.advance(1.0);
        desktop.settle();
        QCOMPARE(owner.requestCount("TARGETS"), 0);
        QVERIFY(desktop.pasteboard->contents().isEmpty());
        QCOMPARE(desktop.pasteboard->changeCount(), 0);
    }

    void copyIsCountedOnceWhenItIsComplete() {
        Desktop desktop;
        X11TestOwner owner;
        owner.own({{"text/html", "<b>x</b>"}, {"UTF8_STRING", "x"}, {"TIMESTAMP", "no"}});
        QVERIFY(desktop.fetchBegins());
        QCOMPARE(desktop.pasteboard->changeCount(), 0);
        QTRY_COMPARE(desktop.pasteboard->changeCount(), 1);
        QCOMPARE(kinds(*desktop.pasteboard),
                 (QStringList{QStringLiteral("text"), QStringLiteral("html")}));
        QCOMPARE(desktop.pasteboard->contents().html, QByteArray("<b>x</b>"));
        QVERIFY(!desktop.pasteboard->isFetching());
    }

    void sameOwnerCopyingAgainIsCounted() {
        Desktop desktop;
        X11TestOwner owner;
        for (int copy = 1; copy <= 3; ++copy) {
            owner.own(text("x"));
            QVERIFY(desktop.fetchEnds());
            QCOMPARE(desktop.pasteboard->changeCount(), copy);
        }
    }

    // Who has taken the clipboard since is not taken for the owner of that copy.
    void theOwnerIsAskedForTheTimeOfTheCopy() {
        Desktop desktop;
        X11TestOwner owner;
        owner.own(text("x"));
        QVERIFY(desktop.fetchEnds());
        const xcb_timestamp_t time = owner.timeAsked();
        QVERIFY(time != XCB_CURRENT_TIME);
        owner.own(text("y"), XCB_NONE, time);
        QVERIFY(desktop.fetchEnds());
        QCOMPARE(owner.timeAsked(), time);
    }

    void oneImageIsFetchedNotAll() {
        Desktop desktop;
        X11TestOwner owner;
        owner.own({{"image/bmp", "bmp"}, {"image/png", "png"}, {"image/jpeg", "jpeg"}});
        QVERIFY(desktop.fetchEnds());
        QCOMPARE(kinds(*desktop.pasteboard), QStringList{QStringLiteral("image")});
        QCOMPARE(owner.requestCount("image/png"), 1);
        QCOMPARE(owner.requestCount("image/bmp") + owner.requestCount("image/jpeg"), 0);
    }

    void nextBestIsFetchedWhenTheBestIsRefused() {
        Desktop desktop;
        X11TestOwner owner;
        owner.own({{.target = "UTF8_STRING", .data = {}, .isRefused = true},
                   {"STRING", "caf\xe9"},
                   {.target = "image/png", .data = {}, .isRefused = true},
                   {"image/jpeg", "jpeg"}});
        QVERIFY(desktop.fetchEnds());
        QCOMPARE(textOn(*desktop.pasteboard), QStringLiteral("café"));
        QCOMPARE(desktop.pasteboard->contents().images.value(0), QByteArray("jpeg"));
    }

    void markerWithoutBytesIsListed() {
        Desktop desktop;
        X11TestOwner owner;
        owner.own({{"UTF8_STRING", "x"},
                   {.target = "org.nspasteboard.TransientType", .data = {}, .isRefused = true},
                   {"x-kde-passwordManagerHint", "secret"},
                   {"org.example.empty", ""}});
        QVERIFY(desktop.fetchEnds());
        QCOMPARE(kinds(*desktop.pasteboard),
                 (QStringList{QStringLiteral("text"), QStringLiteral("org.example.empty"),
                              QStringLiteral("org.nspasteboard.TransientType"),
                              QStringLiteral("x-kde-passwordManagerHint")}));
        const auto &others = desktop.pasteboard->contents().others;
        QVERIFY(!others.value(QStringLiteral("org.nspasteboard.TransientType")));
        QCOMPARE(others.value(QStringLiteral("x-kde-passwordManagerHint")), QByteArray("secret"));
        QCOMPARE(others.value(QStringLiteral("org.example.empty")), QByteArray(""));
    }

    void ownerWithoutTargetsHasText() {
        Desktop desktop;
        X11TestOwner owner;
        owner.refuseTargets();
        owner.own({{"STRING", "old"}});
        QVERIFY(desktop.fetchEnds());
        QCOMPARE(textOn(*desktop.pasteboard), QStringLiteral("old"));
    }

    void ownerThatRefusesEverythingIsNoCopy() {
        Desktop desktop;
        X11TestOwner owner;
        owner.refuseTargets();
        owner.own({});
        QVERIFY(desktop.fetchEnds());
        QCOMPARE(desktop.pasteboard->changeCount(), 0);
        QVERIFY(desktop.pasteboard->contents().isEmpty());
    }

    void dataInPieces_data() {
        QTest::addColumn<qsizetype>("size");
        QTest::addColumn<qsizetype>("piece");
        QTest::newRow("many small ones") << qsizetype(5000) << qsizetype(7);
        QTest::newRow("pieces of pieces") << qsizetype(3'000'000) << qsizetype(1'000'001);
        QTest::newRow("one") << qsizetype(100) << qsizetype(100);
        QTest::newRow("none") << qsizetype(0) << qsizetype(100);
    }
    void dataInPieces() {
        QFETCH(qsizetype, size);
        QFETCH(qsizetype, piece);
        QByteArray data(size, Qt::Uninitialized);
        for (qsizetype index = 0; index < size; ++index)
            data[index] = char(index * 31 + index / 977);
        Desktop desktop;
        X11TestOwner owner;
        owner.own({{.target = "image/png", .data = data, .pieceBytes = piece}});
        QVERIFY(desktop.fetchEnds());
        QCOMPARE(desktop.pasteboard->changeCount(), 1);
        QVERIFY(desktop.pasteboard->contents().images.value(0) == data);
    }

    void textInPiecesKeepsItsCharacters() {
        Desktop desktop;
        X11TestOwner owner;
        const QString characters = QStringLiteral("aé€😀").repeated(400);
        owner.own({{.target = "UTF8_STRING", .data = characters.toUtf8(), .pieceBytes = 3}});
        QVERIFY(desktop.fetchEnds());
        QCOMPARE(textOn(*desktop.pasteboard), characters);
    }

    void muteOwnerIsGivenUpAfterOneStep() {
        Desktop desktop;
        X11TestOwner first;
        first.own(text("kept"));
        QVERIFY(desktop.fetchEnds());
        X11TestOwner owner;
        owner.setMute(true);
        owner.own(text("never told"));
        QVERIFY(desktop.fetchBegins());
        desktop.settle();
        desktop.runLoop.advance(TargetTransfer::stepLimit - RunLoop::Seconds(0.1));
        QVERIFY(desktop.pasteboard->isFetching());
        QCOMPARE(desktop.pasteboard->unansweredCount(), 0);
        QTest::ignoreMessage(QtWarningMsg, "the clipboard's owner does not answer");
        desktop.runLoop.advance(0.1);
        QVERIFY(!desktop.pasteboard->isFetching());
        QCOMPARE(desktop.pasteboard->unansweredCount(), 1);
        QCOMPARE(desktop.pasteboard->changeCount(), 1);
        QCOMPARE(textOn(*desktop.pasteboard), QStringLiteral("kept"));
    }

    // An X server says nothing about what a compositor lets it have.
    void aCompositorsClipboardIsAccessibleWhenItWasRead() {
        Desktop desktop;
        QVERIFY(desktop.pasteboard->isAccessible());
        X11TestOwner owner;
        desktop.pasteboard = std::make_unique<X11Pasteboard>(
            desktop.connection, FindPasteboardAudience(), X11Pasteboard::Whose::Compositors);
        desktop.pasteboard->start();
        desktop.pasteboard->setWatching(true);
        desktop.settle();
        QVERIFY(!desktop.pasteboard->isAccessible());
        int changes = 0;
        desktop.pasteboard->onAccessChange = [&] { ++changes; };
        for (const char *shown : {"shown", "and shown"}) {
            owner.own(text(shown));
            QVERIFY(desktop.fetchEnds());
            QVERIFY(desktop.pasteboard->isAccessible());
            QCOMPARE(changes, 1);
        }
        owner.setMute(true);
        owner.own(text("kept"));
        QVERIFY(desktop.fetchBegins());
        desktop.settle();
        QTest::ignoreMessage(QtWarningMsg, "the clipboard's owner does not answer");
        desktop.runLoop.advance(TargetTransfer::stepLimit);
        QVERIFY(!desktop.pasteboard->isAccessible());
    }

    void lateAnswerIsNotTakenForTheNextOwners() {
        Desktop desktop;
        X11TestOwner late;
        late.setMute(true);
        late.own(text("late"));
        QVERIFY(desktop.fetchBegins());
        desktop.settle();
        QTest::ignoreMessage(QtWarningMsg, "the clipboard's owner does not answer");
        desktop.runLoop.advance(TargetTransfer::stepLimit);
        X11TestOwner owner;
        owner.setMute(true);
        owner.own(text("next"));
        QVERIFY(desktop.fetchBegins());
        desktop.settle();
        late.setMute(false);
        late.answerLate();
        desktop.settle();
        QCOMPARE(late.requestCount("UTF8_STRING"), 0);
        owner.setMute(false);
        owner.answerLate();
        QTRY_COMPARE(desktop.pasteboard->changeCount(), 1);
        QCOMPARE(textOn(*desktop.pasteboard), QStringLiteral("next"));
    }

    void muteTargetTakesNothingFromTheOthers_data() {
        QTest::addColumn<QByteArray>("mute");
        QTest::addColumn<QStringList>("types");
        const QString text = QStringLiteral("text");
        const QString html = QStringLiteral("html");
        const QString image = QStringLiteral("image");
        const QString refused = QStringLiteral("x-kde-passwordManagerHint");
        QTest::newRow("image") << QByteArray("image/png") << QStringList{text, html};
        QTest::newRow("text") << QByteArray("UTF8_STRING") << QStringList{html, image};
        // The capture takes it for a hint of secrets.
        QTest::newRow("hint") << QByteArray("x-kde-passwordManagerHint")
                              << QStringList{text, html, image, refused};
    }
    void muteTargetTakesNothingFromTheOthers() {
        QFETCH(QByteArray, mute);
        QFETCH(QStringList, types);
        Desktop desktop;
        X11TestOwner owner;
        QList<X11TestOwner::Answer> answers{
            {"UTF8_STRING", "text"}, {"text/html", "<b>"}, {"image/png", "png"}};
        if (mute.startsWith('x'))
            answers.prepend(X11TestOwner::Answer{.target = mute, .data = {}});
        for (X11TestOwner::Answer &answer : answers)
            answer.isMute = answer.target == mute;
        owner.own(answers);
        QVERIFY(desktop.fetchBegins());
        QTRY_COMPARE(owner.unansweredCount(), 1);
        desktop.settle();
        const RunLoop::Seconds limit =
            mute == "image/png" ? TargetSequence::imageStepLimit : TargetTransfer::stepLimit;
        desktop.runLoop.advance(limit - RunLoop::Seconds(0.1));
        QVERIFY(desktop.pasteboard->isFetching());
        const QByteArray line = "the clipboard's owner does not answer for its " + mute;
        QTest::ignoreMessage(QtWarningMsg, line.constData());
        desktop.runLoop.advance(0.1);
        QVERIFY(await([&] { return !desktop.pasteboard->isFetching(); }));
        QCOMPARE(desktop.pasteboard->changeCount(), 1);
        QCOMPARE(kinds(*desktop.pasteboard), types);
        QVERIFY(!desktop.pasteboard->contents().others.value(QString::fromLatin1(mute)));
        // Its late answer is taken for nothing else.
        owner.answerLate();
        desktop.settle();
        QCOMPARE(kinds(*desktop.pasteboard), types);
    }

    void ownerThatToldItsTargetsOnlyIsGivenUp() {
        Desktop desktop;
        X11TestOwner owner;
        owner.own({{.target = "UTF8_STRING", .data = {}, .isMute = true},
                   {.target = "image/png", .data = {}, .isMute = true},
                   {.target = "org.example", .data = {}, .isMute = true}});
        QVERIFY(desktop.fetchBegins());
        QTRY_COMPARE(owner.requestCount("UTF8_STRING"), 1);
        QTest::ignoreMessage(QtWarningMsg,
                             "the clipboard's owner does not answer for its UTF8_STRING");
        desktop.runLoop.advance(TargetTransfer::stepLimit);
        QTRY_COMPARE(owner.requestCount("image/png"), 1);
        QTest::ignoreMessage(QtWarningMsg,
                             "the clipboard's owner does not answer for its image/png");
        desktop.runLoop.advance(TargetSequence::imageStepLimit);
        QTRY_COMPARE(owner.requestCount("org.example"), 1);
        desktop.runLoop.advance(TargetTransfer::stepLimit);
        QVERIFY(!desktop.pasteboard->isFetching());
        QCOMPARE(desktop.pasteboard->changeCount(), 0);
        QVERIFY(desktop.pasteboard->contents().isEmpty());
        // What is only named counts again with an owner that answers.
        owner.own({{"image/x-emf", "emf"}});
        QVERIFY(desktop.fetchEnds());
        QCOMPARE(desktop.pasteboard->changeCount(), 1);
    }

    // A program that marks a password offers few targets, and one that hides the mark, many.
    void markerBehindAnyNumberOfTargetsIsSeen_data() {
        QTest::addColumn<int>("before");
        QTest::newRow("the last that is looked at") << PasteboardTargets::maximumTargets - 3;
        QTest::newRow("the first that is not") << PasteboardTargets::maximumTargets - 2;
        QTest::newRow("far behind") << 10'000;
    }
    void markerBehindAnyNumberOfTargetsIsSeen() {
        QFETCH(int, before);
        for (const QString &marker : PasteboardMarker::all) {
            Desktop desktop;
            X11TestOwner owner;
            QList<X11TestOwner::Answer> answers{{"UTF8_STRING", "text"}};
            // One name again and again counts as often as it is listed.
            for (int index = 1; index < before; ++index)
                answers.append(X11TestOwner::Answer{"org.example.other", "x"});
            answers.append(
                X11TestOwner::Answer{.target = marker.toLatin1(), .data = {}, .isRefused = true});
            answers.append(X11TestOwner::Answer{"org.example.last", "x"});
            owner.own(answers);
            QVERIFY(desktop.fetchEnds());
            QVERIFY(kinds(*desktop.pasteboard).contains(marker));
            QVERIFY(!desktop.pasteboard->contents().others.value(marker));
            QCOMPARE(textOn(*desktop.pasteboard), QStringLiteral("text"));
            QVERIFY(!kinds(*desktop.pasteboard).contains(QStringLiteral("org.example.last")));
        }
    }

    void longestListOfTargets_data() {
        QTest::addColumn<int>("count");
        QTest::addColumn<bool>("isTaken");
        QTest::newRow("one below") << 65'535 << true;
        QTest::newRow("at the limit") << 65'536 << true;
        QTest::newRow("one above") << 65'537 << false;
    }
    void longestListOfTargets() {
        QFETCH(int, count);
        QFETCH(bool, isTaken);
        Desktop desktop;
        X11TestOwner owner;
        // TARGETS and TIMESTAMP are listed as well.
        QList<X11TestOwner::Answer> answers(count - 3,
                                            X11TestOwner::Answer{"org.example.other", "x"});
        answers.prepend(X11TestOwner::Answer{"UTF8_STRING", "text"});
        owner.own(answers);
        if (!isTaken)
            QTest::ignoreMessage(QtWarningMsg,
                                 "the clipboard's owner offers more than 65536 targets");
        QVERIFY(desktop.fetchEnds());
        QCOMPARE(desktop.pasteboard->changeCount(), isTaken ? 1 : 0);
    }

    void longestNameOfATarget() {
        Desktop desktop;
        X11TestOwner owner;
        const QByteArray longest(255, 'a');
        owner.own({{"UTF8_STRING", "text"},
                   {longest, "x"},
                   {QByteArray(256, 'b'), "x"},
                   {QByteArray(65'000, 'c'), "x"}});
        QVERIFY(desktop.fetchEnds());
        QCOMPARE(kinds(*desktop.pasteboard),
                 (QStringList{QStringLiteral("text"), QString::fromLatin1(longest)}));
    }

    // An image editor has to make it first.
    void anImageIsWaitedForLonger_data() {
        QTest::addColumn<QByteArray>("target");
        QTest::addColumn<double>("limit");
        QTest::newRow("image") << QByteArray("image/png") << 12.0;
        QTest::newRow("text") << QByteArray("UTF8_STRING") << 5.0;
        QTest::newRow("what has no meaning") << QByteArray("org.example") << 5.0;
    }
    void anImageIsWaitedForLonger() {
        QFETCH(QByteArray, target);
        QFETCH(double, limit);
        Desktop desktop;
        X11TestOwner owner;
        owner.own({{.target = target, .data = "x", .isMute = true}});
        QVERIFY(desktop.fetchBegins());
        QTRY_COMPARE(owner.requestCount(target), 1);
        desktop.runLoop.advance(limit - 0.001);
        QVERIFY(desktop.pasteboard->isFetching());
        if (target != "org.example")
            QTest::ignoreMessage(
                QtWarningMsg,
                ("the clipboard's owner does not answer for its " + target).constData());
        desktop.runLoop.advance(0.002);
        QVERIFY(!desktop.pasteboard->isFetching());
    }

    void whatHasNoMeaningIsNotWaitedForTwice() {
        Desktop desktop;
        X11TestOwner owner;
        owner.own({{.target = "org.example.slow", .data = {}, .isMute = true},
                   {"org.example.other", "x"},
                   {"UTF8_STRING", "told"}});
        QVERIFY(desktop.fetchBegins());
        QTRY_COMPARE(owner.requestCount("org.example.slow"), 1);
        desktop.runLoop.advance(TargetTransfer::stepLimit);
        QCOMPARE(desktop.pasteboard->changeCount(), 1);
        QCOMPARE(textOn(*desktop.pasteboard), QStringLiteral("told"));
        QCOMPARE(kinds(*desktop.pasteboard),
                 (QStringList{QStringLiteral("text"), QStringLiteral("org.example.other"),
                              QStringLiteral("org.example.slow")}));
        QCOMPARE(owner.requestCount("org.example.other"), 0);
    }

    void ownerThatStopsInTheMiddleIsGivenUp() {
        Desktop desktop;
        X11TestOwner owner;
        owner.own({{.target = "image/png",
                    .data = QByteArray(1000, 'x'),
                    .pieceBytes = 100,
                    .pieces = 3}});
        QVERIFY(desktop.fetchBegins());
        QTRY_COMPARE(owner.piecesSent(), 3);
        desktop.settle();
        QTest::ignoreMessage(QtWarningMsg,
                             "the clipboard's owner does not answer for its image/png");
        desktop.runLoop.advance(TargetTransfer::stepLimit);
        QVERIFY(!desktop.pasteboard->isFetching());
        QCOMPARE(desktop.pasteboard->changeCount(), 0);
    }

    void ofASlowOwnerWhatArrivesWithinTheTotalLimitIsTaken() {
        Desktop desktop;
        X11TestOwner owner;
        // Every answer comes just before the limit of its step.
        QList<X11TestOwner::Answer> answers;
        const int steps = int(TargetSequence::totalLimit / TargetTransfer::stepLimit);
        for (const char *target :
             {"UTF8_STRING", "text/uri-list", "text/x-moz-url", "text/html", "text/rtf"})
            answers.append(X11TestOwner::Answer{target, "x"});
        // The first one is that of the list.
        QVERIFY(answers.size() >= steps);
        owner.setMute(true);
        owner.own(answers);
        QVERIFY(desktop.fetchBegins());
        const RunLoop::Seconds nearly = TargetTransfer::stepLimit - RunLoop::Seconds(0.001);
        for (int step = 0; step < steps; ++step) {
            QTRY_COMPARE(owner.unansweredCount(), 1);
            desktop.runLoop.advance(nearly);
            owner.answerLate();
        }
        QTRY_COMPARE(owner.unansweredCount(), 1);
        QVERIFY(desktop.pasteboard->isFetching());
        QTest::ignoreMessage(QtWarningMsg,
                             "the clipboard's owner takes too long; what has arrived is taken");
        desktop.runLoop.advance(0.01);
        QVERIFY(!desktop.pasteboard->isFetching());
        QCOMPARE(desktop.pasteboard->changeCount(), 1);
        QCOMPARE(textOn(*desktop.pasteboard), QStringLiteral("x"));
        QVERIFY(!kinds(*desktop.pasteboard).contains(QStringLiteral("rtf")));
    }

    void ownerThatQuitsInTheMiddleLeavesNothing() {
        Desktop desktop;
        X11TestOwner owner;
        owner.own({{.target = "image/png",
                    .data = QByteArray(1000, 'x'),
                    .pieceBytes = 100,
                    .pieces = 3}});
        QVERIFY(desktop.fetchBegins());
        QTRY_COMPARE(owner.piecesSent(), 3);
        owner.quit();
        QVERIFY(await([&] { return !desktop.pasteboard->isFetching(); }));
        QCOMPARE(desktop.pasteboard->changeCount(), 0);
        QVERIFY(desktop.pasteboard->contents().isEmpty());
        QCOMPARE(desktop.runLoop.pendingCount(), 0);
    }

    void newerCopyReplacesTheOneThatIsBeingFetched() {
        Desktop desktop;
        X11TestOwner slow;
        slow.own({{.target = "image/png",
                   .data = QByteArray(1000, 'x'),
                   .pieceBytes = 100,
                   .pieces = 3}});
        QVERIFY(desktop.fetchBegins());
        QTRY_COMPARE(slow.piecesSent(), 3);
        X11TestOwner owner;
        owner.own(text("newer"));
        desktop.settle();
        QVERIFY(desktop.fetchEnds());
        QCOMPARE(desktop.pasteboard->changeCount(), 1);
        QCOMPARE(textOn(*desktop.pasteboard), QStringLiteral("newer"));
    }

    // Were the rest left to lie, the owner would wait for us for ever.
    void abandonedTransferIsBroughtToItsEnd() {
        Desktop desktop;
        X11TestOwner slow;
        slow.own({{.target = "image/png", .data = QByteArray(50'000, 'x'), .pieceBytes = 100}});
        QVERIFY(desktop.fetchBegins());
        QVERIFY(await([&] { return slow.piecesSent() > 3; }));
        X11TestOwner owner;
        owner.own(text("newer"));
        desktop.settle();
        QVERIFY(slow.isTransferring());
        QVERIFY(await([&] { return !slow.isTransferring(); }));
        QVERIFY(desktop.fetchEnds());
        QCOMPARE(textOn(*desktop.pasteboard), QStringLiteral("newer"));
    }

    void endlessTransferIsNotFollowedForEver() {
        Desktop desktop;
        X11TestOwner endless;
        endless.own({{.target = "image/png", .data = QByteArray(100'000, 'x'), .pieceBytes = 1}});
        QVERIFY(desktop.fetchBegins());
        QVERIFY(await([&] { return endless.piecesSent() > 3; }));
        X11TestOwner owner;
        owner.own(text("newer"));
        desktop.settle();
        QVERIFY(await([&] { return endless.piecesSent() > X11TargetTransfer::drainedPieces; }));
        QVERIFY(await([&] {
            const int before = endless.piecesSent();
            for (int round = 0; round < 10; ++round)
                desktop.settle();
            return endless.piecesSent() == before;
        }));
        QVERIFY(endless.piecesSent() < 2 * X11TargetTransfer::drainedPieces);
    }

    void burstOfOwnersIsOneCopy() {
        Desktop desktop;
        X11TestOwner owner;
        for (int copy = 0; copy < 50; ++copy)
            owner.own(text(QByteArray::number(copy)));
        QVERIFY(await([&] { return desktop.pasteboard->isFetching(); }));
        desktop.settle();
        QVERIFY(desktop.fetchEnds());
        QCOMPARE(desktop.pasteboard->changeCount(), 1);
        QCOMPARE(textOn(*desktop.pasteboard), QStringLiteral("49"));
        QCOMPARE(owner.requestCount("TARGETS"), 1);
    }

    void whatIsLeftWithTheOwnerIsKnownToBeThere() {
        Desktop desktop;
        X11TestOwner owner;
        owner.own({{"image/x-emf", "emf"}, {"text/x-moz-url-priv", "private"}});
        QVERIFY(desktop.fetchEnds());
        QCOMPARE(desktop.pasteboard->changeCount(), 1);
        QCOMPARE(kinds(*desktop.pasteboard), QStringList{QStringLiteral("image/x-emf")});
        QVERIFY(!desktop.pasteboard->contents().others.value(QStringLiteral("image/x-emf")));
        QCOMPARE(owner.requestCount("image/x-emf"), 0);
        QCOMPARE(owner.requestCount("text/x-moz-url-priv"), 0);
        QCOMPARE(owner.requestCount("TARGETS"), 1);
    }
};

QTEST_GUILESS_MAIN(X11PasteboardReadingTest)
#include "tst_x11_pasteboardreading.moc"
