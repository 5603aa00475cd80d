// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "tests/kit/TestCase.h"
#include "tests/pasteboard/SampleContents.h"

#include <QStringEncoder>
#include <QSysInfo>
#include <QTest>

using namespace clipmule;
using namespace clipmule::kit;
using PasteboardTargets::Meaning;
using PasteboardTargets::Role;

namespace {

QByteArray utf16(const char16_t *text) {
    QStringEncoder encoder(QStringEncoder::Utf16LE);
    return encoder(QStringView(text));
}

QStringList names(const char *spaced) {
    return QString::fromLatin1(spaced).split(u' ', Qt::SkipEmptyParts);
}

// The targets of an owner's first request of that kind, the one asked for first in front.
QStringList askedFor(const QStringList &targets, Meaning meaning) {
    for (const PasteboardTargets::Request &request : PasteboardTargets::requests(targets)) {
        if (request.meaning == meaning)
            return request.targets;
    }
    return {};
}

} // namespace

class PasteboardTargetsTest final : public kit::TestCase {
    Q_OBJECT

private Q_SLOTS:
    void asksForTheBestTargetFirst_data() {
        QTest::addColumn<QString>("offered");
        QTest::addColumn<Meaning>("meaning");
        QTest::addColumn<QString>("asked");
        const auto row = [](const char *name, const char *offered, Meaning meaning,
                            const char *asked) {
            QTest::newRow(name) << QString::fromLatin1(offered) << meaning
                                << QString::fromLatin1(asked);
        };
        row("text of every name",
            "TEXT STRING text/plain COMPOUND_TEXT UTF8_STRING "
            "text/plain;charset=utf-8 text/plain;charset=utf-16",
            Meaning::Text,
            "UTF8_STRING text/plain;charset=utf-8 text/plain;charset=utf-16 text/plain STRING TEXT "
            "COMPOUND_TEXT");
        row("upper-case charset", "text/plain text/plain;charset=UTF-8", Meaning::Text,
            "text/plain;charset=UTF-8 text/plain");
        row("PNG before all", "image/bmp image/jpeg image/x-icon text/ico image/tiff image/png",
            Meaning::Image, "image/png image/tiff image/jpeg image/bmp image/x-icon text/ico");
        row("no PNG", "image/x-MS-bmp image/jpeg", Meaning::Image, "image/jpeg image/x-MS-bmp");
        row("a program's own bitmap last",
            "application/x-openoffice-bitmap;windows_formatname=\"Bitmap\" image/x-other image/bmp "
            "image/gif image/webp",
            Meaning::Image,
            "image/webp image/gif image/bmp image/x-other "
            "application/x-openoffice-bitmap;windows_formatname=\"Bitmap\"");
        row("a drawing is no raster image", "image/svg+xml", Meaning::Image, "");
        row("a metafile is no raster image", "image/x-emf image/wmf", Meaning::Image, "");
        row("RTF of every name", "text/richtext application/x-rtf application/rtf text/rtf",
            Meaning::Rtf, "text/rtf application/rtf application/x-rtf text/richtext");
        row("old names of text", "text/unicode COMPOUND_TEXT text/plain;charset=\"UTF-8\"",
            Meaning::Text, "text/plain;charset=\"UTF-8\" text/unicode COMPOUND_TEXT");
        row("HTML with an encoding", "text/html;charset=utf-8 TEXT/HTML", Meaning::Html,
            "text/html;charset=utf-8 TEXT/HTML");
        row("files of every name",
            "x-special/mate-copied-files x-special/gnome-copied-files application/x-kde4-urilist "
            "text/uri-list",
            Meaning::UriList,
            "text/uri-list application/x-kde4-urilist x-special/gnome-copied-files "
            "x-special/mate-copied-files");
        row("a link and its parts", "text/x-moz-url-desc text/x-moz-url-data text/x-moz-url",
            Meaning::MozillaUrl, "text/x-moz-url");
    }
    void asksForTheBestTargetFirst() {
        QFETCH(QString, offered);
        QFETCH(Meaning, meaning);
        QFETCH(QString, asked);
        QCOMPARE(askedFor(offered.split(u' '), meaning).join(u' '), asked);
    }

