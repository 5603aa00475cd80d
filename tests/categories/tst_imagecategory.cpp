// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "Common/Categories/ZRKNSImageCategory.h"
#include "tests/kit/TestCase.h"

#include <QTest>

using namespace clipmule;
using namespace clipmule::ZRKNSImageCategory;

namespace {

QImage filled(QSize size, QImage::Format format = QImage::Format_RGB32) {
    QImage image(size, format);
    image.fill(QColor(200, 100, 50));
    return image;
}

} // namespace

class ImageCategoryTest final : public kit::TestCase {
    Q_OBJECT

private Q_SLOTS:
    void copyWithSizeHasExactlyThatSize() {
        const QImage copy = copyWithSize(filled({40, 30}), {100, 10});
        QCOMPARE(copy.size(), QSize(100, 10));
        QCOMPARE(copy.pixelColor(50, 5), QColor(200, 100, 50));
    }

    // Every second column black and white: halved, all is grey. A nearest-pixel copy stays black or
    // white.
    void copyWithSizeIsSmooth() {
        QImage stripes({200, 200}, QImage::Format_RGB32);
        for (int y = 0; y < 200; ++y) {
            for (int x = 0; x < 200; ++x)
                stripes.setPixel(x, y, x % 2 ? qRgb(255, 255, 255) : qRgb(0, 0, 0));
        }
        const int grey = copyWithSize(stripes, {100, 100}).pixelColor(50, 50).red();
        QVERIFY2(grey > 110 && grey < 145, qPrintable(QString::number(grey)));
    }

    void copyWithSizeKeepsTransparency() {
        QImage image({20, 20}, QImage::Format_ARGB32);
        image.fill(Qt::transparent);
        QCOMPARE(copyWithSize(image, {10, 10}).pixelColor(5, 5).alpha(), 0);
    }

    void copyWithSizeOfNothing() {
        QVERIFY(copyWithSize(QImage(), {10, 10}).isNull());
        QVERIFY(copyWithSize(filled({10, 10}), {0, 10}).isNull());
        QVERIFY(ZRKNSImageCategory::copyWithMaxSize(QImage(), {10, 10}).isNull());
    }

    void copyWithMaxSize_data() {
        QTest::addColumn<QSize>("size");
        QTest::addColumn<QSize>("copied");
        QTest::newRow("wide") << QSize(3200, 800) << QSize(1600, 400);
        QTest::newRow("high") << QSize(800, 3200) << QSize(400, 1600);
        QTest::newRow("fits") << QSize(1000, 1000) << QSize(1000, 1000);
        QTest::newRow("fits exactly") << QSize(1600, 1600) << QSize(1600, 1600);
        QTest::newRow("one pixel too wide") << QSize(1601, 1600) << QSize(1600, 1599);
        QTest::newRow("rounded up") << QSize(2000, 2) << QSize(1600, 2);    // 1.6
        QTest::newRow("rounded down") << QSize(2000, 3) << QSize(1600, 2);  // 2.4
        QTest::newRow("never nothing") << QSize(8000, 1) << QSize(1600, 1); // 0.2
    }

    void copyWithMaxSize() {
        QFETCH(QSize, size);
        QFETCH(QSize, copied);
        QCOMPARE(ZRKNSImageCategory::copyWithMaxSize(filled(size), {1600, 1600}).size(), copied);
    }

    void imageThatFitsIsCopiedUnscaled() {
        const QImage image = filled({1000, 1000}, QImage::Format_RGB888);
        QCOMPARE(ZRKNSImageCategory::copyWithMaxSize(image, {1600, 1600}), image);
    }
};

QTEST_MAIN(ImageCategoryTest)
#include "tst_imagecategory.moc"
