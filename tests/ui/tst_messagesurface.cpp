// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/tray/MessageSurface.h"
#include "tests/kit/ManualRunLoop.h"
#include "tests/kit/TestCase.h"
#include "tests/ui/Pictures.h"
#include "ui/MessagePanel.h"
#include "ui/ZRKClipmuleMessageController.h"

#include <QTest>

#include <optional>

using namespace clipmule;
using namespace clipmule::kit;

namespace {

const QString shortText = QStringLiteral("Short.");
const QString longText = QStringLiteral(
    "A message of so many words that it does not find room on one line, nor on two of them, but "
    "wraps within the width that it has.");

/// Draws at once, as long as it can.
class FakeSurface final : public MessageSurface {
public:
    [[nodiscard]] bool show(QSize points) override {
        isShown = canShow;
        sizes.append(points);
        if (isShown)
            picture = onDraw(ratio);
        return isShown;
    }
    void hide() override {
        isShown = false;
        ++hides;
    }

    bool canShow = true;
    bool isShown = false;
    int ratio = 1;
    int hides = 0;
    QList<QSize> sizes;
    QImage picture;
};

int strongestAlpha(const QImage &image) {
    int strongest = 0;
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x)
            strongest = std::max(strongest, qAlpha(image.pixel(x, y)));
    }
    return strongest;
}

} // namespace

class MessageSurfaceTest final : public kit::TestCase {
    Q_OBJECT

    void begin() override {
        _installation.reset();
        _loop.emplace();
        _installation.emplace(*_loop);
        _surface.emplace();
        _notified.clear();
        _hasItem = true;
        _controller.emplace(ownPictures());
        _controller->setSurroundings(
            {.statusItemFrame = [this]() -> std::optional<QRect> {
                 return _hasItem ? std::optional(QRect(0, 700, 29, 22)) : std::nullopt;
             },
             .surface = &*_surface,
             .canPlaceWindows = [] { return false; },
             .notifyInstead = [this](const QString &text) { _notified.append(text); },
             .blendsWindows = [] { return false; }});
    }
    void end() override {
        // In no case there was a window.
        QVERIFY(!panel().isVisible());
        QVERIFY(!panel().windowHandle());
        _controller->setSurroundings({});
        _controller.reset();
        QCOMPARE(_loop->pendingCount(), 0);
    }

private Q_SLOTS:
    void fadesInStaysFiveSecondsFadesOut() {
        _controller->displayMessage(shortText);
        QVERIFY(_surface->isShown);
        QCOMPARE(strongestAlpha(_surface->picture), 0);
        _loop->advance(0.0625);
        const int halfway = strongestAlpha(_surface->picture);
        QVERIFY2(halfway > 70 && halfway < 190, qPrintable(QString::number(halfway)));
        _loop->advance(0.0625);
        QCOMPARE(strongestAlpha(_surface->picture), 255);
        // Nothing is drawn while nothing moves.
        const qsizetype drawn = _surface->sizes.size();
        _loop->advance(4.87);
        QCOMPARE(_surface->sizes.size(), drawn);
        _loop->advance(0.07);
        QVERIFY(strongestAlpha(_surface->picture) < 255);
        QVERIFY(_surface->isShown);
        _loop->advance(0.06);
        QVERIFY(!_surface->isShown);
        QCOMPARE(_surface->hides, 1);
        QCOMPARE(_notified, QStringList());
    }

    // The same as in a window under an item at the upper edge, whatever the item's own place.
    void itLooksLikeTheWindow() {
        for (const int ratio : {1, 2}) {
            begin();
            _surface->ratio = ratio;
            _controller->displayMessage(longText);
            _loop->advance(0.2);
            MessagePanel window(ownPictures());
            window.setText(longText);
            window.resize(window.sizeForText(longText));
            window.pointTo({.frame = window.rect()});
            const QImage wanted =
                ratio == 1 ? window.grab().toImage().convertToFormat(_surface->picture.format())
                           : window.picture(ratio);
            QCOMPARE(_surface->picture.size(), window.size() * ratio);
            QCOMPARE(_surface->picture, wanted);
            QCOMPARE(_surface->picture.devicePixelRatio(), qreal(ratio));
            _controller->close();
            _loop->advance(1);
        }
    }

    void aDensePictureIsMadeOfDenseOnes() {
        PlainPictures pictures;
        pictures.add(QStringLiteral("message_background"), {112, 60}, Qt::red);
        MessagePanel window(pictures.bundle());
        window.resize(226, 80);
        window.pointTo({.frame = window.rect()});
        QCOMPARE(window.picture(1).pixel(100, 40), 0xffff0000);
        QCOMPARE(window.picture(2).pixel(200, 80), 0xff7f0000);
        QCOMPARE(window.picture(2).size(), QSize(452, 160));
        QCOMPARE(window.picture(1).pixel(100, 40), 0xffff0000);
    }

