// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "Common/Categories/ZRKNSImageCategory.h"
#include "tests/kit/ManualRunLoop.h"
#include "tests/kit/TestCase.h"
#include "tests/ui/FakeSyncStatus.h"
#include "tests/ui/Pictures.h"
#include "ui/ZRKClipmuleDeviceMenuView.h"
#include "ui/ZRKClipmuleStatusView.h"

#include <QApplication>
#include <QTest>

#include <algorithm>

using namespace clipmule;
using namespace clipmule::kit;

namespace {

const QColor light(0xf0, 0xf0, 0xf0);
const QColor dark(0x23, 0x26, 0x29);

// Painters of different versions differ in the last bits of an edge; a shifted edge or another
// shade differs by more.
constexpr int largestDifference = 40;
constexpr double largestMeanDifference = 0.5;

bool isAlike(const QImage &one, const QImage &other) {
    if (one.size() != other.size())
        return false;
    qint64 sum = 0;
    int largest = 0;
    for (int y = 0; y < one.height(); ++y) {
        for (int x = 0; x < one.width(); ++x) {
            const QRgb a = one.pixel(x, y);
            const QRgb b = other.pixel(x, y);
            const int difference =
                std::max({std::abs(qRed(a) - qRed(b)), std::abs(qGreen(a) - qGreen(b)),
                          std::abs(qBlue(a) - qBlue(b))});
            sum += difference;
            largest = std::max(largest, difference);
        }
    }
    return largest <= largestDifference &&
           double(sum) / (one.width() * one.height()) <= largestMeanDifference;
}

} // namespace

// Everything that is drawn without a font, beside a stored picture of it that somebody has looked
// at. After a change that is meant: CLIPMULE_STORE_PICTURES=1 tst_pictures, and look at them again.
class PicturesTest final : public kit::TestCase {
    Q_OBJECT

    void begin() override {
        QPalette palette = QApplication::palette();
        palette.setColor(QPalette::Highlight, QColor(0x30, 0x8c, 0xc6));
        QApplication::setPalette(palette);
    }

private Q_SLOTS:
    void statusIcons_data() { ratios(); }

    // Connected, active, active and a quarter of a turn later, the same on an open menu, not
    // connected, disabled; on a light panel and on a dark one.
    void statusIcons() {
        QFETCH(qreal, ratio);
        ManualRunLoop loop;
        const RunLoop::Installation installation(loop);
        FakeSyncStatus status;
        ZRKClipmuleStatusView view(status, ownPictures());
        const QImage sheet = painted(
            {8 * 29, 2 * 22}, light,
            [&](QPainter &painter) {
                painter.fillRect(0, 22, 8 * 29, 22, dark);
                int at = 0;
                const auto draw = [&] {
                    for (const int y : {0, 22})
                        view.drawRect(painter, QRectF(29 * at, y, 29, 22));
                    ++at;
                };
                status.connected = QStringList{QStringLiteral("A")};
                draw();
                view.setNetworkActive(true);
                draw();
                loop.advance(0.25);
                draw();
                view.setHighlighted(true);
                draw();
                view.setNetworkActive(false);
                draw();
                view.setHighlighted(false);
                status.connected.clear();
                draw();
                status.enabled = false;
                draw();
            },
            ratio);
        compare(QStringLiteral("status"), sheet);
    }

    void deviceHeader_data() { ratios(); }

    // Cap and body, not connected, half faded and connected.
    void deviceHeader() {
        QFETCH(qreal, ratio);
        ManualRunLoop loop;
        const RunLoop::Installation installation(loop);
        FakeSyncStatus status;
        status.registered = QStringList{QString()};
        ZRKClipmuleDeviceMenuView view(status, ownPictures());
        const QImage sheet = painted(
            {200, 3 * 50}, Qt::white,
            [&](QPainter &painter) {
                for (const int y : {0, 50, 100}) {
                    view.drawTopCap(painter, QRectF(0, y, 200, 5));
                    view.drawRect(painter, QRectF(0, y + 5, 200, view.height()));
                    status.connected = status.registered;
                    if (y == 0)
                        view.connectionDidChange();
                    loop.advance(0.125);
                }
            },
            ratio);
        QCOMPARE(view.lightOnOpacity(), 1.0);
        compare(QStringLiteral("header"), sheet);
    }

    void messageBackground_data() { ratios(); }

    void messageBackground() {
        QFETCH(qreal, ratio);
        const auto image =
            InterfaceImage::named(ownPictures(), QStringLiteral("message_background"));
        const NinePartImage pieces(image.forPixelRatio(ratio), 54, 25);
        const QImage sheet = painted(
            {240, 220}, QColor(0x7f, 0xa4, 0xc8),
            [&](QPainter &painter) {
                pieces.draw(painter, {7, 5, 226, 62});
                pieces.draw(painter, {7, 75, 226, 140});
            },
            ratio);
        compare(QStringLiteral("message"), sheet);
    }

    void aPictureThatDiffersIsFound() {
        QImage picture(40, 40, QImage::Format_RGB32);
        picture.fill(Qt::white);
        QPainter(&picture).fillRect(10, 10, 20, 20, Qt::blue);
        QVERIFY(isAlike(picture, picture));
        QImage other = picture;
        QPainter(&other).fillRect(30, 10, 1, 20, Qt::blue);
        QVERIFY(!isAlike(picture, other));
        QVERIFY(!isAlike(picture, QImage()));
        // Another shade, everywhere.
        other = picture;
        other.fill(QColor(253, 253, 253));
        QPainter(&other).fillRect(10, 10, 20, 20, Qt::blue);
        QVERIFY(!isAlike(picture, other));
        // One bit of one edge.
        other = picture;
        QPainter(&other).fillRect(30, 10, 1, 20, QColor(254, 254, 255));
        QVERIFY(isAlike(picture, other));
    }

private:
    static void ratios() {
        QTest::addColumn<qreal>("ratio");
        QTest::newRow("1x") << 1.0;
        QTest::newRow("2x") << 2.0;
    }

    static void compare(const QString &name, const QImage &picture) {
        const QString file = QStringLiteral("%1/pictures/%2-%3.png")
                                 .arg(QStringLiteral(CLIPMULE_TEST_DATA), name,
                                      QString::fromLatin1(QTest::currentDataTag()));
        QImage drawn = picture.convertToFormat(QImage::Format_RGB32);
        drawn.setDevicePixelRatio(1);
        if (qEnvironmentVariableIsSet("CLIPMULE_STORE_PICTURES"))
            QVERIFY(drawn.save(file));
        const QImage stored(file);
        if (isAlike(drawn, stored))
            return;
        const QString seen = QDir::temp().filePath(QFileInfo(file).fileName());
        drawn.save(seen);
        QFAIL(qPrintable(QStringLiteral("%1 shows what %2 does not").arg(seen, file)));
    }
};

QTEST_MAIN(PicturesTest)
#include "tst_pictures.moc"
