// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "tests/kit/ManualRunLoop.h"
#include "tests/kit/TestCase.h"
#include "tests/ui/FakeSyncStatus.h"
#include "tests/ui/Pictures.h"
#include "ui/ZRKClipmuleStatusView.h"

#include <QGuiApplication>
#include <QPalette>
#include <QTest>

#include <algorithm>
#include <cmath>
#include <optional>

using namespace clipmule;
using namespace clipmule::kit;

namespace {

const QColor connectedColor(250, 0, 0);
const QColor connectedActiveColor(0, 250, 0);
const QColor spinnerColor(0, 0, 250);
const QColor highlightedColor(250, 250, 0);
const QColor highlightedActiveColor(0, 250, 250);
const QColor highlightedSpinnerColor(250, 0, 250);
const QColor notConnectedColor(0, 0, 0);
const QSize item(29, 22);

double luminance(const QColor &color) {
    const auto linear = [](double part) {
        return part <= 0.04045 ? part / 12.92 : std::pow((part + 0.055) / 1.055, 2.4);
    };
    return 0.2126 * linear(color.redF()) + 0.7152 * linear(color.greenF()) +
           0.0722 * linear(color.blueF());
}

// As the guidelines for accessible contents define it: from 1 to 21.
double contrast(const QColor &one, const QColor &other) {
    const double a = luminance(one) + 0.05;
    const double b = luminance(other) + 0.05;
    return std::max(a, b) / std::min(a, b);
}

} // namespace

class StatusViewTest final : public kit::TestCase {
    Q_OBJECT

    void begin() override {
        installation.reset();
        loop.emplace();
        installation.emplace(*loop);
        status.enabled = true;
        status.connected = {QStringLiteral("Anna")};
        view.emplace(status, pictures.bundle());
        redrawn = 0;
        view->setNeedsDisplayCallback([this] { ++redrawn; });
    }

    void end() override {
        view.reset();
        QCOMPARE(loop->pendingCount(), 0);
    }

private Q_SLOTS:
    void initTestCase() {
        const QSize icon(19, 21);
        pictures.add(QStringLiteral("status_connected"), icon, connectedColor);
        pictures.add(QStringLiteral("status_connected_active"), icon, connectedActiveColor);
        pictures.add(QStringLiteral("status_connected_active_spinner"), {9, 9}, spinnerColor);
        pictures.add(QStringLiteral("status_highlighted"), icon, highlightedColor);
        pictures.add(QStringLiteral("status_highlighted_active"), icon, highlightedActiveColor);
        pictures.add(QStringLiteral("status_highlighted_active_spinner"), {9, 9},
                     highlightedSpinnerColor);
        pictures.add(QStringLiteral("status_not_connected"), icon, notConnectedColor);
    }

    void picture_data() {
        QTest::addColumn<bool>("highlighted");
        QTest::addColumn<bool>("connected");
        QTest::addColumn<bool>("active");
        QTest::addColumn<QColor>("color");
        QTest::newRow("connected") << false << true << false << connectedColor;
        QTest::newRow("connected, active") << false << true << true << connectedActiveColor;
        QTest::newRow("not connected") << false << false << false << notConnectedColor;
        QTest::newRow("not connected, active") << false << false << true << notConnectedColor;
        QTest::newRow("highlighted") << true << true << false << highlightedColor;
        QTest::newRow("highlighted, active") << true << true << true << highlightedActiveColor;
        QTest::newRow("highlighted, not connected") << true << false << false << highlightedColor;
        QTest::newRow("highlighted, all") << true << false << true << highlightedActiveColor;
    }

    void picture() {
        QFETCH(bool, highlighted);
        QFETCH(bool, connected);
        QFETCH(bool, active);
        QFETCH(QColor, color);
        status.connected = connected ? QStringList{QStringLiteral("Anna")} : QStringList();
        view->setHighlighted(highlighted);
        view->setNetworkActive(active);
        QCOMPARE(drawn().pixelColor(7, 3), color);
    }

    void disabledIconIsAtThirtyPercent() {
        status.connected.clear();
        QCOMPARE(drawn().pixelColor(7, 3), QColor(0, 0, 0));
        status.enabled = false;
        // Black at 30 percent over white: 255 * 0.7, as exactly as the painter counts opacity.
        const int grey = drawn().pixelColor(7, 3).red();
        QVERIFY2(std::abs(grey - 178) <= 2, qPrintable(QString::number(grey)));
        // The open menu's icon is as bright as ever.
        view->setHighlighted(true);
        QCOMPARE(drawn().pixelColor(7, 3), highlightedColor);
    }

