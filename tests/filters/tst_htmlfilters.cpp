// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "filters/HtmlFilters.h"
#include "tests/filters/HtmlEntityNames.h"
#include "tests/filters/PlainPasses.h"
#include "tests/kit/TestCase.h"

#include <QDir>
#include <QFile>
#include <QRandomGenerator>
#include <QTemporaryDir>
#include <QTest>

using namespace clipmule;
using namespace clipmule::kit;

namespace {

QString encode(const QString &text) {
    return ZRKClipmuleEncodeHTMLEntitiesFilter::filterString(text, false, false);
}

QString decode(const QString &text) {
    return ZRKClipmuleDecodeHTMLEntitiesFilter::filterString(text);
}

} // namespace

class HtmlFiltersTest final : public kit::TestCase {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() {
        QTest::failOnWarning(QRegularExpression(QStringLiteral(".*")));
        _table = loadHtmlEntityTable();
    }

    void theTableIsThatOfHtml4() {
        const auto names = namesOfHtml4();
        QCOMPARE(names.size(), 252);
        QCOMPARE(_table.size(), 252);
        for (const auto &[code, name] : names.asKeyValueRange())
            QCOMPARE(_table.value(code), u'&' + name + u';');
    }

    void everyNameIsEncodedAndDecoded() {
        for (const auto &[code, name] : namesOfHtml4().asKeyValueRange()) {
            const QString character = QChar(char16_t(code));
            const QString entity = u'&' + name + u';';
            QCOMPARE(encode(character), entity);
            QCOMPARE(decode(entity), character);
        }
    }

    void wraps_data() {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("tag");
        QTest::addColumn<QString>("result");
        QTest::newRow("an empty line stays empty")
            << u"a\n\nb"_qs << u"p"_qs << u"<p>a</p>\n\n<p>b</p>"_qs;
        QTest::newRow("only blanks as a tag") << u"a"_qs << u" \t "_qs << u"a"_qs;
        QTest::newRow("attributes") << u"x"_qs << u" a href=y "_qs << u"<a href=y>x</a>"_qs;
        QTest::newRow("a tab does not split") << u"x"_qs << u"a\tb"_qs << u"<a\tb>x</a\tb>"_qs;
        QTest::newRow("a line break is no blank") << u"x"_qs << u"a\n"_qs << u"<a\n>x</a\n>"_qs;
        QTest::newRow("a line of blanks")
            << u" \nx\r\n"_qs << u"p"_qs << u"<p> </p>\n<p>x</p>\r\n"_qs;
        QTest::newRow("empty") << u""_qs << u"p"_qs << u""_qs;
    }
    void wraps() {
        QFETCH(QString, text);
        QFETCH(QString, tag);
        QFETCH(QString, result);
        ZRKClipmuleWrapHTMLFilter filter;
        filter.options().last()->setValue(PropertyList(tag));
        QCOMPARE(*filter.filterString(text), result);
    }

    void wrapsNothingWithoutATag() {
        QCOMPARE(*ZRKClipmuleWrapHTMLFilter().filterString(u"a"_qs), u"a"_qs);
    }

    void encodes() {
        QCOMPARE(encode(u"<é>"_qs), u"&lt;&eacute;&gt;"_qs);
        QCOMPARE(encode(u"plain text'"_qs), u"plain text'"_qs);
        QCOMPARE(encode(u"Ł"_qs), u"&#321;"_qs);
        QCOMPARE(encode(u"😀"_qs), u"&#55357;&#56832;"_qs);
        QCOMPARE(encode(QString()), QString());
    }

    void encodesNumbersOnly() {
        QCOMPARE(ZRKClipmuleEncodeHTMLEntitiesFilter::filterString(u"&A"_qs, true, false),
                 u"&#38;A"_qs);
    }

    void encodesEverything() {
        QCOMPARE(ZRKClipmuleEncodeHTMLEntitiesFilter::filterString(u"A&"_qs, false, true),
                 u"&#65;&amp;"_qs);
        QCOMPARE(ZRKClipmuleEncodeHTMLEntitiesFilter::filterString(u"A&"_qs, true, true),
                 u"&#65;&#38;"_qs);
    }

