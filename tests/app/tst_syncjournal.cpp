// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "model/ZRKClipmuleData.h"
#include "tests/app/AgentFixture.h"
#include "tests/kit/TestCase.h"

#include <QTest>

using namespace clipmule;
using namespace clipmule::kit;

class SyncJournalTest final : public kit::TestCase {
    Q_OBJECT

    void begin() override {
        _desk = std::make_unique<AgentFixture>();
        _desk->setRegistered({u"Anna"_qs});
        _journal = std::make_unique<SyncJournal>(std::ref(_desk->notice), *_desk->shared);
        _changes = 0;
        _journal->onChange = [this] { ++_changes; };
    }

    void end() override {
        _journal.reset();
        _desk.reset();
    }

private Q_SLOTS:
    void aPhoneHasTheNameThatTheUserGaveIt_data() {
        QTest::addColumn<QString>("phone");
        QTest::addColumn<QString>("entered");
        QTest::newRow("registered") << u"Anna"_qs << u"Anna's name"_qs;
        QTest::newRow("another") << u"Ben"_qs << u"Ben"_qs;
        QTest::newRow("none") << QString() << QString();
    }
    void aPhoneHasTheNameThatTheUserGaveIt() {
        QFETCH(QString, phone);
        QFETCH(QString, entered);
        QVERIFY(_journal->enter({.phone = phone}));
        QCOMPARE(_journal->refusals().constFirst().phone, entered);
        QVERIFY(_desk->notice.messages.isEmpty());
        QCOMPARE(_changes, 1);
    }

    void aRefusalIsToldInItsOwnWordsOrInOthers() {
        _journal->refuse({.reason = Refusal::Reason::Secret});
        QCOMPARE(_desk->notice.messages.constLast(), userText(_journal->refusals().constFirst()));
        _journal->refuse({.reason = Refusal::Reason::TooLarge}, u"too much"_qs);
        QCOMPARE(_desk->notice.messages.constLast(), u"too much"_qs);
    }

    void aConnectionEndsWhatWasSaidOfFailures() {
        QVERIFY(!_journal->contact(u"Anna"_qs).lastSeen);
        _journal->noteConnection(u"Anna"_qs, u"refused"_qs);
        QVERIFY(!_journal->contact(u"Anna"_qs).lastSeen);
        QCOMPARE(_journal->contact(u"Anna"_qs).lastError, u"refused"_qs);
        QVERIFY(_journal->contact(u"Anna"_qs).lastErrorDate);
        _journal->noteConnection(u"Anna"_qs, QString());
        QVERIFY(_journal->contact(u"Anna"_qs).lastSeen);
        QCOMPARE(_journal->contact(u"Anna"_qs).lastError, QString());
        QVERIFY(!_journal->contact(u"Anna"_qs).lastErrorDate);
        QCOMPARE(_changes, 2);
    }

    void aPhoneThatFailsWasSeenAllTheSame() {
        _journal->noteSeen(u"Anna"_qs);
        _journal->noteConnection(u"Anna"_qs, u"refused"_qs);
        QVERIFY(_journal->contact(u"Anna"_qs).lastSeen);
        QVERIFY(!_journal->contact(u"Ben"_qs).lastSeen);
    }

    void clipsAreCountedByKind() {
        const auto text = clip({{u"string"_qs, u"hello"_qs}});
        _journal->count(*text, Settings::Key::DataSent);
        _journal->count(*text, Settings::Key::DataReceived);
        const auto image = clip({{u"imageData"_qs, QByteArray("image")}});
        _journal->count(*image, Settings::Key::DataSent);
        QCOMPARE(_desk->statistic(u"dataSent"_qs),
                 PropertyList(quint64(text->size() + image->size())));
        QCOMPARE(_desk->statistic(u"dataReceived"_qs), PropertyList(quint64(text->size())));
        QCOMPARE(_desk->statistic(u"textItems"_qs), PropertyList(2));
        QCOMPARE(_desk->statistic(u"imageItems"_qs), PropertyList(1));
    }

private:
    static std::shared_ptr<ZRKClipmuleData> clip(const PropertyList::Dictionary &item) {
        return ZRKClipmuleData::initWithDictionary(
            {{u"items"_qs, PropertyList::List{PropertyList(item)}}});
    }

    std::unique_ptr<AgentFixture> _desk;
    std::unique_ptr<SyncJournal> _journal;
    int _changes = 0;
};

QTEST_GUILESS_MAIN(SyncJournalTest)
#include "tst_syncjournal.moc"
