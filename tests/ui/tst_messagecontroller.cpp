// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "Common/Categories/ZRKNSImageCategory.h"
#include "tests/kit/ManualRunLoop.h"
#include "tests/kit/TestCase.h"
#include "tests/ui/Pictures.h"
#include "ui/MessagePanel.h"
#include "ui/ZRKClipmuleMessageController.h"

#include <QFontInfo>
#include <QProcess>
#include <QProcessEnvironment>
#include <QTest>

#include <optional>

using namespace clipmule;
using namespace clipmule::kit;

namespace {

const QString shortText = QStringLiteral("Short.");
const QString longText = QStringLiteral(
    "A message of so many words that it does not find room on one line, nor on two of them, but "
    "wraps within the width that it has.");
const QRect item(600, 0, 29, 22);

// The rim of the background is lighter than its inside, but far from white.
QImage flipped(const QImage &image, bool horizontally, bool vertically) {
#if QT_VERSION >= QT_VERSION_CHECK(6, 9, 0)
    Qt::Orientations flips;
    flips.setFlag(Qt::Horizontal, horizontally);
    flips.setFlag(Qt::Vertical, vertically);
    return image.flipped(flips);
#else
    return image.mirrored(horizontally, vertically);
#endif
}

QRect boundsOfText(MessagePanel &panel) {
    const QImage image = panel.grab().toImage();
    QRect white;
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            if (qGray(image.pixel(x, y)) > 200 && qAlpha(image.pixel(x, y)) == 255)
                white |= QRect(x, y, 1, 1);
        }
    }
    return white;
}

} // namespace

class MessageControllerTest final : public kit::TestCase {
    Q_OBJECT

    void begin() override {
        installation.reset();
        loop.emplace();
        installation.emplace(*loop);
        statusItem = item;
        canPlace = true;
        blends = true;
        notified.clear();
        controller.emplace(ownPictures());
        MessageSurroundings surroundings;
        surroundings.statusItemFrame = [this] { return statusItem; };
        surroundings.canPlaceWindows = [this] { return canPlace; };
        surroundings.notifyInstead = [this](const QString &text) { notified.append(text); };
        surroundings.blendsWindows = [this] { return blends; };
        controller->setSurroundings(surroundings);
    }

    void end() override {
        controller.reset();
        QCOMPARE(loop->pendingCount(), 0);
    }

private Q_SLOTS:
    void nothingIsShownAtFirst() {
        QVERIFY(!panel().isVisible());
        QCOMPARE(loop->pendingCount(), 0);
    }

    void fadesInStaysFiveSecondsFadesOut() {
        controller->displayMessage(shortText);
        QVERIFY(panel().isVisible());
        QCOMPARE(panel().text(), shortText);
        QCOMPARE(panel().contentOpacity(), 0.0);
        loop->advance(0.0625);
        QVERIFY(panel().contentOpacity() > 0.3 && panel().contentOpacity() < 0.7);
        loop->advance(0.0625);
        QCOMPARE(panel().contentOpacity(), 1.0);
        loop->advance(4.87);
        QVERIFY(panel().isVisible());
        QCOMPARE(panel().contentOpacity(), 1.0);
        loop->advance(0.07);
        QVERIFY(panel().contentOpacity() < 1);
        QVERIFY(panel().isVisible());
        loop->advance(0.06);
        QVERIFY(!panel().isVisible());
        QCOMPARE(panel().contentOpacity(), 0.0);
    }

    void messageWhileTheItemIsHiddenIsDropped() {
        statusItem.reset();
        controller->displayMessage(shortText);
        QVERIFY(!panel().isVisible());
        QCOMPARE(loop->pendingCount(), 0);
        statusItem = item;
        loop->advance(10);
        QVERIFY(!panel().isVisible());
    }

    void droppedMessageLeavesTheOneBefore() {
        controller->displayMessage(shortText);
        loop->advance(2);
        statusItem.reset();
        controller->displayMessage(longText);
        QCOMPARE(panel().text(), shortText);
        loop->advance(2.9);
        QVERIFY(panel().isVisible());
        loop->advance(0.3);
        QVERIFY(!panel().isVisible());
    }

    void panelHangsFromTheItem() {
        controller->displayMessage(shortText);
        const QSize size = panel().sizeForText(shortText);
        QCOMPARE(size.width(), 226);
        // The item's centre is at 614.5; 614.5 - 113 - 100 = 401.5.
        QCOMPARE(panel().geometry(), QRect(QPoint(401, 22), size));
    }