    void iconIsCentredOnePointUp_data() {
        QTest::addColumn<QSize>("icon");
        QTest::addColumn<QRect>("place");
        // In a view of 29 by 22; y downwards, so one point up is one less.
        QTest::newRow("odd") << QSize(19, 21) << QRect(5, 0, 19, 21);
        QTest::newRow("even") << QSize(16, 16) << QRect(6, 2, 16, 16);
        QTest::newRow("as high as the view") << QSize(29, 22) << QRect(0, 0, 29, 21);
    }

    void iconIsCentredOnePointUp() {
        QFETCH(QSize, icon);
        QFETCH(QRect, place);
        PlainPictures other;
        for (const char *name :
             {"status_connected", "status_connected_active", "status_connected_active_spinner",
              "status_highlighted", "status_highlighted_active",
              "status_highlighted_active_spinner", "status_not_connected"})
            other.add(QString::fromLatin1(name), icon, connectedColor);
        view.emplace(status, other.bundle());
        QCOMPARE(boundsOfOthers(drawn(), Qt::white), place);
    }

    void highlightFillsTheBounds() {
        const QColor highlight =
            QGuiApplication::palette().color(QPalette::Active, QPalette::Highlight);
        view->setHighlighted(true);
        const QImage image = drawn();
        QCOMPARE(image.pixelColor(0, 0), highlight);
        QCOMPARE(image.pixelColor(28, 21), highlight);
        view->setHighlighted(false);
        QCOMPARE(drawn().pixelColor(0, 0), QColor(Qt::white));
    }

    void boundsMayLieAnywhere() {
        const QImage image = painted({60, 40}, Qt::white, [this](QPainter &painter) {
            view->drawRect(painter, {20, 10, 29, 22});
        });
        QCOMPARE(boundsOfOthers(image, Qt::white), QRect(25, 10, 19, 21));
    }

    void denseScreenGetsTheDenserPictures() {
        view->setNetworkActive(true);
        const QImage image = drawn(Qt::white, 2);
        QCOMPARE(image.size(), QSize(58, 44));
        QCOMPARE(boundsOfOthers(image, Qt::white), QRect(10, 0, 38, 42));
        QCOMPARE(image.pixelColor(14, 6), connectedActiveColor.darker());
        QCOMPARE(image.pixelColor(29, 21), spinnerColor.darker());
    }

    void spinnerLiesInItsFrame() {
        view->setNetworkActive(true);
        const QImage image = drawn();
        QRect spinner;
        for (int y = 0; y < image.height(); ++y) {
            for (int x = 0; x < image.width(); ++x) {
                if (image.pixelColor(x, y) == spinnerColor)
                    spinner |= QRect(x, y, 1, 1);
            }
        }
        // x 10, y 7 from below, in a view 22 points high.
        QCOMPARE(spinner, QRect(10, 6, 9, 9));
    }

    void spinnerOfADisabledIconIsSolid() {
        status.connected.clear();
        status.enabled = false;
        view->setNetworkActive(true);
        QCOMPARE(drawn().pixelColor(14, 10), spinnerColor);
    }

    void spinnerIsHiddenAtStart() {
        QVERIFY(view->isSpinnerHidden());
        QVERIFY(!view->isNetworkActive());
        QCOMPARE(drawn().pixelColor(14, 10), connectedColor);
        QCOMPARE(loop->pendingCount(), 0);
    }

    void spinnerTurnsClockwiseOnceASecond() {
        // A mark at the upper edge of the spinner goes to the right.
        QImage mark(9, 9, QImage::Format_ARGB32);
        mark.fill(Qt::transparent);
        QPainter(&mark).fillRect(3, 0, 3, 3, spinnerColor);
        mark.save(pictures.bundle().path() +
                  QStringLiteral("/images/status_connected_active_spinner.png"));
        view.emplace(status, pictures.bundle());
        view->setNetworkActive(true);
        const QList<QPoint> marks{{14, 7}, {17, 10}, {14, 13}, {11, 10}};
        for (int turn = 0; turn < 2; ++turn) {
            for (const QPoint expected : marks) {
                const QImage image = drawn();
                for (const QPoint place : marks)
                    QCOMPARE(image.pixelColor(place) == spinnerColor, place == expected);
                loop->advance(0.25);
            }
        }
        pictures.add(QStringLiteral("status_connected_active_spinner"), {9, 9}, spinnerColor);
    }

