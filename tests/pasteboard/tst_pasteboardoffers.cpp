// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "tests/kit/TestCase.h"
#include "tests/pasteboard/SampleContents.h"

#include <QStringEncoder>
#include <QTest>

using namespace clipmule;
using namespace clipmule::kit;
using PasteboardOffers::Offer;
using PasteboardTargets::maximumTargets;

namespace {

QByteArray utf16(const char16_t *text) {
    QStringEncoder encoder(QStringEncoder::Utf16LE);
    return encoder(QStringView(text));
}

QStringList targetsOf(const QList<Offer> &offers) {
    QStringList targets;
    for (const Offer &offer : offers)
        targets.append(offer.target);
    return targets;
}

} // namespace

// Under which names contents are offered, with what bytes, and what is not for every program.
class PasteboardOffersTest final : public kit::TestCase {
    Q_OBJECT

private Q_SLOTS:
    void theFirstOfTwoImagesOfAKindCounts() {
        const QByteArray other = png + "other";
        QCOMPARE(offered({.images = {png, other}}, "image/png"), png);
        QCOMPARE(offered({.images = {other, png}}, "image/png"), other);
    }

    // A PNG is what it is; the others are made into one when somebody asks.
    void otherImagesAreConverted() {
        const Offer made{.target = QStringLiteral("image/png"),
                         .type = QStringLiteral("image/png"),
                         .data = jpeg,
                         .isConverted = true};
        QCOMPARE(PasteboardOffers::offers({.images = {jpeg}}).last(), made);
        QCOMPARE(PasteboardOffers::offers({.images = {"?", jpeg}}).last(), made);
        for (const Offer &offer : PasteboardOffers::offers({.images = {jpeg, png}}))
            QVERIFY(!offer.isConverted);
    }

    void linksAreNotForEverybody() {
        const QUrl link(QStringLiteral("http://a.org/"));
        const QHash<QString, QList<PasteboardAudience>> notFor{
            {QStringLiteral("text/html"), {PasteboardAudience::Spreadsheet}},
            {QStringLiteral("text/x-moz-url"), {PasteboardAudience::FileManager}}};
        for (const Offer &offer : PasteboardOffers::offers({.url = link}))
            QCOMPARE(offer.notFor, notFor.value(offer.target));
        // What is styled text of the clip's own is for everybody.
        for (const Offer &offer : PasteboardOffers::offers({.html = "<b>", .url = link}))
            QVERIFY(offer.target == u"text/x-moz-url" || offer.notFor.isEmpty());
    }

    void filesOfImagesAreForFileManagers_data() {
        QTest::addColumn<PasteboardContents>("contents");
        QTest::newRow("image") << PasteboardContents{.images = {png}};
        QTest::newRow("text") << PasteboardContents{.text = "x"};
    }
    void filesOfImagesAreForFileManagers() {
        QFETCH(PasteboardContents, contents);
        contents.files = {QStringLiteral("/a.png")};
        const bool isImage = !contents.images.isEmpty();
        for (const Offer &offer : PasteboardOffers::offers(contents)) {
            const bool isList = offer.target == u"text/uri-list";
            QCOMPARE(offer.notFor, isImage && isList ? (QList{PasteboardAudience::Spreadsheet,
                                                              PasteboardAudience::Other})
                                                     : QList<PasteboardAudience>());
            QCOMPARE(offer.isOfFiles, offer.target == u"text/uri-list" ||
                                          offer.target == u"x-special/gnome-copied-files");
        }
    }

