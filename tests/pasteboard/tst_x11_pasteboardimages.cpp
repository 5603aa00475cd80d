// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/images/ImageCodec.h"
#include "tests/kit/TestCase.h"
#include "tests/pasteboard/X11Desktop.h"
#include "tests/pasteboard/X11TestOwner.h"
#include "tests/pasteboard/X11TestRequestor.h"

#include <QTest>

using namespace clipmule;
using clipmule::kit::answered;
using clipmule::kit::await;
using clipmule::kit::X11TestOwner;
using clipmule::kit::X11TestRequestor;
using Desktop = kit::X11Desktop;

namespace {

QByteArray jpegOf(const QSize &size) {
    QImage image(size, QImage::Format_RGB32);
    image.fill(0xff336699);
    return ImageCodec::jpeg(image, 0.9);
}

QByteArray jpegOfNoise(int side) {
    QImage image(side, side, QImage::Format_RGB32);
    quint32 random = 1;
    for (int y = 0; y < side; ++y) {
        for (int x = 0; x < side; ++x)
            image.setPixel(x, y, random = random * 1664525 + 1013904223);
    }
    return ImageCodec::jpeg(image, 0.9);
}

QStringList targetsOfOurs() {
    X11TestRequestor requestor;
    requestor.request("TARGETS");
    if (!answered(requestor))
        return {};
    // After those of the protocol.
    return requestor.names().sliced(4);
}

} // namespace

// Images on the clipboard, as other applications get them from us.
class X11PasteboardImagesTest final : public kit::TestCase {
    Q_OBJECT

private Q_SLOTS:
    void aJpegIsPastedAsPng() {
        Desktop desktop;
        const QByteArray jpeg = jpegOf({40, 30});
        desktop.pasteboard->write({.images = {jpeg}});
        QCOMPARE(targetsOfOurs(),
                 (QStringList{QStringLiteral("image/jpeg"), QStringLiteral("image/png")}));
        X11TestRequestor first;
        X11TestRequestor second;
        first.request("image/png");
        second.request("image/png");
        QVERIFY(answered(first));
        QVERIFY(answered(second));
        QCOMPARE(first.type(), QByteArray("image/png"));
        QVERIFY(first.data().startsWith("\x89PNG"));
        QCOMPARE(QImage::fromData(first.data()).size(), QSize(40, 30));
        QCOMPARE(second.data(), first.data());
        // It is kept, and the other is what it was.
        first.request("image/png");
        second.request("image/jpeg");
        QVERIFY(answered(first));
        QVERIFY(answered(second));
        QVERIFY(first.data().startsWith("\x89PNG"));
        QCOMPARE(second.data(), jpeg);
    }

    // Toolkits ask for all of it in one request, and for what is there meanwhile.
    void severalTargetsWaitForTheirPng() {
        Desktop desktop;
        const QByteArray jpeg = jpegOf({40, 30});
        desktop.pasteboard->write({.text = "text", .images = {jpeg}});
        X11TestRequestor several;
        X11TestRequestor text;
        several.requestMultiple({"image/png", "A", "UTF8_STRING", "B"});
        text.request("UTF8_STRING");
        QVERIFY(answered(text));
        QCOMPARE(text.data(), QByteArray("text"));
        QVERIFY(answered(several));
        QVERIFY(several.property("A").startsWith("\x89PNG"));
        QCOMPARE(several.property("B"), QByteArray("text"));
    }

    void aDamagedImageIsRefused() {
        Desktop desktop;
        desktop.pasteboard->write({.images = {QByteArray("GIF89a").append(100, '\xff')}});
        QVERIFY(targetsOfOurs().contains(QStringLiteral("image/png")));
        X11TestRequestor requestor;
        requestor.request("image/png");
        QVERIFY(answered(requestor));
        QVERIFY(requestor.isRefused());
        // What it is stays; what it cannot be is not offered any more.
        QCOMPARE(targetsOfOurs(), QStringList{QStringLiteral("image/gif")});
    }

    void whatComesInBetweenRefusesWhoWaits_data() {
        QTest::addColumn<bool>("isOurs");
        QTest::newRow("another clip of ours") << true;
        QTest::newRow("a copy") << false;
    }
    void whatComesInBetweenRefusesWhoWaits() {
        QFETCH(bool, isOurs);
        Desktop desktop;
        X11TestOwner other;
        desktop.pasteboard->write({.images = {jpegOf({3000, 2000})}});
        // The server serves the request before the change that follows it.
        X11TestRequestor requestor;
        requestor.request("image/png");
        desktop.settle();
        if (isOurs)
            desktop.pasteboard->write({.images = {jpegOf({3, 2})}});
        else
            other.own({{"UTF8_STRING", "theirs"}});
        QVERIFY(answered(requestor));
        QVERIFY(requestor.isRefused());
        if (!isOurs)
            return;
        requestor.request("image/png");
        QVERIFY(answered(requestor));
        QCOMPARE(QImage::fromData(requestor.data()).size(), QSize(3, 2));
    }

