// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/pasteboard/PasteboardOffers.h"

#include <QTest>

using namespace clipmule;
using PasteboardTargets::Role;
using PasteboardTypes::Meaning;

namespace {

QStringList names(const char *spaced) {
    return QString::fromLatin1(spaced).split(u' ', Qt::SkipEmptyParts);
}

// The targets of an owner's first request of that kind, the one asked for first in front.
QStringList askedFor(const QStringList &targets, Meaning meaning) {
    for (const PasteboardTypes::Request &request : PasteboardTypes::requests(targets)) {
        if (request.meaning == meaning)
            return request.targets;
    }
    return {};
}

} // namespace

class PasteboardTargetsTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init() { QTest::failOnWarning(QRegularExpression(QStringLiteral(".*"))); }

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
             "text/xml+fxg text/xml+xaml "
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
        QVERIFY(PasteboardTypes::requests({target}).isEmpty());
        QTEST(PasteboardTargets::find(target).role, "role");
        const Role role = PasteboardTargets::find(target).role;
        const bool isContents = role == Role::Duplicate || role == Role::Picture;
        QCOMPARE(PasteboardTypes::leftOut({target, target}),
                 isContents ? QStringList{target} : QStringList());
        // What is contents may come back from a phone that got it once.
        QCOMPARE(PasteboardTargets::isNobodysBusiness(target), !isContents);
        if (!isContents)
            QVERIFY(PasteboardTypes::offers(PasteboardContents({{target, "x"}})).isEmpty());
    }

    void targetsThatKeepTheirNames() {
        const QStringList targets = names(
            "org.example application/x-kde-onlyReplaceEmpty x-kde-passwordManagerHint "
            "image/svg+xml image/svg application/pdf chromium/x-web-custom-data text/csv "
            "application/x-openoffice-embed-source-xml;windows_formatname=\"Source\" "
            "targets text/x-moz-url-data-of-another application/x-moz text/_moz x-special/other");
        QList<PasteboardTypes::Request> expected;
        for (const QString &target : targets)
            expected.append({Meaning::Other, {target}});
        QCOMPARE(PasteboardTypes::requests(targets + targets), expected);
        QCOMPARE(PasteboardTypes::leftOut(targets), QStringList());
    }

    void requestsFollowTheOwnersOrder() {
        QList<Meaning> meanings;
        for (const auto &request : PasteboardTypes::requests(
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
            return PasteboardTypes::requests(targets).size();
        };
        QCOMPARE(requestsFor(PasteboardTypes::maximumTargets - 1),
                 PasteboardTypes::maximumTargets - 1);
        QCOMPARE(requestsFor(PasteboardTypes::maximumTargets), PasteboardTypes::maximumTargets);
        QCOMPARE(requestsFor(PasteboardTypes::maximumTargets + 1), PasteboardTypes::maximumTargets);
    }
};

QTEST_GUILESS_MAIN(PasteboardTargetsTest)
#include "tst_pasteboardtargets.moc"