    void spinnerGoesOnWhileActive() {
        view->setNetworkActive(true);
        loop->advance(10.5);
        QVERIFY(std::abs(view->spinnerRotation() - -10.5 * 360) < 0.5);
    }

    void spinnerStopsAtTheEndOfItsTurn() {
        view->setNetworkActive(true);
        loop->advance(1.25);
        view->setNetworkActive(false);
        QVERIFY(std::abs(view->spinnerRotation() - -450) < 0.5);
        loop->advance(0.5);
        QVERIFY(std::abs(view->spinnerRotation() - -630) < 0.5);
        loop->advance(3);
        QVERIFY(std::abs(view->spinnerRotation() - -720) < 0.5);
        QCOMPARE(loop->pendingCount(), 0);
    }

    void hiddenSpinnerShowsNoFrames() {
        view->setNetworkActive(true);
        loop->advance(0.3);
        view->setNetworkActive(false);
        redrawn = 0;
        QCOMPARE(loop->pendingCount(), 1);
        QVERIFY(loop->timeToNext() > RunLoop::Seconds(0.6));
        loop->advance(5);
        QCOMPARE(redrawn, 0);
    }

    void activeTwiceStartsOneTurn() {
        view->setNetworkActive(true);
        loop->advance(0.25);
        const int before = redrawn;
        view->setNetworkActive(true);
        QCOMPARE(redrawn, before);
        QCOMPARE(loop->pendingCount(), 1);
        loop->advance(0.5);
        QVERIFY(std::abs(view->spinnerRotation() - -270) < 0.5);
    }

    void activeAgainDuringATurnStartsOneTurn() {
        view->setNetworkActive(true);
        loop->advance(0.25);
        view->setNetworkActive(false);
        loop->advance(0.25);
        view->setNetworkActive(true);
        QCOMPARE(loop->pendingCount(), 1);
        // A whole turn from where it was.
        QVERIFY(std::abs(view->spinnerRotation() - -180) < 0.5);
        view->setNetworkActive(false);
        loop->advance(2);
        QVERIFY(std::abs(view->spinnerRotation() - -540) < 0.5);
    }

    void atMostTwelveFramesASecond() {
        view->setNetworkActive(true);
        redrawn = 0;
        loop->advance(1.01);
        QCOMPARE(redrawn, 12);
        loop->advance(9);
        QCOMPARE(redrawn, 120);
    }

    void noTimerWhileNothingMoves() {
        QCOMPARE(loop->pendingCount(), 0);
        view->setNetworkActive(true);
        loop->advance(1.5);
        view->setNetworkActive(false);
        loop->advance(0.51);
        QCOMPARE(loop->pendingCount(), 0);
    }

    void destructionEndsTheTurn() {
        view->setNetworkActive(true);
        view.reset();
        QCOMPARE(loop->pendingCount(), 0);
    }

    void clickHighlightsAndSendsTheAction() {
        const ZRKClipmuleStatusView *sender = nullptr;
        bool highlightedThen = false;
        view->setAction([&](ZRKClipmuleStatusView &clicked) {
            sender = &clicked;
            highlightedThen = clicked.isHighlighted();
        });
        view->mouseDown();
        QCOMPARE(sender, &*view);
        QVERIFY(highlightedThen);
        // The menu is still open.
        QVERIFY(view->isHighlighted());
        QCOMPARE(drawn().pixelColor(7, 3), highlightedColor);
        view->setHighlighted(false);
        QCOMPARE(drawn().pixelColor(7, 3), connectedColor);
        QCOMPARE(redrawn, 2);
    }

    void clickWithoutActionEndsAtOnce() {
        view->mouseDown();
        QVERIFY(!view->isHighlighted());
    }

    void actionMayReturnAfterTheMenuClosed() {
        view->setAction([](ZRKClipmuleStatusView &clicked) { clicked.setHighlighted(false); });
        view->mouseDown();
        QVERIFY(!view->isHighlighted());
        QCOMPARE(redrawn, 2);
    }

    void actionMayDestroyTheView() {
        view->setAction([this](ZRKClipmuleStatusView &) { view.reset(); });
        view->mouseDown();
        QVERIFY(!view);
    }

