// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "model/ZRKClipmuleData.h"
#include "tests/app/AgentFixture.h"
#include "tests/kit/TestCase.h"

#include <QTest>

using namespace clipmule;
using namespace clipmule::kit;
using namespace Qt::StringLiterals;

// Without a phone or a network.
class ClipboardWatchTest final : public kit::TestCase {
    Q_OBJECT

    void begin() override {
        _desk = std::make_unique<AgentFixture>();
        _journal = std::make_unique<SyncJournal>(std::ref(_desk->notice), *_desk->shared);
        _watch = std::make_unique<ClipboardWatch>(_desk->pasteboardServices, *_journal);
        _isNeeded = true;
        _takes = true;
        _copies.clear();
        _whileLooking = nullptr;
        _watch->isNeeded = [this] { return _isNeeded; };
        _watch->onCopy = [this](ZRKClipmuleData &clip) {
            _copies += clip.items().constFirst()->string().value_or(u"no text"_s);
            if (const auto next = std::exchange(_whileLooking, nullptr))
                next();
            return _takes;
        };
    }

    void end() override {
        _watch.reset();
        _journal.reset();
        _desk.reset();
    }

private Q_SLOTS:
    void whatWasCopiedBeforeIsKnown() {
        copy(u"before"_s);
        _watch->start();
        tick();
        QVERIFY(_copies.isEmpty());
        copy(u"after"_s);
        tick();
        QCOMPARE(_copies, QStringList{u"after"_s});
    }

    void itLooksUntilItIsNotNeeded() {
        _watch->start();
        QVERIFY(_desk->pasteboard.isWatching());
        tick();
        _isNeeded = false;
        copy(u"alone"_s);
        tick();
        QVERIFY(!_desk->pasteboard.isWatching());
        _isNeeded = true;
        tick();
        QVERIFY(_copies.isEmpty());
        _watch->startAgain();
        QVERIFY(_desk->pasteboard.isWatching());
        copy(u"with company"_s);
        tick();
        QCOMPARE(_copies, QStringList{u"with company"_s});
    }

    void nothingRunsAtRest() {
        QCOMPARE(timers(), 0);
        _watch->start();
        QCOMPARE(timers(), 0);
        copy(u"text"_s);
        QCOMPARE(timers(), 1);
        tick();
        QCOMPARE(timers(), 0);
        _desk->pasteboard.copyWithoutAnswer();
        QCOMPARE(timers(), 1);
        QTest::ignoreMessage(QtInfoMsg, "Not sent: what you copied could not be read. [the program "
                                        "that copied it does not answer]");
        tick();
        QCOMPARE(timers(), 0);
        const int reads = _desk->pasteboard.readCount();
        _desk->advance(3600);
        QCOMPARE(_desk->pasteboard.readCount(), reads);
    }

    void theFirstChangeIsLookedAtAtOnce() {
        _watch->start();
        tick();
        copy(u"first"_s);
        QVERIFY(_copies.isEmpty());
        _desk->settle();
        QCOMPARE(_copies, QStringList{u"first"_s});
        // Half a second after the look, not after the change before it.
        _desk->advance(0.5);
        copy(u"second"_s);
        _desk->settle();
        QCOMPARE(_copies, (QStringList{u"first"_s, u"second"_s}));
    }

    void whatFollowsIsLookedAtHalfASecondLater() {
        lookOnce();
        _desk->advance(0.1);
        for (const QString &text : {u"second"_s, u"third"_s, u"fourth"_s}) {
            copy(text);
            _desk->advance(0.1);
        }
        _desk->advance(0.09);
        QVERIFY(_copies.isEmpty());
        _desk->advance(0.01);
        QCOMPARE(_copies, QStringList{u"fourth"_s});
        copy(u"fifth"_s);
        _desk->advance(0.49);
        QCOMPARE(_copies.size(), 1);
        _desk->advance(0.01);
        QCOMPARE(_copies, (QStringList{u"fourth"_s, u"fifth"_s}));
        QCOMPARE(timers(), 0);
    }

