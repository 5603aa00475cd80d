// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/propertylist/PropertyListSerialization.h"
#include "platform/propertylist/TypedJson.h"
#include "tests/kit/Results.h"
#include "tests/kit/TestCase.h"
#include "tests/kit/Vectors.h"

#include <QTest>

using namespace clipmule;

namespace {

using Serialization = PropertyListSerialization;
using Format = PropertyListSerialization::Format;

/// Files that implementations judge differently and that are refused here: values that are none of
/// a property list, keys that are no strings, and what expands to 2^29 values.
const QStringList refusedHere{QStringLiteral("binary/valid/null_object.bplist"),
                              QStringLiteral("binary/valid/set_object.bplist"),
                              QStringLiteral("binary/valid/int_key.bplist"),
                              QStringLiteral("binary/valid/dag_2pow29.bplist"),
                              QStringLiteral("openstep/valid/gnustep_typed_ext.plist")};

void addRows(const QString &folder) {
    const QStringList names = kit::vectorsIn(folder);
    for (const QString &name : names)
        QTest::newRow(qPrintable(name)) << name;
}

} // namespace

// Files that other implementations wrote, with the values that the platform read from them. The XML
// files are those of tst_plist_xml.
class PropertyListVectorsTest final : public kit::TestCase {
    Q_OBJECT

private Q_SLOTS:
    void valid_data() {
        QTest::addColumn<QString>("name");
        addRows(QStringLiteral("binary/valid"));
        addRows(QStringLiteral("openstep/valid"));
    }
    void valid() {
        QFETCH(QString, name);
        auto form = Format::Xml;
        const auto parsed =
            Serialization::parse(kit::vectorBytes(name), Serialization::memoryPerByte, &form);
        if (refusedHere.contains(name)) {
            QVERIFY(!parsed);
            QVERIFY(!kit::reasonOf(parsed).isEmpty());
            return;
        }
        QCOMPARE(kit::reasonOf(parsed), QString());
        QCOMPARE(form, name.startsWith(u"binary") ? Format::Binary : Format::OpenStep);
        QCOMPARE(typedJson(*parsed), kit::expectedValue(name));
    }

    void invalid_data() {
        QTest::addColumn<QString>("name");
        addRows(QStringLiteral("binary/invalid"));
        addRows(QStringLiteral("openstep/invalid"));
    }
    void invalid() {
        QFETCH(QString, name);
        auto form = Format::Xml;
        const auto parsed =
            Serialization::parse(kit::vectorBytes(name), Serialization::memoryPerByte, &form);
        if (name == u"binary/invalid/header_only.bplist") {
            // As text it is a word.
            QCOMPARE(form, Format::OpenStep);
            QCOMPARE(typedJson(*parsed), kit::expectedValue(name));
            return;
        }
        QVERIFY(!parsed);
        QVERIFY(!kit::reasonOf(parsed).isEmpty());
        QVERIFY(!Serialization::parseBinary(kit::vectorBytes(name)));
    }

    void writtenFilesReadBack_data() { valid_data(); }
    void writtenFilesReadBack() {
        QFETCH(QString, name);
        const auto parsed = Serialization::parse(kit::vectorBytes(name));
        if (!parsed)
            return; // see above
        const QByteArray written = Serialization::binary(*parsed);
        const auto again = Serialization::parseBinary(written);
        QCOMPARE(kit::reasonOf(again), QString());
        QVERIFY(*again == *parsed);
        QCOMPARE(Serialization::binary(*again), written);
    }

