// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/foundation/PlatformException.h"
#include "platform/foundation/Utf8.h"
#include "platform/propertylist/TypedJson.h"
#include "tests/kit/TestCase.h"

#include <QJsonDocument>
#include <QTest>

using namespace clipmule;

/// What leaves the program as JSON.
class JsonLineTest final : public kit::TestCase {
    Q_OBJECT

private Q_SLOTS:
    void escapes_data() {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QByteArray>("json");
        const auto row = [](const char *name, const QString &text, const QByteArray &json) {
            QTest::newRow(name) << text << json;
        };
        row("plain", QStringLiteral("a ~ ü 日 😀"), "a ~ ü 日 😀");
        row("escape sequence", QStringLiteral("\x1b[31m\n"), "\\u001b[31m\\n");
        row("DEL", QStringLiteral("\u007f"), "\\u007f");
        row("first of C1", QString(QChar(0x80)), "\\u0080");
        row("CSI", QString(QChar(0x9b)), "\\u009b");
        row("last of C1", QString(QChar(0x9f)), "\\u009f");
        row("behind C1", QString(QChar(0xa0)), "\xc2\xa0");
        row("right-to-left override", QString(QChar(0x202e)), "\\u202e");
        row("isolate", QString(QChar(0x2066)), "\\u2066");
        row("Arabic letter mark", QString(QChar(0x061c)), "\\u061c");
        row("line separator", QString(QChar(0x2028)), "\\u2028");
        row("paragraph separator", QString(QChar(0x2029)), "\\u2029");
        row("tag beyond the first plane", QString::fromUcs4(U"\U000e0041"), "\\udb40\\udc41");
    }
    void escapes() {
        QFETCH(QString, text);
        QFETCH(QByteArray, json);
        // Keys are as foreign as values.
        const QJsonObject object{{text, text}};
        QCOMPARE(jsonLine(object), "{\"" + json + "\":\"" + json + "\"}");
        QCOMPARE(QJsonDocument::fromJson(jsonLine(object)).object(), object);
    }

    void budget_data() {
        QTest::addColumn<PropertyList>("value");
        QTest::addColumn<int>("values");
        QTest::addColumn<int>("units");
        using List = PropertyList::List;
        const PropertyList text(QStringLiteral("four"));
        QTest::newRow("number") << PropertyList(1) << 1 << 0;
        QTest::newRow("text") << text << 1 << 4;
        QTest::newRow("data") << PropertyList(QByteArray("123")) << 1 << 6;
        QTest::newRow("empty list") << PropertyList(List()) << 1 << 0;
        QTest::newRow("list") << PropertyList(List{text, text, 1}) << 4 << 8;
        QTest::newRow("dictionary")
            << PropertyList(PropertyList::Dictionary{{QStringLiteral("key"), text}}) << 3 << 7;
    }
    void budget() {
        QFETCH(PropertyList, value);
        QFETCH(int, values);
        QFETCH(int, units);
        JsonBudget(units, values).take(value);
        JsonBudget(units + 1, values + 1).take(value);
        QVERIFY_THROWS_EXCEPTION(PlatformException, JsonBudget(units, values - 1).take(value));
        if (units > 0)
            QVERIFY_THROWS_EXCEPTION(PlatformException, JsonBudget(units - 1, values).take(value));
        // It is used up, not measured anew.
        JsonBudget twice(2 * units, 2 * values);
        twice.take(value);
        twice.take(value);
        QVERIFY_THROWS_EXCEPTION(PlatformException, twice.take(value));
    }

    void budgetOfAnInput() {
        // Hexadecimal digits of bytes that were base64 in it.
        JsonBudget::forInput(1000).take(PropertyList(QByteArray(750, 'x')));
        JsonBudget::forInput(0).take(JsonBudget::mostSharedUnits);
        QVERIFY_THROWS_EXCEPTION(PlatformException,
                                 JsonBudget::forInput(0).take(JsonBudget::mostSharedUnits + 1));
        JsonBudget::forInput(1).take(JsonBudget::mostSharedUnits + 4);
    }
};

QTEST_GUILESS_MAIN(JsonLineTest)
#include "tst_jsonline.moc"
