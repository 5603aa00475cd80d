// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/foundation/PlatformException.h"
#include "platform/propertylist/PropertyListSerialization.h"
#include "platform/propertylist/PropertyListXmlWriter.h"
#include "tests/kit/EveryKind.h"
#include "tests/kit/TestCase.h"
#include "tests/kit/Vectors.h"
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

/// What a reader makes of bytes that come in these sizes, the last one again and again.
Result<PropertyList> readInPieces(const QByteArray &bytes, const QList<qsizetype> &sizes) {
    PropertyListReader reader(bytes.size());
    for (qsizetype at = 0, piece = 0; at < bytes.size(); ++piece) {
        const qsizetype size =
            std::min(sizes[std::min(piece, sizes.size() - 1)], bytes.size() - at);
        // A copy of its own, so that nobody looks behind it.
        reader.take(QByteArray(bytes.constData() + at, size));
        at += size;
    }
    return reader.finish();
}

bool isSame(const Result<PropertyList> &left, const Result<PropertyList> &right) {
    // In the binary form, where a date that is not a number equals itself.
    return left && right ? Serialization::binary(*left) == Serialization::binary(*right)
                         : !left && !right && left.error() == right.error();
}

QString outcomeOf(const Result<PropertyList> &read) {
    return read ? read->description() : read.error().reason;
}

