// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "tests/kit/ManualRunLoop.h"
#include "tests/kit/TestCase.h"
#include "tests/ui/Pictures.h"
#include "ui/InterfaceImage.h"
#include "ui/MessagePanel.h"
#include "ui/ZRKClipmuleMessageController.h"

#include <QGuiApplication>
#include <QScreen>
#include <QTest>

#include <algorithm>
#include <optional>

using namespace clipmule;
using namespace clipmule::kit;

// With the screens of two-screens.json; the one on the right is denser, and the first.
class MessageScreensTest final : public kit::TestCase {
    Q_OBJECT

    void begin() override {
        _controller.emplace(ownPictures());
        // Showing a window that stays on top, and bringing it to the front.
        for (int count = 0; count < 2; ++count)
            QTest::ignoreMessage(QtWarningMsg, "This plugin does not support raise()");
    }

private Q_SLOTS:
    void thePanelBelongsToTheScreenOfTheItem_data() {
        QTest::addColumn<QRect>("item");
        QTest::addColumn<qreal>("ratio");
        QTest::newRow("normal") << QRect(1240, 0, 24, 24) << 1.0;
        QTest::newRow("denser, at its left edge") << QRect(1290, 0, 24, 24) << 2.0;
        QTest::newRow("denser") << QRect(2500, 0, 24, 24) << 2.0;
        // As a tray may say that does not know better.
        QTest::newRow("none") << QRect(-1000, 0, 24, 24) << 2.0;
    }
    void thePanelBelongsToTheScreenOfTheItem() {
        QFETCH(QRect, item);
        QFETCH(qreal, ratio);
        const QList<QScreen *> screens = QGuiApplication::screens();
        QCOMPARE(screens.size(), 2);
        QCOMPARE(QGuiApplication::primaryScreen()->devicePixelRatio(), 2.0);
        show(item);
        const auto screen = std::find_if(screens.begin(), screens.end(), [&](const QScreen *each) {
            return each->geometry().contains(panel().geometry());
        });
        QVERIFY(screen != screens.end());
        QCOMPARE((*screen)->devicePixelRatio(), ratio);
        const auto *const view = panel().findChild<ZRKStretchableImageView *>();
        QVERIFY(view);
        QCOMPARE(view->image().devicePixelRatio(), ratio);
    }

    void theWholePanelFades() {
        const auto alpha = [this] {
            const QImage image = panel().grab().toImage();
            return qAlpha(image.pixel(image.rect().center()));
        };
        show({700, 0, 24, 24});
        const int whole = alpha();
        QVERIFY(whole > 200);
        _controller->close();
        _loop.advance(0.0625);
        const int half = alpha();
        QVERIFY(half > 0.3 * whole && half < 0.7 * whole);
    }

private:
    [[nodiscard]] MessagePanel &panel() { return _controller->window(); }
    void show(const QRect &item) {
        MessageSurroundings surroundings;
        surroundings.statusItemFrame = [item] { return item; };
        _controller->setSurroundings(surroundings);
        _controller->displayMessage(QStringLiteral("Short."));
        _loop.advance(0.2);
    }

    kit::ManualRunLoop _loop;
    RunLoop::Installation _installation{_loop};
    std::optional<ZRKClipmuleMessageController> _controller;
};

QTEST_MAIN(MessageScreensTest)
#include "tst_messagescreens.moc"
