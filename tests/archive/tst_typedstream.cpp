// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/archive/ArchivedLook.h"
#include "platform/archive/TypedStream.h"
#include "platform/foundation/PlatformException.h"
#include "tests/kit/Results.h"
#include "tests/kit/TestCase.h"
#include "tests/kit/Vectors.h"

#include <QTest>

#include <cmath>
#include <functional>
#include <limits>

using namespace clipmule;

namespace {

QByteArray hex(const char *digits) {
    return QByteArray::fromHex(digits);
}

// Version 4, 11 characters "streamtyped", 1000.
const char header[] = "04 0b 73747265616d7479706564 81e803";

/// The bytes of what is written behind the header.
QByteArray written(const std::function<void(TypedStream::Writer &)> &write) {
    TypedStream::Writer writer;
    write(writer);
    const QByteArray bytes = writer.take();
    if (!bytes.startsWith(hex(header)))
        qFatal("another header");
    return bytes.sliced(hex(header).size()).toHex();
}

bool isRefused(const std::function<void()> &read) {
    try {
        read();
    } catch (const kit::NoValue &refused) {
        return !refused.reason.isEmpty();
    } catch (const PlatformException &exception) {
        return exception.name() == u"InvalidArchive" && !exception.reason().isEmpty();
    }
    return false;
}

/// Red, as the platform writes it, with one piece replaced.
QByteArray redWith(const char *piece, const char *replacement) {
    const QByteArray red = kit::vectorBytes(QStringLiteral("typedstream/color_red.bin"));
    const auto at = red.indexOf(hex(piece));
    if (at < 0 || red.indexOf(hex(piece), at + 1) >= 0)
        qFatal("not there exactly once: %s", piece);
    QByteArray changed = red;
    return changed.replace(at, hex(piece).size(), hex(replacement));
}

} // namespace

class TypedStreamTest final : public kit::TestCase {
    Q_OBJECT

private Q_SLOTS:
    void integers_data() {
        QTest::addColumn<qint64>("value");
        QTest::addColumn<QByteArray>("bytes");
        const auto row = [](qint64 value, const char *bytes) {
            QTest::addRow("%lld", static_cast<long long>(value)) << value << hex(bytes);
        };
        row(0, "00");
        row(127, "7f");
        row(128, "81 8000");
        row(-110, "92");
        row(-111, "81 91ff");
        row(32767, "81 ff7f");
        row(32768, "82 00800000");
        row(-32767, "81 0180");
        row(-32768, "82 0080ffff");
        row(2147483647, "82 ffffff7f");
        row(-2147483648LL, "82 00000080");
    }
    void integers() {
        QFETCH(qint64, value);
        QFETCH(QByteArray, bytes);
        QCOMPARE(written([&](auto &writer) { writer.writeInteger(value); }), bytes.toHex());
        const QByteArray archive = hex(header) + bytes;
        QCOMPARE(qint64(TypedStream::Reader(archive).readInteger()), value);
    }

    void integersOfMoreThan32BitsCannotBeWritten() {
        for (const qint64 value : {qint64(2147483648), qint64(-2147483649)}) {
            TypedStream::Writer writer;
            QVERIFY_EXCEPTION_THROWN(writer.writeInteger(value), PlatformException);
        }
    }

