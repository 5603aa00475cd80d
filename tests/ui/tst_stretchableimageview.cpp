// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "tests/kit/TestCase.h"
#include "tests/ui/Pictures.h"
#include "ui/MessagePanel.h"

#include <QTest>

using namespace clipmule;
using namespace clipmule::kit;

namespace {

QImage filled(QSize size, const QColor &color) {
    QImage image(size, QImage::Format_ARGB32_Premultiplied);
    image.fill(color);
    return image;
}

} // namespace

class StretchableImageViewTest final : public kit::TestCase {
    Q_OBJECT

private Q_SLOTS:
    void showsNothingBeforeItWasStretched() {
        ZRKStretchableImageView view;
        view.setImage(filled({9, 9}, Qt::red));
        const QImage image = painted({20, 20}, Qt::white, [&](QPainter &painter) {
            view.drawRect(painter, {0, 0, 20, 20});
        });
        QCOMPARE(boundsOfOthers(image, Qt::white), QRect());
    }

    void showsTheFrameInItsOwnSize() {
        ZRKStretchableImageView view;
        QImage image = filled({9, 9}, Qt::red);
        QPainter(&image).fillRect(0, 0, 3, 3, Qt::blue);
        view.setImage(image);
        view.stretchWithLeftCapWidthTopCapHeight(3, 3);
        for (const QSize size : {QSize(40, 30), QSize(9, 9)}) {
            view.resize(size);
            const QImage shown = view.grab().toImage();
            QCOMPARE(shown.size(), size);
            QCOMPARE(shown.pixelColor(2, 2), QColor(Qt::blue));
            QCOMPARE(shown.pixelColor(3, 3), QColor(Qt::red));
            QCOMPARE(shown.pixelColor(size.width() - 1, size.height() - 1), QColor(Qt::red));
        }
    }

    void stretchingAnewReplacesThePieces() {
        ZRKStretchableImageView view;
        view.setImage(filled({9, 9}, Qt::red));
        view.stretchWithLeftCapWidthTopCapHeight(3, 3);
        QCOMPARE(view.pieces().topLeftCorner().size(), QSize(3, 3));
        view.setImage(filled({12, 12}, Qt::blue));
        QCOMPARE(view.pieces().topLeftCorner().pixelColor(0, 0), QColor(Qt::red));
        view.stretchWithLeftCapWidthTopCapHeight(4, 2);
        QCOMPARE(view.pieces().topLeftCorner().size(), QSize(4, 2));
        QCOMPARE(view.pieces().topLeftCorner().pixelColor(0, 0), QColor(Qt::blue));
    }

    void ownBackgroundFitsItsCaps_data() {
        QTest::addColumn<int>("ratio");
        QTest::newRow("normal") << 1;
        QTest::newRow("dense") << 2;
    }

    // Where pieces meet, neighbouring columns and rows are alike: the frame has no seams at any
    // size.
    void ownBackgroundFitsItsCaps() {
        QFETCH(int, ratio);
        QImage background(ownPictures().path() +
                          (ratio == 1 ? QStringLiteral("/images/message_background.png")
                                      : QStringLiteral("/images/message_background@2x.png")));
        background.setDevicePixelRatio(ratio);
        ZRKStretchableImageView view;
        view.setImage(background);
        view.stretchWithLeftCapWidthTopCapHeight(54, 25);
        const QSize size(226, 110);
        const QImage image = view.pieces().image(size);
        QCOMPARE(image.size(), ratio * size);
        const auto alike = [](QRgb one, QRgb other) {
            return std::abs(qAlpha(one) - qAlpha(other)) <= 2 &&
                   std::abs(qRed(one) - qRed(other)) <= 2;
        };
        // 54 + 54 + 54 + 10 + 54 points wide, 25 + 25 + 25 + 10 + 25 points high.
        for (const int seam : {54, 108, 162, 172}) {
            for (int y = 0; y < image.height(); ++y)
                QVERIFY(alike(image.pixel(seam * ratio - 1, y), image.pixel(seam * ratio, y)));
        }
        for (const int seam : {25, 50, 75, 85}) {
            for (int x = 0; x < image.width(); ++x)
                QVERIFY(alike(image.pixel(x, seam * ratio - 1), image.pixel(x, seam * ratio)));
        }
        // The tip points up 13 points from the right; at the left end there is none.
        QVERIFY(qAlpha(image.pixel((226 - 13) * ratio, 6 * ratio)) > 200);
        QVERIFY(qAlpha(image.pixel(13 * ratio, 6 * ratio)) < 60);
    }
};

QTEST_MAIN(StretchableImageViewTest)
#include "tst_stretchableimageview.moc"