    void theFirstHalfSecondBeginsWithTheWatch() {
        _watch->start();
        copy(u"soon"_s);
        _desk->advance(0.49);
        QVERIFY(_copies.isEmpty());
        _desk->advance(0.01);
        QCOMPARE(_copies, QStringList{u"soon"_s});
    }

    void whatChangesDuringALookWaits() {
        _watch->start();
        tick();
        _whileLooking = [this] {
            copy(u"meanwhile"_s);
            _desk->runLoop.pause(RunLoop::Seconds(0.3));
        };
        copy(u"text"_s);
        _desk->settle();
        _desk->advance(0.49);
        QCOMPARE(_copies, QStringList{u"text"_s});
        _desk->advance(0.01);
        QCOMPARE(_copies, (QStringList{u"text"_s, u"meanwhile"_s}));
    }

    // What was copied until then counts as known; the half second goes on.
    void aSecondStartDoesNotPutOffTheNextLook() {
        _watch->start();
        _desk->advance(0.2);
        copy(u"known"_s);
        QCOMPARE(timers(), 1);
        _watch->start();
        QCOMPARE(timers(), 0);
        copy(u"new"_s);
        _desk->advance(0.3);
        QCOMPARE(_copies, QStringList{u"new"_s});
        _desk->advance(1);
        _watch->start();
        copy(u"newer"_s);
        _desk->settle();
        QCOMPARE(_copies, (QStringList{u"new"_s, u"newer"_s}));
    }

    void itEndsWhenItIsToldThatItIsNotNeeded() {
        lookOnce();
        _desk->advance(0.5);
        _isNeeded = false;
        _watch->needMayHaveChanged();
        _desk->settle();
        QVERIFY(!_desk->pasteboard.isWatching());
        copy(u"alone"_s);
        QCOMPARE(timers(), 0);
        _watch->needMayHaveChanged();
        QCOMPARE(timers(), 0);
        // It is dead: only a start brings it back.
        _isNeeded = true;
        _watch->needMayHaveChanged();
        tick();
        QVERIFY(_copies.isEmpty());
        QVERIFY(!_desk->pasteboard.isWatching());
    }

    void anEndWaitsForTheNextLook_data() {
        QTest::addColumn<bool>("comesBack");
        QTest::newRow("needed no more") << false;
        QTest::newRow("needed again by then") << true;
    }
    void anEndWaitsForTheNextLook() {
        QFETCH(bool, comesBack);
        lookOnce();
        _desk->advance(0.2);
        copy(u"meanwhile"_s);
        _isNeeded = false;
        _watch->needMayHaveChanged();
        _desk->advance(0.29);
        QVERIFY(_desk->pasteboard.isWatching());
        _isNeeded = comesBack;
        if (comesBack)
            _watch->startAgain();
        _desk->advance(0.01);
        QCOMPARE(_desk->pasteboard.isWatching(), comesBack);
        QCOMPARE(_copies, comesBack ? QStringList{u"meanwhile"_s} : QStringList());
        QCOMPARE(timers(), 0);
    }

    void aWatchThatIsNeededAgainLetsTheEndGo() {
        lookOnce();
        _desk->advance(0.2);
        _isNeeded = false;
        _watch->needMayHaveChanged();
        QCOMPARE(timers(), 1);
        _isNeeded = true;
        _watch->startAgain();
        QCOMPARE(timers(), 0);
        copy(u"kept"_s);
        _desk->advance(0.3);
        QCOMPARE(_copies, QStringList{u"kept"_s});
    }

    void aPauseEndsWhatIsPending() {
        _watch->start();
        copy(u"text"_s);
        _watch->pause();
        QCOMPARE(timers(), 0);
        tick();
        QVERIFY(_copies.isEmpty());
        _watch->startAgain();
        QVERIFY(_desk->pasteboard.isWatching());
    }