    // A display server may take a request of such a name for an error of ours, and end our
    // connection.
    void whatIsNoNameIsNotAskedFor_data() {
        QTest::addColumn<QString>("target");
        QTest::addColumn<bool>("isAskedFor");
        const QString longest = QStringLiteral("text/") + QString(250, u'x');
        QTest::newRow("as long as one may be") << longest << true;
        QTest::newRow("longer") << longest + u'x' << false;
        QTest::newRow("nothing") << QString() << false;
        QTest::newRow("not ASCII") << QStringLiteral("text/plain\u00e9") << false;
        QTest::newRow("not text") << QString(200, QChar::ReplacementCharacter) << false;
        QTest::newRow("a control character") << QStringLiteral("text/a\nb") << false;
        QTest::newRow("a picture's") << QStringLiteral("image/") + QString(4000, u'x') << false;
    }
    void whatIsNoNameIsNotAskedFor() {
        QFETCH(QString, target);
        QFETCH(bool, isAskedFor);
        QCOMPARE(PasteboardTargets::requests({target}).size(), qsizetype(isAskedFor));
    }

    void targetsThatAreNotAskedFor_data() {
        QTest::addColumn<QString>("target");
        QTest::addColumn<Role>("role");
        const auto rows = [](Role role, const char *spaced) {
            for (const QString &name : names(spaced))
                QTest::newRow(qPrintable(name)) << name << role;
        };
        rows(
            Role::Protocol,
            "TIMESTAMP TARGETS MULTIPLE SAVE_TARGETS DELETE INSERT_SELECTION INSERT_PROPERTY INCR "
            "ATOM_PAIR PIXMAP BITMAP DRAWABLE COLORMAP HOSTNAME HOST_NAME IP_ADDRESS USER OWNER_OS "
            "CLIENT_WINDOW PROCESS TASK NAME CLASS MODULE SPAN LENGTH LIST_LENGTH LINE_NUMBER "
            "COLUMN_NUMBER CHARACTER_POSITION FOREGROUND BACKGROUND PROCEDURE");
        rows(Role::Session,
             "GTK_TEXT_BUFFER_CONTENTS application/vnd.portal.filetransfer "
             "application/vnd.portal.files application/x-qt-image chromium/x-renderer-taint "
             "application/x-libreoffice-internal-id-4711 application/x-openoffice-internal-id-1 "
             "application/x-gtk-text-buffer-rich-text;format=x application/x-moz-file "
             "application/x-moz-file-promise-url application/x-moz-nativeimage "
             "application/x-kde-ark-dndextract-service application/x-kde-ark-dndextract-path "
             "application/x-qabstractitemmodeldatalist");
        rows(Role::Origin,
             "text/x-moz-url-priv chromium/x-source-url chromium/x-internal-source-rfh-token "
             "text/_moz_htmlcontext text/_moz_htmlinfo FILE_NAME OBJECTLINK OWNERLINK ObjectLink "
             "OwnerLink "
             "application/x-openoffice-link;windows_formatname=\"Link\" "
             "application/x-openoffice-objectdescriptor "
             "application/x-openoffice-objectdescriptor-xml;displayname=\"file:///a\"");
        for (const char *name : {"Link Source", "Link Source Descriptor", "Object Descriptor"})
            QTest::newRow(name) << QString::fromLatin1(name) << Role::Origin;
        rows(Role::Duplicate,
             "application/x-libreoffice-tsvc text/x-moz-url-data text/x-moz-url-desc "
             "_NETSCAPE_URL application/x-moz-nativehtml image/x-inkscape-svg "
             "image/x-inkscape-svg-compressed image/svg+xml-compressed application/tar "
             "application/x-xcf application/x-zip image/dxf image/hpgl image/sif "
             "image/x-e-postscript image/x-postscript text/x-povray-script text/x-tex "
             "text/xml+fxg text/xml+xaml audio/x-riff "
             "application/x-openoffice-sylk;windows_formatname=\"Sylk\" "
             "application/x-openoffice-dif;windows_formatname=\"DIF\"");
        rows(Role::Picture,
             "image/emf image/x-emf image/wmf image/x-wmf image/X-WMF image/pict image/x-pict "
             "application/emf application/x-emf application/wmf application/x-wmf "
             "application/x-msmetafile application/x-openoffice-svxb "
             "application/x-openoffice-emf;windows_formatname=\"Image_EMF\" "
             "application/x-openoffice-wmf;windows_formatname=\"Image_WMF\" "
             "application/x-openoffice-gdimetafile;windows_formatname=\"GDIMetaFile\" "
             "application/x-openoffice-highcontrast-gdimetafile");
    }
    void targetsThatAreNotAskedFor() {
        QFETCH(QString, target);
        QVERIFY(PasteboardTargets::requests({target}).isEmpty());
        QTEST(PasteboardTargets::find(target).role, "role");
        const Role role = PasteboardTargets::find(target).role;
        const bool isContents = role == Role::Duplicate || role == Role::Picture;
        QCOMPARE(PasteboardTargets::leftOut({target, target}),
                 isContents ? QStringList{target} : QStringList());
        // What is contents may come back from a phone that got it once.
        QCOMPARE(PasteboardTargets::isNobodysBusiness(target), !isContents);
        if (!isContents)
            QVERIFY(PasteboardOffers::offers({.others = {{target, "x"}}}).isEmpty());
    }

