// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "tests/kit/ImagePlugins.h"
#include "tests/kit/TestCase.h"
#include "tests/ui/Pictures.h"
#include "ui/InterfaceImage.h"

#include <QTest>

using namespace clipmule;
using namespace clipmule::kit;

class InterfaceImageTest final : public kit::TestCase {
    Q_OBJECT

private Q_SLOTS:
    // The first: a plug-in stays where it once was loaded.
    void ownPicturesNeedNoPlugin() {
        QCOMPARE(loadedImagePlugins(), QStringList());
        const auto image =
            InterfaceImage::named(ownPictures(), QStringLiteral("status_highlighted"));
        QVERIFY(image.size().isValid());
        QVERIFY(!image.forPixelRatio(2).isNull());
        QCOMPARE(loadedImagePlugins(), QStringList());
    }

    void rectanglesAreFlippedInsideTheView() {
        // 22 points high: 6 above a rectangle whose upper edge is at 7 + 9 from below.
        QCOMPARE(flipped({10, 7, 9, 9}, 22), QRectF(10, 6, 9, 9));
        QCOMPARE(flipped(flipped({1, 2, 3, 4}, 50), 50), QRectF(1, 2, 3, 4));
    }

    void sizeIsInPoints() {
        PlainPictures pictures;
        pictures.add(QStringLiteral("some"), {7, 5}, Qt::red);
        QCOMPARE(InterfaceImage::named(pictures.bundle(), QStringLiteral("some")).size(),
                 QSize(7, 5));
    }

    void denseScreenGetsTheDenserPicture_data() {
        QTest::addColumn<qreal>("ratio");
        QTest::addColumn<QColor>("color");
        QTest::newRow("1") << 1.0 << QColor(Qt::red);
        QTest::newRow("1.25") << 1.25 << QColor(Qt::red).darker();
        QTest::newRow("2") << 2.0 << QColor(Qt::red).darker();
        QTest::newRow("3") << 3.0 << QColor(Qt::red).darker();
    }

    void denseScreenGetsTheDenserPicture() {
        QFETCH(qreal, ratio);
        QFETCH(QColor, color);
        PlainPictures pictures;
        pictures.add(QStringLiteral("some"), {20, 20}, Qt::red);
        const auto image = InterfaceImage::named(pictures.bundle(), QStringLiteral("some"));
        const QImage screen = painted(
            {20, 20}, Qt::white, [&](QPainter &painter) { image.draw(painter, QPointF(0, 0)); },
            ratio);
        QCOMPARE(screen.pixel(screen.rect().center()), color.rgb());
        QCOMPARE(screen.pixel(screen.rect().bottomRight()), color.rgb());
        QCOMPARE(image.forPixelRatio(ratio).devicePixelRatio(), ratio > 1 ? 2.0 : 1.0);
    }

    void scaledPainterGetsTheDenserPicture() {
        PlainPictures pictures;
        pictures.add(QStringLiteral("some"), {10, 10}, Qt::red);
        const auto image = InterfaceImage::named(pictures.bundle(), QStringLiteral("some"));
        const QImage screen = painted({20, 20}, Qt::white, [&](QPainter &painter) {
            painter.scale(2, 2);
            image.draw(painter, QPointF(0, 0));
        });
        QCOMPARE(screen.pixel(10, 10), QColor(Qt::red).darker().rgb());
    }

    void normalPictureServesWhereTheOtherIsMissing() {
        QImage normal(4, 4, QImage::Format_ARGB32);
        normal.fill(Qt::blue);
        const InterfaceImage image(normal, QImage());
        const QImage screen = painted(
            {4, 4}, Qt::white, [&](QPainter &painter) { image.draw(painter, QPointF(0, 0)); }, 2);
        QCOMPARE(boundsOfOthers(screen, Qt::blue), QRect());
    }

    void drawsPixelForPixel() {
        QImage checks(2, 2, QImage::Format_ARGB32);
        checks.setPixelColor(0, 0, Qt::red);
        checks.setPixelColor(1, 0, Qt::green);
        checks.setPixelColor(0, 1, Qt::blue);
        checks.setPixelColor(1, 1, Qt::black);
        const InterfaceImage image(checks, QImage());
        const QImage screen = painted(
            {4, 4}, Qt::white, [&](QPainter &painter) { image.draw(painter, QPointF(1, 1)); });
        QCOMPARE(boundsOfOthers(screen, Qt::white), QRect(1, 1, 2, 2));
        QCOMPARE(screen.copy(1, 1, 2, 2).convertToFormat(QImage::Format_ARGB32), checks);
    }

    void drawsAPart() {
        QImage halves(4, 2, QImage::Format_ARGB32);
        halves.fill(Qt::red);
        QPainter(&halves).fillRect(2, 0, 2, 2, Qt::blue);
        const InterfaceImage image(halves, QImage());
        // A column of one point, stretched; nothing of its neighbours may bleed in.
        const QImage screen = painted({10, 2}, Qt::white, [&](QPainter &painter) {
            image.draw(painter, {0, 0, 10, 2}, {1, 0, 1, 2});
        });
        QCOMPARE(boundsOfOthers(screen, Qt::red), QRect());
    }