    void openMenuWithMovingData() {
        view->setNetworkActive(true);
        view->mouseDown();
        view->setHighlighted(true);
        const QImage image = drawn();
        QCOMPARE(image.pixelColor(7, 3), highlightedActiveColor);
        QCOMPARE(image.pixelColor(14, 10), highlightedSpinnerColor);
        view->setHighlighted(false);
        QCOMPARE(drawn().pixelColor(14, 10), spinnerColor);
    }

    void everyChangeIsToldOnce() {
        view->setNetworkActive(true);
        QCOMPARE(redrawn, 1);
        view->setHighlighted(true);
        view->setHighlighted(true);
        QCOMPARE(redrawn, 2);
        view->setNetworkActive(false);
        QCOMPARE(redrawn, 3);
        view->setNeedsDisplay();
        QCOMPARE(redrawn, 4);
    }

    void squareImage_data() {
        QTest::addColumn<int>("side");
        QTest::addColumn<QRect>("icon");
        QTest::newRow("22") << 22 << QRect(1, 0, 19, 21);
        QTest::newRow("24") << 24 << QRect(2, 1, 19, 21);
        QTest::newRow("48") << 48 << QRect(4, 2, 38, 42);
    }

    // Sharp at these sides: the icon ends at whole pixels.
    void squareImage() {
        QFETCH(int, side);
        QFETCH(QRect, icon);
        const QImage image = view->squareImage(side);
        QCOMPARE(image.size(), QSize(side, side));
        QCOMPARE(boundsOfOthers(image, QColor(Qt::transparent)), icon);
        QCOMPARE(image.pixelColor(icon.topLeft()).alpha(), 255);

        // The spinner is in the middle of the icon at every size.
        view->setNetworkActive(true);
        for (const int any : {16, 22, 24, 32, 48}) {
            const QImage square = view->squareImage(any);
            QRect whole;
            QRect spinner;
            for (int y = 0; y < any; ++y) {
                for (int x = 0; x < any; ++x) {
                    const QColor color = square.pixelColor(x, y);
                    if (color.alpha() > 128)
                        whole |= QRect(x, y, 1, 1);
                    if (color.blue() > color.green())
                        spinner |= QRect(x, y, 1, 1);
                }
            }
            const QPoint distance = whole.center() - spinner.center();
            QVERIFY2(!spinner.isEmpty() && distance.manhattanLength() <= 1,
                     qPrintable(QString::number(any)));
        }
    }

    void smallTraysGetPicturesOfTheirOwn() {
        // A bundle without them: the larger ones, reduced.
        QVERIFY(boundsOfOthers(view->squareImage(16), QColor(Qt::transparent)) !=
                QRect(0, 0, 16, 16));
        PlainPictures both;
        for (const QString &suffix : {QString(), QStringLiteral("_small")}) {
            const QSize size = suffix.isEmpty() ? QSize(19, 21) : QSize(16, 16);
            for (const char *name : {"connected", "connected_active", "highlighted",
                                     "highlighted_active", "not_connected"})
                both.add(QStringLiteral("status_") + QString::fromLatin1(name) + suffix, size,
                         suffix.isEmpty() ? QColor(Qt::red) : QColor(Qt::green));
            for (const char *name : {"connected", "highlighted"})
                both.add(QStringLiteral("status_%1_active_spinner").arg(QString::fromLatin1(name)) +
                             suffix,
                         {7, 7}, Qt::blue);
        }
        view.emplace(status, both.bundle());
        // Each at its own size, pixel by pixel; the picture for dense screens is darker.
        const QImage normal = view->squareImage(16);
        const QImage dense = view->squareImage(32);
        QCOMPARE(normal.pixelColor(0, 0), QColor(Qt::green));
        QCOMPARE(normal.pixelColor(15, 15), QColor(Qt::green));
        QCOMPARE(dense.pixel(0, 0), QColor(Qt::green).darker().rgb());
        QCOMPARE(dense.pixel(31, 31), QColor(Qt::green).darker().rgb());
        for (const int side : {22, 24, 44, 48}) {
            const QColor middle = view->squareImage(side).pixelColor(side / 2, side / 2);
            QVERIFY2(middle.red() > 0 && middle.green() == 0, qPrintable(QString::number(side)));
        }
    }