    void targetsThatKeepTheirNames() {
        const QStringList targets = names(
            "org.example application/x-kde-onlyReplaceEmpty x-kde-passwordManagerHint "
            "image/svg+xml image/svg application/pdf chromium/x-web-custom-data text/csv "
            "application/x-openoffice-embed-source-xml;windows_formatname=\"Source\" "
            "targets text/x-moz-url-data-of-another application/x-moz text/_moz x-special/other");
        QList<PasteboardTargets::Request> expected;
        for (const QString &target : targets)
            expected.append({Meaning::Other, {target}});
        QCOMPARE(PasteboardTargets::requests(targets + targets), expected);
        QCOMPARE(PasteboardTargets::leftOut(targets), QStringList());
    }

    void requestsFollowTheOwnersOrder() {
        QList<Meaning> meanings;
        for (const auto &request : PasteboardTargets::requests(
                 names("image/png text/html x.private STRING image/tiff UTF8_STRING")))
            meanings.append(request.meaning);
        QCOMPARE(meanings,
                 (QList<Meaning>{Meaning::Image, Meaning::Html, Meaning::Other, Meaning::Text}));
    }

    void onlySoManyTargetsAreLookedAt() {
        const auto requestsFor = [](int count) {
            QStringList targets;
            for (int index = 0; index < count; ++index)
                targets.append(QStringLiteral("x.%1").arg(index));
            return PasteboardTargets::requests(targets).size();
        };
        QCOMPARE(requestsFor(PasteboardTargets::maximumTargets - 1),
                 PasteboardTargets::maximumTargets - 1);
        QCOMPARE(requestsFor(PasteboardTargets::maximumTargets), PasteboardTargets::maximumTargets);
        QCOMPARE(requestsFor(PasteboardTargets::maximumTargets + 1),
                 PasteboardTargets::maximumTargets);
    }

