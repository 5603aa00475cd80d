// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "model/ZRKClipmuleData.h"
#include "tests/app/AgentFixture.h"
#include "tests/kit/TestCase.h"

#include <QTest>

using namespace clipmule;
using namespace clipmule::kit;

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
        _watch->isNeeded = [this] { return _isNeeded; };
        _watch->onCopy = [this](ZRKClipmuleData &clip) {
            _copies += clip.items().constFirst()->string().value_or(u"no text"_qs);
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
        copy(u"before"_qs);
        _watch->start();
        tick();
        QVERIFY(_copies.isEmpty());
        copy(u"after"_qs);
        tick();
        QCOMPARE(_copies, QStringList{u"after"_qs});
    }

    void itLooksUntilItIsNotNeeded() {
        _watch->start();
        QVERIFY(_desk->pasteboard.isWatching());
        tick();
        _isNeeded = false;
        copy(u"alone"_qs);
        tick();
        QVERIFY(!_desk->pasteboard.isWatching());
        _isNeeded = true;
        tick();
        QVERIFY(_copies.isEmpty());
        _watch->startAgain();
        QVERIFY(_desk->pasteboard.isWatching());
        copy(u"with company"_qs);
        tick();
        QCOMPARE(_copies, QStringList{u"with company"_qs});
    }

    void aLivingWatchIsNotStartedAgain() {
        _watch->start();
        copy(u"meanwhile"_qs);
        _watch->startAgain();
        tick();
        QCOMPARE(_copies, QStringList{u"meanwhile"_qs});
    }

    void theSameIsToldOnceUnlessItWasRefused() {
        _watch->start();
        _takes = false;
        copy(u"text"_qs);
        tick();
        _takes = true;
        copy(u"text"_qs);
        tick();
        copy(u"text"_qs);
        tick();
        QCOMPARE(_copies, (QStringList{u"text"_qs, u"text"_qs}));
    }

    void whatWeWroteIsNotTold() {
        _watch->start();
        const auto clip = ZRKClipmuleData::initWithDictionary(
            {{u"items"_qs, PropertyList::List{PropertyList(
                               PropertyList::Dictionary{{u"string"_qs, u"ours"_qs}})}}});
        clip->writeToPasteboard(_desk->pasteboardServices);
        _watch->noteWritten(*clip);
        tick();
        // Neither when a manager offers it anew.
        copy(u"ours"_qs);
        tick();
        QVERIFY(_copies.isEmpty());
        copy(u"theirs"_qs);
        tick();
        QCOMPARE(_copies, QStringList{u"theirs"_qs});
    }

    void aClipboardThatCannotBeReadIsToldOnce() {
        _watch->start();
        _desk->pasteboard.failReadsWith(u"broken"_qs);
        copy(u"text"_qs);
        QTest::ignoreMessage(QtWarningMsg, "ERROR CREATING DATA PasteboardFailure: broken");
        tick();
        tick();
        QCOMPARE(_journal->refusals().size(), 1);
        QCOMPARE(_journal->refusals().constFirst().count, 1U);
        QCOMPARE(_journal->refusals().constFirst().detail, u"broken"_qs);
    }

private:
    void copy(const QString &text) { _desk->pasteboard.copyText(text); }
    void tick() { _desk->advance(ClipboardWatch::pollInterval.count()); }

    std::unique_ptr<AgentFixture> _desk;
    std::unique_ptr<SyncJournal> _journal;
    std::unique_ptr<ClipboardWatch> _watch;
    bool _isNeeded = true;
    bool _takes = true;
    QStringList _copies;
};

QTEST_GUILESS_MAIN(ClipboardWatchTest)
#include "tst_clipboardwatch.moc"