    void secondMessageMovesAndResizes() {
        controller->displayMessage(shortText);
        loop->advance(2);
        const QRect first = panel().geometry();
        statusItem = item.translated(100, 0);
        controller->displayMessage(longText);
        // Its text is there at once, its frame follows.
        QCOMPARE(panel().text(), longText);
        QCOMPARE(panel().geometry(), first);
        QCOMPARE(panel().contentOpacity(), 1.0);
        loop->advance(0.05);
        // It does not blink.
        QCOMPARE(panel().contentOpacity(), 1.0);
        loop->advance(0.05);
        const QRect between = panel().geometry();
        QVERIFY(between.x() > first.x() && between.x() < first.x() + 100);
        QVERIFY(between.height() > first.height());
        loop->advance(0.1);
        const QSize size = panel().sizeForText(longText);
        QVERIFY(size.height() > first.height());
        QCOMPARE(panel().geometry(), QRect(QPoint(501, 22), size));
    }

    void secondMessageRestartsTheFiveSeconds() {
        controller->displayMessage(shortText);
        loop->advance(2);
        controller->displayMessage(longText);
        loop->advance(4.99);
        QVERIFY(panel().isVisible());
        QCOMPARE(panel().contentOpacity(), 1.0);
        loop->advance(0.15);
        QVERIFY(!panel().isVisible());
    }

    void messageDuringTheFadeOutKeepsThePanel() {
        controller->displayMessage(shortText);
        loop->advance(5.06);
        const qreal faded = panel().contentOpacity();
        QVERIFY(faded > 0 && faded < 1);
        controller->displayMessage(longText);
        // From where it was, not from nothing.
        QCOMPARE(panel().contentOpacity(), faded);
        loop->advance(0.2);
        QVERIFY(panel().isVisible());
        QCOMPARE(panel().contentOpacity(), 1.0);
        loop->advance(4.75);
        QVERIFY(panel().isVisible());
        loop->advance(0.2);
        QVERIFY(!panel().isVisible());
    }

    // At the last frame before the end: what is interrupted does not hide the panel.
    void interruptedFadeOutLeavesThePanel() {
        controller->displayMessage(shortText);
        loop->advance(1);
        controller->close();
        loop->advance(0.12);
        QVERIFY(panel().contentOpacity() < 0.1);
        controller->displayMessage(shortText);
        loop->advance(0.01);
        QVERIFY(panel().isVisible());
        loop->advance(3);
        QVERIFY(panel().isVisible());
    }

    void closeDuringTheFadeInFadesOutFromThere() {
        controller->displayMessage(shortText);
        loop->advance(0.07);
        const qreal reached = panel().contentOpacity();
        controller->close();
        loop->advance(0.03);
        QVERIFY(panel().contentOpacity() < reached);
        QVERIFY(panel().isVisible());
        loop->advance(0.1);
        QVERIFY(!panel().isVisible());
        QCOMPARE(loop->pendingCount(), 0);
    }

    void closeOfAHiddenPanelDoesNothing() {
        controller->close();
        QVERIFY(!panel().isVisible());
        QCOMPARE(loop->pendingCount(), 0);
    }

    void sameMessageTwiceDoesNotMove() {
        controller->displayMessage(shortText);
        loop->advance(1);
        const QRect frame = panel().geometry();
        controller->displayMessage(shortText);
        // The fade and the end of the five seconds.
        QCOMPARE(loop->pendingCount(), 2);
        loop->advance(0.1);
        QCOMPARE(panel().geometry(), frame);
    }

    void movedWhileMoving() {
        controller->displayMessage(shortText);
        loop->advance(1);
        controller->displayMessage(longText);
        loop->advance(0.1);
        controller->displayMessage(shortText);
        loop->advance(0.2);
        QCOMPARE(panel().size(), panel().sizeForText(shortText));
    }

    void shownAgainAfterItWasHidden() {
        controller->displayMessage(shortText);
        loop->advance(10);
        QVERIFY(!panel().isVisible());
        statusItem = item.translated(50, 0);
        controller->displayMessage(longText);
        // At its place at once, and dark.
        QCOMPARE(panel().geometry(), QRect(QPoint(451, 22), panel().sizeForText(longText)));
        QCOMPARE(panel().contentOpacity(), 0.0);
        loop->advance(0.2);
        QCOMPARE(panel().contentOpacity(), 1.0);
    }

