// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "tests/pasteboard/SampleContents.h"

#include <QStringEncoder>
#include <QSysInfo>
#include <QTest>

using namespace clipmule;
using namespace clipmule::tests;
using PasteboardTypes::Answer;
using PasteboardTypes::Meaning;
using PasteboardTypes::Offer;

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

class PasteboardTypesTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init() { QTest::failOnWarning(QRegularExpression(QStringLiteral(".*"))); }

    // Reading

    void targetsBecomeTypes_data() {
        QTest::addColumn<Meaning>("meaning");
        QTest::addColumn<QString>("target");
        QTest::addColumn<QByteArray>("data");
        QTest::addColumn<PasteboardContents>("contents");
        const auto row = [](const char *name, Meaning meaning, const char *target,
                            const QByteArray &data,
                            const QList<PasteboardContents::Representation> &contents) {
            QTest::newRow(name) << meaning << QString::fromLatin1(target) << data
                                << PasteboardContents(contents);
        };
        using namespace PasteboardType;
        row("text", Meaning::Text, "UTF8_STRING", "x", {{NSStringPboardType, "x"}});
        row("HTML", Meaning::Html, "text/html", "<b>", {{publicHtml, "<b>"}});
        row("RTF", Meaning::Rtf, "text/rtf", "{\\rtf1}", {{NSRTFPboardType, "{\\rtf1}"}});
        row("PNG", Meaning::Image, "image/png", png, {{NSTIFFPboardType, png}});
        row("TIFF", Meaning::Image, "image/tiff", tiff, {{NSTIFFPboardType, tiff}});
        row("another raster image as it is", Meaning::Image, "image/jpeg", jpeg,
            {{NSTIFFPboardType, jpeg}});
        row("files", Meaning::UriList, "text/uri-list",
            "file:///a%20b.png\r\nfile:///%C3%BC.png\r\n",
            {{NSFilenamesPboardType,
              fileList({QStringLiteral("/a b.png"), QStringLiteral("/ü.png")})}});
        row("files, ended by NUL", Meaning::UriList, "text/uri-list",
            QByteArray("file:///a\r\nfile:///b\0", 20),
            {{NSFilenamesPboardType, fileList({QStringLiteral("/a"), QStringLiteral("/b")})}});
        row("files, comment and empty lines", Meaning::UriList, "text/uri-list",
            "# copied\n\nfile:///a\n", {{NSFilenamesPboardType, fileList({QStringLiteral("/a")})}});
        row("file on this host", Meaning::UriList, "text/uri-list",
            "file://localhost/a\r\nfile://" + QSysInfo::machineHostName().toLatin1() + "/b",
            {{NSFilenamesPboardType, fileList({QStringLiteral("/a"), QStringLiteral("/b")})}});
        row("file on another host", Meaning::UriList, "text/uri-list", "file://elsewhere/a",
            {{QStringLiteral("text/uri-list"), "file://elsewhere/a"}});
        row("web URL", Meaning::UriList, "text/uri-list", "https://example.org/a?b#c\r\n",
            {{NSURLPboardType, urlBytes("https://example.org/a?b#c")}});
        row("file and web URL", Meaning::UriList, "text/uri-list", "file:///a\r\nhttp://b.org/\r\n",
            {{NSFilenamesPboardType, fileList({QStringLiteral("/a")})},
             {NSURLPboardType, urlBytes("http://b.org/")}});
        row("other URL", Meaning::UriList, "text/uri-list", "mailto:a@b.org",
            {{QStringLiteral("text/uri-list"), "mailto:a@b.org"}});
        row("no URL at all", Meaning::UriList, "text/uri-list", "",
            {{QStringLiteral("text/uri-list"), ""}});
        row("web URL with title", Meaning::MozillaUrl, "text/x-moz-url",
            utf16(u"https://example.org/\nAn Exämple"),
            {{NSURLPboardType, urlBytes("https://example.org/")},
             {publicUrlName, "An Ex\xc3\xa4mple"}});
        row("web URL with a byte order mark", Meaning::MozillaUrl, "text/x-moz-url",
            "\xff\xfe" + utf16(u"http://a.org/\nA"),
            {{NSURLPboardType, urlBytes("http://a.org/")}, {publicUrlName, "A"}});
        row("web URL that is its own title", Meaning::MozillaUrl, "text/x-moz-url",
            utf16(u"http://a.org/\nhttp://a.org/"), {{NSURLPboardType, urlBytes("http://a.org/")}});
        row("web URL, ended by NUL", Meaning::MozillaUrl, "text/x-moz-url",
            utf16(u"http://a.org/\nAb") + QByteArray(4, '\0'),
            {{NSURLPboardType, urlBytes("http://a.org/")}, {publicUrlName, "Ab"}});
        row("script in place of a URL", Meaning::MozillaUrl, "text/x-moz-url",
            utf16(u"javascript:x\nX"),
            {{QStringLiteral("text/x-moz-url"), utf16(u"javascript:x\nX")}});
        row("password manager's mark", Meaning::Other, "x-kde-passwordManagerHint", "secret",
            {{QStringLiteral("x-kde-passwordManagerHint"), "secret"}});
        row("any other", Meaning::Other, "application/x-thing", QByteArray("\0\1", 2),
            {{QStringLiteral("application/x-thing"), QByteArray("\0\1", 2)}});
    }
    void targetsBecomeTypes() {
        QFETCH(Meaning, meaning);
        QFETCH(QString, target);
        QFETCH(QByteArray, data);
        QFETCH(PasteboardContents, contents);
        QCOMPARE(PasteboardTypes::contents({{meaning, target, data}}).types(), contents.types());
        QCOMPARE(PasteboardTypes::contents({{meaning, target, data}}), contents);
    }

    void theFirstOfTwoUrlsWins() {
        const auto contents = PasteboardTypes::contents(
            {{Meaning::UriList, QStringLiteral("text/uri-list"), "http://a.org/"},
             {Meaning::MozillaUrl, QStringLiteral("text/x-moz-url"), utf16(u"http://b.org/\nB")}});
        QCOMPARE(contents.types(),
                 (QStringList{PasteboardType::NSURLPboardType, PasteboardType::publicUrlName}));
        QCOMPARE(*contents.data(PasteboardType::NSURLPboardType), urlBytes("http://a.org/"));
    }

    void longUriListsKeepTheirName() {
        const auto typeOf = [](const QByteArray &list) {
            return PasteboardTypes::contents(
                       {{Meaning::UriList, QStringLiteral("text/uri-list"), list}})
                .types()
                .value(0);
        };
        const auto lines = [](int count) { return QByteArray("file:///a\n").repeated(count); };
        QCOMPARE(typeOf(lines(PasteboardTypes::maximumUriListLines - 1)),
                 PasteboardType::NSFilenamesPboardType);
        QCOMPARE(typeOf(lines(PasteboardTypes::maximumUriListLines)),
                 PasteboardType::NSFilenamesPboardType);
        QCOMPARE(typeOf(lines(PasteboardTypes::maximumUriListLines + 1)),
                 QStringLiteral("text/uri-list"));
        const auto bytes = [](qsizetype size) {
            return "file:///a\n" + QByteArray(size - 10, '\n');
        };
        QCOMPARE(typeOf(bytes(PasteboardTypes::maximumUriListBytes - 1)),
                 PasteboardType::NSFilenamesPboardType);
        QCOMPARE(typeOf(bytes(PasteboardTypes::maximumUriListBytes)),
                 PasteboardType::NSFilenamesPboardType);
        QCOMPARE(typeOf(bytes(PasteboardTypes::maximumUriListBytes + 1)),
                 QStringLiteral("text/uri-list"));
    }

    void markersAreListedWithoutBytes() {
        const auto contents = PasteboardTypes::contents(
            {{Meaning::Other, QStringLiteral("org.nspasteboard.TransientType"), std::nullopt},
             {Meaning::Text, QStringLiteral("UTF8_STRING"), std::nullopt},
             {Meaning::Image, QStringLiteral("image/png"), std::nullopt}});
        QCOMPARE(contents.types(), QStringList{QStringLiteral("org.nspasteboard.TransientType")});
        QVERIFY(!contents.data(contents.types().first()));
    }

    // Writing

    void typesBecomeTargets_data() {
        QTest::addColumn<PasteboardContents>("contents");
        QTest::addColumn<QString>("targets");
        const auto row = [](const char *name,
                            const QList<PasteboardContents::Representation> &contents,
                            const char *targets) {
            QTest::newRow(name) << PasteboardContents(contents) << QString::fromLatin1(targets);
        };
        using namespace PasteboardType;
        const QByteArray files = fileList({QStringLiteral("/a.png")});
        row("text", {{NSStringPboardType, "x"}},
            "text/plain;charset=utf-8 UTF8_STRING text/plain STRING TEXT");
        row("text that Latin-1 cannot hold", {{NSStringPboardType, "\xe2\x82\xac"}},
            "text/plain;charset=utf-8 UTF8_STRING text/plain TEXT");
        row("HTML", {{publicHtml, "<b>"}}, "text/html");
        row("RTF", {{NSRTFPboardType, "{\\rtf1}"}}, "text/rtf application/rtf");
        row("PNG", {{publicPng, png}}, "image/png");
        row("PNG as TIFF", {{NSTIFFPboardType, png}}, "image/png");
        row("PNG under its old name", {{applePng, png}}, "image/png");
        row("JPEG as TIFF", {{NSTIFFPboardType, jpeg}}, "image/jpeg image/png");
        row("JPEG as PNG", {{publicPng, jpeg}}, "image/jpeg image/png");
        row("JPEG as TIFF under both names", {{publicTiff, jpeg}, {NSTIFFPboardType, jpeg}},
            "image/jpeg image/png");
        row("JPEG and PNG", {{NSTIFFPboardType, jpeg}, {publicPng, png}}, "image/png image/jpeg");
        row("TIFF", {{NSTIFFPboardType, tiff}}, "image/tiff image/png");
        row("image without a name of its own here", {{NSTIFFPboardType, icon}}, "image/png");
        row("no image", {{NSTIFFPboardType, "?"}}, "");
        row("no image as PNG", {{publicPng, "?"}}, "");
        row("image and file", {{NSTIFFPboardType, png}, {NSFilenamesPboardType, files}},
            "text/uri-list x-special/gnome-copied-files image/png");
        row("files", {{NSFilenamesPboardType, files}},
            "text/uri-list x-special/gnome-copied-files");
        row("no files", {{NSFilenamesPboardType, fileList({})}}, "");
        row("files that are none", {{NSFilenamesPboardType, "\xff\xff"}}, "");
        row("URL", {{NSURLPboardType, urlBytes("http://a.org/")}},
            "text/x-moz-url text/html text/plain;charset=utf-8 UTF8_STRING text/plain STRING TEXT");
        row("URL and text",
            {{NSURLPboardType, urlBytes("http://a.org/")}, {NSStringPboardType, "x"}},
            "text/x-moz-url text/html text/plain;charset=utf-8 UTF8_STRING text/plain STRING TEXT");
        row("URL and files",
            {{NSURLPboardType, urlBytes("http://a.org/")},
             {NSStringPboardType, "x"},
             {NSFilenamesPboardType, files}},
            "text/x-moz-url text/html text/plain;charset=utf-8 UTF8_STRING text/plain STRING TEXT "
            "text/uri-list x-special/gnome-copied-files");
        row("URL and several lines",
            {{NSURLPboardType, urlBytes("http://a.org/")}, {NSStringPboardType, "x\ny"}},
            "text/plain;charset=utf-8 UTF8_STRING text/plain STRING TEXT");
        row("URL and several old lines",
            {{NSURLPboardType, urlBytes("http://a.org/")}, {NSStringPboardType, "x\ry"}},
            "text/plain;charset=utf-8 UTF8_STRING text/plain STRING TEXT");
        row("URL and HTML",
            {{NSURLPboardType, urlBytes("http://a.org/")},
             {NSStringPboardType, "x"},
             {publicHtml, "<b>"}},
            "text/x-moz-url text/plain;charset=utf-8 UTF8_STRING text/plain STRING TEXT "
            "text/html");
        row("URL that is none", {{NSURLPboardType, "\xff"}}, "");
        row("title alone", {{publicUrlName, "A"}}, "");
        row("any other", {{QStringLiteral("com.zendrik.native.rtfd"), "x"}},
            "com.zendrik.native.rtfd");
        row("protocol targets are not ours to give",
            {{QStringLiteral("TARGETS"), "x"},
             {QStringLiteral("MULTIPLE"), "x"},
             {QStringLiteral("SAVE_TARGETS"), "x"}},
            "");
        row("names that cannot be",
            {{QString(), "x"},
             {QStringLiteral("a\nb"), "x"},
             {QStringLiteral("ü"), "x"},
             {QString(256, u'a'), "x"}},
            "");
        row("declared without bytes", {{NSStringPboardType, std::nullopt}}, "");
        row("files that were cut",
            {{QStringLiteral("x-special/gnome-copied-files"), "cut\nfile:///a"},
             {QStringLiteral("application/x-kde-cutselection"), "1"}},
            "");
        // Whatever made them, the paste would be made by a file manager of this desktop.
        row("stored lists of files",
            {{QStringLiteral("x-special/gnome-copied-files"), "copy\nfile:///a"},
             {QStringLiteral("x-special/mate-copied-files"), "copy\nfile:///a"},
             {QStringLiteral("text/uri-list"), "file:///a"},
             {QStringLiteral("text/uri-list;charset=utf-8"), "file:///a"},
             {QStringLiteral("application/x-kde4-urilist"), "file:///a"},
             {QStringLiteral("text/x-moz-url"), "f\0i\0l\0e\0"},
             {QStringLiteral("text/x-moz-url-data"), "file:///a"},
             {QStringLiteral("_NETSCAPE_URL"), "file:///a"},
             {QStringLiteral("public.file-url"), "file:///a"}},
            "");
    }
    void typesBecomeTargets() {
        QFETCH(PasteboardContents, contents);
        QFETCH(QString, targets);
        QCOMPARE(targetsOf(PasteboardTypes::offers(contents)).join(u' '), targets);
    }

    void textIsOfferedInEachTargetsEncoding() {
        const PasteboardContents latin({{PasteboardType::NSStringPboardType, "caf\xc3\xa9"}});
        QCOMPARE(offered(latin, "UTF8_STRING"), QByteArray("caf\xc3\xa9"));
        QCOMPARE(offered(latin, "text/plain"), QByteArray("caf\xc3\xa9"));
        QCOMPARE(offered(latin, "STRING"), QByteArray("caf\xe9"));
        QCOMPARE(offered(latin, "TEXT"), QByteArray("caf\xe9"));
        for (const Offer &offer : PasteboardTypes::offers(latin)) {
            if (offer.target == u"TEXT")
                QCOMPARE(offer.type, QStringLiteral("STRING"));
            else
                QCOMPARE(offer.type, offer.target);
        }
        const PasteboardContents euro({{PasteboardType::NSStringPboardType, "\xe2\x82\xac"}});
        QCOMPARE(offered(euro, "TEXT"), QByteArray("\xe2\x82\xac"));
        QCOMPARE(PasteboardTypes::offers(euro).last().type, QStringLiteral("UTF8_STRING"));
    }

    void filesAreOfferedInBothForms() {
        const PasteboardContents contents(
            {{PasteboardType::NSFilenamesPboardType,
              fileList({QStringLiteral("/tmp/a b#1%.png"), QStringLiteral("/ü")})}});
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
        const PasteboardContents contents(
            {{PasteboardType::NSURLPboardType, urlBytes(link.toLatin1().constData())}});
        const QStringList targets = targetsOf(PasteboardTypes::offers(contents));
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
        PasteboardContents contents(
            {{PasteboardType::NSURLPboardType, urlBytes(link.constData())}});
        if (!text.isNull())
            contents.set(PasteboardType::NSStringPboardType, text);
        if (!title.isNull())
            contents.set(PasteboardType::publicUrlName, title);
        QCOMPARE(offered(contents, "text/html"), html);
    }

    void theContentsOwnHtmlIsOffered() {
        // The order of a stored dictionary.
        const PasteboardContents contents(
            {{PasteboardType::NSURLPboardType, urlBytes("http://a.org/")},
             {PasteboardType::publicHtml, "<b>own</b>"}});
        QCOMPARE(offered(contents, "text/html"), QByteArray("<b>own</b>"));
    }

    // An owner's, a phone's: of a length or a form that would hold the run loop for minutes.
    void linksWithoutMeasureAreNone() {
        const QString marks = QStringLiteral("\u0301\u0316").repeated(500'000);
        const QString link = QStringLiteral("http://a") + marks + u'/';
        const QByteArray utf8 = link.toUtf8().first(PasteboardTypes::maximumUriListBytes);
        QStringEncoder utf16(QStringEncoder::Utf16LE);
        const QByteArray wide = QByteArray(utf16(link)).first(utf8.size());
        QCOMPARE(
            PasteboardTypes::contents({{Meaning::UriList, QStringLiteral("text/uri-list"), utf8}})
                .types(),
            QStringList{QStringLiteral("text/uri-list")});
        QCOMPARE(PasteboardTypes::contents(
                     {{Meaning::MozillaUrl, QStringLiteral("text/x-moz-url"), wide}})
                     .types(),
                 QStringList{QStringLiteral("text/x-moz-url")});
        QVERIFY(!PasteboardReadings::url(link.toUtf8()));
        QVERIFY(!PasteboardReadings::url(
            PropertyListSerialization::binary(PropertyList::List{link, QString()})));
        const PasteboardContents contents({{PasteboardType::NSURLPboardType, link.toUtf8()}});
        QVERIFY(PasteboardTypes::offers(contents).isEmpty());
    }

    void onlyListsOfPathsAreFiles() {
        using namespace PasteboardReadings;
        const auto files = [](const PropertyList &value) {
            return propertyList(PasteboardType::NSFilenamesPboardType,
                                PropertyListSerialization::xml(value));
        };
        const PropertyList text(QStringLiteral("/a"));
        QVERIFY(files(PropertyList::List{text}));
        QVERIFY(!files(text));
        QVERIFY(!propertyList(PasteboardType::NSFilenamesPboardType, QByteArray()));
        // Of other types any value may be.
        QVERIFY(propertyList(QStringLiteral("com.example.thing"),
                             PropertyListSerialization::xml(text)) == text);
        QCOMPARE(fileNames(PropertyListSerialization::xml(
                     PropertyList::List{7, QStringLiteral("b"), text, QString()})),
                 QStringList(QStringLiteral("/a")));
    }

    void addressesThatAreNone_data() {
        QTest::addColumn<QByteArray>("data");
        for (const char *text : {"", "a.org/b", "//a.org/", "http://[", "http://a:x/", "%%%:"})
            QTest::newRow(text) << QByteArray(text);
    }
    void addressesThatAreNone() {
        QFETCH(QByteArray, data);
        QVERIFY(!PasteboardReadings::url(data));
    }

    void lengthsThatAreRead() {
        using namespace PasteboardReadings;
        const auto link = [](qsizetype size) {
            return "http://a.org/" + QByteArray(size - 13, ' ');
        };
        QVERIFY(url(link(longestLink - 1)));
        QVERIFY(url(link(longestLink)));
        QVERIFY(!url(link(longestLink + 1)));
        const auto title = [](qsizetype size) {
            return propertyList(PasteboardType::publicUrlName, QByteArray(size, 'x')).has_value();
        };
        QVERIFY(title(longestLink - 1));
        QVERIFY(title(longestLink));
        QVERIFY(!title(longestLink + 1));
        const auto files = [](qsizetype size) {
            const QByteArray list = fileList({QStringLiteral("/a")});
            return list + QByteArray(size - list.size(), '\n');
        };
        for (const auto &[size, isRead] :
             {std::pair(longestFileList - 1, true), std::pair(longestFileList, true),
              std::pair(longestFileList + 1, false)}) {
            QCOMPARE(fileNames(files(size)).size(), isRead ? 1 : 0);
            QCOMPARE(propertyList(PasteboardType::NSFilenamesPboardType, files(size)).has_value(),
                     isRead);
        }
    }

    // A phone's native dictionary may have so many types; looked up one by one they took minutes.
    void anyNumberOfTypesTakesItsTime() {
        constexpr int count = 300'000;
        PasteboardContents contents;
        for (int index = 0; index < count; ++index)
            contents.set(QStringLiteral("x.%1").arg(index), "x");
        QCOMPARE(contents.types().size(), count);
        QCOMPARE(contents.data(QStringLiteral("x.299999")), QByteArray("x"));
        QCOMPARE(contents.withoutEmptyDeclarations(), contents);
        QCOMPARE(PasteboardTypes::offers(contents).size(), PasteboardTypes::maximumTargets);
        QVERIFY(PasteboardTypes::offers(contents).first().isForeign);
    }

    void freshFilesWinOverStoredOnes() {
        const PasteboardContents contents(
            {{QStringLiteral("x-special/gnome-copied-files"), "copy\nfile:///old"},
             {QStringLiteral("text/uri-list"), "file:///old"},
             {PasteboardType::NSFilenamesPboardType, fileList({QStringLiteral("/new")})}});
        QCOMPARE(offered(contents, "text/uri-list"), QByteArray("file:///new\r\n"));
        QCOMPARE(offered(contents, "x-special/gnome-copied-files"),
                 QByteArray("copy\nfile:///new"));
    }

    void urlIsOfferedWithItsTitle() {
        const PasteboardContents contents(
            {{PasteboardType::NSURLPboardType, urlBytes("http://a.org/%C3%BC")},
             {PasteboardType::publicUrlName, "T\xc3\xaftle\nof it"}});
        QCOMPARE(offered(contents, "text/x-moz-url"), utf16(u"http://a.org/%C3%BC\nTïtle of it"));
        QCOMPARE(offered(contents, "UTF8_STRING"), QByteArray("http://a.org/%C3%BC"));
        const QByteArray link = urlBytes("http://a.org/");
        QCOMPARE(offered(PasteboardContents({{PasteboardType::NSURLPboardType, link}}),
                         "text/x-moz-url"),
                 utf16(u"http://a.org/\nhttp://a.org/"));
        QCOMPARE(offered(PasteboardContents({{PasteboardType::NSURLPboardType, link},
                                             {PasteboardType::NSStringPboardType, "text\n"}}),
                         "text/x-moz-url"),
                 utf16(u"http://a.org/\ntext"));
    }

    void onlySoManyTargetsAreOffered() {
        const auto offersOf = [](int count) {
            PasteboardContents contents;
            for (int index = 0; index < count; ++index)
                contents.set(QStringLiteral("x.%1").arg(index), "x");
            return PasteboardTypes::offers(contents).size();
        };
        QCOMPARE(offersOf(PasteboardTypes::maximumTargets - 1),
                 PasteboardTypes::maximumTargets - 1);
        QCOMPARE(offersOf(PasteboardTypes::maximumTargets), PasteboardTypes::maximumTargets);
        QCOMPARE(offersOf(PasteboardTypes::maximumTargets + 1), PasteboardTypes::maximumTargets);
    }

    void longestNameIsOffered() {
        const PasteboardContents contents({{QString(255, u'a'), "x"}});
        QCOMPARE(PasteboardTypes::offers(contents).size(), 1);
    }
};

QTEST_GUILESS_MAIN(PasteboardTypesTest)
#include "tst_pasteboardtypes.moc"