    void reals_data() {
        QTest::addColumn<double>("value");
        QTest::addColumn<QByteArray>("asFloat");
        QTest::addColumn<QByteArray>("asDouble");
        const auto row = [](double value, const char *asFloat, const char *asDouble) {
            QTest::addRow("%.17g", value) << value << hex(asFloat) << hex(asDouble);
        };
        row(0, "00", "00");
        row(-1, "ff", "ff");
        row(200, "81 c800", "81 c800");
        row(0.5, "83 0000003f", "83 000000000000e03f");
        row(-1.5, "83 0000c0bf", "83 000000000000f8bf");
        row(4294967296.0, "83 0000804f", "83 000000000000f041");
        row(std::numeric_limits<double>::infinity(), "83 0000807f", "83 000000000000f07f");
    }
    void reals() {
        QFETCH(double, value);
        QFETCH(QByteArray, asFloat);
        QFETCH(QByteArray, asDouble);
        QCOMPARE(written([&](auto &writer) { writer.writeFloat(float(value)); }), asFloat.toHex());
        QCOMPARE(written([&](auto &writer) { writer.writeDouble(value); }), asDouble.toHex());
        const QByteArray floatArchive = hex(header) + asFloat;
        const QByteArray doubleArchive = hex(header) + asDouble;
        QCOMPARE(TypedStream::Reader(floatArchive).readFloat(), float(value));
        QCOMPARE(TypedStream::Reader(doubleArchive).readDouble(), value);
    }

    void minusZeroLosesItsSign() {
        QCOMPARE(written([](auto &writer) { writer.writeFloat(-0.0F); }), QByteArray("00"));
    }

    void stringsAndReferences() {
        const TypedStream::ClassChain a{{"A", 3}, {"R", 0}};
        const TypedStream::ClassChain b{{"B", 0}, {"R", 0}};
        const QByteArray bytes = written([&](auto &writer) {
            writer.writeTypes("@");
            const quint32 first = writer.beginObject(a);
            writer.writeTypes("+*@");
            writer.writeString({"xy"});
            writer.writeCString("A");
            writer.writeReference(first);
            writer.writeTypes("@");
            writer.beginObject(b);
            writer.writeTypes("*+@");
            writer.writeCString("A");
            writer.writeString(std::nullopt);
            writer.writeNil();
            writer.endObject();
            writer.endObject();
        });
        const QByteArray expected = hex("84 01 40"          // string 0: "@"
                                        "84 84 84 01 41 03" // object 0, class 1, string 1: "A", 3
                                        "84 84 01 52 00 85" // class 2, string 2: "R", 0; the root
                                        "84 03 2b2a40"      // string 3: "+*@"
                                        "02 7879"           // "xy"
                                        "84 93"             // C string 3: string 1
                                        "92"                // object 0
                                        "92"                // string 0: "@"
                                        "84 84 84 01 42 00" // object 4, class 5, string 4: "B", 0
                                        "94"                // class 2
                                        "84 03 2a2b40"      // string 5: "*+@"
                                        "95"                // C string 3
                                        "85 85 86 86");
        QCOMPARE(bytes, expected.toHex());

        const QByteArray archive = hex(header) + expected;
        TypedStream::Reader reader(archive);
        using Kind = TypedStream::Reader::ObjectHead::Kind;
        reader.expectTypes("@");
        const auto first = reader.readObjectHead();
        QCOMPARE(first.kind, Kind::New);
        QVERIFY(first.classes == a);
        reader.expectTypes("+*@");
        QCOMPARE(reader.readString(), QByteArray("xy"));
        QCOMPARE(reader.readCString(), QByteArray("A"));
        const auto self = reader.readObjectHead();
        QCOMPARE(self.kind, Kind::Reference);
        QCOMPARE(self.number, first.number);
        reader.expectTypes("@");
        const auto second = reader.readObjectHead();
        QVERIFY(second.classes == b);
        reader.expectTypes("*+@");
        QCOMPARE(reader.readCString(), QByteArray("A"));
        QVERIFY(!reader.readString());
        QCOMPARE(reader.readObjectHead().kind, Kind::Nil);
        reader.readObjectEnd();
        reader.readObjectEnd();
    }