    void shownAgainAfterItWasHiddenWhileMoving() {
        controller->displayMessage(shortText);
        loop->advance(1);
        controller->displayMessage(longText);
        controller->close();
        loop->advance(0.13);
        QVERIFY(!panel().isVisible());
        statusItem = item.translated(50, 0);
        controller->displayMessage(shortText);
        const QRect frame(QPoint(451, 22), panel().sizeForText(shortText));
        QCOMPARE(panel().geometry(), frame);
        loop->advance(0.3);
        QCOMPARE(panel().geometry(), frame);
    }

    void noTimerOnceItIsHidden() {
        controller->displayMessage(shortText);
        loop->advance(1);
        // Only the end of the five seconds is waited for.
        QCOMPARE(loop->pendingCount(), 1);
        loop->advance(5);
        QCOMPARE(loop->pendingCount(), 0);
    }

    void textIsInsideTheMargins() {
        controller->displayMessage(longText);
        loop->advance(0.2);
        const QSize size = panel().size();
        const QRect white = boundsOfText(panel());
        QVERIFY(!white.isEmpty());
        // 18 from the left, the right and below; 28 from above, where the tip is.
        QVERIFY(QRect(18, 28, size.width() - 36, size.height() - 46).contains(white));
    }

    void textIsCentredBesideTheTip_data() {
        QTest::addColumn<QRect>("place");
        QTest::addColumn<int>("above"); // what is between the panel's upper edge and the text
        QTest::newRow("tip above") << QRect(700, 0, 24, 24) << 28;
        QTest::newRow("tip below") << QRect(700, 776, 24, 24) << 18;
    }

    void textIsCentredBesideTheTip() {
        QFETCH(QRect, place);
        QFETCH(int, above);
        statusItem = place;
        controller->displayMessage(shortText);
        loop->advance(0.2);
        const int line = panel().height() - 46;
        const QRect white = boundsOfText(panel());
        QVERIFY(std::abs(white.center().x() - panel().width() / 2) <= 2);
        QVERIFY(std::abs(white.center().y() - (above + line / 2)) <= 3);
    }

    void longTextWraps() {
        const QSize one = panel().sizeForText(shortText);
        const QSize several = panel().sizeForText(longText);
        QCOMPARE(one.width(), 226);
        QCOMPARE(several.width(), 226);
        const int line = one.height() - 46;
        QVERIFY(line >= 13 && line <= 22);
        QVERIFY(several.height() >= 46 + 3 * line);
        // Between words, and nothing gets lost.
        controller->displayMessage(longText);
        const QStringList lines = panel().lines();
        QVERIFY(lines.size() >= 3);
        QCOMPARE(lines.join(QString()), longText);
        for (const QString &wrapped : lines.first(lines.size() - 1))
            QVERIFY2(wrapped.endsWith(u' '), qPrintable(wrapped));
        // Where it says so as well.
        QVERIFY(panel().sizeForText(QStringLiteral("a\nb")).height() - one.height() >= 13);
    }

    void wordWithoutEndIsBroken() {
        const int line = panel().sizeForText(shortText).height() - 46;
        const QSize size = panel().sizeForText(QString(100, u'W'));
        QCOMPARE(size.width(), 226);
        QVERIFY(size.height() >= 46 + 5 * line);
    }

    void emptyText() {
        controller->displayMessage({});
        QVERIFY(panel().isVisible());
        QVERIFY(panel().height() >= 46);
        loop->advance(6);
        QVERIFY(!panel().isVisible());
    }

    void withoutAPlaceTheDesktopIsAsked() {
        canPlace = false;
        controller->displayMessage(shortText);
        QVERIFY(!panel().isVisible());
        QCOMPARE(notified, QStringList{shortText});
        QCOMPARE(loop->pendingCount(), 0);
    }

    void hiddenItemDropsBeforeTheDesktopIsAsked() {
        canPlace = false;
        statusItem.reset();
        controller->displayMessage(shortText);
        QVERIFY(notified.isEmpty());
    }

    void withoutSurroundingsItIsDropped() {
        controller->setSurroundings({});
        controller->displayMessage(shortText);
        QVERIFY(!panel().isVisible());
    }