    void targetsBecomeTypes_data() {
        QTest::addColumn<Meaning>("meaning");
        QTest::addColumn<QString>("target");
        QTest::addColumn<QByteArray>("data");
        QTest::addColumn<PasteboardContents>("contents");
        const auto row = [](const char *name, Meaning meaning, const char *target,
                            const QByteArray &data, const PasteboardContents &contents) {
            QTest::newRow(name) << meaning << QString::fromLatin1(target) << data << contents;
        };
        const auto at = [](const char *url) { return QUrl(QString::fromLatin1(url)); };
        const auto kept = [](const char *target, const QByteArray &data) {
            return PasteboardContents{.others = {{QString::fromLatin1(target), data}}};
        };
        row("text", Meaning::Text, "UTF8_STRING", "x", {.text = "x"});
        row("HTML", Meaning::Html, "text/html", "<b>", {.html = "<b>"});
        row("RTF", Meaning::Rtf, "text/rtf", "{\\rtf1}", {.rtf = "{\\rtf1}"});
        row("PNG", Meaning::Image, "image/png", png, {.images = {png}});
        row("TIFF", Meaning::Image, "image/tiff", tiff, {.images = {tiff}});
        row("another raster image as it is", Meaning::Image, "image/jpeg", jpeg,
            {.images = {jpeg}});
        row("files", Meaning::UriList, "text/uri-list",
            "file:///a%20b.png\r\nfile:///%C3%BC.png\r\n",
            {.files = {QStringLiteral("/a b.png"), QStringLiteral("/ü.png")}});
        row("files, ended by NUL", Meaning::UriList, "text/uri-list",
            QByteArray("file:///a\r\nfile:///b\0", 20),
            {.files = {QStringLiteral("/a"), QStringLiteral("/b")}});
        row("files, comment and empty lines", Meaning::UriList, "text/uri-list",
            "# copied\n\nfile:///a\n", {.files = {QStringLiteral("/a")}});
        row("file on this host", Meaning::UriList, "text/uri-list",
            "file://localhost/a\r\nfile://" + QSysInfo::machineHostName().toLatin1() + "/b",
            {.files = {QStringLiteral("/a"), QStringLiteral("/b")}});
        row("file on another host", Meaning::UriList, "text/uri-list", "file://elsewhere/a",
            kept("text/uri-list", "file://elsewhere/a"));
        row("web URL", Meaning::UriList, "text/uri-list", "https://example.org/a?b#c\r\n",
            {.url = at("https://example.org/a?b#c")});
        row("file and web URL", Meaning::UriList, "text/uri-list", "file:///a\r\nhttp://b.org/\r\n",
            {.files = {QStringLiteral("/a")}, .url = at("http://b.org/")});
        row("other URL", Meaning::UriList, "text/uri-list", "mailto:a@b.org",
            kept("text/uri-list", "mailto:a@b.org"));
        row("no URL at all", Meaning::UriList, "text/uri-list", "", kept("text/uri-list", ""));
        row("web URL with title", Meaning::MozillaUrl, "text/x-moz-url",
            utf16(u"https://example.org/\nAn Exämple"),
            {.url = at("https://example.org/"), .title = QStringLiteral("An Exämple")});
        row("web URL with a byte order mark", Meaning::MozillaUrl, "text/x-moz-url",
            "\xff\xfe" + utf16(u"http://a.org/\nA"),
            {.url = at("http://a.org/"), .title = QStringLiteral("A")});
        row("web URL that is its own title", Meaning::MozillaUrl, "text/x-moz-url",
            utf16(u"http://a.org/\nhttp://a.org/"), {.url = at("http://a.org/")});
        row("web URL, ended by NUL", Meaning::MozillaUrl, "text/x-moz-url",
            utf16(u"http://a.org/\nAb") + QByteArray(4, '\0'),
            {.url = at("http://a.org/"), .title = QStringLiteral("Ab")});
        row("script in place of a URL", Meaning::MozillaUrl, "text/x-moz-url",
            utf16(u"javascript:x\nX"), kept("text/x-moz-url", utf16(u"javascript:x\nX")));
        row("password manager's mark", Meaning::Other, "x-kde-passwordManagerHint", "secret",
            kept("x-kde-passwordManagerHint", "secret"));
        row("any other", Meaning::Other, "application/x-thing", QByteArray("\0\1", 2),
            kept("application/x-thing", QByteArray("\0\1", 2)));
    }
    void targetsBecomeTypes() {
        QFETCH(Meaning, meaning);
        QFETCH(QString, target);
        QFETCH(QByteArray, data);
        QFETCH(PasteboardContents, contents);
        QCOMPARE(PasteboardTargets::contents({{meaning, target, data}}), contents);
    }

    void theFirstOfTwoUrlsWins() {
        const auto contents = PasteboardTargets::contents(
            {{Meaning::UriList, QStringLiteral("text/uri-list"), "http://a.org/"},
             {Meaning::MozillaUrl, QStringLiteral("text/x-moz-url"), utf16(u"http://b.org/\nB")}});
        QCOMPARE(contents, (PasteboardContents{.url = QUrl(QStringLiteral("http://a.org/")),
                                               .title = QStringLiteral("B")}));
        const auto reversed = PasteboardTargets::contents(
            {{Meaning::MozillaUrl, QStringLiteral("text/x-moz-url"), utf16(u"http://b.org/\nB")},
             {Meaning::UriList, QStringLiteral("text/uri-list"), "http://a.org/"}});
        QCOMPARE(reversed, (PasteboardContents{.url = QUrl(QStringLiteral("http://b.org/")),
                                               .title = QStringLiteral("B")}));
    }

