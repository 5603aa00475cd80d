// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "Common/Categories/ZRKNSImageCategory.h"
#include "tests/kit/TestCase.h"

#include <QPainter>
#include <QTest>

using namespace clipmule;

namespace {

// The caps of these tests: 3 points wide, 2 high.
constexpr int left = 3;
constexpr int top = 2;

// Every pixel of the source tells where it was.
QImage source(QSize size = {9, 7}) {
    QImage image(size, QImage::Format_ARGB32_Premultiplied);
    for (int y = 0; y < size.height(); ++y) {
        for (int x = 0; x < size.width(); ++x)
            image.setPixelColor(x, y, QColor(10 * x + 5, 10 * y + 5, 77));
    }
    return image;
}

QImage canvas(QSize size, const QColor &color = Qt::transparent) {
    QImage image(size, QImage::Format_ARGB32_Premultiplied);
    image.fill(color);
    return image;
}

// Where the pixel of a frame comes from, said once more in the simplest words: an end piece counts
// from the end of the image, what is between repeats the middle piece.
int originOf(int at, int length, int sourceLength, int cap, int middle) {
    if (at < cap)
        return at;
    if (at >= length - cap)
        return sourceLength - (length - at);
    return cap + (at - cap) % middle;
}

QImage expected(const QImage &image, QSize size) {
    QImage frame = canvas(size);
    for (int y = 0; y < size.height(); ++y) {
        for (int x = 0; x < size.width(); ++x)
            frame.setPixelColor(
                x, y,
                image.pixelColor(
                    originOf(x, size.width(), image.width(), left, left),
                    originOf(y, size.height(), image.height(), top, image.height() - 2 * top)));
    }
    return frame;
}

} // namespace

class NinePartImageTest final : public kit::TestCase {
    Q_OBJECT

private Q_SLOTS:
    // 9 by 7 pixels: L = 3, T = 2, W - L = 6, H - 2T = 3. Rows here count from the upper edge.
    void pieces() {
        const QImage image = source();
        const NinePartImage nine(image, left, top);
        QCOMPARE(nine.topLeftCorner(), image.copy(0, 0, 3, 2));
        QCOMPARE(nine.topEdgeFill(), image.copy(3, 0, 3, 2));
        QCOMPARE(nine.topRightCorner(), image.copy(6, 0, 3, 2));
        QCOMPARE(nine.leftEdgeFill(), image.copy(0, 2, 3, 3));
        QCOMPARE(nine.centerFill(), image.copy(3, 2, 3, 3));
        QCOMPARE(nine.rightEdgeFill(), image.copy(6, 2, 3, 3));
        QCOMPARE(nine.bottomLeftCorner(), image.copy(0, 5, 3, 2));
        QCOMPARE(nine.bottomEdgeFill(), image.copy(3, 5, 3, 2));
        QCOMPARE(nine.bottomRightCorner(), image.copy(6, 5, 3, 2));
    }

    // What lies between the middle column and the right one is not used.
    void piecesOfAWiderImage() {
        const QImage image = source({14, 7});
        const NinePartImage nine(image, left, top);
        QCOMPARE(nine.topEdgeFill(), image.copy(3, 0, 3, 2));
        QCOMPARE(nine.topRightCorner(), image.copy(11, 0, 3, 2));
        QCOMPARE(nine.centerFill(), image.copy(3, 2, 3, 3));
    }

    void piecesOfADenseImage() {
        QImage image = source({18, 14});
        image.setDevicePixelRatio(2);
        const NinePartImage nine(image, left, top);
        QCOMPARE(nine.topLeftCorner().size(), QSize(6, 4));
        QCOMPARE(nine.topLeftCorner().devicePixelRatio(), 2.0);
        QCOMPARE(nine.centerFill(), image.copy(6, 4, 6, 6));
    }

    void frame_data() {
        QTest::addColumn<QSize>("size");
        QTest::newRow("its own size") << QSize(9, 7);
        QTest::newRow("whole pieces") << QSize(18, 16);
        QTest::newRow("cut pieces") << QSize(23, 18);
        QTest::newRow("no centre") << QSize(6, 4);
        QTest::newRow("no middle column") << QSize(6, 20);
        QTest::newRow("no middle row") << QSize(20, 4);
        QTest::newRow("one pixel between") << QSize(7, 5);
    }

    void frame() {
        QFETCH(QSize, size);
        const QImage image = source();
        QImage drawn = canvas(size);
        {
            QPainter painter(&drawn);
            NinePartImage(image, left, top).draw(painter, {{0, 0}, QSizeF(size)});
        }
        QCOMPARE(drawn, expected(image, size));
    }

    void compositesOverTheBackground() {
        QImage half = canvas({9, 7}, QColor(0, 0, 0, 128));
        QImage drawn = canvas({20, 20}, Qt::white);
        {
            QPainter painter(&drawn);
            NinePartImage(half, left, top).draw(painter, {0, 0, 20, 20});
        }
        for (const QPoint at : {QPoint(0, 0), QPoint(10, 0), QPoint(10, 10), QPoint(19, 19)})
            QVERIFY(std::abs(drawn.pixelColor(at).red() - 127) <= 1);
    }

