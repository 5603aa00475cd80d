// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "tests/pasteboard/SampleContents.h"

#include <QTest>

using namespace clipmule;
using namespace clipmule::tests;
using PasteboardTypes::Offer;

// Under which names images are offered, and what is not for every program.
class PasteboardOffersTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init() { QTest::failOnWarning(QRegularExpression(QStringLiteral(".*"))); }

    void thePngWinsOverOneStoredAsTiff() {
        using namespace PasteboardType;
        const QByteArray other = png + "other";
        for (const QString &type : {NSTIFFPboardType, publicTiff}) {
            QCOMPARE(offered({{{type, other}, {publicPng, png}}}, "image/png"), png);
            QCOMPARE(offered({{{publicPng, png}, {type, other}}}, "image/png"), png);
        }
    }

    // A PNG is what it is; the others are made into one when somebody asks.
    void otherImagesAreConverted() {
        using namespace PasteboardType;
        const Offer made{.target = QStringLiteral("image/png"),
                         .type = QStringLiteral("image/png"),
                         .data = jpeg,
                         .isConverted = true};
        QCOMPARE(PasteboardTypes::offers({{{NSTIFFPboardType, jpeg}}}).last(), made);
        QCOMPARE(PasteboardTypes::offers({{{publicTiff, "?"}, {NSTIFFPboardType, jpeg}}}).last(),
                 made);
        for (const Offer &offer :
             PasteboardTypes::offers({{{NSTIFFPboardType, jpeg}, {publicPng, png}}}))
            QVERIFY(!offer.isConverted);
    }

    void linksAreNotForEverybody() {
        using namespace PasteboardType;
        const QByteArray link = urlBytes("http://a.org/");
        const QHash<QString, QList<PasteboardAudience>> notFor{
            {QStringLiteral("text/html"), {PasteboardAudience::Spreadsheet}},
            {QStringLiteral("text/x-moz-url"), {PasteboardAudience::FileManager}}};
        for (const Offer &offer : PasteboardTypes::offers({{{NSURLPboardType, link}}}))
            QCOMPARE(offer.notFor, notFor.value(offer.target));
        // What is styled text of the clip's own is for everybody.
        for (const Offer &offer :
             PasteboardTypes::offers({{{NSURLPboardType, link}, {publicHtml, "<b>"}}}))
            QVERIFY(offer.target == u"text/x-moz-url" || offer.notFor.isEmpty());
    }

    void filesOfImagesAreForFileManagers_data() {
        QTest::addColumn<QString>("type");
        QTest::addColumn<bool>("isImage");
        using namespace PasteboardType;
        QTest::newRow("image") << NSTIFFPboardType << true;
        QTest::newRow("image under another name") << publicTiff << true;
        QTest::newRow("PNG") << publicPng << true;
        QTest::newRow("PNG under its old name") << applePng << true;
        QTest::newRow("text") << NSStringPboardType << false;
    }
    void filesOfImagesAreForFileManagers() {
        QFETCH(QString, type);
        QFETCH(bool, isImage);
        const QByteArray files = fileList({QStringLiteral("/a.png")});
        for (const Offer &offer : PasteboardTypes::offers(
                 {{{PasteboardType::NSFilenamesPboardType, files}, {type, png}}})) {
            const bool isList = offer.target == u"text/uri-list";
            QCOMPARE(offer.notFor, isImage && isList ? (QList{PasteboardAudience::Spreadsheet,
                                                              PasteboardAudience::Other})
                                                     : QList<PasteboardAudience>());
            QCOMPARE(offer.isOfFiles, offer.target == u"text/uri-list" ||
                                          offer.target == u"x-special/gnome-copied-files");
        }
    }

    void imagesAreKnownByTheirFirstBytes_data() {
        QTest::addColumn<QByteArray>("data");
        QTest::addColumn<QString>("type");
        QTest::newRow("PNG") << png << QStringLiteral("image/png");
        QTest::newRow("JPEG") << jpeg << QStringLiteral("image/jpeg");
        QTest::newRow("TIFF, little end first") << tiff << QStringLiteral("image/tiff");
        QTest::newRow("TIFF, big end first")
            << QByteArray("MM\0*\0\0\0\10", 8) << QStringLiteral("image/tiff");
        QTest::newRow("GIF") << QByteArray("GIF89a") << QStringLiteral("image/gif");
        QTest::newRow("WebP") << QByteArray("RIFF\1\2\3\4WEBPVP8 ") << QStringLiteral("image/webp");
        QTest::newRow("BMP") << QByteArray("BM6") << QStringLiteral("image/bmp");
        QTest::newRow("cut short") << png.first(7) << QString();
        QTest::newRow("nothing") << QByteArray() << QString();
    }
    void imagesAreKnownByTheirFirstBytes() {
        QFETCH(QByteArray, data);
        QTEST(PasteboardTypes::imageTypeOf(data), "type");
    }
};

QTEST_GUILESS_MAIN(PasteboardOffersTest)
#include "tst_pasteboardoffers.moc"