    void aPictureLeavesTheWindowAsItIs() {
        MessagePanel window(ownPictures());
        window.resize(226, 80);
        window.pointTo({.frame = window.rect()});
        window.setContentOpacity(0.5);
        const QImage picture = window.picture(1);
        const int alpha = qAlpha(picture.pixel(113, 40));
        QVERIFY2(alpha > 110 && alpha < 130, qPrintable(QString::number(alpha)));
        // The effect rounds in another way.
        QVERIFY(std::abs(qAlpha(window.grab().toImage().pixel(113, 40)) - alpha) <= 2);
    }

    void secondMessageResizesAndRestartsTheFiveSeconds() {
        _controller->displayMessage(shortText);
        _loop->advance(2);
        const QSize first = _surface->sizes.constLast();
        QCOMPARE(first, panel().sizeForText(shortText));
        _controller->displayMessage(longText);
        QCOMPARE(_surface->sizes.constLast(), first);
        _loop->advance(0.1);
        const QSize last = panel().sizeForText(longText);
        const QSize between = _surface->sizes.constLast();
        QVERIFY(between.height() > first.height() && between.height() < last.height());
        QCOMPARE(strongestAlpha(_surface->picture), 255);
        _loop->advance(0.1);
        QCOMPARE(_surface->sizes.constLast(), last);
        QCOMPARE(_surface->picture.size(), last);
        _loop->advance(4.79);
        QVERIFY(_surface->isShown);
        _loop->advance(0.2);
        QVERIFY(!_surface->isShown);
    }

    // Another text of the same size is drawn at once.
    void anotherTextOfTheSameSizeIsDrawn() {
        _controller->displayMessage(QStringLiteral("iiii"));
        _loop->advance(2);
        const QImage before = _surface->picture;
        _controller->displayMessage(QStringLiteral("WWWW"));
        QCOMPARE(_surface->picture.size(), before.size());
        QVERIFY(_surface->picture != before);
    }

    void whoCannotShowItNotifies() {
        _surface->canShow = false;
        _controller->displayMessage(shortText);
        QCOMPARE(_notified, QStringList{shortText});
        QCOMPARE(_loop->pendingCount(), 0);
        // The next one may be shown again.
        _surface->canShow = true;
        _controller->displayMessage(longText);
        QVERIFY(_surface->isShown);
        QCOMPARE(_notified.size(), 1);
    }

    void whatIsRefusedLaterIsNotified() {
        _controller->displayMessage(shortText);
        _loop->advance(0.05);
        _surface->onClosed(false);
        QCOMPARE(_notified, QStringList{shortText});
        QCOMPARE(_loop->pendingCount(), 0);
        QVERIFY(!_surface->isShown);
    }

    void whatIsTakenAwayWasSeen() {
        _controller->displayMessage(shortText);
        _loop->advance(2);
        _controller->displayMessage(longText);
        _loop->advance(0.05);
        const qsizetype drawn = _surface->sizes.size();
        _surface->onClosed(true);
        QCOMPARE(_loop->pendingCount(), 0);
        _loop->advance(10);
        QCOMPARE(_surface->sizes.size(), drawn);
        QCOMPARE(_notified, QStringList());
        _controller->displayMessage(shortText);
        QVERIFY(_surface->isShown);
        QCOMPARE(_surface->sizes.constLast(), panel().sizeForText(shortText));
        QCOMPARE(strongestAlpha(_surface->picture), 0);
    }

    void itMayBeWithdrawnWhileItMoves() {
        _controller->displayMessage(shortText);
        _loop->advance(0.05);
        _surface->canShow = false;
        _loop->advance(0.05);
        QCOMPARE(_notified, QStringList{shortText});
        QCOMPARE(_loop->pendingCount(), 0);
        _loop->advance(10);
        QCOMPARE(_notified.size(), 1);
    }

    void messageWhileTheItemIsHiddenIsDropped() {
        _hasItem = false;
        _controller->displayMessage(shortText);
        QVERIFY(!_surface->isShown);
        QCOMPARE(_notified, QStringList());
    }

    void withoutSurroundingsNothingIsLeft() {
        _controller->displayMessage(shortText);
        _loop->advance(1);
        _controller->setSurroundings({});
        QVERIFY(!_surface->isShown);
        _controller->close();
        _loop->advance(10);
    }

    void textsAreBounded_data() {
        QTest::addColumn<int>("length");
        QTest::addColumn<QString>("end");
        QTest::newRow("below") << 999 << QStringLiteral("xx");
        QTest::newRow("at") << 1000 << QStringLiteral("xx");
        QTest::newRow("above") << 1001 << QStringLiteral("x…");
        QTest::newRow("far above") << 10000000 << QStringLiteral("x…");
    }
    void textsAreBounded() {
        QFETCH(int, length);
        QFETCH(QString, end);
        _controller->displayMessage(QString(length, u'x'));
        QCOMPARE(panel().text().size(), std::min(length, 1000));
        QCOMPARE(panel().text().right(2), end);
    }

private:
    MessagePanel &panel() { return _controller->window(); }

    std::optional<ManualRunLoop> _loop;
    std::optional<RunLoop::Installation> _installation;
    std::optional<FakeSurface> _surface;
    std::optional<ZRKClipmuleMessageController> _controller;
    QStringList _notified;
    bool _hasItem = true;
};

QTEST_MAIN(MessageSurfaceTest)
#include "tst_messagesurface.moc"