    void chainsOfSuperclassesAreBounded_data() {
        QTest::addColumn<qsizetype>("length");
        QTest::addColumn<bool>("accepted");
        const qsizetype longest = TypedStream::Reader::longestClassChain;
        QTest::newRow("one below") << longest - 1 << true;
        QTest::newRow("at the limit") << longest << true;
        QTest::newRow("one above") << longest + 1 << false;
    }
    void chainsOfSuperclassesAreBounded() {
        QFETCH(qsizetype, length);
        QFETCH(bool, accepted);
        TypedStream::ClassChain chain;
        for (qsizetype i = 0; i < length; ++i)
            chain.append({"C" + QByteArray::number(i), 0});
        // At once, and the last class behind a reference to the others.
        TypedStream::Writer atOnce;
        atOnce.beginObject(chain);
        const QByteArray atOnceBytes = atOnce.take();
        TypedStream::Writer behind;
        behind.beginObject(chain.sliced(1));
        behind.endObject();
        behind.beginObject(chain);
        const QByteArray behindBytes = behind.take();
        QCOMPARE(!isRefused([&] {
            QVERIFY(TypedStream::Reader(atOnceBytes).readObjectHead().classes == chain);
        }),
                 accepted);
        QCOMPARE(!isRefused([&] {
            TypedStream::Reader reader(behindBytes);
            (void)reader.readObjectHead();
            reader.readObjectEnd();
            QVERIFY(reader.readObjectHead().classes == chain);
        }),
                 accepted);
    }

    void readsColors_data() {
        QTest::addColumn<QString>("name");
        QTest::addColumn<ArchivedColor>("expected");
        const auto row =
            [](const char *name, const ArchivedColor &color) {
                QTest::newRow(name)
                    << QStringLiteral("typedstream/color_%1.bin").arg(QLatin1String(name)) << color;
            };
        row("red", {1, 0, 0, 1});
        row("black", {0, 0, 0, 1});
        row("fraction", {0.8F, 0.8F, 0.8F, 1});
        row("out_of_range", {-1, 2, 200, 1});
        row("device_rgb", {1, 0, 0, 1});
        row("calibrated_white", {1.0F / 3, 1.0F / 3, 1.0F / 3, 1});
        row("device_white", {0, 0, 0, 1});
        row("cmyk", {1, 0, 0, 1});
        row("catalog", {0, 0, 0, 1});
        row("fraction_big_endian", {0.8F, 0.5F, 0.1F, 1});
    }
    void readsColors() {
        QFETCH(QString, name);
        QFETCH(ArchivedColor, expected);
        QVERIFY(kit::valueOf(ColorArchive::unarchivedColor(kit::vectorBytes(name))) == expected);
    }

    void writesColorsByteForByte_data() {
        QTest::addColumn<QString>("name");
        for (const char *name : {"red", "black", "fraction", "out_of_range"})
            QTest::newRow(name)
                << QStringLiteral("typedstream/color_%1.bin").arg(QLatin1String(name));
    }
    void writesColorsByteForByte() {
        QFETCH(QString, name);
        const QByteArray bytes = kit::vectorBytes(name);
        QCOMPARE(
            ColorArchive::archivedData(kit::valueOf(ColorArchive::unarchivedColor(bytes))).toHex(),
            bytes.toHex());
    }

    void componentsHaveSinglePrecision() {
        const auto archive = ColorArchive::archivedData({0.1F, 0.2F, 0.3F, 0.4F});
        QVERIFY(kit::valueOf(ColorArchive::unarchivedColor(archive)) ==
                (ArchivedColor{0.1F, 0.2F, 0.3F, 0.4F}));
        QVERIFY(double(kit::valueOf(ColorArchive::unarchivedColor(archive)).red) != 0.1);
    }

    void refusesBadFiles_data() {
        QTest::addColumn<QString>("name");
        for (const QString &name : kit::vectorsIn(QStringLiteral("typedstream"))) {
            if (name.contains(u"/bad_") || name.contains(u"/string"))
                QTest::newRow(qPrintable(name)) << name;
        }
    }
    void refusesBadFiles() {
        QFETCH(QString, name);
        const QByteArray bytes = kit::vectorBytes(name);
        QVERIFY(isRefused([&] { (void)kit::valueOf(ColorArchive::unarchivedColor(bytes)); }));
        QVERIFY(isRefused([&] { (void)kit::valueOf(FontArchive::unarchivedFont(bytes)); }));
    }

