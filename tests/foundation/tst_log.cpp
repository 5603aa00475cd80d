// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/foundation/Log.h"
#include "platform/foundation/LogLimit.h"
#include "tests/kit/ManualRunLoop.h"
#include "tests/kit/TestCase.h"

#include <QTest>

using namespace clipmule;

namespace {

constexpr qsizetype whole = 1000;

QString shown(const QString &text) {
    return onOneLine(text, whole);
}

// QString::fromUcs4() would take a byte order mark away.
QString textOf(char32_t character) {
    return QStringView(QChar::fromUcs4(character)).toString();
}

QString shown(char32_t character) {
    return shown(textOf(character));
}

} // namespace

class LogTest final : public kit::TestCase {
    Q_OBJECT

private Q_SLOTS:
    void whatDoesNoHarmStays() {
        const QString text =
            QStringLiteral(u"Anna\u2019s \"phone\" \u00a0\\ ~ \u00e4 \u0301 \u65e5\u672c \u05d0 "
                           u"\U0001f4f1 \u202f\ue000");
        QCOMPARE(shown(text), text);
        QCOMPARE(shown(QString()), QString());
    }

    void controlCharactersAreWrittenOut() {
        QCOMPARE(shown(QStringLiteral("a\nb\r\tc")), QStringLiteral("a\\nb\\x0d\\x09c"));
        QCOMPARE(shown(QStringLiteral(u"\u001b[31m\u0007")), QStringLiteral("\\x1b[31m\\x07"));
        for (char32_t control = 0; control < 0xa0; ++control) {
            if (control == u'\n' || (control >= 0x20 && control < 0x7f))
                continue;
            QCOMPARE(shown(control),
                     QStringLiteral("\\x%1").arg(uint(control), 2, 16, QLatin1Char('0')));
        }
    }

    void whatTurnsOrHidesOrBreaksIsWrittenOut() {
        for (const char32_t character :
             {0x00ad, 0x061c, 0x180e, 0x200b, 0x200e, 0x200f, 0x2028, 0x2029,
              0x202a, 0x202b, 0x202c, 0x202d, 0x202e, 0x2060, 0x2066, 0x2067,
              0x2068, 0x2069, 0x206f, 0xfeff, 0xfff9, 0xfffb}) {
            const bool isShort = character < 0x100;
            QCOMPARE(shown(character),
                     (isShort ? QStringLiteral("\\x%1") : QStringLiteral("\\u%1"))
                         .arg(uint(character), isShort ? 2 : 4, 16, QLatin1Char('0')));
        }
        QCOMPARE(shown(char32_t(0xe0041)), QStringLiteral("\\U000e0041"));
    }

    void neighboursOfTheseStay() {
        for (const char32_t character : {0x20, 0x7e, 0xa0, 0xac, 0xae, 0x061b, 0x061d, 0x2010,
                                         0x2027, 0x202f, 0x2070, 0xfefe, 0xff00, 0xfffc})
            QCOMPARE(shown(character), textOf(character));
    }

    void halfACharacterIsWrittenOut() {
        const QString high(QChar(0xd83d));
        const QString low(QChar(0xdcf1));
        QCOMPARE(shown(u'a' + high), QStringLiteral("a\\ud83d"));
        QCOMPARE(shown(low + high + u'b'), QStringLiteral("\\udcf1\\ud83db"));
    }

    void joinersStayWhereScriptsAndPicturesNeedThem() {
        const QString family = QStringLiteral(u"\U0001f469\u200d\U0001f467");
        const QString persian = QStringLiteral(u"\u0645\u06cc\u200c\u062e");
        QCOMPARE(shown(family), family);
        QCOMPARE(shown(persian), persian);
        QCOMPARE(shown(QStringLiteral(u"\u200dAn\u200dna\u200c")),
                 QStringLiteral("\\u200dAn\\u200dna\\u200c"));
        QCOMPARE(shown(QStringLiteral(u"\u024f\u200d\u0250\u200d\u200d")),
                 QStringLiteral(u"\u024f\\u200d\u0250\u200d\\u200d"));
    }

    void aLongTextIsCut() {
        const QString five = QStringLiteral("abcde");
        QCOMPARE(onOneLine(five, 6), five);
        QCOMPARE(onOneLine(five, 5), five);
        QCOMPARE(onOneLine(five, 4), QStringLiteral(u"abcd\u2026 (5)"));
        QCOMPARE(onOneLine(five, 0), QStringLiteral(u"\u2026 (5)"));
        QCOMPARE(cutForLog(QString(64, u'a')), QString(64, u'a'));
        QCOMPARE(cutForLog(QString(65, u'a')), QString(64, u'a') + QStringLiteral(u"\u2026 (65)"));
    }

    void tenLinesAMinuteAreWrittenAndTheOthersCounted() {
        kit::ManualRunLoop loop;
        const RunLoop::Installation installation(loop);
        QList<int> sums;
        {
            LogLimit limit([&](int leftOut) { sums += leftOut; });
            for (int line = 1; line <= 10; ++line)
                QVERIFY(limit.allows());
            loop.advance(59.9);
            QVERIFY(!limit.allows());
            QVERIFY(!limit.allows());
            QCOMPARE(sums, QList<int>());
            loop.advance(0.2);
            QCOMPARE(sums, QList<int>{2});
            // Ten are within the limit: nothing is said of them.
            for (int line = 1; line <= 10; ++line)
                QVERIFY(limit.allows());
            loop.advance(120);
            QCOMPARE(sums, QList<int>{2});
            for (int line = 1; line <= 11; ++line)
                QCOMPARE(limit.allows(), line <= 10);
        }
        QCOMPARE(sums, (QList<int>{2, 1}));
        loop.advance(120);
        QCOMPARE(sums, (QList<int>{2, 1}));
    }

    void aCharacterIsNotCutInTwo() {
        const QString text = QStringLiteral(u"ab\U0001f4f1c");
        QCOMPARE(onOneLine(text, 3), QStringLiteral(u"ab\u2026 (5)"));
        QCOMPARE(onOneLine(text, 4), QStringLiteral(u"ab\U0001f4f1\u2026 (5)"));
        // A high surrogate that stood alone anyway is shown as what it is.
        QCOMPARE(onOneLine(QStringLiteral("ab") + QChar(0xd83d) + u'c', 3),
                 QStringLiteral(u"ab\\ud83d\u2026 (4)"));
    }
};

QTEST_GUILESS_MAIN(LogTest)
#include "tst_log.moc"
