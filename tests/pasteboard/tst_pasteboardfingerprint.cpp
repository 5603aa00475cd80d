// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/pasteboard/Pasteboard.h"
#include "platform/pasteboard/PasteboardFingerprint.h"
#include "platform/pasteboard/PasteboardReadings.h"
#include "platform/propertylist/PropertyListSerialization.h"

#include <QTest>

using namespace clipmule;
using namespace clipmule::PasteboardType;

namespace {

const PropertyList oneFile(PropertyList::List{QStringLiteral("/a")});

} // namespace

class PasteboardFingerprintTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init() { QTest::failOnWarning(QRegularExpression(QStringLiteral(".*"))); }

    void isWithinWhatItWasTakenFrom_data() {
        QTest::addColumn<PasteboardContents>("newer");
        QTest::addColumn<bool>("isWithin");
        const auto row = [](const char *name,
                            const QList<PasteboardContents::Representation> &newer, bool isWithin) {
            QTest::newRow(name) << PasteboardContents(newer) << isWithin;
        };
        row("the same text and HTML", {{NSStringPboardType, "x"}, {publicHtml, "<b>"}}, true);
        row("less", {{NSStringPboardType, "x"}}, true);
        row("with a mark of its own", {{NSStringPboardType, "x"}, {QStringLiteral("x.mine"), "1"}},
            true);
        row("other text", {{NSStringPboardType, "y"}}, false);
        row("longer text", {{NSStringPboardType, "xx"}}, false);
        row("text that was HTML", {{NSStringPboardType, "<b>"}}, false);
        row("more", {{NSStringPboardType, "x"}, {NSRTFPboardType, "{"}}, false);
        row("other HTML", {{NSStringPboardType, "x"}, {publicHtml, "<i>"}}, false);
        row("its image under another name", {{publicPng, "image"}}, true);
        row("another image", {{publicPng, "picture"}}, false);
        row("its files in another form",
            {{NSFilenamesPboardType, PropertyListSerialization::binary(oneFile)}}, true);
        row("its URL", {{NSURLPboardType, "http://a.org/"}}, true);
        row("declared without bytes", {{NSStringPboardType, std::nullopt}}, false);
        row("nothing that is known", {{QStringLiteral("x.mine"), "1"}}, false);
        row("nothing", {}, false);
    }
    void isWithinWhatItWasTakenFrom() {
        QFETCH(PasteboardContents, newer);
        const PasteboardFingerprint older(PasteboardContents(
            {{NSStringPboardType, "x"},
             {publicHtml, "<b>"},
             {NSTIFFPboardType, "image"},
             {NSFilenamesPboardType, PropertyListSerialization::xml(oneFile)},
             {NSURLPboardType,
              PasteboardReadings::urlData(QUrl(QStringLiteral("http://a.org/")))}}));
        QTEST(PasteboardFingerprint(newer).isWithin(older), "isWithin");
        QVERIFY(!PasteboardFingerprint(newer).isWithin({}));
    }

    void lineEndsOfTextAreAllTheSame_data() {
        QTest::addColumn<QByteArray>("newer");
        QTest::addColumn<bool>("isWithin");
        QTest::newRow("LF") << QByteArray("a\nb\n\nc") << true;
        QTest::newRow("CR LF") << QByteArray("a\r\nb\r\n\r\nc") << true;
        QTest::newRow("CR") << QByteArray("a\rb\r\rc") << true;
        QTest::newRow("mixed") << QByteArray("a\rb\n\r\nc") << true;
        QTest::newRow("one fewer") << QByteArray("a\nb\nc") << false;
        QTest::newRow("one more") << QByteArray("a\nb\n\n\nc") << false;
        QTest::newRow("LF CR is two") << QByteArray("a\nb\n\rc") << true;
        QTest::newRow("none") << QByteArray("abc") << false;
    }
    void lineEndsOfTextAreAllTheSame() {
        QFETCH(QByteArray, newer);
        for (const QByteArray older : {"a\nb\n\nc", "a\r\nb\r\n\r\nc", "a\rb\r\rc"})
            QTEST(PasteboardFingerprint(PasteboardContents({{NSStringPboardType, newer}}))
                      .isWithin(
                          PasteboardFingerprint(PasteboardContents({{NSStringPboardType, older}}))),
                  "isWithin");
    }

    // Bytes of other kinds are what they are.
    void lineEndsOfNothingElseAre() {
        for (const QString &type : {publicHtml, NSRTFPboardType, publicPng}) {
            const PasteboardFingerprint older(PasteboardContents({{type, "a\r\nb"}}));
            QVERIFY(!PasteboardFingerprint(PasteboardContents({{type, "a\nb"}})).isWithin(older));
        }
    }

    void urlAloneIsTextToo() {
        const PasteboardFingerprint url(PasteboardContents({{NSURLPboardType, "http://a.org/"}}));
        const PasteboardFingerprint text(
            PasteboardContents({{NSStringPboardType, "http://a.org/"}}));
        QVERIFY(text.isWithin(url));
        QVERIFY(!url.isWithin(text));
        QVERIFY(PasteboardFingerprint().isEmpty());
    }

    void urlIsALinkInHtmlToo() {
        const PasteboardFingerprint url(PasteboardContents({{NSURLPboardType, "http://a.org/"}}));
        const QByteArray link = "<a href=\"http://a.org/\">http://a.org/</a>";
        const PasteboardFingerprint taken(
            PasteboardContents({{NSStringPboardType, "http://a.org/"}, {publicHtml, link}}));
        QVERIFY(taken.isWithin(url));
        const PasteboardFingerprint other(PasteboardContents({{publicHtml, link + "!"}}));
        QVERIFY(!other.isWithin(url));
    }
};

QTEST_GUILESS_MAIN(PasteboardFingerprintTest)
#include "tst_pasteboardfingerprint.moc"
