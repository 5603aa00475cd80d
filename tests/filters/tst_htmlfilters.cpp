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
using namespace Qt::StringLiterals;

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
            << u"a\n\nb"_s << u"p"_s << u"<p>a</p>\n\n<p>b</p>"_s;
        QTest::newRow("only blanks as a tag") << u"a"_s << u" \t "_s << u"a"_s;
        QTest::newRow("attributes") << u"x"_s << u" a href=y "_s << u"<a href=y>x</a>"_s;
        QTest::newRow("a tab does not split") << u"x"_s << u"a\tb"_s << u"<a\tb>x</a\tb>"_s;
        QTest::newRow("a line break is no blank") << u"x"_s << u"a\n"_s << u"<a\n>x</a\n>"_s;
        QTest::newRow("a line of blanks") << u" \nx\r\n"_s << u"p"_s << u"<p> </p>\n<p>x</p>\r\n"_s;
        QTest::newRow("empty") << u""_s << u"p"_s << u""_s;
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
        QCOMPARE(*ZRKClipmuleWrapHTMLFilter().filterString(u"a"_s), u"a"_s);
    }

    void encodes() {
        QCOMPARE(encode(u"<é>"_s), u"&lt;&eacute;&gt;"_s);
        QCOMPARE(encode(u"plain text'"_s), u"plain text'"_s);
        QCOMPARE(encode(u"Ł"_s), u"&#321;"_s);
        QCOMPARE(encode(u"😀"_s), u"&#55357;&#56832;"_s);
        QCOMPARE(encode(QString()), QString());
    }

    void encodesNumbersOnly() {
        QCOMPARE(ZRKClipmuleEncodeHTMLEntitiesFilter::filterString(u"&A"_s, true, false),
                 u"&#38;A"_s);
    }

    void encodesEverything() {
        QCOMPARE(ZRKClipmuleEncodeHTMLEntitiesFilter::filterString(u"A&"_s, false, true),
                 u"&#65;&amp;"_s);
        QCOMPARE(ZRKClipmuleEncodeHTMLEntitiesFilter::filterString(u"A&"_s, true, true),
                 u"&#65;&#38;"_s);
    }

    void decodes_data() {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("result");
        const auto row = [](const char *text, const QString &result) {
            QTest::newRow(text) << QString::fromUtf8(text) << result;
        };
        row("&#65;&#x42;&#X43;&#o104;", u"ABCD"_s);
        row("&#65&#66;", u"&#65B"_s);
        row("&#128512;", QString(QChar(0xF600)));
        row("&amp;lt;", u"&lt;"_s);
        row("&amp;#65;", u"&#65;"_s);
        row("&#12a;", u"&#12a;"_s);
        row("&#;", u"&#;"_s);
        row("&#65", u"&#65"_s);
        row("&lt;&eacute;&gt;", u"<é>"_s);
        row("&Eacute;&EACUTE;", u"É&EACUTE;"_s);
        row("&nosuch;", u"&nosuch;"_s);
        row("&&lt;", u"&<"_s);
        row("&&#35;65;", u"&#65;"_s);
        row("&#38;lt;", u"&lt;"_s);
        row("&#38;amp;", u"&"_s);
        row("", u""_s);
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
        const QStringList pieces{u"&"_s,       u"#"_s,        u";"_s,     u"&#"_s,    u"&amp;"_s,
                                 u"&lt;"_s,    u"&#38;"_s,    u"&#35;"_s, u"&#59;"_s, u"65"_s,
                                 u"x42"_s,     u"lt"_s,       u"amp"_s,   u"é"_s,     u"<"_s,
                                 u"&Alpha;"_s, u"&frac12;"_s, u" "_s};
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
        const QString encoded = encode(u"<é&"_s);
        const QString decoded = decode(u"&eacute;&#233;&amp;"_s);
        before.isNull() ? qunsetenv("CLIPMULE_RESOURCES") : qputenv("CLIPMULE_RESOURCES", before);
        QCOMPARE(encoded, u"<&#233;&"_s);
        QCOMPARE(decoded, u"&eacute;é&"_s);
    }

    void theTableIsReadAtEachCall() {
        const QTemporaryDir folder;
        QFile file(QDir(folder.path()).filePath(u"ZRKClipmuleHTMLEntities.plist"_s));
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write("{ 60 = \"&less;\"; oops = \"&x;\"; 70000 = \"&y;\"; }");
        file.close();
        qputenv("CLIPMULE_RESOURCES", QFile::encodeName(folder.path()));
        const QString encoded = encode(u"<é"_s);
        const QString decoded = decode(u"&less;&x;&y;"_s);
        qunsetenv("CLIPMULE_RESOURCES");
        QCOMPARE(encoded, u"&less;&#233;"_s);
        // 70000 in 16 bits.
        QCOMPARE(decoded, u"<&x;\u1170"_s);
    }

private:
    HtmlEntityTable _table;
};

QTEST_GUILESS_MAIN(HtmlFiltersTest)
#include "tst_htmlfilters.moc"
