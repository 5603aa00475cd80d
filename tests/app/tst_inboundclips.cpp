// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "model/ZRKClipmuleData.h"
#include "tests/app/AgentFixture.h"
#include "tests/kit/TestCase.h"

#include <QTest>

using namespace clipmule;
using namespace clipmule::kit;
using namespace Qt::StringLiterals;

namespace {

std::shared_ptr<ZRKClipmuleData> textClip(const QString &text) {
    return ZRKClipmuleData::initWithDictionary(
        {{u"items"_s,
          PropertyList::List{PropertyList(PropertyList::Dictionary{{u"string"_s, text}})}}});
}

} // namespace

// Without a phone, a network or a watch.
class InboundClipsTest final : public kit::TestCase {
    Q_OBJECT

    void begin() override {
        _desk = std::make_unique<AgentFixture>();
        _journal = std::make_unique<SyncJournal>(std::ref(_desk->notice), *_desk->shared);
        _inbound =
            std::make_unique<InboundClips>(_desk->pasteboardServices, _desk->keyboard, *_journal);
        _mode = PasteMode::Paste;
        _events.clear();
        _inbound->pasteModeOf = [this](const QString &phone) {
            _events += u"mode of "_s + phone;
            return _mode;
        };
        _inbound->onWritten = [this](ZRKClipmuleData &) { _events += u"written"_s; };
        _inbound->onPrepareToPaste = [this] {
            _events += u"pastes so far: %1"_s.arg(_desk->keyboard.pasteCount());
        };
    }

    void end() override {
        _inbound.reset();
        _journal.reset();
        _desk.reset();
    }

private Q_SLOTS:
    void aClipIsWrittenThenPasted() {
        _inbound->receive(u"Anna"_s, textClip(u"hello"_s));
        QCOMPARE(text(), u"hello"_s);
        QCOMPARE(_events, (QStringList{u"written"_s, u"mode of Anna"_s, u"pastes so far: 0"_s}));
        QCOMPARE(_desk->keyboard.pasteCount(), 1);
        QCOMPARE(_desk->statistic(u"dataReceived"_s), PropertyList(quint64(5)));
    }

    void whereNothingIsPastedTheKeyboardRests() {
        _mode = PasteMode::Clipboard;
        _inbound->receive(u"Anna"_s, textClip(u"hello"_s));
        QCOMPARE(text(), u"hello"_s);
        QCOMPARE(_events, (QStringList{u"written"_s, u"mode of Anna"_s}));
        QCOMPARE(_desk->keyboard.pasteCount(), 0);
        QCOMPARE(_desk->statistic(u"dataReceived"_s), PropertyList(quint64(5)));
    }

    void whereNothingCanPasteTheUserIsToldOnce() {
        _inbound->receive(u"Anna"_s, textClip(u"pasted"_s));
        QCOMPARE(_desk->notice.messages, QStringList());
        _desk->keyboard.why = u"the compositor takes none"_s;
        // Who wants nothing pasted misses nothing.
        _mode = PasteMode::Clipboard;
        _desk->advance(1);
        _inbound->receive(u"Anna"_s, textClip(u"wanted on the clipboard"_s));
        QCOMPARE(_desk->notice.messages, QStringList());
        _mode = PasteMode::Paste;
        for (const QString &clip : {u"one"_s, u"two"_s}) {
            _desk->advance(1);
            _inbound->receive(u"Anna"_s, textClip(clip));
            QCOMPARE(text(), clip);
            QCOMPARE(_desk->notice.messages,
                     QStringList{u"What your phone sent is on the clipboard. Nothing can paste it "
                                 "for you on this desktop: press Ctrl+V."_s});
        }
    }

    void whereNotEveryWindowIsPastedIntoTheUserIsToldOnce() {
        _desk->keyboard.how = u"xwayland"_s;
        _desk->keyboard.why = u"the compositor takes none for others"_s;
        for (const QString &clip : {u"one"_s, u"two"_s}) {
            _inbound->receive(u"Anna"_s, textClip(clip));
            _desk->advance(1);
            QCOMPARE(
                _desk->notice.messages,
                QStringList{u"What your phone sent is on the clipboard. On this desktop it is "
                            "pasted for you into X11 windows only: elsewhere press Ctrl+V."_s});
        }
        QCOMPARE(_desk->keyboard.pasteCount(), 2);
    }

    void aClipboardThatFailsIsTold() {
        _desk->pasteboard.failWritesWith(u"no clipboard"_s);
        QTest::ignoreMessage(QtWarningMsg, "ERROR DECODING DATA PasteboardFailure: no clipboard");
        _inbound->receive(u"Anna"_s, textClip(u"hello"_s));
        QVERIFY(_events.isEmpty());
        QCOMPARE(_journal->refusals().size(), 1);
        QCOMPARE(_journal->refusals().constFirst().detail, u"no clipboard"_s);
        QCOMPARE(_desk->notice.messages.size(), 1);
        // It took its time all the same.
        _desk->pasteboard.failWritesWith({});
        _inbound->receive(u"Anna"_s, textClip(u"next"_s));
        QVERIFY(_events.isEmpty());
        _desk->advance(InboundClips::pasteInterval.count());
        QCOMPARE(text(), u"next"_s);
    }

    void onlyWhatWaitsOfThatPhoneIsForgotten() {
        _inbound->receive(u"Anna"_s, textClip(u"one"_s));
        _inbound->receive(u"Ben"_s, textClip(u"Ben's"_s));
        _inbound->receive(u"Anna"_s, textClip(u"two"_s));
        _inbound->forget(u"Carl"_s);
        QVERIFY(_journal->refusals().isEmpty());
        _inbound->forget(u"Anna"_s);
        QCOMPARE(_journal->refusals().constFirst().phone, u"Anna"_s);
        QCOMPARE(_journal->refusals().constFirst().reason, Refusal::Reason::Disconnected);
        _desk->advance(5);
        QCOMPARE(text(), u"Ben's"_s);
    }