    void outlineWhereNothingIsBlended() {
        controller->displayMessage(shortText);
        QVERIFY(panel().mask().isEmpty());
        blends = false;
        controller->displayMessage(longText);
        loop->advance(0.2);
        const QRegion mask = panel().mask();
        const QSize size = panel().size();
        // Inside, and the tip; not the margins with their shadow, nor what is beside the tip.
        QVERIFY(mask.contains(QPoint(size.width() / 2, size.height() / 2)));
        QVERIFY(mask.contains(QPoint(size.width() - 13, 6)));
        QVERIFY(!mask.contains(QPoint(1, 1)));
        QVERIFY(!mask.contains(QPoint(100, 6)));
        QVERIFY(!mask.contains(QPoint(size.width() / 2, size.height() - 2)));
        blends = true;
        controller->displayMessage(shortText);
        QVERIFY(panel().mask().isEmpty());
    }

    // On dense screens as well, where this runs once more.
    void outlineHoldsSolidPixelsOnly() {
        blends = false;
        controller->displayMessage(longText);
        loop->advance(0.2);
        const QImage image = panel().grab().toImage();
        const qreal ratio = image.devicePixelRatio();
        int pixels = 0;
        for (int y = 0; y < image.height(); ++y) {
            for (int x = 0; x < image.width(); ++x) {
                if (!panel().mask().contains(QPoint(int(x / ratio), int(y / ratio))))
                    continue;
                ++pixels;
                QVERIFY2(qAlpha(image.pixel(x, y)) >= 100,
                         qPrintable(QStringLiteral("%1, %2").arg(x).arg(y)));
            }
        }
        // All but the shadow around it.
        QVERIFY(pixels > 0.7 * image.width() * image.height());
    }

    void looksAsDrawn_data() {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QRect>("place");
        QTest::addColumn<bool>("mirrored");
        QTest::addColumn<bool>("above");
        QTest::newRow("short, upper right") << shortText << QRect(700, 0, 24, 24) << false << false;
        QTest::newRow("long, lower left") << longText << QRect(20, 776, 24, 24) << true << true;
    }

    // Against the same drawn by hand: the background with caps of 54 and 25, the text white, not
    // bold, 13 points, centred in 190, 18 from the left and from below, or from above where the tip
    // is below.
    void looksAsDrawn() {
        QFETCH(QString, text);
        QFETCH(QRect, place);
        QFETCH(bool, mirrored);
        QFETCH(bool, above);
        const qreal ratio = panel().devicePixelRatioF();
        // The screen is the smaller, the denser it is.
        place.moveTo(QPoint(int(place.x() / ratio), int(place.y() / ratio)));
        statusItem = place;
        controller->displayMessage(text);
        loop->advance(0.2);
        const QSize size = panel().size();
        const auto background =
            InterfaceImage::named(ownPictures(), QStringLiteral("message_background"));
        const NinePartImage pieces(flipped(background.forPixelRatio(ratio), mirrored, above), 54,
                                   25);
        const QImage expected = painted(
            size, Qt::transparent,
            [&](QPainter &painter) {
                pieces.draw(painter, {{0, 0}, QSizeF(size)});
                QFont font(QStringLiteral("Lucida Grande"));
                if (QFontInfo(font).family() != font.family())
                    font = QFont();
                font.setPixelSize(13);
                painter.setFont(font);
                painter.setPen(Qt::white);
                const int height = size.height() - 46;
                painter.drawText(QRect(18, above ? 18 : size.height() - 18 - height, 190, height),
                                 Qt::AlignHCenter | Qt::AlignTop | Qt::TextWordWrap, text);
            },
            ratio);
        const QImage image = panel().grab().toImage().convertToFormat(expected.format());
        QCOMPARE(image.devicePixelRatio(), ratio);
        QCOMPARE(image, expected);
    }

    void looksAsDrawnOnADenseScreen_data() {
        QTest::addColumn<QString>("scale");
        for (const char *scale : {"1.5", "2"})
            QTest::newRow(scale) << QString::fromLatin1(scale);
    }

