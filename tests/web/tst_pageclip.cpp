// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "tests/kit/ManualRunLoop.h"
#include "tests/kit/TestCase.h"
#include "web/PageClip.h"

#include <QJsonDocument>
#include <QTest>

#include <limits>

using namespace clipmule;
using namespace Qt::StringLiterals;

namespace {

std::shared_ptr<ZRKClipmuleData> textClip(const QString &text) {
    return ZRKClipmuleData::initWithString(text);
}

std::shared_ptr<ZRKClipmuleDataItem> urlItem(const QString &url) {
    const auto item = std::make_shared<ZRKClipmuleDataItem>();
    item->setURL(QUrl(url));
    return item;
}

QJsonObject describedLink(const QStringList &urls) {
    ZRKClipmuleData::Items items;
    for (const QString &url : urls)
        items.append(urlItem(url));
    return PageClip::described(*ZRKClipmuleData::initWithItems(items));
}

} // namespace

// What a page is told of a clip.
class PageClipTest final : public kit::TestCase {
    Q_OBJECT

private Q_SLOTS:
    void aLongTextBegins_data() {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("begin");
        QTest::newRow("all of it") << QString(16'000, u'x') << QString(16'000, u'x');
        QTest::newRow("one more") << QString(16'001, u'x') << QString(16'000, u'x');
        QTest::newRow("two bytes each") << QString(9000, u'ü') << QString(8000, u'ü');
        QTest::newRow("two bytes at the end")
            << QString(15'999, u'x') + u'ü' << QString(15'999, u'x');
        QTest::newRow("a pair at the end")
            << QString(15'999, u'x') + u"🐴"_s << QString(15'999, u'x');
        QTest::newRow("a pair that fits")
            << QString(15'996, u'x') + u"🐴🐴"_s << QString(15'996, u'x') + u"🐴"_s;
        QTest::newRow("pairs") << u"🐴"_s.repeated(4001) << u"🐴"_s.repeated(4000);
        // Six bytes each in JSON: half is sent.
        QTest::newRow("control characters") << QString(16'000, QChar(1)) << QString(4000, QChar(1));
    }
    void aLongTextBegins() {
        QFETCH(QString, text);
        QFETCH(QString, begin);
        const QJsonObject described = PageClip::described(*textClip(text));
        QCOMPARE(described[u"length"_s].toInt(), text.size());
        QVERIFY(described[u"text"_s].toString() == begin);
        QVERIFY(QJsonDocument(described).toJson(QJsonDocument::Compact).size() <= 40'000);
    }

    void aTitleHasAnEnd() {
        const auto clip = textClip(u"a"_s);
        QVERIFY(!PageClip::described(*clip).contains(u"title"_s));
        clip->setTitle(QString(301, u't'));
        QCOMPARE(PageClip::described(*clip)[u"title"_s].toString(), QString(300, u't'));
    }

    void linksAreOnesThatAPageOpens_data() {
        QTest::addColumn<QString>("url");
        QTest::addColumn<bool>("isLink");
        for (const char *url :
             {"http://a.example/b?c=d", "https://a.example", "mailto:a@b.example", "tel:+4930123"})
            QTest::newRow(url) << QString::fromLatin1(url) << true;
        for (const char *url : {"javascript:alert(1)", "data:text/html,x", "file:///etc/passwd",
                                "https:///a", "mailto:", "blob:http://a.example/b", "httpx://a"})
            QTest::newRow(url) << QString::fromLatin1(url) << false;
        QTest::newRow("the longest") << u"http://a/"_s + QString(3991, u'x') << true;
        QTest::newRow("a longer one") << u"http://a/"_s + QString(3992, u'x') << false;
    }
    void linksAreOnesThatAPageOpens() {
        QFETCH(QString, url);
        QFETCH(bool, isLink);
        const QJsonObject described = describedLink({url});
        QCOMPARE(described[u"kind"_s].toString(), isLink ? u"link"_s : u"text"_s);
        QCOMPARE(described[u"url"_s].toString(), isLink ? url : QString());
        QCOMPARE(described[u"text"_s].toString(), url);
    }

    void theFirstLinkThatCanBeOpenedCounts() {
        const QJsonObject described =
            describedLink({u"javascript:a"_s, u"https://b.example/"_s, u"https://c.example/"_s});
        QCOMPARE(described[u"url"_s].toString(), u"https://b.example/"_s);
        QCOMPARE(described[u"text"_s].toString(),
                 u"javascript:a\nhttps://b.example/\nhttps://c.example/"_s);
    }

    void aTextThatIsOneLinkIsSentAsOne_data() {
        QTest::addColumn<QString>("text");
        QTest::addColumn<bool>("isLink");
        QTest::newRow("a link") << u"https://a.example/b"_s << true;
        QTest::newRow("with blanks around") << u" \n https://a.example/b \n"_s << true;
        QTest::newRow("with words") << u"see https://a.example/b"_s << false;
        QTest::newRow("two") << u"https://a.example/\nhttps://b.example/"_s << false;
        QTest::newRow("a script") << u"javascript:alert(1)"_s << false;
        QTest::newRow("words") << u"a.example"_s << false;
    }
    void aTextThatIsOneLinkIsSentAsOne() {
        QFETCH(QString, text);
        QFETCH(bool, isLink);
        const auto item = PageClip::ofText(text)->firstItem();
        QCOMPARE(item->hasURL(), isLink);
        QCOMPARE(item->string().value_or(QString()), isLink ? QString() : text);
    }

    void whatAPageCannotUseIsLeftOut() {
        QVERIFY(!PageClip::reduced(*ZRKClipmuleData::initWithItems({})));
        QVERIFY(!PageClip::reduced(*ZRKClipmuleData::initWithImageData("no picture")));
        QVERIFY(!PageClip::ofPicture("no picture"));
        const auto clip = textClip(u"text"_s);
        clip->firstItem()->setImageData(QByteArray("no picture"));
        clip->setTitle(u"title"_s);
        clip->setCreationDate(Date{5});
        const auto reduced = PageClip::reduced(*clip);
        QCOMPARE(PageClip::textOf(*reduced), u"text"_s);
        QVERIFY(!PageClip::pictureOf(*reduced));
        QCOMPARE(reduced->title(), u"title"_s);
        QCOMPARE(reduced->creationDate(), Date{5});
        QCOMPARE(PageClip::described(*reduced)[u"kind"_s].toString(), u"text"_s);
    }

    void aTimeThatIsNoneIsNow_data() {
        QTest::addColumn<double>("seconds");
        QTest::addColumn<bool>("isKept");
        QTest::newRow("past") << 1000.0 << true;
        QTest::newRow("long past") << -0.9e11 << true;
        QTest::newRow("too long past") << -1e11 << false;
        QTest::newRow("to come") << 1e9 << false;
        QTest::newRow("infinite") << -std::numeric_limits<double>::infinity() << false;
        QTest::newRow("no number") << std::numeric_limits<double>::quiet_NaN() << false;
    }
    void aTimeThatIsNoneIsNow() {
        QFETCH(double, seconds);
        QFETCH(bool, isKept);
        const auto clip = textClip(u"a"_s);
        clip->setCreationDate(Date{seconds});
        const double shown = isKept ? seconds : Date::now().secondsSinceReference;
        QCOMPARE(PageClip::described(*clip)[u"at"_s].toDouble(),
                 (shown + Date::unixTimeOfReference) * 1000);
    }

private:
    kit::ManualRunLoop _runLoop;
    const RunLoop::Installation _installation{_runLoop};
};

QTEST_GUILESS_MAIN(PageClipTest)
#include "tst_pageclip.moc"
