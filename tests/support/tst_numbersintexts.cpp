// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/foundation/PropertyList.h"
#include "tests/kit/ManualRunLoop.h"
#include "tests/kit/TestCase.h"
#include "tests/support/TestStores.h"

#include <QTest>

#include <limits>

using namespace clipmule;

// As the system's function reads in languages that write "0,5": a full stop ends the number. Few
// machines have such a language installed for a test.
extern "C" double strtod(const char *text, char **end) {
    double value = 0;
    for (; *text >= '0' && *text <= '9'; ++text)
        value = value * 10 + (*text - '0');
    if (end)
        *end = const_cast<char *>(text);
    return value;
}

// Texts in settings are read alike whatever the user's language.
class NumbersInTextsTest final : public kit::TestCase {
    Q_OBJECT

private Q_SLOTS:
    void realsOfTexts_data() {
        QTest::addColumn<QString>("text");
        QTest::addColumn<double>("value");
        constexpr double infinity = std::numeric_limits<double>::infinity();
        QTest::newRow("fraction") << QStringLiteral("1.5") << 1.5;
        QTest::newRow("negative") << QStringLiteral("-0.25") << -0.25;
        QTest::newRow("plus") << QStringLiteral("+0.5") << 0.5;
        QTest::newRow("two signs") << QStringLiteral("+-0.5") << 0.0;
        QTest::newRow("exponent") << QStringLiteral("25e-1") << 2.5;
        QTest::newRow("beginning") << QStringLiteral("2.5 apples") << 2.5;
        QTest::newRow("comma") << QStringLiteral("2,5") << 2.0;
        QTest::newRow("blanks") << QStringLiteral(" \t3.5 ") << 3.5;
        QTest::newRow("no number") << QStringLiteral("apples") << 0.0;
        QTest::newRow("nothing") << QString() << 0.0;
        QTest::newRow("too large") << QStringLiteral("1e999") << infinity;
        QTest::newRow("too small") << QStringLiteral("-1e999") << -infinity;
        QTest::newRow("too fine") << QStringLiteral("1e-999") << 0.0;
    }
    void realsOfTexts() {
        QFETCH(QString, text);
        QFETCH(double, value);
        QCOMPARE(PropertyList(text).doubleValue(), value);
    }

    void whatIsNoNumberHasAnAnswerOfTheCaller() {
        for (const PropertyList &value :
             {PropertyList(PropertyList::List()), PropertyList(PropertyList::Dictionary()),
              PropertyList(Date{1}), PropertyList(QByteArray("1")),
              PropertyList(PropertyList::Uid{1})}) {
            QCOMPARE(value.integerValue(7), 7);
            QCOMPARE(value.doubleValue(0.5), 0.5);
            QVERIFY(value.boolValue(true) && !value.boolValue(false));
        }
        for (const PropertyList &value :
             {PropertyList(1), PropertyList(quint64(1)), PropertyList(1.0), PropertyList(true),
              PropertyList(QStringLiteral("1"))}) {
            QCOMPARE(value.integerValue(7), 1);
            QCOMPARE(value.doubleValue(0.5), 1.0);
            QVERIFY(value.boolValue(false));
        }
    }

    void whatIsOfAnotherKindHasAnAnswerOfTheCaller() {
        const PropertyList text(QStringLiteral("a"));
        const PropertyList list(PropertyList::List{text});
        const PropertyList dictionary(PropertyList::Dictionary{{QStringLiteral("k"), list}});
        QCOMPARE(text.string(QStringLiteral("b")), QStringLiteral("a"));
        QCOMPARE(list.string(QStringLiteral("b")), QStringLiteral("b"));
        QCOMPARE(list.list({}), list.list());
        QCOMPARE(text.list(list.list()), list.list());
        QCOMPARE(dictionary.dictionary({}), dictionary.dictionary());
        QCOMPARE(text.dictionary(dictionary.dictionary()), dictionary.dictionary());
        QVERIFY(find<PropertyList::List>(dictionary.dictionary(), QStringLiteral("k")));
        QVERIFY(!find<QString>(dictionary.dictionary(), QStringLiteral("k")));
        QVERIFY(!find<QString>(dictionary.dictionary(), QStringLiteral("l")));
    }

    void coloursAndFloats() {
        kit::ManualRunLoop runLoop;
        const RunLoop::Installation installation(runLoop);
        kit::UserSession session;
        kit::Process process(session);
        const auto store = process.open(QStringLiteral("com.zendrik.Test"));
        QVERIFY(
            store->setObjectForKey(QStringLiteral("0.25 0.5 0.75 1"), QStringLiteral("colour")));
        QVERIFY(store->setObjectForKey(QStringLiteral("1.5"), QStringLiteral("float")));
        const auto colour = store->colorForKey(QStringLiteral("colour"));
        QVERIFY(colour);
        QCOMPARE(colour->red, 0.25F);
        QCOMPARE(colour->green, 0.5F);
        QCOMPARE(colour->blue, 0.75F);
        QCOMPARE(colour->alpha, 1.0F);
        QCOMPARE(store->floatForKey(QStringLiteral("float")), 1.5F);
    }
};

QTEST_GUILESS_MAIN(NumbersInTextsTest)

#include "tst_numbersintexts.moc"