    // Of two answers with one meaning, or under one name.
    void theFirstAnswerCounts_data() {
        QTest::addColumn<Meaning>("meaning");
        QTest::newRow("text") << Meaning::Text;
        QTest::newRow("HTML") << Meaning::Html;
        QTest::newRow("RTF") << Meaning::Rtf;
        QTest::newRow("image") << Meaning::Image;
        QTest::newRow("files") << Meaning::UriList;
        QTest::newRow("other") << Meaning::Other;
    }
    void theFirstAnswerCounts() {
        QFETCH(Meaning, meaning);
        const PasteboardTargets::Answer first{meaning, QStringLiteral("x"), "file:///a"};
        const PasteboardTargets::Answer second{meaning, QStringLiteral("x"), "file:///b"};
        const PasteboardContents contents = PasteboardTargets::contents({first});
        QVERIFY(!contents.isEmpty());
        QCOMPARE(PasteboardTargets::contents({first, second}), contents);
    }

    void longTitlesAreNone() {
        const auto titleOf = [](qsizetype size) {
            const QString text = QStringLiteral("http://a.org/\n") + QString(size, u't');
            QStringEncoder encoder(QStringEncoder::Utf16LE);
            return PasteboardTargets::contents(
                       {{Meaning::MozillaUrl, QStringLiteral("text/x-moz-url"),
                         QByteArray(encoder(text))}})
                .title.size();
        };
        using PasteboardTargets::longestTitle;
        QCOMPARE(titleOf(longestTitle - 1), longestTitle - 1);
        QCOMPARE(titleOf(longestTitle), longestTitle);
        QCOMPARE(titleOf(longestTitle + 1), 0);
    }

    void longUriListsKeepTheirName() {
        const QString target = QStringLiteral("text/uri-list");
        const auto isRead = [&](const QByteArray &list) {
            const auto contents = PasteboardTargets::contents({{Meaning::UriList, target, list}});
            return contents.others.value(target) == list ? false : !contents.files.isEmpty();
        };
        const auto lines = [](int count) { return QByteArray("file:///a\n").repeated(count); };
        QVERIFY(isRead(lines(PasteboardTargets::maximumUriListLines - 1)));
        QVERIFY(isRead(lines(PasteboardTargets::maximumUriListLines)));
        QVERIFY(!isRead(lines(PasteboardTargets::maximumUriListLines + 1)));
        const auto bytes = [](qsizetype size) {
            return "file:///a\n" + QByteArray(size - 10, '\n');
        };
        QVERIFY(isRead(bytes(PasteboardTargets::maximumUriListBytes - 1)));
        QVERIFY(isRead(bytes(PasteboardTargets::maximumUriListBytes)));
        QVERIFY(!isRead(bytes(PasteboardTargets::maximumUriListBytes + 1)));
    }

    void markersAreListedWithoutBytes() {
        const auto contents = PasteboardTargets::contents(
            {{Meaning::Other, QStringLiteral("org.nspasteboard.TransientType"), std::nullopt},
             {Meaning::Text, QStringLiteral("UTF8_STRING"), std::nullopt},
             {Meaning::Image, QStringLiteral("image/png"), std::nullopt}});
        QCOMPARE(contents,
                 (PasteboardContents{.others = {{QStringLiteral("org.nspasteboard.TransientType"),
                                                 std::nullopt}}}));
    }

    // Of a length or a form that would hold the run loop for minutes.
    void linksWithoutMeasureAreNone() {
        const QString marks = QStringLiteral("\u0301\u0316").repeated(500'000);
        const QString link = QStringLiteral("http://a") + marks + u'/';
        const QByteArray utf8 = link.toUtf8().first(PasteboardTargets::maximumUriListBytes);
        QStringEncoder encoder(QStringEncoder::Utf16LE);
        const QByteArray wide = QByteArray(encoder(link)).first(utf8.size());
        for (const auto &[meaning, data] :
             {std::pair(Meaning::UriList, utf8), std::pair(Meaning::MozillaUrl, wide)}) {
            const QString target = QStringLiteral("x");
            QCOMPARE(PasteboardTargets::contents({{meaning, target, data}}),
                     (PasteboardContents{.others = {{target, data}}}));
        }
    }
};

QTEST_GUILESS_MAIN(PasteboardTargetsTest)
#include "tst_pasteboardtargets.moc"