    void drawsAtItsBounds() {
        const QImage image = source();
        QImage drawn = canvas({40, 40});
        {
            QPainter painter(&drawn);
            NinePartImage(image, left, top).draw(painter, {5, 7, 20, 15});
        }
        QImage around = canvas({40, 40});
        {
            QPainter painter(&around);
            painter.drawImage(5, 7, expected(image, {20, 15}));
        }
        QCOMPARE(drawn, around);
    }

    // Smaller than two corners, and than one: they overlap, and nothing is drawn outside.
    void cutsWhatDoesNotFit() {
        for (const QRect bounds : {QRect(10, 10, 4, 3), QRect(10, 10, 2, 1)}) {
            QImage drawn = canvas({20, 20});
            {
                QPainter painter(&drawn);
                NinePartImage(source(), left, top).draw(painter, bounds);
            }
            for (int y = 0; y < 20; ++y) {
                for (int x = 0; x < 20; ++x)
                    QCOMPARE(drawn.pixelColor(x, y).alpha() > 0, bounds.contains(x, y));
            }
            QCOMPARE(drawn.pixelColor(bounds.bottomRight()), source().pixelColor(8, 6));
        }
    }

    void denseFrame() {
        QImage image = source({18, 14});
        image.setDevicePixelRatio(2);
        QImage drawn = canvas({40, 30});
        drawn.setDevicePixelRatio(2);
        {
            QPainter painter(&drawn);
            NinePartImage(image, left, top).draw(painter, {0, 0, 20, 15});
        }
        // Pixel for pixel: the same as an image of twice the size with twice the caps.
        QImage same = source({18, 14});
        QImage expectedFrame = canvas({40, 30});
        {
            QPainter painter(&expectedFrame);
            NinePartImage(same, 2 * left, 2 * top).draw(painter, {0, 0, 40, 30});
        }
        drawn.setDevicePixelRatio(1);
        QCOMPARE(drawn, expectedFrame);
    }

    // Pieces that are scaled one by one overlap, or let the background through.
    void scaledFrameHasNoSeams() {
        const NinePartImage nine(canvas({9, 7}, QColor(0, 0, 0, 128)), left, top);
        for (const double scale : {1.25, 1.3, 1.5, 1.7}) {
            QImage drawn = canvas({80, 60}, Qt::white);
            {
                QPainter painter(&drawn);
                painter.scale(scale, scale);
                nine.draw(painter, {1, 1, 40, 30});
            }
            for (int y = 4; y < int(30 * scale) - 2; ++y) {
                for (int x = 4; x < int(40 * scale) - 2; ++x)
                    QVERIFY2(std::abs(drawn.pixelColor(x, y).red() - 127) <= 2,
                             qPrintable(QStringLiteral("%1: %2, %3").arg(scale).arg(x).arg(y)));
            }
        }
    }

    void capsWithoutRoom_data() {
        QTest::addColumn<int>("leftCap");
        QTest::addColumn<int>("topCap");
        QTest::addColumn<bool>("fits");
        QTest::newRow("as wide as the image") << 9 << 2 << true;
        QTest::newRow("wider") << 10 << 2 << false;
        QTest::newRow("half as high") << 3 << 3 << true;
        QTest::newRow("higher") << 3 << 4 << false;
        QTest::newRow("negative width") << -1 << 2 << false;
        QTest::newRow("negative height") << 3 << -1 << false;
        QTest::newRow("very large") << 2'000'000'000 << 2'000'000'000 << false;
    }

    void capsWithoutRoom() {
        QFETCH(int, leftCap);
        QFETCH(int, topCap);
        const NinePartImage nine(source(), leftCap, topCap);
        QTEST(!nine.isNull(), "fits");
        QVERIFY(!nine.isNull() || nine.centerFill().isNull());
        QCOMPARE(nine.image({20, 20}).isNull(), nine.isNull());
    }

    void newImageOfASize() {
        const QImage image = source();
        const QImage stretched =
            ZRKNSImageCategory::sizeStretchLeftCapWidthTopCapHeight(image, {23, 18}, left, top);
        QCOMPARE(stretched, expected(image, {23, 18}));
        QImage dense = source({18, 14});
        dense.setDevicePixelRatio(2);
        const QImage twice =
            ZRKNSImageCategory::sizeStretchLeftCapWidthTopCapHeight(dense, {23, 18}, left, top);
        QCOMPARE(twice.size(), QSize(46, 36));
        QCOMPARE(twice.devicePixelRatio(), 2.0);
    }

    void nothing() {
        QVERIFY(NinePartImage().isNull());
        QVERIFY(NinePartImage(QImage(), 1, 1).isNull());
        QVERIFY(NinePartImage(source(), left, top).image({0, 10}).isNull());
        QVERIFY(ZRKNSImageCategory::sizeStretchLeftCapWidthTopCapHeight({}, {5, 5}, 1, 1).isNull());
        QImage drawn = canvas({5, 5}, Qt::white);
        {
            QPainter painter(&drawn);
            NinePartImage().draw(painter, {0, 0, 5, 5});
            NinePartImage(source(), left, top).draw(painter, {0, 0, 0, 5});
        }
        QCOMPARE(drawn, canvas({5, 5}, Qt::white));
    }
};

QTEST_MAIN(NinePartImageTest)
#include "tst_ninepartimage.moc"
