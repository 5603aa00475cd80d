// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/images/ImageCodec.h"
#include "platform/images/PngConversion.h"
#include "tests/kit/TestCase.h"

#include <QTest>
#include <QThread>

using namespace clipmule;

namespace {

using Png = std::optional<QByteArray>;

QImage coloured(const QSize &size, QRgb colour) {
    QImage image(size, QImage::Format_RGB32);
    image.fill(colour);
    return image;
}

QByteArray jpegOf(const QSize &size, QRgb colour) {
    return ImageCodec::jpeg(coloured(size, colour), 0.9);
}

} // namespace

class PngConversionTest final : public kit::TestCase {
    Q_OBJECT

private Q_SLOTS:
    void theSameImageComesBackAsPng() {
        PngConversion conversion;
        QList<Png> results;
        const QByteArray jpeg = jpegOf({40, 30}, 0xff336699);
        conversion.start(jpeg, [&](const Png &png) {
            QCOMPARE(QThread::currentThread(), QCoreApplication::instance()->thread());
            QVERIFY(!conversion.isRunning());
            results.append(png);
        });
        QVERIFY(conversion.isRunning());
        QVERIFY(QTest::qWaitFor([&] { return !results.isEmpty(); }));
        QVERIFY(results.first());
        QVERIFY(results.first()->startsWith("\x89PNG"));
        QCOMPARE(ImageCodec::decode(*results.first()), ImageCodec::decode(jpeg));
    }

    void whatIsNoWholeImageIsNothing_data() {
        QTest::addColumn<QByteArray>("bytes");
        QTest::newRow("no image") << QByteArray("text");
        QTest::newRow("nothing") << QByteArray();
        QByteArray damaged = *ImageCodec::png(coloured({40, 30}, 0xff336699), 1'000'000);
        damaged.chop(30);
        QTest::newRow("damaged") << damaged;
    }
    void whatIsNoWholeImageIsNothing() {
        QFETCH(QByteArray, bytes);
        PngConversion conversion;
        std::optional<Png> result;
        conversion.start(bytes, [&](const Png &png) { result = png; });
        QVERIFY(QTest::qWaitFor([&] { return result.has_value(); }));
        QVERIFY(!*result);
    }

    void theNewerOneIsHeardOfOnly() {
        PngConversion conversion;
        QList<Png> results;
        bool isOlderHeardOf = false;
        conversion.start(jpegOf({600, 400}, 0xffff0000),
                         [&](const Png &) { isOlderHeardOf = true; });
        conversion.start(jpegOf({3, 2}, 0xff0000ff), [&](const Png &png) { results.append(png); });
        QVERIFY(QTest::qWaitFor([&] { return !results.isEmpty(); }));
        QCOMPARE(QImage::fromData(*results.first()).size(), QSize(3, 2));
        QVERIFY(!isOlderHeardOf);
        // And it may be used again.
        conversion.start(jpegOf({5, 4}, 0xff0000ff), [&](const Png &png) { results.append(png); });
        QVERIFY(QTest::qWaitFor([&] { return results.size() == 2; }));
        QCOMPARE(QImage::fromData(*results.last()).size(), QSize(5, 4));
    }

    void anAbandonedOneIsNotHeardOf() {
        PngConversion conversion;
        bool isHeardOf = false;
        conversion.start(jpegOf({30, 20}, 0xffff0000), [&](const Png &) { isHeardOf = true; });
        conversion.abandon();
        QVERIFY(!conversion.isRunning());
        // The thread does one after the other, so that its end is past when the next one's is.
        bool isNextDone = false;
        conversion.start("?", [&](const Png &) { isNextDone = true; });
        QVERIFY(QTest::qWaitFor([&] { return isNextDone; }));
        QVERIFY(!isHeardOf);
    }

    void destructionEndsIt() {
        bool isHeardOf = false;
        {
            PngConversion conversion;
            conversion.start(jpegOf({30, 20}, 0xffff0000), [&](const Png &) { isHeardOf = true; });
        }
        QCoreApplication::processEvents();
        QVERIFY(!isHeardOf);
    }

    void hasteCostsSize() {
        // Grain, which the compression has to work on.
        QImage image(200, 200, QImage::Format_RGB32);
        quint32 random = 1;
        for (int y = 0; y < image.height(); ++y) {
            for (int x = 0; x < image.width(); ++x)
                image.setPixel(x, y, (random = random * 1664525 + 1013904223) & 0x00070707);
        }
        const std::atomic_bool isAbandoned = false;
        const auto quick = ImageCodec::quickPng(image, 1'000'000, isAbandoned);
        const auto small = ImageCodec::png(image, 1'000'000);
        QVERIFY(quick && small);
        QVERIFY(quick->size() > small->size());
        QCOMPARE(ImageCodec::decode(*quick), ImageCodec::decode(*small));
    }

    void encodingStopsWhenNobodyWantsIt() {
        std::atomic_bool isAbandoned = false;
        const QImage image = coloured({40, 30}, 0xff336699);
        const auto png = ImageCodec::quickPng(image, 1'000'000, isAbandoned);
        QVERIFY(png);
        QCOMPARE(ImageCodec::quickPng(image, png->size(), isAbandoned), png);
        QVERIFY(!ImageCodec::quickPng(image, png->size() - 1, isAbandoned));
        isAbandoned = true;
        QVERIFY(!ImageCodec::quickPng(image, 1'000'000, isAbandoned));
    }
};

QTEST_GUILESS_MAIN(PngConversionTest)
#include "tst_pngconversion.moc"