    void aFontIsNoColorAndTheOtherWayRound() {
        const QByteArray color = ColorArchive::archivedData({});
        const QByteArray font = FontArchive::archivedData({QStringLiteral("F"), 9});
        QVERIFY(isRefused([&] { (void)kit::valueOf(ColorArchive::unarchivedColor(font)); }));
        QVERIFY(isRefused([&] { (void)kit::valueOf(FontArchive::unarchivedFont(color)); }));
    }

    void refusesOneThingWrong_data() {
        QTest::addColumn<QByteArray>("archive");
        const auto row = [](const char *name, const char *piece, const char *replacement) {
            QTest::newRow(name) << redWith(piece, replacement);
        };
        row("another system", "81e803", "81e903");
        row("nil instead of the colour", "840140 84", "840140 85");
        row("reference to itself instead of the colour", "840140 84", "840140 92");
        row("class of another version", "4e53436f6c6f72 00", "4e53436f6c6f72 01");
        row("another superclass", "4e534f626a656374", "4e534f626a656378");
        row("no superclass", "84 84 08 4e534f626a656374 00 85", "85");
        row("class that is its own superclass", "4e53436f6c6f72 00 84", "4e53436f6c6f72 00 93");
        row("object as superclass", "4e53436f6c6f72 00 84", "4e53436f6c6f72 00 92");
        row("nameless class", "84 07 4e53436f6c6f72", "84 85");
        row("reserved word", "01 00 00 01 86", "01 00 91 01 86");
        row("reserved word before", "01 00 00 01 86", "01 00 80 01 86");
        row("new instead of a number", "01 00 00 01 86", "01 00 84 01 86");
        row("name longer than the file", "07 4e53436f6c6f72", "7f 4e53436f6c6f72");
        row("name of a negative length", "07 4e53436f6c6f72", "ff 4e53436f6c6f72");
        row("reference to a later string", "84 01 63", "95");
    }
    void refusesOneThingWrong() {
        QFETCH(QByteArray, archive);
        QVERIFY(isRefused([&] { (void)kit::valueOf(ColorArchive::unarchivedColor(archive)); }));
    }

    void everyTruncationIsRefused() {
        const QByteArray color = kit::vectorBytes(QStringLiteral("typedstream/color_catalog.bin"));
        for (qsizetype size = 0; size < color.size(); ++size)
            QVERIFY(isRefused([&] {
                (void)kit::valueOf(
                    ColorArchive::unarchivedColor(QByteArrayView(color).first(size)));
            }));
        const QByteArray font = kit::vectorBytes(QStringLiteral("typedstream/font_menlo_11.bin"));
        for (qsizetype size = 0; size < font.size(); ++size)
            QVERIFY(isRefused([&] {
                (void)kit::valueOf(FontArchive::unarchivedFont(QByteArrayView(font).first(size)));
            }));
    }

    void aNamedColorMayNotStandForANamedColor() {
        QByteArray archive = kit::vectorBytes(QStringLiteral("typedstream/color_catalog.bin"));
        // The stand-in, white (93 95 is the class and the type c), becomes another named one.
        const QByteArray standIn = hex("84 93 95 03 84 02 6666 00 01 86");
        QVERIFY(archive.contains(standIn));
        archive.replace(standIn, hex("84 93 95 06 96 85 85 85 86"));
        QVERIFY(isRefused([&] { (void)kit::valueOf(ColorArchive::unarchivedColor(archive)); }));
    }

