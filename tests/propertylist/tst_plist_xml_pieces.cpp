// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/foundation/PlatformException.h"
#include "platform/propertylist/PropertyListSerialization.h"
#include "platform/propertylist/PropertyListXml.h"
#include "tests/kit/EveryKind.h"
#include "tests/kit/TestCase.h"
#include "tests/propertylist/RandomValues.h"

#include <QTest>

using namespace clipmule;

Q_DECLARE_METATYPE(clipmule::PropertyList)

namespace {

using Serialization = PropertyListSerialization;

constexpr qsizetype unlimited = Serialization::maximumXmlSize;

/// The document in pieces of at most so many bytes; a text that tells what went wrong instead.
QByteArray inPieces(const PropertyList &value, qsizetype room) {
    const QByteArray guard(64, '\xaa');
    XmlWriter writer(value);
    const qsizetype size = writer.size(unlimited);
    QByteArray document;
    while (!writer.isAtEnd()) {
        QByteArray piece = QByteArray(room, '\0') + guard;
        const qsizetype written = writer.write(piece.data(), room) - piece.constData();
        if (!piece.endsWith(guard) || written > room)
            return "wrote beyond its room";
        if (written == 0)
            return "wrote nothing";
        document += piece.first(written);
        if (writer.size(unlimited) != size)
            return "measured otherwise on the way";
    }
    return document.size() == size ? document : "wrote another size than measured";
}

} // namespace

/// Documents that are written, or arrive, a piece at a time.
class PropertyListXmlPiecesTest final : public kit::TestCase {
    Q_OBJECT

private Q_SLOTS:
    void piecesMakeTheWhole_data() {
        QTest::addColumn<PropertyList>("value");
        for (const auto &[name, value] : kit::everyKind())
            QTest::newRow(name) << value;
        PropertyList::List all;
        for (const auto &[name, value] : kit::everyKind())
            all.append(PropertyList::Dictionary{{QString::fromLatin1(name), value}});
        for (int doubled = 0; doubled < 5; ++doubled)
            all += all;
        QTest::newRow("many of all kinds") << PropertyList(all);
        // One below, at and above what is written at once, and far above.
        for (const qsizetype size : {255, 256, 257, 40'000}) {
            QTest::addRow("data, %lld bytes", size) << PropertyList(QByteArray(size, 'd'));
            QTest::addRow("ampersands, %lld", size) << PropertyList(QString(size, u'&'));
            QTest::addRow("a key, %lld units", size) << PropertyList(PropertyList::Dictionary{
                {QString(size, u'k'), 1}, {QString(size, u'l'), QString(size, u'\u4e2d')}});
        }
        for (const char *before : {"", "x"}) {
            const QString text = QString::fromLatin1(before);
            QTest::addRow("%spairs", before)
                << PropertyList(text + QStringLiteral("😀").repeated(20'000));
            QTest::addRow("%shalves of pairs", before)
                << PropertyList(text + QString(QChar(0xd83d)).repeated(20'000));
        }
        PropertyList deep(QByteArray(5000, 'd'));
        for (int level = 1; level < Serialization::maximumDepth; ++level)
            deep = PropertyList::Dictionary{{QStringLiteral("a"), deep},
                                            {QString(257, u'b'), PropertyList::Uid{7}}};
        QTest::newRow("as deep as can be") << deep;
    }
    void piecesMakeTheWhole() {
        QFETCH(PropertyList, value);
        const QByteArray document = Serialization::xml(value);
        for (const qsizetype room : {XmlWriter::leastRoom, XmlWriter::leastRoom + 1,
                                     XmlWriter::leastRoom + 3001, 4 * XmlWriter::leastRoom})
            QVERIFY(inPieces(value, room) == document);
    }

    void piecesOfRandomValuesMakeTheWhole() {
        kit::RandomValues random(6);
        for (int round = 0; round < 300; ++round) {
            PropertyList::List list;
            for (int count = 0; count < 60; ++count)
                list.append(random.value(0));
            const PropertyList value(list);
            QVERIFY(inPieces(value, XmlWriter::leastRoom + round) == Serialization::xml(value));
        }
    }

    void withoutRoomNothingIsWritten() {
        XmlWriter writer(PropertyList(1));
        QByteArray buffer(XmlWriter::leastRoom, '\xaa');
        QVERIFY(writer.write(buffer.data(), XmlWriter::leastRoom - 1) == buffer.constData());
        QCOMPARE(buffer, QByteArray(XmlWriter::leastRoom, '\xaa'));
        QVERIFY(writer.write(buffer.data(), XmlWriter::leastRoom) > buffer.constData());
    }

    void theSizeIsLimitedWhereverTheWriterIs() {
        const PropertyList value(QByteArray(40'000, 'd'));
        const qsizetype size = Serialization::xml(value).size();
        QByteArray buffer(XmlWriter::leastRoom, '\0');
        for (XmlWriter writer(value); !writer.isAtEnd();
             (void)writer.write(buffer.data(), buffer.size())) {
            QCOMPARE(writer.size(size + 1), size);
            QCOMPARE(writer.size(size), size);
            QVERIFY_EXCEPTION_THROWN((void)writer.size(size - 1), PlatformException);
        }
    }

    // More than is written without having been measured.
    void largeDocumentsAreLimitedToo() {
        const PropertyList value(QByteArray(3'000'000, 'd'));
        const qsizetype size = Serialization::xml(value).size();
        QCOMPARE(Serialization::xml(value, size).size(), size);
        QVERIFY_EXCEPTION_THROWN((void)Serialization::xml(value, size - 1), PlatformException);
        QVERIFY_EXCEPTION_THROWN((void)Serialization::xml(value, 40'000), PlatformException);
    }
};

QTEST_GUILESS_MAIN(PropertyListXmlPiecesTest)
#include "tst_plist_xml_pieces.moc"