    void onlySoManyWait_data() {
        QTest::addColumn<int>("count");
        QTest::addColumn<int>("refused");
        const int most = int(X11SelectionOwner::mostWaiting);
        QTest::newRow("one below") << most - 1 << 0;
        QTest::newRow("at the limit") << most << 0;
        QTest::newRow("one above") << most + 1 << 1;
    }
    void onlySoManyWait() {
        QFETCH(int, count);
        QFETCH(int, refused);
        Desktop desktop;
        desktop.pasteboard->write({.images = {jpegOf({1000, 1000})}});
        std::vector<std::unique_ptr<X11TestRequestor>> requestors;
        for (int index = 0; index < count; ++index) {
            requestors.push_back(std::make_unique<X11TestRequestor>());
            requestors.back()->request("image/png");
        }
        for (const auto &requestor : requestors)
            QVERIFY(answered(*requestor));
        QCOMPARE(int(std::count_if(requestors.begin(), requestors.end(),
                                   [](const auto &one) { return one->isRefused(); })),
                 refused);
    }

    void whoDiesWhileWaitingDisturbsNobody() {
        Desktop desktop;
        desktop.pasteboard->write({.images = {jpegOf({1000, 1000})}});
        X11TestRequestor dying;
        X11TestRequestor living;
        dying.request("image/png");
        living.request("image/png");
        desktop.settle();
        dying.die();
        QVERIFY(answered(living));
        QVERIFY(living.isDone());
    }

    void theMemoryOfALargePngIsGivenBack_data() {
        QTest::addColumn<int>("side");
        QTest::addColumn<bool>("isLarge");
        QTest::newRow("small") << 50 << false;
        QTest::newRow("large") << 1000 << true;
    }
    void theMemoryOfALargePngIsGivenBack() {
        QFETCH(int, side);
        QFETCH(bool, isLarge);
        Desktop desktop;
        desktop.pasteboard->write({.images = {jpegOfNoise(side)}});
        X11TestRequestor requestor;
        requestor.request("image/png");
        QVERIFY(answered(requestor));
        QCOMPARE(requestor.data().size() > 20'000, isLarge);
        QCOMPARE(desktop.runLoop.pendingCount(), isLarge ? 1 : 0);
        desktop.runLoop.advance(3);
        QCOMPARE(desktop.runLoop.pendingCount(), 0);
    }

    void filesOfImagesAreListedForFileManagers_data() {
        QTest::addColumn<int>("audience");
        QTest::addColumn<bool>("isListed");
        QTest::newRow("file manager") << int(PasteboardAudience::FileManager) << true;
        QTest::newRow("nobody knows") << int(PasteboardAudience::Unknown) << true;
        QTest::newRow("spreadsheet") << int(PasteboardAudience::Spreadsheet) << false;
        QTest::newRow("another") << int(PasteboardAudience::Other) << false;
    }
    void filesOfImagesAreListedForFileManagers() {
        QFETCH(int, audience);
        QFETCH(bool, isListed);
        Desktop desktop([&] { return PasteboardAudience(audience); });
        desktop.pasteboard->write(
            {.images = {jpegOf({3, 2})}, .files = {QStringLiteral("/tmp/a.jpg")}});
        const QStringList others{QStringLiteral("x-special/gnome-copied-files"),
                                 QStringLiteral("image/jpeg"), QStringLiteral("image/png")};
        QCOMPARE(targetsOfOurs(),
                 isListed ? QStringList{QStringLiteral("text/uri-list")} + others : others);
        // Who asks for it knows what to do with it.
        X11TestRequestor requestor;
        requestor.request("text/uri-list");
        QVERIFY(answered(requestor));
        QCOMPARE(requestor.data(), QByteArray("file:///tmp/a.jpg\r\n"));
    }

    // Each list is made for who is in front then.
    void theListFollowsTheWindowInFront() {
        PasteboardAudience audience = PasteboardAudience::Other;
        Desktop desktop([&] { return audience; });
        desktop.pasteboard->write({.url = QUrl(QStringLiteral("http://a.org/"))});
        const QString html = QStringLiteral("text/html");
        QVERIFY(targetsOfOurs().contains(html));
        audience = PasteboardAudience::Spreadsheet;
        QVERIFY(!targetsOfOurs().contains(html));
        const QString link = QStringLiteral("text/x-moz-url");
        QVERIFY(targetsOfOurs().contains(link));
        audience = PasteboardAudience::FileManager;
        QVERIFY(targetsOfOurs().contains(html));
        QVERIFY(!targetsOfOurs().contains(link));
    }

    void everybodyIsOfferedEverythingWithoutAnAudience() {
        Desktop desktop;
        desktop.pasteboard->write(
            {.images = {jpegOf({3, 2})}, .files = {QStringLiteral("/tmp/a.jpg")}});
        QVERIFY(targetsOfOurs().contains(QStringLiteral("text/uri-list")));
    }
};

QTEST_GUILESS_MAIN(X11PasteboardImagesTest)
#include "tst_x11_pasteboardimages.moc"