    void typesBecomeTargets_data() {
        QTest::addColumn<PasteboardContents>("contents");
        QTest::addColumn<QString>("targets");
        const auto row = [](const char *name, const PasteboardContents &contents,
                            const char *targets) {
            QTest::newRow(name) << contents << QString::fromLatin1(targets);
        };
        const QStringList files{QStringLiteral("/a.png")};
        const QUrl url(QStringLiteral("http://a.org/"));
        row("text", {.text = "x"}, "text/plain;charset=utf-8 UTF8_STRING text/plain STRING TEXT");
        row("text that Latin-1 cannot hold", {.text = "\xe2\x82\xac"},
            "text/plain;charset=utf-8 UTF8_STRING text/plain TEXT");
        row("HTML", {.html = "<b>"}, "text/html");
        row("RTF", {.rtf = "{\\rtf1}"}, "text/rtf application/rtf");
        row("PNG", {.images = {png}}, "image/png");
        row("JPEG", {.images = {jpeg}}, "image/jpeg image/png");
        row("JPEG twice", {.images = {jpeg, jpeg}}, "image/jpeg image/png");
        row("PNG and JPEG", {.images = {png, jpeg}}, "image/png image/jpeg");
        row("TIFF", {.images = {tiff}}, "image/tiff image/png");
        row("image without a name of its own here", {.images = {icon}}, "image/png");
        row("no image", {.images = {"?"}}, "");
        row("image and file", {.images = {png}, .files = files},
            "text/uri-list x-special/gnome-copied-files image/png");
        row("files", {.files = files}, "text/uri-list x-special/gnome-copied-files");
        row("URL", {.url = url},
            "text/x-moz-url text/html text/plain;charset=utf-8 UTF8_STRING text/plain STRING TEXT");
        row("URL and text", {.text = "x", .url = url},
            "text/plain;charset=utf-8 UTF8_STRING text/plain STRING TEXT text/x-moz-url text/html");
        row("URL and text that Latin-1 cannot hold", {.text = "\xe2\x82\xac", .url = url},
            "text/plain;charset=utf-8 UTF8_STRING text/plain TEXT text/x-moz-url text/html");
        row("URL and files", {.text = "x", .files = files, .url = url},
            "text/uri-list x-special/gnome-copied-files text/plain;charset=utf-8 UTF8_STRING "
            "text/plain STRING TEXT text/x-moz-url text/html");
        row("URL and several lines", {.text = "x\ny", .url = url},
            "text/plain;charset=utf-8 UTF8_STRING text/plain STRING TEXT");
        row("URL and several old lines", {.text = "x\ry", .url = url},
            "text/plain;charset=utf-8 UTF8_STRING text/plain STRING TEXT");
        row("URL and HTML", {.text = "x", .html = "<b>", .url = url},
            "text/plain;charset=utf-8 UTF8_STRING text/plain STRING TEXT text/x-moz-url "
            "text/html");
        row("all of it, in this order",
            {.text = "x",
             .html = "<b>",
             .rtf = "{\\rtf1}",
             .images = {png},
             .files = files,
             .url = url,
             .others = {{QStringLiteral("x.a"), "1"}}},
            "text/uri-list x-special/gnome-copied-files text/rtf application/rtf "
            "text/plain;charset=utf-8 UTF8_STRING text/plain STRING TEXT text/x-moz-url text/html "
            "image/png x.a");
        row("title alone", {.title = QStringLiteral("A")}, "");
        row("any other", {.others = {{QStringLiteral("com.zendrik.native.rtfd"), "x"}}},
            "com.zendrik.native.rtfd");
        row("protocol targets are not ours to give",
            {.others = {{QStringLiteral("TARGETS"), "x"},
                        {QStringLiteral("MULTIPLE"), "x"},
                        {QStringLiteral("SAVE_TARGETS"), "x"}}},
            "");
        row("names that cannot be",
            {.others = {{QString(), "x"},
                        {QStringLiteral("a\nb"), "x"},
                        {QStringLiteral("ü"), "x"},
                        {QString(256, u'a'), "x"}}},
            "");
        row("without bytes", {.others = {{QStringLiteral("x.a"), std::nullopt}}}, "");
        row("a name that is ours to give", {.text = "x", .others = {{QStringLiteral("TEXT"), "y"}}},
            "text/plain;charset=utf-8 UTF8_STRING text/plain STRING TEXT");
        row("files that were cut",
            {.others = {{QStringLiteral("x-special/gnome-copied-files"), "cut\nfile:///a"},
                        {QStringLiteral("application/x-kde-cutselection"), "1"}}},
            "");
        // Whatever made them, the paste would be made by a file manager of this desktop.
        row("stored lists of files",
            {.others = {{QStringLiteral("x-special/gnome-copied-files"), "copy\nfile:///a"},
                        {QStringLiteral("x-special/mate-copied-files"), "copy\nfile:///a"},
                        {QStringLiteral("text/uri-list"), "file:///a"},
                        {QStringLiteral("text/uri-list;charset=utf-8"), "file:///a"},
                        {QStringLiteral("application/x-kde4-urilist"), "file:///a"},
                        {QStringLiteral("text/x-moz-url"), "f\0i\0l\0e\0"},
                        {QStringLiteral("text/x-moz-url-data"), "file:///a"},
                        {QStringLiteral("_NETSCAPE_URL"), "file:///a"},
                        {QStringLiteral("public.file-url"), "file:///a"}}},
            "");
    }
    void typesBecomeTargets() {
        QFETCH(PasteboardContents, contents);
        QFETCH(QString, targets);
        QCOMPARE(targetsOf(PasteboardOffers::offers(contents)).join(u' '), targets);
    }