    void writesAsThePlatformDoes_data() {
        QTest::addColumn<QString>("input");
        QTest::addColumn<QString>("output");
        for (const char *what : {"values", "all_types", "clip_envelope"}) {
            const QString name = QString::fromLatin1(what);
            QTest::newRow(what) << QStringLiteral("writer/in_%1.bplist").arg(name)
                                << QStringLiteral("writer/out_cf_%1.bplist").arg(name);
        }
    }
    void writesAsThePlatformDoes() {
        QFETCH(QString, input);
        QFETCH(QString, output);
        const auto value = Serialization::parseBinary(kit::vectorBytes(input));
        const QByteArray theirs = kit::vectorBytes(output);
        QVERIFY(value);
        QVERIFY(*value == *Serialization::parseBinary(theirs));
        // The order of dictionaries differs; objects, widths and trailer do not.
        const QByteArray ours = Serialization::binary(*value);
        QCOMPARE(ours.size(), theirs.size());
        QCOMPARE(ours.last(32).toHex(), theirs.last(32).toHex());
    }

    void writesTheSameBytesAsAnotherWriter_data() {
        QTest::addColumn<QString>("name");
        // Those without a repeated boolean, which that writer stores once.
        for (const char *name :
             {"binary/valid/dates.bplist", "binary/valid/containers_14_15.bplist",
              "binary/valid/refs_2byte.bplist", "binary/valid/objects_255.bplist",
              "binary/valid/objects_256.bplist", "binary/valid/uids.bplist",
              "binary/valid/integers_uint64.bplist", "binary/valid/shared_objects.bplist",
              "writer/in_clip_envelope.bplist"})
            QTest::newRow(name) << QString::fromLatin1(name);
    }
    void writesTheSameBytesAsAnotherWriter() {
        QFETCH(QString, name);
        const QByteArray theirs = kit::vectorBytes(name);
        QCOMPARE(Serialization::binary(*Serialization::parseBinary(theirs)).toHex(),
                 theirs.toHex());
    }

    void parseTriesBinaryThenXmlThenText_data() {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<Format>("format");
        QTest::addColumn<PropertyList>("expected");
        const auto row = [](const char *name, const QByteArray &bytes, Format format,
                            const PropertyList &expected) {
            QTest::newRow(name) << bytes << format << expected;
        };
        const PropertyList value = PropertyList::List{1, QStringLiteral("x")};
        row("binary", Serialization::binary(value), Format::Binary, value);
        row("XML", Serialization::xml(value), Format::Xml, value);
        row("text", "( x )", Format::OpenStep, PropertyList::List{QStringLiteral("x")});
        row("a word", "hello", Format::OpenStep, QStringLiteral("hello"));
        row("the magic as a word", "bplist00", Format::OpenStep, QStringLiteral("bplist00"));
        row("data in text", "<c0de>", Format::OpenStep, QByteArray::fromHex("c0de"));
        row("blanks", " \n", Format::OpenStep, PropertyList::Dictionary());
    }
    void parseTriesBinaryThenXmlThenText() {
        QFETCH(QByteArray, bytes);
        QFETCH(Format, format);
        QFETCH(PropertyList, expected);
        std::optional<Format> form;
        const auto parsed =
            Serialization::parse(bytes, Serialization::memoryPerByte, &form.emplace());
        QCOMPARE(kit::reasonOf(parsed), QString());
        QCOMPARE(form, format);
        QVERIFY(*parsed == expected);
    }

    void parseTellsTheErrorOfTheFormThatWasMeant() {
        QCOMPARE(kit::reasonOf(Serialization::parse({})),
                 QStringLiteral("Cannot parse a NULL or zero-length data"));
        QCOMPARE(kit::reasonOf(Serialization::parse("bplist00 and more")),
                 kit::reasonOf(Serialization::parseBinary("bplist00 and more")));
        QCOMPARE(kit::reasonOf(Serialization::parse(" <plist><x/>")),
                 kit::reasonOf(Serialization::parseXml(" <plist><x/>")));
        QCOMPARE(kit::reasonOf(Serialization::parse("not a plist")),
                 kit::reasonOf(Serialization::parseOpenStep("not a plist")));
    }
};

QTEST_GUILESS_MAIN(PropertyListVectorsTest)
#include "tst_plist_vectors.moc"