    void aTimerMayLookInstead() {
        _watch->setLooksByTimer(true);
        QCOMPARE(timers(), 0);
        _watch->start();
        for (int look = 0; look < 3; ++look) {
            QCOMPARE(timers(), 1);
            tick();
        }
        _desk->advance(0.1);
        copy(u"text"_s);
        _desk->advance(0.39);
        QVERIFY(_copies.isEmpty());
        _desk->advance(0.01);
        QCOMPARE(_copies, QStringList{u"text"_s});
        _watch->setLooksByTimer(false);
        QCOMPARE(timers(), 0);
        _watch->setLooksByTimer(true);
        QCOMPARE(timers(), 1);
        _isNeeded = false;
        tick();
        QVERIFY(!_desk->pasteboard.isWatching());
        QCOMPARE(timers(), 0);
    }

    void whoIsGoneIsNotTold() {
        _watch->start();
        _watch.reset();
        QVERIFY(!_desk->pasteboard.onChange);
        copy(u"text"_s);
        QCOMPARE(timers(), 0);
    }

    void aLivingWatchIsNotStartedAgain() {
        _watch->start();
        copy(u"meanwhile"_s);
        _watch->startAgain();
        tick();
        QCOMPARE(_copies, QStringList{u"meanwhile"_s});
    }

    void theSameIsToldOnceUnlessItWasRefused() {
        _watch->start();
        _takes = false;
        copy(u"text"_s);
        tick();
        _takes = true;
        copy(u"text"_s);
        tick();
        copy(u"text"_s);
        tick();
        QCOMPARE(_copies, (QStringList{u"text"_s, u"text"_s}));
    }

    void whatWeWroteIsNotTold() {
        _watch->start();
        const auto clip = ZRKClipmuleData::initWithDictionary(
            {{u"items"_s, PropertyList::List{
                              PropertyList(PropertyList::Dictionary{{u"string"_s, u"ours"_s}})}}});
        copy(u"overtaken"_s);
        clip->writeToPasteboard(_desk->pasteboardServices);
        _watch->noteWritten(*clip);
        QCOMPARE(timers(), 0);
        tick();
        // Neither when a manager offers it anew.
        copy(u"ours"_s);
        tick();
        QVERIFY(_copies.isEmpty());
        copy(u"theirs"_s);
        tick();
        QCOMPARE(_copies, QStringList{u"theirs"_s});
    }

    void aClipboardThatCannotBeReadIsToldOnce() {
        _watch->start();
        _desk->pasteboard.failReadsWith(u"broken"_s);
        copy(u"text"_s);
        QTest::ignoreMessage(QtWarningMsg, "ERROR CREATING DATA PasteboardFailure: broken");
        tick();
        tick();
        QCOMPARE(_journal->refusals().size(), 1);
        QCOMPARE(_journal->refusals().constFirst().count, 1U);
        QCOMPARE(_journal->refusals().constFirst().detail, u"broken"_s);
    }

private:
    void copy(const QString &text) { _desk->pasteboard.copyText(text); }
    void tick() { _desk->advance(ClipboardWatch::pollInterval.count()); }
    [[nodiscard]] int timers() const { return _desk->runLoop.pendingCount(); }
    void lookOnce() {
        _watch->start();
        tick();
        copy(u"looked at"_s);
        _desk->settle();
        QCOMPARE(_copies, QStringList{u"looked at"_s});
        _copies.clear();
    }

    std::unique_ptr<AgentFixture> _desk;
    std::unique_ptr<SyncJournal> _journal;
    std::unique_ptr<ClipboardWatch> _watch;
    bool _isNeeded = true;
    bool _takes = true;
    std::function<void()> _whileLooking;
    QStringList _copies;
};

QTEST_GUILESS_MAIN(ClipboardWatchTest)
#include "tst_clipboardwatch.moc"