    void decodes_data() {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("result");
        const auto row = [](const char *text, const QString &result) {
            QTest::newRow(text) << QString::fromUtf8(text) << result;
        };
        row("&#65;&#x42;&#X43;&#o104;", u"ABCD"_qs);
        row("&#65&#66;", u"&#65B"_qs);
        row("&#128512;", QString(QChar(0xF600)));
        row("&amp;lt;", u"&lt;"_qs);
        row("&amp;#65;", u"&#65;"_qs);
        row("&#12a;", u"&#12a;"_qs);
        row("&#;", u"&#;"_qs);
        row("&#65", u"&#65"_qs);
        row("&lt;&eacute;&gt;", u"<é>"_qs);
        row("&Eacute;&EACUTE;", u"É&EACUTE;"_qs);
        row("&nosuch;", u"&nosuch;"_qs);
        row("&&lt;", u"&<"_qs);
        row("&&#35;65;", u"&#65;"_qs);
        row("&#38;lt;", u"&lt;"_qs);
        row("&#38;amp;", u"&"_qs);
        row("", u""_qs);
    }
    void decodes() {
        QFETCH(QString, text);
        QFETCH(QString, result);
        QCOMPARE(decode(text), result);
    }

    void encodingThenDecodingGivesTheTextBack() {
        QRandomGenerator random(5);
        for (int round = 0; round < 500; ++round) {
            QString text;
            for (auto length = random.bounded(30); length > 0; --length)
                text += QChar(char16_t(random.bounded(1, 0x10000)));
            QCOMPARE(decode(encode(text)), text);
        }
    }

    void worksAsThePassesDo() {
        QRandomGenerator random(11);
        const QStringList pieces{
            u"&"_qs,     u"#"_qs,     u";"_qs,     u"&#"_qs,      u"&amp;"_qs,    u"&lt;"_qs,
            u"&#38;"_qs, u"&#35;"_qs, u"&#59;"_qs, u"65"_qs,      u"x42"_qs,      u"lt"_qs,
            u"amp"_qs,   u"é"_qs,     u"<"_qs,     u"&Alpha;"_qs, u"&frac12;"_qs, u" "_qs};
        for (int round = 0; round < 5000; ++round) {
            QString text;
            for (auto count = random.bounded(12); count > 0; --count)
                text += pieces[random.bounded(int(pieces.size()))];
            QCOMPARE(decode(text), PlainPasses::decode(text, _table));
            QCOMPARE(encode(text), PlainPasses::encode(text, _table));
        }
    }

    void withoutTheTableNumbersStillWork() {
        const QTemporaryDir empty;
        const QByteArray before = qgetenv("CLIPMULE_RESOURCES");
        qputenv("CLIPMULE_RESOURCES", QFile::encodeName(empty.path()));
        const QString encoded = encode(u"<é&"_qs);
        const QString decoded = decode(u"&eacute;&#233;&amp;"_qs);
        before.isNull() ? qunsetenv("CLIPMULE_RESOURCES") : qputenv("CLIPMULE_RESOURCES", before);
        QCOMPARE(encoded, u"<&#233;&"_qs);
        QCOMPARE(decoded, u"&eacute;é&"_qs);
    }

    void theTableIsReadAtEachCall() {
        const QTemporaryDir folder;
        QFile file(QDir(folder.path()).filePath(u"ZRKClipmuleHTMLEntities.plist"_qs));
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write("{ 60 = \"&less;\"; oops = \"&x;\"; 70000 = \"&y;\"; }");
        file.close();
        qputenv("CLIPMULE_RESOURCES", QFile::encodeName(folder.path()));
        const QString encoded = encode(u"<é"_qs);
        const QString decoded = decode(u"&less;&x;&y;"_qs);
        qunsetenv("CLIPMULE_RESOURCES");
        QCOMPARE(encoded, u"&less;&#233;"_qs);
        // 70000 in 16 bits.
        QCOMPARE(decoded, u"<&x;\u1170"_qs);
    }

private:
    HtmlEntityTable _table;
};

QTEST_GUILESS_MAIN(HtmlFiltersTest)
#include "tst_htmlfilters.moc"