    void fonts_data() {
        QTest::addColumn<QString>("name");
        QTest::addColumn<ArchivedFont>("font");
        const auto row =
            [](const char *name, const QString &fontName, float size) {
                QTest::newRow(name)
                    << QStringLiteral("typedstream/font_%1.bin").arg(QLatin1String(name))
                    << ArchivedFont{fontName, size};
            };
        row("menlo_11", QStringLiteral("Menlo-Regular"), 11);
        row("unicode_name", QStringLiteral("ヒラキ\u3099-W3"), 9);
        row("long_name", QString(70, u'X'), 12);
    }
    void fonts() {
        QFETCH(QString, name);
        QFETCH(ArchivedFont, font);
        const QByteArray bytes = kit::vectorBytes(name);
        const ArchivedFont found = kit::valueOf(FontArchive::unarchivedFont(bytes));
        QCOMPARE(found.name, font.name);
        QCOMPARE(found.size, font.size);
        QCOMPARE(FontArchive::archivedData(font).toHex(), bytes.toHex());
    }

    void otherFontArchives_data() {
        QTest::addColumn<QByteArray>("archive");
        QTest::addColumn<QString>("expected");
        const QByteArray menlo = kit::vectorBytes(QStringLiteral("typedstream/font_menlo_11.bin"));
        const auto row = [&](const char *name, const char *piece, const char *replacement,
                             const QString &expected) {
            const auto at = menlo.indexOf(hex(piece));
            QVERIFY2(at >= 0, piece);
            QByteArray changed = menlo;
            changed.replace(at, hex(piece).size(), hex(replacement));
            QTest::newRow(name) << changed << expected;
        };
        const QString menloName = QStringLiteral("Menlo-Regular");
        const QString refused;
        row("version 21", "4e53466f6e74 1e", "4e53466f6e74 15", menloName);
        row("version 20", "4e53466f6e74 1e", "4e53466f6e74 14", refused);
        row("version 31", "4e53466f6e74 1e", "4e53466f6e74 1f", refused);
        row("with another number at the end", "63 00 98 01 98 00 98 00 86",
            "63 01 98 01 98 00 98 00 95 07 86", menloName);
        row("that number missing", "63 00 98 01 98 00 98 00 86", "63 01 98 01 98 00 98 00 86",
            refused);
        row("with a matrix", "98 01 98 00 98 00 86", "98 00 98 00 98 00 86", refused);
        // Four characters of the NeXTSTEP set fit where two of UTF-16 and their mark were.
        row("name in the NeXTSTEP set", "06000000 1c000000 fffe 4d00",
            "05000000 04000000 4de4 6100", QStringLiteral("M\u00EEa") + QChar(0));
        row("name of another type", "06000000 1c000000", "07000000 1c000000", refused);
        row("name without a mark", "1c000000 fffe", "1c000000 feff", refused);
        row("name longer than its bytes", "06000000 1c000000", "06000000 1d000000", refused);
        row("name of half a unit", "06000000 1c000000", "06000000 1b000000", refused);
        row("name of 4 GB", "06000000 1c000000", "06000000 ffffffff", refused);
        row("length and type differ", "84 05 5b3336635d", "84 05 5b3335635d", refused);
        row("negative length", "84 01 69 24", "84 01 69 ff", refused);
    }
    void otherFontArchives() {
        QFETCH(QByteArray, archive);
        QFETCH(QString, expected);
        ArchivedFont font;
        QCOMPARE(isRefused([&] { font = kit::valueOf(FontArchive::unarchivedFont(archive)); }),
                 expected.isEmpty());
        QCOMPARE(font.name, expected);
    }

    void fontNamesOfAnyLengthReadBack() {
        for (int length = 0; length < 12; ++length) {
            const ArchivedFont font{QString(length, u'é'), 10.5F};
            QVERIFY(kit::valueOf(FontArchive::unarchivedFont(FontArchive::archivedData(font))) ==
                    font);
        }
    }
};

QTEST_GUILESS_MAIN(TypedStreamTest)
#include "tst_typedstream.moc"