    void smallPicturesShowTheSameStates() {
        view.emplace(status, ownPictures());
        QList<QImage> seen;
        const auto take = [&] {
            seen.append(view->squareImage(16));
            for (const QImage &before : seen.first(seen.size() - 1))
                QVERIFY(before != seen.last());
        };
        take(); // connected
        view->setNetworkActive(true);
        take();
        loop->advance(0.25);
        take(); // a quarter of a turn later
        view->setHighlighted(true);
        take();
        view->setNetworkActive(false);
        take();
        QCOMPARE(seen.last().pixelColor(0, 15),
                 QGuiApplication::palette().color(QPalette::Active, QPalette::Highlight));
        view->setHighlighted(false);
        status.connected.clear();
        take();
        const int solid = seen.last().pixelColor(8, 10).alpha();
        status.enabled = false;
        take();
        const double pale = seen.last().pixelColor(8, 10).alpha();
        QVERIFY2(std::abs(pale - 0.3 * solid) <= 2,
                 qPrintable(QStringLiteral("%1 of %2").arg(pale).arg(solid)));
        status.enabled = true;
        loop->advance(2);
    }

    void ownPicturesAreSharp_data() {
        QTest::addColumn<int>("side");
        for (const int side : {16, 22, 32, 44})
            QTest::addRow("%d", side) << side;
    }

    // The board's straight edges and its lines of text fall on whole pixels: in the icon's middle
    // column every pixel is the board's blue, white, or nothing.
    void ownPicturesAreSharp() {
        QFETCH(int, side);
        view.emplace(status, ownPictures());
        const QImage image = view->squareImage(side);
        QStringList mixed;
        int lines = 0;
        bool white = false;
        for (int y = 0; y < side; ++y) {
            const QColor color = image.pixelColor(side / 2, y);
            const bool isWhite = color == QColor(Qt::white);
            lines += isWhite && !white ? 1 : 0;
            white = isWhite;
            if (!isWhite && color.alpha() != 0 && color != QColor(0x2f, 0x8f, 0xd8))
                mixed.append(QStringLiteral("%1: %2").arg(y).arg(color.name(QColor::HexArgb)));
        }
        QVERIFY2(mixed.isEmpty(), qPrintable(mixed.join(u' ')));
        QCOMPARE(lines, 3);
        // As much room above as below.
        const QRect bounds = boundsOfOthers(image, QColor(Qt::transparent));
        QVERIFY(std::abs(bounds.top() - (side - 1 - bounds.bottom())) <= side / 16);
    }

    void ownPicturesAreSeenOnLightAndDark_data() {
        QTest::addColumn<QColor>("panel");
        QTest::newRow("white") << QColor(Qt::white);
        QTest::newRow("light") << QColor(0xf0, 0xf0, 0xf0);
        QTest::newRow("grey") << QColor(0xdc, 0xdc, 0xd6);
        QTest::newRow("blue") << QColor(0x3b, 0x5f, 0x7d);
        QTest::newRow("dark") << QColor(0x20, 0x23, 0x26);
    }

    // At least a tenth of the item stands out, whatever the state; a switched off icon by less.
    void ownPicturesAreSeenOnLightAndDark() {
        QFETCH(QColor, panel);
        view.emplace(status, ownPictures());
        const auto pixelsOfContrast = [&](double least) {
            const QImage image = drawn(panel);
            int pixels = 0;
            for (int y = 0; y < image.height(); ++y) {
                for (int x = 0; x < image.width(); ++x)
                    pixels += contrast(image.pixelColor(x, y), panel) >= least ? 1 : 0;
            }
            return pixels;
        };
        const int tenth = item.width() * item.height() / 10;
        QVERIFY(pixelsOfContrast(1.75) > tenth);
        view->setNetworkActive(true);
        QVERIFY(pixelsOfContrast(1.75) > tenth);
        view->setHighlighted(true);
        QVERIFY(pixelsOfContrast(1.75) > tenth);
        view->setHighlighted(false);
        status.connected.clear();
        QVERIFY(pixelsOfContrast(3) > item.width());
        status.enabled = false;
        QVERIFY2(pixelsOfContrast(1.6) > item.width(),
                 qPrintable(QString::number(pixelsOfContrast(1.6))));
        status.enabled = true;
    }

private:
    [[nodiscard]] QImage drawn(const QColor &background = Qt::white, qreal ratio = 1) const {
        return painted(
            item, background, [this](QPainter &painter) { view->drawRect(painter); }, ratio);
    }

    PlainPictures pictures;
    FakeSyncStatus status;
    std::optional<ManualRunLoop> loop;
    std::optional<RunLoop::Installation> installation;
    std::optional<ZRKClipmuleStatusView> view;
    int redrawn = 0;
};

QTEST_MAIN(StatusViewTest)
#include "tst_statusview.moc"