    void textIsOfferedInEachTargetsEncoding() {
        const PasteboardContents latin{.text = "caf\xc3\xa9"};
        QCOMPARE(offered(latin, "UTF8_STRING"), QByteArray("caf\xc3\xa9"));
        QCOMPARE(offered(latin, "text/plain"), QByteArray("caf\xc3\xa9"));
        QCOMPARE(offered(latin, "STRING"), QByteArray("caf\xe9"));
        QCOMPARE(offered(latin, "TEXT"), QByteArray("caf\xe9"));
        for (const Offer &offer : PasteboardOffers::offers(latin)) {
            if (offer.target == u"TEXT")
                QCOMPARE(offer.type, QStringLiteral("STRING"));
            else
                QCOMPARE(offer.type, offer.target);
        }
        const PasteboardContents euro{.text = "\xe2\x82\xac"};
        QCOMPARE(offered(euro, "TEXT"), QByteArray("\xe2\x82\xac"));
        QCOMPARE(PasteboardOffers::offers(euro).last().type, QStringLiteral("UTF8_STRING"));
    }

    // Where a text is looked through, and where it is cut, makes no difference.
    void whereALongTextLeavesLatin1MakesNoDifference() {
        for (const qsizetype before : {0, 4094, 4095, 4096, 8191, 9999}) {
            const QByteArray start(before, 'x');
            const QByteArray end(10'000, 'y');
            for (const char *latin1 : {"", "\xc2\x80", "\xc3\xbf"})
                QVERIFY(targetsOf(PasteboardOffers::offers({.text = start + latin1 + end}))
                            .contains(u"STRING"));
            for (const char *other : {"\xc4\x80", "\xe2\x82\xac", "\xf0\x9f\x90\xb4"}) {
                for (const QByteArray &rest : {QByteArray(), end})
                    QVERIFY(!targetsOf(PasteboardOffers::offers({.text = start + other + rest}))
                                 .contains(u"STRING"));
            }
        }
    }

    // Nothing is made of a text before somebody asks, and of plain ASCII not even then.
    void aTextIsHeldOnce() {
        for (const QByteArray text : {"plain", "caf\xc3\xa9"}) {
            for (const Offer &offer : PasteboardOffers::offers({.text = text})) {
                QVERIFY(offer.data.constData() == text.constData());
                QCOMPARE(offer.isLatin1, offer.type == u"STRING" && text != "plain");
            }
        }
    }

    void latin1IsMadePieceByPiece_data() {
        QTest::addColumn<qsizetype>("most");
        QTest::addColumn<QByteArrayList>("pieces");
        QTest::newRow("all") << qsizetype(20) << QByteArrayList{"a\xe9\xe9z"};
        QTest::newRow("a character") << qsizetype(4) << QByteArrayList{"a\xe9", "\xe9z"};
        QTest::newRow("cut") << qsizetype(5) << QByteArrayList{"a\xe9\xe9", "z"};
    }
    void latin1IsMadePieceByPiece() {
        QFETCH(qsizetype, most);
        PasteboardOffers::Outgoing bytes{"a\xc3\xa9\xc3\xa9z", true};
        QByteArrayList pieces;
        while (!bytes.isAtEnd()) {
            pieces += bytes.next(most);
            bytes.take(pieces.last());
        }
        QTEST(pieces, "pieces");
        QCOMPARE(bytes.next(most), QByteArray());
    }

    void whatWasNotTakenComesAgain() {
        PasteboardOffers::Outgoing latin1{"\xc3\xa9\xc3\xa8", true};
        latin1.take(QByteArrayView(latin1.next(20)).first(1));
        QCOMPARE(latin1.next(20), QByteArray("\xe8"));
        PasteboardOffers::Outgoing plain{"\xc3\xa9\xc3\xa8"};
        plain.take(QByteArrayView(plain.next(20)).first(1));
        QCOMPARE(plain.next(2), QByteArray("\xa9\xc3"));
    }

    void aLinkWithALongTextIsNone() {
        const auto offersLink = [](qsizetype length) {
            return targetsOf(
                       PasteboardOffers::offers({.text = QByteArray(length, 'x'),
                                                 .url = QUrl(QStringLiteral("http://a.org/"))}))
                .contains(u"text/html");
        };
        constexpr qsizetype most = 256 * 1024;
        QVERIFY(offersLink(most - 1));
        QVERIFY(offersLink(most));
        QVERIFY(!offersLink(most + 1));
    }

    void filesAreOfferedInBothForms() {
        const PasteboardContents contents{
            .files = {QStringLiteral("/tmp/a b#1%.png"), QStringLiteral("/ü")}};
        QCOMPARE(offered(contents, "text/uri-list"),
                 QByteArray("file:///tmp/a%20b%231%25.png\r\nfile:///%C3%BC\r\n"));
        QCOMPARE(offered(contents, "x-special/gnome-copied-files"),
                 QByteArray("copy\nfile:///tmp/a%20b%231%25.png\nfile:///%C3%BC"));
    }

    void linksAreNeverLists_data() {
        QTest::addColumn<QString>("link");
        QTest::addColumn<bool>("isBrowserLink");
        QTest::addColumn<bool>("isAnchor");
        const auto row = [](const char *link, bool isBrowserLink, bool isAnchor) {
            QTest::newRow(link) << QString::fromLatin1(link) << isBrowserLink << isAnchor;
        };
        row("http://a.org/", true, true);
        row("https://a.org/page.html?x=y.desktop", true, true);
        row("https://a.org/my.desktop/", true, true);
        row("http://a.org/evil.desktop", false, true);
        row("http://a.org/evil.DeskTop?x#y", false, true);
        row("http://a.org/evil%2Edesktop", false, true);
        row("http://a.org/evil.desktop.", false, true);
        row("http://a.org/evil.desktop%20", false, true);
        row("http://a.org/run.sh", false, true);
        row("http://a.org/x.AppImage", false, true);
        row("mailto:a@b.org", false, true);
        row("tel:+4912345", false, true);
        row("smb://a.org/share/x", false, false);
        row("ftp://a.org/x", false, false);
        row("javascript:alert(1)", false, false);
        row("data:text/html,x", false, false);
        row("file:///etc/passwd", false, false);
        row("file://a.org/share/x", false, false);
    }
    void linksAreNeverLists() {
        QFETCH(QString, link);
        const PasteboardContents contents{.url = QUrl(link)};
        const QStringList targets = targetsOf(PasteboardOffers::offers(contents));
        QVERIFY(!targets.contains(QStringLiteral("text/uri-list")));
        QVERIFY(!targets.contains(QStringLiteral("x-special/gnome-copied-files")));
        // To a program that is made with Qt this is such a list, too.
        QTEST(targets.contains(QStringLiteral("text/x-moz-url")), "isBrowserLink");
        QTEST(targets.contains(QStringLiteral("text/html")), "isAnchor");
        // As a text it goes out in any case.
        QVERIFY(targets.contains(QStringLiteral("UTF8_STRING")));
    }

    void linkIsEscapedInHtml_data() {
        QTest::addColumn<QByteArray>("link");
        QTest::addColumn<QByteArray>("text");
        QTest::addColumn<QByteArray>("title");
        QTest::addColumn<QByteArray>("html");
        const auto row = [](const char *name, const char *link, const char *text, const char *title,
                            const char *html) {
            QTest::newRow(name) << QByteArray(link) << QByteArray(text) << QByteArray(title)
                                << QByteArray(html);
        };
        row("address", "http://a.org/?a=1&b='2'", nullptr, nullptr,
            "<a href=\"http://a.org/?a=1&amp;b='2'\">http://a.org/?a=1&amp;b='2'</a>");
        row("title", "http://a.org/", nullptr, "A \"<b>\" &amp;",
            "<a href=\"http://a.org/\">A &quot;&lt;b&gt;&quot; &amp;amp;</a>");
        row("text goes before the title", "http://a.org/", " text\n", "title",
            "<a href=\"http://a.org/\">text</a>");
        row("empty text", "http://a.org/", "", nullptr,
            "<a href=\"http://a.org/\">http://a.org/</a>");
        // ü, U+20AC, and one above the basic plane.
        row("other letters", "http://a.org/%C3%BC", "\xc3\xbc\xe2\x82\xac\xf0\x9f\x98\x80", nullptr,
            "<a href=\"http://a.org/%C3%BC\">&#252;&#8364;&#128512;</a>");
    }
    void linkIsEscapedInHtml() {
        QFETCH(QByteArray, link);
        QFETCH(QByteArray, text);
        QFETCH(QByteArray, title);
        QFETCH(QByteArray, html);
        PasteboardContents contents{.url = QUrl(QString::fromUtf8(link)),
                                    .title = QString::fromUtf8(title)};
        if (!text.isNull())
            contents.text = text;
        QCOMPARE(offered(contents, "text/html"), html);
    }

    void theContentsOwnHtmlIsOffered() {
        const PasteboardContents contents{.html = "<b>own</b>",
                                          .url = QUrl(QStringLiteral("http://a.org/"))};
        QCOMPARE(offered(contents, "text/html"), QByteArray("<b>own</b>"));
    }

    // A phone's native dictionary may have so many types; looked up one by one they took minutes.
    void anyNumberOfTypesTakesItsTime() {
        constexpr int count = 300'000;
        PasteboardContents contents;
        for (int index = 0; index < count; ++index)
            contents.others.insert(QStringLiteral("x.%1").arg(index), "x");
        QCOMPARE(PasteboardOffers::offers(contents).size(), maximumTargets);
        QVERIFY(PasteboardOffers::offers(contents).first().isForeign);
    }

    void freshFilesWinOverStoredOnes() {
        const PasteboardContents contents{
            .files = {QStringLiteral("/new")},
            .others = {{QStringLiteral("x-special/gnome-copied-files"), "copy\nfile:///old"},
                       {QStringLiteral("text/uri-list"), "file:///old"}}};
        QCOMPARE(offered(contents, "text/uri-list"), QByteArray("file:///new\r\n"));
        QCOMPARE(offered(contents, "x-special/gnome-copied-files"),
                 QByteArray("copy\nfile:///new"));
    }

    void urlIsOfferedWithItsTitle() {
        const PasteboardContents contents{.url = QUrl(QStringLiteral("http://a.org/%C3%BC")),
                                          .title = QStringLiteral("Tïtle\nof it")};
        QCOMPARE(offered(contents, "text/x-moz-url"), utf16(u"http://a.org/%C3%BC\nTïtle of it"));
        QCOMPARE(offered(contents, "UTF8_STRING"), QByteArray("http://a.org/%C3%BC"));
        const QUrl link(QStringLiteral("http://a.org/"));
        QCOMPARE(offered({.url = link}, "text/x-moz-url"), utf16(u"http://a.org/\nhttp://a.org/"));
        QCOMPARE(offered({.text = "text\n", .url = link}, "text/x-moz-url"),
                 utf16(u"http://a.org/\ntext"));
    }

    void onlySoManyTargetsAreOffered() {
        const auto offersOf = [](int count) {
            PasteboardContents contents;
            for (int index = 0; index < count; ++index)
                contents.others.insert(QStringLiteral("x.%1").arg(index), "x");
            return PasteboardOffers::offers(contents).size();
        };
        QCOMPARE(offersOf(maximumTargets - 1), maximumTargets - 1);
        QCOMPARE(offersOf(maximumTargets), maximumTargets);
        QCOMPARE(offersOf(maximumTargets + 1), maximumTargets);
    }

    void longestNameIsOffered() {
        const PasteboardContents contents{.others = {{QString(255, u'a'), "x"}}};
        QCOMPARE(PasteboardOffers::offers(contents).size(), 1);
    }
};

QTEST_GUILESS_MAIN(PasteboardOffersTest)
#include "tst_pasteboardoffers.moc"
