// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "Common/Categories/ZRKNSStringCategory.h"
#include "tests/kit/TestCase.h"

#include <QRegularExpression>
#include <QSet>
#include <QTest>

using namespace clipmule;
using namespace clipmule::ZRKNSStringCategory;

class StringCategoryTest final : public kit::TestCase {
    Q_OBJECT

private Q_SLOTS:
    void uuidHasTheStandardForm() {
        const QRegularExpression form(QStringLiteral(
            "^[0-9A-F]{8}-[0-9A-F]{4}-4[0-9A-F]{3}-[89AB][0-9A-F]{3}-[0-9A-F]{12}$"));
        const QString identifier = uuid();
        QCOMPARE(identifier.size(), 36);
        QVERIFY2(form.match(identifier).hasMatch(), qPrintable(identifier));
    }

    void uuidsDiffer() {
        QSet<QString> seen;
        for (int i = 0; i < 100; ++i)
            seen.insert(uuid());
        QCOMPARE(seen.size(), 100);
    }

    // RFC 1321, A.5.
    void md5IsLowerCaseHexadecimal() {
        QCOMPARE(md5(QString()), QStringLiteral("d41d8cd98f00b204e9800998ecf8427e"));
        QCOMPARE(md5(QStringLiteral("abc")), QStringLiteral("900150983cd24fb0d6963f7d28e17f72"));
    }

    // RFC 3174's "abc": A9993E36 4706816A BA3E2571 7850C26C 9CD0D89D.
    void sha1IsBase64() {
        QCOMPARE(sha1(QStringLiteral("abc")), QStringLiteral("qZk+NkcGgWq6PiVxeFDCbJzQ2J0="));
    }

    void digestsStopAtTheFirstNul() {
        const QString withNul = QStringLiteral("abc") + QChar(u'\0') + QStringLiteral("def");
        QCOMPARE(md5(withNul), md5(QStringLiteral("abc")));
        QCOMPARE(sha1(withNul), sha1(QStringLiteral("abc")));
    }

    void digestsAreOfTheUtf8Bytes() {
        // The bytes C3 BC.
        QCOMPARE(md5(QStringLiteral("ü")), QStringLiteral("c03410a5204b21cd8229ff754688d743"));
    }

    // RFC 2202, test case 2: effcdf6ae5eb2fa2d27416d5f184df9c259a7c79.
    void hmacOfThePublishedExamples() {
        QCOMPARE(hmacSHA1(QStringLiteral("what do ya want for nothing?"), QStringLiteral("Jefe")),
                 QStringLiteral("7/zfauXrL6LSdBbV8YTfnCWafHk="));
    }

    void hmacTakesBytesBehindANul() {
        const QString withNul = QStringLiteral("abc") + QChar(u'\0') + QStringLiteral("def");
        QVERIFY(hmacSHA1(withNul, QStringLiteral("key")) !=
                hmacSHA1(QStringLiteral("abc"), QStringLiteral("key")));
    }

    void urlEncode_data() {
        QTest::addColumn<QString>("string");
        QTest::addColumn<QString>("encoded");
        QTest::newRow("blank") << QStringLiteral(" ") << QStringLiteral("%20");
        QTest::newRow("slash") << QStringLiteral("/") << QStringLiteral("%2F");
        QTest::newRow("percent sign") << QStringLiteral("%") << QStringLiteral("%25");
        QTest::newRow("letters and digits") << QStringLiteral("azAZ09") << QStringLiteral("azAZ09");
        QTest::newRow("marks that stay") << QStringLiteral("-._~") << QStringLiteral("-._~");
        QTest::newRow("the reserved characters and the quote")
            << QStringLiteral(":/?#[]@!$&'()*+,;=\"")
            << QStringLiteral("%3A%2F%3F%23%5B%5D%40%21%24%26%27%28%29%2A%2B%2C%3B%3D%22");
        QTest::newRow("what no URL may hold")
            << QStringLiteral("<>\\^`{|}\n") << QStringLiteral("%3C%3E%5C%5E%60%7B%7C%7D%0A");
        QTest::newRow("outside ASCII") << QStringLiteral("ü€") << QStringLiteral("%C3%BC%E2%82%AC");
        QTest::newRow("already escaped") << QStringLiteral("%20") << QStringLiteral("%2520");
        QTest::newRow("empty") << QString() << QString();
    }

    void urlEncode() {
        QFETCH(QString, string);
        QFETCH(QString, encoded);
        QCOMPARE(ZRKNSStringCategory::urlEncode(string), encoded);
    }

    void replacingMakesOneReplacementOfEachCharacter() {
        const auto replaced = [](const QString &string) {
            return stringByReplacingCharactersInSetWithString(string, NewlineCharacterSet(),
                                                              QStringLiteral("\n"));
        };
        QCOMPARE(replaced(QStringLiteral("one\r\ntwo")), QStringLiteral("one\n\ntwo"));
        QCOMPARE(replaced(QStringLiteral("\r\r")), QStringLiteral("\n\n"));
        QCOMPARE(replaced(QStringLiteral("one\r")), QStringLiteral("one\n"));
        const auto isDigit = [](char16_t unit) { return unit >= u'0' && unit <= u'9'; };
        QCOMPARE(stringByReplacingCharactersInSetWithString(QStringLiteral("1a22b"), isDigit,
                                                            QStringLiteral("<>")),
                 QStringLiteral("<>a<><>b"));
        QCOMPARE(
            stringByReplacingCharactersInSetWithString(QStringLiteral("1a22b"), isDigit, QString()),
            QStringLiteral("ab"));
    }

    void replacingWithoutAHitSharesTheString() {
        const QString string = QString(1000, u'x');
        const QString same = stringByReplacingCharactersInSetWithString(
            string, NewlineCharacterSet(), QStringLiteral("\n"));
        QVERIFY(same.constData() == string.constData());
    }

    void newlineCharacterSet() {
        const NewlineCharacterSet set;
        QString members;
        for (int unit = 0; unit < 0x10000; ++unit) {
            if (set(char16_t(unit)))
                members += QChar(unit);
        }
        QCOMPARE(members, QStringLiteral("\n\v\f\r\u0085\u2028\u2029"));
    }
};

QTEST_GUILESS_MAIN(StringCategoryTest)
#include "tst_stringcategory.moc"
