// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/propertylist/TypedJson.h"
#include "tests/kit/TestCase.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QTest>

#include <cmath>
#include <limits>

using namespace clipmule;

Q_DECLARE_METATYPE(clipmule::PropertyList)

namespace {

QByteArray textOf(const PropertyList &value) {
    return QJsonDocument(typedJson(value)).toJson(QJsonDocument::Compact);
}

} // namespace

class TypedJsonTest final : public kit::TestCase {
    Q_OBJECT

private Q_SLOTS:
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
    }

    void keepsALoneSurrogate() {
        const PropertyList value(QString(QChar(0xd83d)) + u'a');
        QCOMPARE(textOf(value), QByteArray(R"({"string":"\ud83da"})"));
    }
};

QTEST_GUILESS_MAIN(TypedJsonTest)
#include "tst_typedjson.moc"