    void drawsAPartOfTheDenserPicture() {
        QImage normal(4, 2, QImage::Format_ARGB32);
        QImage doubled(8, 4, QImage::Format_ARGB32);
        for (int y = 0; y < 4; ++y) {
            for (int x = 0; x < 8; ++x)
                doubled.setPixelColor(x, y, QColor(10 * x, 10 * y, 0));
        }
        const InterfaceImage image(normal, doubled);
        const QImage screen = painted(
            {2, 2}, Qt::white,
            [&](QPainter &painter) {
                image.draw(painter, {0, 0, 2, 2}, {1, 0, 2, 2});
            },
            2);
        for (int y = 0; y < 4; ++y) {
            for (int x = 0; x < 4; ++x)
                QCOMPARE(screen.pixelColor(x, y), QColor(10 * (x + 2), 10 * y, 0));
        }
    }

    void isSmoothWhereNoPixelBecomesAPixel_data() {
        QTest::addColumn<QSizeF>("drawn");
        QTest::addColumn<int>("degrees");
        QTest::addColumn<bool>("smooth");
        QTest::newRow("as it is") << QSizeF(4, 4) << 0 << false;
        QTest::newRow("wider") << QSizeF(7, 4) << 0 << true;
        QTest::newRow("higher") << QSizeF(4, 7) << 0 << true;
        QTest::newRow("turned") << QSizeF(4, 4) << 30 << true;
    }

    void isSmoothWhereNoPixelBecomesAPixel() {
        QFETCH(QSizeF, drawn);
        QFETCH(int, degrees);
        QFETCH(bool, smooth);
        QImage checks(4, 4, QImage::Format_ARGB32);
        for (int y = 0; y < 4; ++y) {
            for (int x = 0; x < 4; ++x)
                checks.setPixelColor(x, y, (x + y) % 2 == 0 ? Qt::red : Qt::blue);
        }
        const InterfaceImage image(checks, QImage());
        const QImage screen = painted({16, 16}, Qt::transparent, [&](QPainter &painter) {
            painter.translate(8, 8);
            painter.rotate(degrees);
            image.draw(painter, {{0, 0}, drawn}, {0, 0, 4, 4});
        });
        bool isMixed = false;
        for (int y = 0; y < screen.height(); ++y) {
            for (int x = 0; x < screen.width(); ++x) {
                const QRgb pixel = screen.pixel(x, y);
                isMixed = isMixed || (qRed(pixel) > 0 && qBlue(pixel) > 0);
            }
        }
        QCOMPARE(isMixed, smooth);
    }

    void missingPictureIsSaidAndDrawsNothing() {
        const PlainPictures pictures;
        for (const char *name : {"none", "none@2x"}) {
            QTest::ignoreMessage(
                QtWarningMsg, qPrintable(QStringLiteral("no picture %1 in %2")
                                             .arg(QLatin1String(name), pictures.bundle().path())));
        }
        const auto image = InterfaceImage::named(pictures.bundle(), QStringLiteral("none"));
        QVERIFY(image.isNull());
        QVERIFY(image.size().isEmpty());
        const QImage screen = painted(
            {4, 4}, Qt::white, [&](QPainter &painter) { image.draw(painter, QPointF(0, 0)); });
        QCOMPARE(boundsOfOthers(screen, Qt::white), QRect());
    }

    void everyPictureOfTheInterfaceIsThereTwice_data() {
        QTest::addColumn<QSize>("size");
        for (const char *name :
             {"status_connected", "status_connected_active", "status_highlighted",
              "status_highlighted_active", "status_not_connected"})
            QTest::newRow(name) << QSize(19, 21);
        QTest::newRow("status_connected_active_spinner") << QSize(9, 9);
        QTest::newRow("status_highlighted_active_spinner") << QSize(9, 9);
        QTest::newRow("led_on") << QSize(19, 19);
        QTest::newRow("led_off") << QSize(19, 19);
        QTest::newRow("device_menu_background") << QSize(8, 40);
        QTest::newRow("message_background") << QSize(3 * 54, 3 * 25);
    }

    void everyPictureOfTheInterfaceIsThereTwice() {
        QFETCH(QSize, size);
        const auto image =
            InterfaceImage::named(ownPictures(), QString::fromLatin1(QTest::currentDataTag()));
        QCOMPARE(image.forPixelRatio(1).size(), size);
        QCOMPARE(image.forPixelRatio(2).size(), 2 * size);
        // Both show the same thing.
        const QImage reduced = image.forPixelRatio(2)
                                   .scaled(1, 1, Qt::IgnoreAspectRatio, Qt::SmoothTransformation)
                                   .convertToFormat(QImage::Format_ARGB32);
        const QImage normal = image.forPixelRatio(1)
                                  .scaled(1, 1, Qt::IgnoreAspectRatio, Qt::SmoothTransformation)
                                  .convertToFormat(QImage::Format_ARGB32);
        QVERIFY(std::abs(qAlpha(reduced.pixel(0, 0)) - qAlpha(normal.pixel(0, 0))) < 8);
        QVERIFY(qAlpha(normal.pixel(0, 0)) > 0);
    }
};

QTEST_MAIN(InterfaceImageTest)
#include "tst_interfaceimage.moc"