    void allThatWaitsIsForgottenPhoneByPhone() {
        _inbound->receive(u"Anna"_s, textClip(u"one"_s));
        _inbound->receive(u"Ben"_s, textClip(u"Ben's"_s));
        _inbound->receive(u"Anna"_s, textClip(u"two"_s));
        _inbound->forgetAll();
        QCOMPARE(_journal->refusals().size(), 2);
        _desk->advance(5);
        QCOMPARE(text(), u"one"_s);
        // And the next is not told of what waited once.
        _inbound->receive(u"Ben"_s, textClip(u"later"_s));
        QCOMPARE(text(), u"later"_s);
    }

    void aLongTextIsWrittenWhenItIsMade() {
        _desk->work.hold();
        const QString longest(qsizetype(InboundClips::longText), u'ü');
        _inbound->receive(u"Anna"_s, textClip(longest));
        QCOMPARE(text(), longest);
        QCOMPARE(_desk->work.started(), 0);
        _desk->advance(1);
        _inbound->receive(u"Anna"_s, textClip(longest + u'x'));
        _desk->advance(1);
        QCOMPARE(text(), longest);
        _desk->work.doNext();
        QCOMPARE(text(), longest + u'x');
        QCOMPARE(_desk->keyboard.pasteCount(), 2);
    }

    // It is asked for by who must not send the clip back.
    void theHashOfALongTextIsMadeInTheBackground() {
        _desk->work.hold();
        const auto clip = textClip(longText());
        _inbound->receive(u"Anna"_s, clip);
        QCOMPARE(clip->firstItem()->stringHash(), std::nullopt);
        _desk->work.doNext();
        QCOMPARE(clip->firstItem()->stringHash(), std::optional(qHash(longText())));
    }

    void whatComesAfterALongTextWaitsForIt() {
        _desk->work.hold();
        _inbound->receive(u"Anna"_s, textClip(longText()));
        _inbound->receive(u"Anna"_s, textClip(u"next"_s));
        _desk->advance(5);
        QVERIFY(_events.isEmpty());
        _desk->work.doNext();
        QCOMPARE(text(), longText());
        _desk->advance(InboundClips::pasteInterval.count());
        QCOMPARE(text(), u"next"_s);
        // One that had to wait itself is made when its turn comes.
        _inbound->receive(u"Anna"_s, textClip(longText() + u'2'));
        QCOMPARE(_desk->work.started(), 1);
        _desk->advance(InboundClips::pasteInterval.count());
        QCOMPARE(_desk->work.waiting(), 1);
        _desk->work.doNext();
        QCOMPARE(text(), longText() + u'2');
    }

    void aLongTextOfAPhoneThatHasGoneIsForgotten() {
        _desk->work.hold();
        _inbound->receive(u"Anna"_s, textClip(longText()));
        _inbound->receive(u"Ben"_s, textClip(u"Ben's"_s));
        _inbound->forget(u"Ben"_s);
        _inbound->receive(u"Ben"_s, textClip(u"Ben's"_s));
        _inbound->forget(u"Anna"_s);
        QCOMPARE(_journal->refusals().size(), 2);
        QVERIFY(_events.isEmpty());
        _desk->advance(0);
        QCOMPARE(text(), u"Ben's"_s);
        _desk->work.doNext();
        _desk->advance(5);
        QCOMPARE(text(), u"Ben's"_s);
    }

    void nothingIsWrittenOfAllThatIsForgotten() {
        _desk->work.hold();
        _inbound->receive(u"Anna"_s, textClip(longText()));
        _inbound->receive(u"Ben"_s, textClip(u"Ben's"_s));
        _inbound->forgetAll();
        QCOMPARE(_journal->refusals().size(), 2);
        _desk->work.doNext();
        _desk->advance(5);
        QVERIFY(_events.isEmpty());
        _inbound->receive(u"Ben"_s, textClip(u"later"_s));
        QCOMPARE(text(), u"later"_s);
    }

    // Which go on while a phone goes and when we end.
    void byThreads() {
        BackgroundWork::setStandIn({});
        const auto isThere = [this](const QString &expected) {
            return QTest::qWaitFor([&] { return text() == expected; });
        };
        _inbound->receive(u"Anna"_s, textClip(longText()));
        QVERIFY(isThere(longText()));
        _desk->advance(1);
        _inbound->receive(u"Anna"_s, textClip(u"Anna's"_s + longText()));
        _inbound->forget(u"Anna"_s);
        _desk->advance(1);
        const QString bens = u"Ben's"_s + longText();
        _inbound->receive(u"Ben"_s, textClip(bens));
        QVERIFY(isThere(bens));
        _desk->advance(1);
        _inbound->receive(u"Ben"_s, textClip(longText()));
        _inbound.reset();
        QCoreApplication::processEvents();
        QCOMPARE(text(), bens);
        QCOMPARE(_events.count(u"written"_s), 2);
    }

private:
    [[nodiscard]] static QString longText() {
        return QString(qsizetype(InboundClips::longText) + 1, u'x');
    }
    [[nodiscard]] QString text() const { return _desk->pasteboard.text(); }

    std::unique_ptr<AgentFixture> _desk;
    std::unique_ptr<SyncJournal> _journal;
    std::unique_ptr<InboundClips> _inbound;
    PasteMode _mode = PasteMode::Paste;
    QStringList _events;
};

QTEST_GUILESS_MAIN(InboundClipsTest)
#include "tst_inboundclips.moc"