    // A process has one scale.
    void looksAsDrawnOnADenseScreen() {
        QFETCH(QString, scale);
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("QT_SCALE_FACTOR"), scale);
        QProcess again;
        again.setProcessEnvironment(environment);
        again.start(
            QCoreApplication::applicationFilePath(),
            {QStringLiteral("looksAsDrawn"), QStringLiteral("outlineHoldsSolidPixelsOnly")});
        QVERIFY(again.waitForFinished());
        const QByteArray told = again.readAllStandardOutput();
        QVERIFY2(again.exitCode() == 0, told.constData());
        QVERIFY2(told.contains("0 failed, 0 skipped"), told.constData());
    }

    // Over other windows that stay on top.
    void comesToTheFront() {
        class Watch final : public QObject {
        public:
            bool eventFilter(QObject *, QEvent *event) override {
                if (event->type() == QEvent::ZOrderChange || event->type() == QEvent::Show)
                    seen.append(event->type());
                return false;
            }
            QList<QEvent::Type> seen;
        };
        Watch watch;
        panel().installEventFilter(&watch);
        controller->displayMessage(shortText);
        QVERIFY(watch.seen.contains(QEvent::Show));
        QCOMPARE(watch.seen.last(), QEvent::ZOrderChange);
        panel().removeEventFilter(&watch);
    }

    void tipPointsToTheItem_data() {
        QTest::addColumn<QRect>("place");
        QTest::addColumn<QPoint>(
            "tip"); // from the upper left, or, when negative, from the other side
        QTest::newRow("upper right") << QRect(700, 0, 24, 24) << QPoint(-13, 4);
        QTest::newRow("upper left") << QRect(20, 0, 24, 24) << QPoint(12, 4);
        QTest::newRow("lower right") << QRect(700, 776, 24, 24) << QPoint(-13, -5);
        QTest::newRow("lower left") << QRect(20, 776, 24, 24) << QPoint(12, -5);
    }

    // The screen is 1280 by 800.
    void tipPointsToTheItem() {
        QFETCH(QRect, place);
        QFETCH(QPoint, tip);
        statusItem = place;
        controller->displayMessage(longText);
        loop->advance(0.2);
        const QRect frame = panel().geometry();
        const QImage image = panel().grab().toImage();
        QList<QPoint> solid;
        for (const QPoint corner :
             {QPoint(12, 4), QPoint(-13, 4), QPoint(12, -5), QPoint(-13, -5)}) {
            const QPoint at((corner.x() + image.width()) % image.width(),
                            (corner.y() + image.height()) % image.height());
            if (qAlpha(image.pixel(at)) > 200)
                solid.append(corner);
        }
        QCOMPARE(solid, QList<QPoint>{tip});
        // The tip is under or over the middle of the item.
        const int tipX = frame.left() + (tip.x() + frame.width()) % frame.width();
        QVERIFY(std::abs(tipX - place.center().x()) <= 1);
        QCOMPARE(tip.y() > 0 ? frame.top() : frame.bottom() + 1,
                 tip.y() > 0 ? place.bottom() + 1 : place.top());
    }

    void takesNeitherKeyboardNorPointer() {
        const auto flags = panel().windowFlags();
        QVERIFY(flags.testFlag(Qt::WindowDoesNotAcceptFocus));
        QVERIFY(flags.testFlag(Qt::WindowTransparentForInput));
        QVERIFY(flags.testFlag(Qt::WindowStaysOnTopHint));
        QVERIFY(flags.testFlag(Qt::FramelessWindowHint));
        QVERIFY(panel().testAttribute(Qt::WA_ShowWithoutActivating));
        // Hiding it must not end the program.
        QVERIFY(!panel().testAttribute(Qt::WA_QuitOnClose));
    }

    void accessibleNameIsTheText() {
        controller->displayMessage(shortText);
        QCOMPARE(panel().accessibleName(), shortText);
    }

    void sharedControllerIsOne() {
        qputenv("CLIPMULE_RESOURCES", CLIPMULE_RESOURCES);
        auto &shared = ZRKClipmuleMessageController::sharedController();
        QCOMPARE(&ZRKClipmuleMessageController::sharedController(), &shared);
        shared.displayMessage(shortText);
        QVERIFY(!shared.window().isVisible());
    }

    void destructionWhileShown() {
        controller->displayMessage(shortText);
        loop->advance(0.05);
        controller.reset();
        QCOMPARE(loop->pendingCount(), 0);
        loop->advance(10);
    }

private:
    [[nodiscard]] MessagePanel &panel() { return controller->window(); }

    std::optional<ManualRunLoop> loop;
    std::optional<RunLoop::Installation> installation;
    std::optional<ZRKClipmuleMessageController> controller;
    std::optional<QRect> statusItem;
    bool canPlace = true;
    bool blends = true;
    QStringList notified;
};

QTEST_MAIN(MessageControllerTest)
#include "tst_messagecontroller.moc"
