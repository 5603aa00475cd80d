// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/pasteboard/PasteboardFingerprint.h"
#include "tests/kit/TestCase.h"

#include <QTest>

using namespace clipmule;

class PasteboardFingerprintTest final : public kit::TestCase {
    Q_OBJECT

private Q_SLOTS:
    void isWithinWhatItWasTakenFrom_data() {
        QTest::addColumn<PasteboardContents>("newer");
        QTest::addColumn<bool>("isWithin");
        const auto row = [](const char *name, const PasteboardContents &newer, bool isWithin) {
            QTest::newRow(name) << newer << isWithin;
        };
        const QString mine = QStringLiteral("x.mine");
        row("the same text and HTML", {.text = "x", .html = "<b>"}, true);
        row("less", {.text = "x"}, true);
        row("with a mark of its own", {.text = "x", .others = {{mine, "1"}}}, true);
        row("other text", {.text = "y"}, false);
        row("longer text", {.text = "xx"}, false);
        row("text that was HTML", {.text = "<b>"}, false);
        row("more", {.text = "x", .rtf = "{"}, false);
        row("other HTML", {.text = "x", .html = "<i>"}, false);
        row("its image", {.images = {"image"}}, true);
        row("another image", {.images = {"picture"}}, false);
        row("its image and another", {.images = {"image", "picture"}}, false);
        row("its files", {.files = {QStringLiteral("/a"), QStringLiteral("/b")}}, true);
        row("one of its files", {.files = {QStringLiteral("/a")}}, false);
        row("its URL", {.url = QUrl(QStringLiteral("http://a.org/"))}, true);
        row("another URL", {.url = QUrl(QStringLiteral("http://b.org/"))}, false);
        row("nothing that is known", {.others = {{mine, "1"}}}, false);
        row("nothing", {}, false);
    }
    void isWithinWhatItWasTakenFrom() {
        QFETCH(PasteboardContents, newer);
        const PasteboardFingerprint older({.text = "x",
                                           .html = "<b>",
                                           .images = {"image"},
                                           .files = {QStringLiteral("/a"), QStringLiteral("/b")},
                                           .url = QUrl(QStringLiteral("http://a.org/"))});
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
            QTEST(PasteboardFingerprint({.text = newer})
                      .isWithin(PasteboardFingerprint({.text = older})),
                  "isWithin");
    }

    // They are looked at a piece at a time.
    void lineEndsOfALongTextAreAllTheSame() {
        const auto is = [](const QByteArray &newer, const QByteArray &older) {
            return PasteboardFingerprint({.text = newer})
                .isWithin(PasteboardFingerprint({.text = older}));
        };
        for (qsizetype before = 16'380; before < 16'390; ++before) {
            const QByteArray start(before, 'x');
            const QByteArray rest(40'000, 'y');
            const QByteArray unix = start + "\n\n" + rest + '\n';
            QVERIFY(is(start + "\r\n\r\n" + rest + "\r\n", unix));
            QVERIFY(is(start + "\r\r" + rest + '\r', unix));
            QVERIFY(is(start + "\r\n\n" + rest + '\r', unix));
            QVERIFY(!is(start + "\r\n" + rest + "\r\n", unix));
            QVERIFY(!is(start + "\n\n" + rest + "z", unix));
            QVERIFY(!is(QByteArray(start).replace(0, 1, "z") + "\n\n" + rest + '\n', unix));
        }
    }

    void aLongUrlIsTextToo() {
        const QByteArray address = "http://a.org/" + QByteArray(20'000, 'a');
        QVERIFY(PasteboardFingerprint({.text = address})
                    .isWithin(PasteboardFingerprint({.url = QUrl(QString::fromLatin1(address))})));
    }

    // Bytes of other kinds are what they are.
    void lineEndsOfNothingElseAre() {
        const auto isWithin = [](const PasteboardContents &newer, const PasteboardContents &older) {
            return PasteboardFingerprint(newer).isWithin(PasteboardFingerprint(older));
        };
        QVERIFY(!isWithin({.html = "a\nb"}, {.html = "a\r\nb"}));
        QVERIFY(!isWithin({.rtf = "a\nb"}, {.rtf = "a\r\nb"}));
        QVERIFY(!isWithin({.images = {"a\nb"}}, {.images = {"a\r\nb"}}));
    }

    void urlAloneIsTextToo() {
        const QUrl address(QStringLiteral("http://a.org/"));
        const PasteboardFingerprint url({.url = address});
        const PasteboardFingerprint text({.text = "http://a.org/"});
        QVERIFY(text.isWithin(url));
        QVERIFY(!url.isWithin(text));
        // Beside a text of its own it is not offered as one.
        QVERIFY(!text.isWithin(PasteboardFingerprint({.text = "A", .url = address})));
        QVERIFY(PasteboardFingerprint().isEmpty());
    }

    void urlIsALinkInHtmlToo() {
        const PasteboardFingerprint url({.url = QUrl(QStringLiteral("http://a.org/"))});
        const QByteArray link = "<a href=\"http://a.org/\">http://a.org/</a>";
        QVERIFY(PasteboardFingerprint({.text = "http://a.org/", .html = link}).isWithin(url));
        QVERIFY(!PasteboardFingerprint({.html = link + "!"}).isWithin(url));
    }
};

QTEST_GUILESS_MAIN(PasteboardFingerprintTest)
#include "tst_pasteboardfingerprint.moc"
