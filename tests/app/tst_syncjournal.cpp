// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "model/ZRKClipmuleData.h"
#include "tests/app/AgentFixture.h"
#include "tests/kit/TestCase.h"

#include <QTest>

using namespace clipmule;
using namespace clipmule::kit;
using namespace Qt::StringLiterals;

class SyncJournalTest final : public kit::TestCase {
    Q_OBJECT

    void begin() override {
        _desk = std::make_unique<AgentFixture>();
        _desk->setRegistered({u"Anna"_s});
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
        QTest::newRow("registered") << u"Anna"_s << u"Anna's name"_s;
        QTest::newRow("another") << u"Ben"_s << u"Ben"_s;
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
        _journal->refuse({.reason = Refusal::Reason::TooLarge}, u"too much"_s);
        QCOMPARE(_desk->notice.messages.constLast(), u"too much"_s);
    }

    void aConnectionEndsWhatWasSaidOfFailures() {
        QVERIFY(!_journal->contact(u"Anna"_s).lastSeen);
        _journal->noteConnection(u"Anna"_s, u"refused"_s);
        QVERIFY(!_journal->contact(u"Anna"_s).lastSeen);
        QCOMPARE(_journal->contact(u"Anna"_s).lastError, u"refused"_s);
        QVERIFY(_journal->contact(u"Anna"_s).lastErrorDate);
        _journal->noteConnection(u"Anna"_s, QString());
        QVERIFY(_journal->contact(u"Anna"_s).lastSeen);
        QCOMPARE(_journal->contact(u"Anna"_s).lastError, QString());
        QVERIFY(!_journal->contact(u"Anna"_s).lastErrorDate);
        QCOMPARE(_changes, 2);
    }

    void aPhoneThatFailsWasSeenAllTheSame() {
        _journal->noteSeen(u"Anna"_s);
        _journal->noteConnection(u"Anna"_s, u"refused"_s);
        QVERIFY(_journal->contact(u"Anna"_s).lastSeen);
        QVERIFY(!_journal->contact(u"Ben"_s).lastSeen);
    }

    void clipsAreCountedByKind() {
        const auto text = clip({{u"string"_s, u"hello"_s}});
        _journal->count(*text, Settings::Key::DataSent);
        _journal->count(*text, Settings::Key::DataReceived);
        const auto image = clip({{u"imageData"_s, QByteArray("image")}});
        _journal->count(*image, Settings::Key::DataSent);
        QCOMPARE(_desk->statistic(u"dataSent"_s),
                 PropertyList(quint64(text->size() + image->size())));
        QCOMPARE(_desk->statistic(u"dataReceived"_s), PropertyList(quint64(text->size())));
        QCOMPARE(_desk->statistic(u"textItems"_s), PropertyList(2));
        QCOMPARE(_desk->statistic(u"imageItems"_s), PropertyList(1));
    }

private:
    static std::shared_ptr<ZRKClipmuleData> clip(const PropertyList::Dictionary &item) {
        return ZRKClipmuleData::initWithDictionary(
            {{u"items"_s, PropertyList::List{PropertyList(item)}}});
    }

    std::unique_ptr<AgentFixture> _desk;
    std::unique_ptr<SyncJournal> _journal;
    int _changes = 0;
};

QTEST_GUILESS_MAIN(SyncJournalTest)
#include "tst_syncjournal.moc"
