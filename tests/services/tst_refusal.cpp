// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/session/Refusal.h"
#include "tests/kit/TestCase.h"

#include <QLocale>
#include <QTest>

using namespace clipmule;
using namespace Qt::StringLiterals;

using Direction = Refusal::Direction;
using Reason = Refusal::Reason;
using Kind = Refusal::Kind;

class RefusalTest final : public kit::TestCase {
    Q_OBJECT

private Q_SLOTS:
    void theWords_data() {
        QTest::addColumn<int>("direction");
        QTest::addColumn<int>("reason");
        QTest::addColumn<int>("kind");
        QTest::addColumn<QString>("text");
        const auto row = [](Direction direction, Reason reason, Kind kind, const char *text) {
            QTest::addRow("%s", text)
                << int(direction) << int(reason) << int(kind) << QString::fromUtf8(text);
        };
        row(Direction::CopiedHere, Reason::TooLarge, Kind::Text,
            "Not sent: the text you copied is too large. It has 10,000,018 characters, and at most "
            "9,999,999 are sent.");
        row(Direction::CopiedHere, Reason::TooLarge, Kind::Image,
            "Not sent: what you copied is too large. It has 10,000,018 bytes, and at most "
            "9,999,999 are sent.");
        row(Direction::CopiedHere, Reason::Secret, Kind::Clip,
            "Not sent: what you copied is marked as secret.");
        row(Direction::CopiedHere, Reason::NoContent, Kind::Clip,
            "Not sent: there is no text, link or image in what you copied.");
        row(Direction::CopiedHere, Reason::Failed, Kind::Clip,
            "Not sent: what you copied could not be read.");
        row(Direction::FromPhone, Reason::TooLarge, Kind::DeviceRecord,
            "Not used: what Anna %3 tells about itself is too large: at most 9,999,999 "
            "bytes are kept.");
        row(Direction::FromPhone, Reason::Damaged, Kind::DeviceRecord,
            "Not used: what Anna %3 tells about itself is damaged.");
        row(Direction::FromPhone, Reason::TooLarge, Kind::Image,
            "Not pasted: the clip from Anna %3 is too large. It has 10,000,018 bytes, and at most "
            "9,999,999 are accepted.");
        row(Direction::FromPhone, Reason::MixedKinds, Kind::Clip,
            "Not pasted: the clip from Anna %3 has both text and images, which cannot be pasted "
            "together.");
        row(Direction::FromPhone, Reason::Overtaken, Kind::Clip,
            "Not pasted: a newer clip arrived right after the one from Anna %3.");
        row(Direction::FromPhone, Reason::Disconnected, Kind::Clip,
            "Not pasted: the sync ended before it was the turn of the clip from Anna %3.");
        row(Direction::FromPhone, Reason::Failed, Kind::Clip,
            "Not pasted: the clip from Anna %3 could not be put on the clipboard.");
        row(Direction::FromPhone, Reason::Damaged, Kind::Clip,
            "Not pasted: the clip from Anna %3 is damaged.");
        row(Direction::ForPhone, Reason::QueueFull, Kind::Clip,
            "Not sent to Anna %3: it does not take what is sent. 10,000,018 bytes are waiting for "
            "it, and at most 9,999,999 are kept.");
        row(Direction::ForPhone, Reason::Damaged, Kind::Clip,
            "Not sent to Anna %3: the clip could not be written.");
    }
    void theWords() {
        QFETCH(int, direction);
        QFETCH(int, reason);
        QFETCH(int, kind);
        QFETCH(QString, text);
        Refusal refusal{.direction = Direction(direction),
                        .reason = Reason(reason),
                        .kind = Kind(kind),
                        // A phone may be called anything.
                        .phone = u"Anna %3"_s,
                        .size = 10'000'018,
                        .limit = 9'999'999};
        QLocale::setDefault(QLocale(QLocale::English, QLocale::UnitedStates));
        QCOMPARE(userText(refusal), text);
        QCOMPARE(englishText(refusal), text);
        refusal.count = 2;
        QCOMPARE(userText(refusal), text + u" (2 times)"_s);
        refusal.count = 1234;
        refusal.detail = u"a list instead of %1"_s;
        QCOMPARE(userText(refusal), text + u" (1,234 times)"_s);
        QCOMPARE(englishText(refusal), text + u" (1,234 times) [a list instead of %1]"_s);
    }

    void foreignTextsAreMadeHarmless() {
        const Refusal refusal{.direction = Direction::FromPhone,
                              .reason = Reason::Damaged,
                              .phone = u"A\n\u202eB"_s + QString(200, u'x'),
                              .detail = u"\x1b[31m"_s + QString(300, u'y')};
        QVERIFY(userText(refusal).contains(u"A\\n\\u202eBxxx"_s));
        QVERIFY(!userText(refusal).contains(QString(128, u'x')));
        QVERIFY(englishText(refusal).contains(u"[\\x1b[31myyy"_s));
        QVERIFY(!englishText(refusal).contains(QString(256, u'y')));
    }

    void numbersFollowTheUsersLocale() {
        const Refusal refusal{.direction = Direction::CopiedHere,
                              .reason = Reason::TooLarge,
                              .size = 10'000'018,
                              .limit = 9'999'999};
        QLocale::setDefault(QLocale(QLocale::German, QLocale::Germany));
        QVERIFY(userText(refusal).contains(u"10.000.018"_s));
        QVERIFY(englishText(refusal).contains(u"10,000,018"_s));
    }

    void namesReadBack() {
        for (int i = 0; i <= int(Direction::ForPhone); ++i)
            QCOMPARE(int(refusalDirection(nameOf(Direction(i)))), i);
        for (int i = 0; i <= int(Reason::Failed); ++i)
            QCOMPARE(int(refusalReason(nameOf(Reason(i)))), i);
        for (int i = 0; i <= int(Kind::DeviceRecord); ++i)
            QCOMPARE(int(refusalKind(nameOf(Kind(i)))), i);
        QCOMPARE(nameOf(Direction::ForPhone), u"for phone"_s);
        QCOMPARE(nameOf(Reason::QueueFull), u"queue full"_s);
        QCOMPARE(nameOf(Kind::DeviceRecord), u"device record"_s);
        QCOMPARE(refusalDirection(u"sideways"_s), Direction::CopiedHere);
        QCOMPARE(refusalReason(QString()), Reason::Failed);
        QCOMPARE(refusalKind(u"smell"_s), Kind::Clip);
    }
};

QTEST_GUILESS_MAIN(RefusalTest)
#include "tst_refusal.moc"