/// Texts that are refused, or hard to cut, and the same as parts of larger ones.
QByteArrayList awkwardTexts() {
    const QByteArrayList strings{
        "",
        "plain",
        "\xc3\xa4\xe4\xbd\xa0\xf0\x9f\x98\x80",
        "a&lt;b&gt;&amp;c&quot;&apos;&#65;&#x1F600;&#xD83D;&#xDE00;&#xDE00;x",
        "<![CDATA[&amp;<b>]]]>y<![CDATA[]]>z\n<![CDATA[\xf0\x9f\x98\x80]]]]>",
        "\n&amp;\nrun \xff\n",
        "\n\xe4\xbd&amp;",
        "one\n\xe4\xbd\xa0\ntwo\xe4\xbd",
        "\n<![CDATA[\n\xc3]]>",
        "\n<![CDATA[ a\n\n",
        "\xc3<![CDATA[ ]]",
        "&nbsp;\n\xff",
        "\xff\n&nbsp;",
        "&#12345678901;",
        "&lt",
        "a<b",
        "a<!-- b -->c",
        "<![CDAT[x",
        "<![CDATA",
        "\n\n<",
    };
    const QByteArrayList values{
        "<data>QUJD\n\tREVG =Z g=\t=QU\n</data>",
        "<data>QUJ\n\x80</data>",
        "<data>QUJD",
        "<data>\xc3\n\n",
        "<data>QUJD<b></data>",
        "<data/>",
        "<string/>",
        "<integer> -12</integer>",
        "<integer>12\n</integer>",
        "<integer>1",
        "<real>1.5</real><!-- a -- comment --><?and more?>",
        "<date>2013-09-04T15:06:40Z</date>",
        "<date>2013</date>",
        "<true/><false></false>",
        "<true>\n</true>",
        "<true a b='c'/>",
        "<array><dict><key>a</key><array/></dict></array>",
        "<array>word</array>",
        "<dict><key>CF$UID</key><integer>7</integer></dict>",
        "<dict><key>a</key></dict>",
        "<dict>\n<true/></dict>",
        "<dict><key>b</key><key>a</key></dict>",
        "<dict><key>b\n&amp;</key><string>1</string><key>b\n&amp;</key><string>2</string></dict>",
        "<dict",
        "<Dict>",
        "<!-",
        "<!--->",
        "<!DOCTYPE plist>",
        "<plist></plist>",
        "</plist>",
        "</dict>",
        "<",
    };
    QByteArrayList texts{"<?xml version=\"1.0\"?><true/>",
                         "<?xml version=\"1.0\" encoding='US-ASCII'?><string>\xc3\xa4</string>",
                         "<?xml version=\"1.0\" encoding='latin1'?><string>\xe4</string>",
                         "<?xml encoding='nonsense'?><true/>",
                         "<?xml <plist><true/></plist>",
                         "<!DOCTYPE plist [ ]><true/>",
                         "<!-- a --><dict/> behind <",
                         "<?xml",
                         "<!",
                         "<p",
                         "<plist/>",
                         "<plist><true/></plist> \n <behind",
                         "<plist><true/>\n<!-- two --><true/></plist>",
                         "<plist><true/></plist",
                         "<plist><true/></dict>",
                         "\xef\xbb\xbf<plist><string>marked</string></plist>",
                         QByteArray("\xff\xfe<\0t\0r\0u\0e\0/\0>\0", 16),
                         "<c0de>",
                         "word",
                         "{ a = b; }",
                         " \n",
                         ""};
    for (const QByteArray &string : strings) {
        texts += "<plist><string>" + string + "</string></plist>";
        texts += "<plist>\n<array><string>" + string + "</string>" + "<true/>\n</array></plist>\n";
        texts +=
            "<plist><dict><key>" + string + "</key><string>" + string + "</string></dict></plist>";
        texts += "<plist><string>" + string;
    }
    for (const QByteArray &value : values) {
        texts += "<plist>" + value + "</plist>";
        texts += "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist><array>\n" + value +
                 "<true/></array></plist>";
        texts += "<plist><dict><key>k</key>\n" + value;
    }
    return texts;
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

    void readsTheSameInAnyPieces_data() {
        QTest::addColumn<QByteArray>("bytes");
        int number = 0;
        for (const QByteArray &text : awkwardTexts())
            QTest::addRow("%d %s", number++, text.left(60).toPercentEncoding(" <>/&;=").data())
                << text;
        for (const char *folder : {"xml/valid", "xml/invalid", "openstep/valid", "openstep/invalid",
                                   "binary/valid", "binary/invalid", "writer"}) {
            for (const QString &name : kit::vectorsIn(QString::fromLatin1(folder)))
                QTest::newRow(qPrintable(name)) << kit::vectorBytes(name);
        }
    }
    void readsTheSameInAnyPieces() {
        QFETCH(QByteArray, bytes);
        const auto whole = Serialization::parse(bytes);
        const auto compare = [&](const QList<qsizetype> &sizes) {
            const auto read = readInPieces(bytes, sizes);
            if (!isSame(read, whole))
                qWarning() << sizes << outcomeOf(read) << outcomeOf(whole);
            return isSame(read, whole);
        };
        for (const qsizetype size : {1, 2, 3, 5, 7, 16, 4096})
            QVERIFY(compare({size}));
        // Every cut in two; what is long only near its ends.
        for (qsizetype cut = 1; cut < bytes.size(); ++cut) {
            if (cut == 1500 && bytes.size() > 3000)
                cut = bytes.size() - 1500;
            QVERIFY(compare({cut, bytes.size()}));
            if (bytes.size() < 400)
                QVERIFY(compare({cut, 1, 1, bytes.size()}));
        }
    }

    void readsRandomValuesInRandomPieces() {
        kit::RandomValues random(7);
        std::mt19937 sizes(8);
        for (int round = 0; round < 300; ++round) {
            PropertyList::List list;
            for (int count = 0; count < 20; ++count)
                list.append(random.value(0));
            list.append(QString(qsizetype(sizes() % 5000), u'\u4e2d'));
            list.append(QByteArray(qsizetype(sizes() % 5000), 'd'));
            const QByteArray document = Serialization::xml(list);
            QList<qsizetype> pieces;
            for (qsizetype at = 0; at < document.size(); at += pieces.last())
                pieces += 1 + qsizetype(sizes() % (sizes() % 2 ? 20 : 2000));
            const auto read = readInPieces(document, pieces);
            QVERIFY2(read, qPrintable(outcomeOf(read)));
            QVERIFY(isSame(read, Serialization::parse(document)));
        }
    }

    // The errors that all of a message decides, one that ends on the way included.
    void refusesWhatIsTooMuchInAnyPieces() {
        constexpr qsizetype many = 700'000;
        const QByteArray values = "<plist><array>" + QByteArray("<true/>").repeated(many);
        for (const QByteArray &text :
             {QByteArray("<plist>") + QByteArray("<array>").repeated(1000),
              values + "<string>" + QByteArray(3'000'000, 'x') + "</string>",
              values + "<string>\xff\n" + QByteArray(3'000'000, 'x') + "</string>",
              values + "<string>" + QByteArray(3'000'000, 'x') + "<![CDATA[",
              values + "<data>\x80" + QByteArray(9'000'000, 'x') + "</data>"}) {
            const auto whole = Serialization::parse(text);
            for (const qsizetype size : {65'536, 524'288}) {
                const auto read = readInPieces(text, {size});
                QCOMPARE(outcomeOf(read), outcomeOf(whole));
            }
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
