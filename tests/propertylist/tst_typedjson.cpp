// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/propertylist/PropertyListSerialization.h"
#include "platform/propertylist/TypedJson.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QTest>

#include <cmath>
#include <limits>

using namespace clipmule;

Q_DECLARE_METATYPE(clipmule::PropertyList)

namespace {

QJsonValue jsonOf(const QByteArray &text) {
    return QJsonDocument::fromJson(text).object();
}

QByteArray textOf(const PropertyList &value) {
    return QJsonDocument(typedJson(value)).toJson(QJsonDocument::Compact);
}

} // namespace

class TypedJsonTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init() { QTest::failOnWarning(QRegularExpression(QStringLiteral(".*"))); }

    void namesTheKind_data() {
        QTest::addColumn<PropertyList>("value");
        QTest::addColumn<QByteArray>("json");
        const auto row = [](const char *name, const PropertyList &value, const char *json) {
            QTest::newRow(name) << value << QByteArray(json);
        };
        constexpr double infinity = std::numeric_limits<double>::infinity();
        row("string", QStringLiteral("a\"é"), "{\"string\":\"a\\\"\xc3\xa9\"}");
        row("true", true, R"({"bool":true})");
        row("false", false, R"({"bool":false})");
        row("lowest integer", std::numeric_limits<qint64>::min(),
            R"({"integer":"-9223372036854775808"})");
        row("highest integer", std::numeric_limits<quint64>::max(),
            R"({"integer":"18446744073709551615"})");
        row("real", 0.1, R"({"real":"0.10000000000000001"})");
        row("whole real", 2.0, R"({"real":"2"})");
        row("infinite", infinity, R"({"real":"inf"})");
        row("negative infinite", -infinity, R"({"real":"-inf"})");
        row("no number", std::nan(""), R"({"real":"nan"})");
        row("date", Date{-0.5}, R"({"date":"-0.5"})");
        row("data", QByteArray("\0\xff", 2), R"({"data":"00ff"})");
        row("list", PropertyList::List{1, true}, R"({"array":[{"integer":"1"},{"bool":true}]})");
        row("dictionary, sorted",
            PropertyList::Dictionary{{QStringLiteral("b"), 1}, {QStringLiteral("a"), 2}},
            R"({"dict":[["a",{"integer":"2"}],["b",{"integer":"1"}]]})");
        row("reference", PropertyList::Uid{4294967295}, R"({"uid":4294967295})");
    }
    void namesTheKind() {
        QFETCH(PropertyList, value);
        QFETCH(QByteArray, json);
        QCOMPARE(textOf(value), json);
        QCOMPARE(propertyListFromTypedJson(jsonOf(json)), value);
    }

    void keepsALoneSurrogate() {
        const PropertyList value(QString(QChar(0xd83d)) + u'a');
        QCOMPARE(textOf(value), QByteArray(R"({"string":"\ud83da"})"));
        QCOMPARE(propertyListFromTypedJson(typedJson(value)), value);
    }

    void refusesOtherJson_data() {
        QTest::addColumn<QByteArray>("json");
        for (const char *json : {R"([])",
                                 R"({})",
                                 R"({"string":"a","bool":true})",
                                 R"({"text":"a"})",
                                 R"({"string":1})",
                                 R"({"bool":"true"})",
                                 R"({"integer":1})",
                                 R"({"integer":"1.5"})",
                                 R"({"integer":""})",
                                 R"({"integer":"18446744073709551616"})",
                                 R"({"real":"1x"})",
                                 R"({"date":""})",
                                 R"({"data":"0"})",
                                 R"({"data":"0g"})",
                                 R"({"array":"a"})",
                                 R"({"array":[1]})",
                                 R"({"dict":[["a"]]})",
                                 R"({"dict":[[1,{"bool":true}]]})",
                                 R"({"dict":[["a",1]]})",
                                 R"({"uid":-1})",
                                 R"({"uid":4294967296})",
                                 R"({"uid":0.5})",
                                 R"({"uid":"1"})"}) {
            QTest::newRow(json) << QByteArray(json);
        }
    }
    void refusesOtherJson() {
        QFETCH(QByteArray, json);
        QCOMPARE(propertyListFromTypedJson(jsonOf(json)), std::nullopt);
    }

    void readsDownToTheDeepestLevel() {
        QJsonObject json{{QStringLiteral("bool"), true}};
        for (int depth = 0; depth < PropertyListSerialization::maximumDepth; ++depth) {
            QVERIFY(propertyListFromTypedJson(json));
            json = QJsonObject{{QStringLiteral("array"), QJsonArray{json}}};
        }
        QVERIFY(propertyListFromTypedJson(json));
        json = QJsonObject{{QStringLiteral("array"), QJsonArray{json}}};
        QVERIFY(!propertyListFromTypedJson(json));
    }
};

QTEST_GUILESS_MAIN(TypedJsonTest)
#include "tst_typedjson.moc"
