// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "tests/kit/ManualRunLoop.h"
#include "tests/kit/TestCase.h"
#include "tests/ui/FakeSyncStatus.h"
#include "tests/ui/Pictures.h"
#include "ui/ZRKClipmuleDeviceMenuView.h"

#include <QCoreApplication>
#include <QFontInfo>
#include <QMenu>
#include <QProxyStyle>
#include <QStyle>
#include <QTest>
#include <QTranslator>
#include <QWidgetAction>

#include <optional>

using namespace clipmule;
using namespace clipmule::kit;

namespace {

constexpr int backgroundHeight = 40;
const QColor onColor(0, 250, 0);
const QColor offColor(250, 0, 0);
const QColor backgroundColor(0, 0, 100);

// Each row of the background has its own colour: that of its distance from the upper edge.
QImage ruler() {
    QImage image(3, backgroundHeight, QImage::Format_ARGB32);
    for (int y = 0; y < backgroundHeight; ++y) {
        image.setPixelColor(0, y, QColor(0, y, 100));
        image.setPixelColor(1, y, Qt::red);
        image.setPixelColor(2, y, Qt::red);
    }
    return image;
}

QFont headerFont() {
    QFont font(QStringLiteral("Lucida Grande"));
    if (QFontInfo(font).family() != font.family())
        font = QFont();
    font.setPixelSize(14);
    font.setBold(true);
    return font;
}

} // namespace

class DeviceMenuViewTest final : public kit::TestCase {
    Q_OBJECT

    void begin() override {
        installation.reset();
        loop.emplace();
        installation.emplace(*loop);
        status.connected.clear();
        status.registered.clear();
        remake();
    }

    void end() override {
        view.reset();
        QCOMPARE(loop->pendingCount(), 0);
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    }

private Q_SLOTS:
    void initTestCase() {
        pictures.add(QStringLiteral("device_menu_background"), {1, backgroundHeight},
                     backgroundColor);
        pictures.add(QStringLiteral("led_on"), {19, 19}, onColor);
        pictures.add(QStringLiteral("led_off"), {19, 19}, offColor);
    }

    void serverName_data() {
        const QString anna = QStringLiteral("Anna");
        const QString ben = QStringLiteral("Ben");
        const QString eve = QStringLiteral("Eve");
        QTest::addColumn<QStringList>("connected");
        QTest::addColumn<QStringList>("registered");
        QTest::addColumn<QString>("name");
        QTest::newRow("one connected, three registered")
            << QStringList{ben} << QStringList{anna, ben, eve} << ben;
        QTest::newRow("two connected") << QStringList{anna, ben} << QStringList{anna, ben, eve}
                                       << QStringLiteral("2 Devices Connected.");
        QTest::newRow("three connected") << QStringList{anna, ben, eve} << QStringList{}
                                         << QStringLiteral("3 Devices Connected.");
        QTest::newRow("none registered")
            << QStringList{} << QStringList{} << QStringLiteral("No Device Registered.");
        QTest::newRow("one registered") << QStringList{} << QStringList{anna} << anna;
        QTest::newRow("two registered")
            << QStringList{} << QStringList{anna, ben} << QStringLiteral("2 Devices Registered.");
        QTest::newRow("a name with a sign")
            << QStringList{QStringLiteral("%d %1")} << QStringList{} << QStringLiteral("%d %1");
    }

    void serverName() {
        QFETCH(QStringList, connected);
        QFETCH(QStringList, registered);
        status.connected = connected;
        status.registered = registered;
        QTEST(view->serverName(), "name");
    }

    void textsAreTranslated() {
        class Reverser final : public QTranslator {
        public:
            [[nodiscard]] bool isEmpty() const override { return false; }
            [[nodiscard]] QString translate(const char *context, const char *text, const char *,
                                            int) const override {
                return QByteArray(context) == "Clipmule"
                           ? QStringLiteral("<%1>").arg(QString::fromLatin1(text))
                           : QString();
            }
        };
        Reverser reverser;
        QCoreApplication::installTranslator(&reverser);
        QCOMPARE(view->serverName(), QStringLiteral("<No Device Registered.>"));
        status.registered = QStringList{QStringLiteral("a"), QStringLiteral("b")};
        QCOMPARE(view->serverName(), QStringLiteral("<2 Devices Registered.>"));
        status.connected = status.registered;
        QCOMPARE(view->serverName(), QStringLiteral("<2 Devices Connected.>"));
        QCoreApplication::removeTranslator(&reverser);
    }

    void accessibleNameFollows() {
        QCOMPARE(view->accessibleName(), QStringLiteral("No Device Registered."));
        status.connected = QStringList{QStringLiteral("Anna")};
        FakeSyncStatus::announce();
        QCOMPARE(view->accessibleName(), QStringLiteral("Anna"));
    }

    // The agent says that a connection has ended before it lets go of the phone.
    void phoneThatIsForgottenAfterItWasAnnouncedIsNotShown() {
        status.registered = QStringList{QStringLiteral("Anna"), QStringLiteral("Ben")};
        status.connected = QStringList{QStringLiteral("Anna")};
        FakeSyncStatus::announce();
        loop->advance(1);
        QCOMPARE(view->accessibleName(), QStringLiteral("Anna"));
        FakeSyncStatus::announce();
        status.connected.clear();
        loop->advance(0);
        QCOMPARE(view->accessibleName(), QStringLiteral("2 Devices Registered."));
    }

    void frame() { QCOMPARE(view->geometry(), QRect(0, 0, 100, backgroundHeight - 1)); }

    // The picture's column 0 without its five upper rows, over all but the four lowest of the view.
    void backgroundIsStretched() {
        ruler().save(pictures.bundle().path() +
                     QStringLiteral("/images/device_menu_background.png"));
        remake();
        const QImage image = drawn(130);
        for (int y = 0; y < 35; ++y) {
            QCOMPARE(image.pixelColor(0, y), QColor(0, y + 5, 100));
            QCOMPARE(image.pixelColor(129, y), QColor(0, y + 5, 100));
        }
        for (int y = 35; y < 39; ++y)
            QCOMPARE(image.pixelColor(0, y), QColor(Qt::white));
    }

    void topCapIsTheBackgroundsTop() {
        const QImage image = painted({50, 20}, Qt::white, [this](QPainter &painter) {
            view->drawTopCap(painter, {10, 3, 30, 17});
        });
        for (int y = 0; y < 5; ++y) {
            QCOMPARE(image.pixelColor(10, 3 + y), QColor(0, y, 100));
            QCOMPARE(image.pixelColor(39, 3 + y), QColor(0, y, 100));
        }
        QCOMPARE(boundsOfOthers(image, Qt::white), QRect(10, 3, 30, 5));
        pictures.add(QStringLiteral("device_menu_background"), {1, backgroundHeight},
                     backgroundColor);
    }

    void lightLiesInItsFrame() {
        const QImage image = drawn(100);
        // x 74, y 11 from below in a view 39 high.
        const QRect light(74, 9, 19, 19);
        for (const QPoint corner : {light.topLeft(), light.bottomRight()})
            QCOMPARE(image.pixelColor(corner), offColor);
        for (const QPoint outside :
             {light.topLeft() - QPoint(0, 1), light.bottomRight() + QPoint(1, 0)})
            QCOMPARE(image.pixelColor(outside), backgroundColor);
        status.connected = QStringList{QStringLiteral("A")};
        remake();
        QCOMPARE(drawn(100).pixelColor(light.topLeft()), onColor);
    }

    void lightStaysSevenPointsFromTheRight() {
        QCOMPARE(view->lightFrame(QSizeF(100, 39)), QRectF(74, 9, 19, 19));
        QCOMPARE(view->lightFrame(QSizeF(280, 39)).right(), 273.0);
        const QImage image = drawn(280);
        QCOMPARE(image.pixelColor(272, 18), offColor);
        QCOMPARE(image.pixelColor(273, 18), backgroundColor);
    }

    void textLiesInItsRectangle_data() {
        QTest::addColumn<QString>("name");
        QTest::addColumn<int>("width");
        QTest::addColumn<qreal>("ratio");
        const QString shortName = QStringLiteral("Ag|");
        const QString longName = QStringLiteral("A telephone with a name of some length, |||");
        QTest::newRow("short") << shortName << 160 << 1.0;
        QTest::newRow("short, in the narrowest view") << shortName << 100 << 1.0;
        QTest::newRow("short, dense screen") << shortName << 160 << 2.0;
        QTest::newRow("too long") << longName << 160 << 1.0;
        QTest::newRow("too long, dense screen") << longName << 160 << 2.0;
        QTest::newRow("too long for the wider one") << longName << 220 << 1.0;
        QTest::newRow("long, and room for it") << longName << 600 << 1.0;
        QTest::newRow("Greek") << QStringLiteral("Άννα") << 160 << 1.0;
    }

    // Against the same drawn by hand: x 22, y 3 from below in a view 39 high, as wide as from there
    // to the light, 35 high; bold, 14 points; the shadow one point above.
    void textLiesInItsRectangle() {
        QFETCH(QString, name);
        QFETCH(int, width);
        QFETCH(qreal, ratio);
        status.connected = QStringList{name};
        remake();
        const QImage expected = painted(
            {width, backgroundHeight - 1}, Qt::white,
            [&](QPainter &painter) {
                painter.fillRect(0, 0, width, 35,
                                 ratio == 1 ? backgroundColor : backgroundColor.darker());
                painter.setFont(headerFont());
                const QRectF text(22, 1, width - 26 - 22, 35);
                const QString shown =
                    QFontMetrics(headerFont()).elidedText(name, Qt::ElideRight, int(text.width()));
                painter.setPen(QColor::fromRgbF(0.137F, 0.137F, 0.137F));
                painter.drawText(text.translated(0, -1), Qt::AlignLeft | Qt::AlignVCenter, shown);
                painter.setPen(QColor::fromRgbF(0.627F, 0.627F, 0.627F));
                painter.drawText(text, Qt::AlignLeft | Qt::AlignVCenter, shown);
                painter.fillRect(width - 26, 9, 19, 19, ratio == 1 ? onColor : onColor.darker());
            },
            ratio);
        const QImage image = drawn(width, ratio);
        // There is a text at all.
        const QImage beside = image.copy(0, 0, int((width - 27) * ratio), int(35 * ratio));
        QVERIFY(boundsOfOthers(beside, ratio == 1 ? backgroundColor : backgroundColor.darker())
                    .width() > 5);
        QCOMPARE(image, expected);
    }

    void textGetsTheExtraWidth() {
        const auto text = [this](int width) {
            return boundsOfOthers(drawn(width).copy(0, 0, width - 26, 35), backgroundColor);
        };
        status.connected = QStringList{QStringLiteral("A telephone with a name of some length")};
        const QRect narrow = text(160);
        const QRect wide = text(600);
        QVERIFY(narrow.left() >= 22);
        // Cut before the light, not by it.
        QVERIFY(narrow.right() < 134);
        QVERIFY(narrow.right() > 100);
        QVERIFY(wide.width() > 2 * narrow.width());
    }

    // Hebrew runs to the left: what is cut is its left end, and the dots are there.
    void nameOfTheOtherDirectionEndsWhereItsScriptDoes() {
        const QString name(40, QChar(0x05d5)); // a letter like a thin upright stroke
        status.connected = QStringList{name};
        const QImage image = drawn(160).copy(22, 0, 112, 35);
        const auto heightAt = [&](int from, int to) {
            QRect bounds;
            for (int x = from; x < to; ++x) {
                for (int y = 0; y < image.height(); ++y) {
                    if (image.pixelColor(x, y) != backgroundColor)
                        bounds |= QRect(x, y, 1, 1);
                }
            }
            return bounds.height();
        };
        const QRect all = boundsOfOthers(image, backgroundColor);
        const int leftEnd = heightAt(all.left(), all.left() + 5);
        const int rightEnd = heightAt(all.right() - 4, all.right() + 1);
        QVERIFY2(leftEnd < rightEnd,
                 qPrintable(QStringLiteral("%1 %2").arg(leftEnd).arg(rightEnd)));
    }

    void theMenusDirectionDoesNotMoveTheName() {
        status.connected = QStringList{QStringLiteral("Anna")};
        const QImage image = drawn(200);
        const QImage reversed =
            painted({200, backgroundHeight - 1}, Qt::white, [&](QPainter &painter) {
                painter.setLayoutDirection(Qt::RightToLeft);
                view->drawRect(painter, {0, 0, 200, backgroundHeight - 1});
            });
        QCOMPARE(reversed, image);
    }

    void endlessNameIsCut_data() {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("shown");
        const auto letters = [](int count) { return QString(count, u'a'); };
        QTest::newRow("one below") << letters(63) << letters(63);
        QTest::newRow("as long as may be") << letters(64) << letters(64);
        QTest::newRow("one more") << letters(65) << letters(64) + QStringLiteral("… (65)");
        QTest::newRow("of 64 KiB") << letters(65536) << letters(64) + QStringLiteral("… (65536)");
        QTest::newRow("turns the order")
            << QStringLiteral("A\u202eB") << QStringLiteral("A\\u202eB");
        QTest::newRow("a terminal's") << QStringLiteral("A\u009bB") << QStringLiteral("A\\x9bB");
    }

    void endlessNameIsCut() {
        QFETCH(QString, name);
        QFETCH(QString, shown);
        status.connected = QStringList{name};
        FakeSyncStatus::announce();
        QCOMPARE(view->shownName(), shown);
        QCOMPARE(view->accessibleName(), shown);
        QCOMPARE(view->serverName(), name);
        const QImage image = drawn(1200);
        status.connected = QStringList{shown};
        QVERIFY(drawn(1200) == image || name.size() > 64);
        loop->advance(1);
    }

    void foreignNameIsOneLine() {
        status.connected = QStringList{QStringLiteral("A\nB\tC")};
        const QImage name = drawn(300);
        status.connected = QStringList{QStringLiteral("A B C")};
        QCOMPARE(name, drawn(300));
    }

    void lightIsAsTheConnectionAtStart() {
        QCOMPARE(view->lightOnOpacity(), 0.0);
        status.connected = QStringList{QStringLiteral("A")};
        remake();
        QCOMPARE(view->lightOnOpacity(), 1.0);
        QCOMPARE(loop->pendingCount(), 0);
    }

    void lightFadesIn() {
        status.connected = QStringList{QStringLiteral("A")};
        FakeSyncStatus::announce();
        QCOMPARE(view->lightOnOpacity(), 0.0);
        loop->advance(0.125);
        QVERIFY(std::abs(view->lightOnOpacity() - 0.5) < 0.1);
        const QColor between = drawn(100).pixelColor(80, 18);
        QVERIFY(between.red() > 60 && between.green() > 60);
        loop->advance(0.125);
        QCOMPARE(view->lightOnOpacity(), 1.0);
        QCOMPARE(loop->pendingCount(), 0);
    }

    void lightFadesOut() {
        status.connected = QStringList{QStringLiteral("A")};
        remake();
        status.connected.clear();
        FakeSyncStatus::announce();
        loop->advance(0.3);
        QCOMPARE(view->lightOnOpacity(), 0.0);
    }

    void fadeTurnsRoundWhereItIs() {
        status.connected = QStringList{QStringLiteral("A")};
        FakeSyncStatus::announce();
        loop->advance(0.125);
        const qreal reached = view->lightOnOpacity();
        status.connected.clear();
        FakeSyncStatus::announce();
        QCOMPARE(view->lightOnOpacity(), reached);
        loop->advance(0.02);
        QVERIFY(view->lightOnOpacity() < reached);
        loop->advance(0.25);
        QCOMPARE(view->lightOnOpacity(), 0.0);
    }

    void connectionLostBeforeTheFadeBegan() {
        status.connected = QStringList{QStringLiteral("A")};
        FakeSyncStatus::announce();
        status.connected.clear();
        FakeSyncStatus::announce();
        loop->advance(0);
        QCOMPARE(loop->pendingCount(), 0);
        loop->advance(1);
        QCOMPARE(view->lightOnOpacity(), 0.0);
    }

    void nothingMovesWithoutAChange() {
        FakeSyncStatus::announce();
        loop->advance(0);
        QCOMPARE(loop->pendingCount(), 0);
    }

    void observersAreRemoved() {
        view.reset();
        status.connected = QStringList{QStringLiteral("A")};
        FakeSyncStatus::announce();
        QCOMPARE(loop->pendingCount(), 0);
    }

    void defaultsChangeRedraws() {
        status.registered = QStringList{QStringLiteral("Anna")};
        ZRKNotificationCenter::platformDefault().postNotificationName(
            QStringLiteral("ZRKUserDefaultsDidChangeNotification"));
        QCOMPARE(view->accessibleName(), QStringLiteral("Anna"));
        loop->advance(0);
        QCOMPARE(loop->pendingCount(), 0);
    }

    void menuWidensTheView() {
        QMenu menu;
        menu.addAction(
            QStringLiteral("An entry that is much wider than a hundred points, so to say"));
        QWidgetAction action(&menu);
        // The action owns its widget.
        auto *const header = new ZRKClipmuleDeviceMenuView(status, pictures.bundle());
        action.setDefaultWidget(header);
        menu.insertAction(menu.actions().first(), &action);
        menu.popup({0, 0});
        QVERIFY(menu.width() > 250);
        QVERIFY(header->width() >= menu.width() - 20);
        QCOMPARE(header->height(), backgroundHeight - 1);
        menu.hide();

        QWidget window;
        window.resize(333, 50);
        header->viewWillMoveToWindow(&window);
        QCOMPARE(header->size(), QSize(333, backgroundHeight - 1));
        header->viewWillMoveToWindow(nullptr);
        QCOMPARE(header->width(), 333);
    }

    // In the menu the picture is whole: its five upper rows, and the others right below them.
    void headerBeginsBelowTheTopCap() {
        ruler().save(pictures.bundle().path() +
                     QStringLiteral("/images/device_menu_background.png"));
        QMenu menu;
        QWidgetAction action(&menu);
        auto *const header = new ZRKClipmuleDeviceMenuView(status, pictures.bundle());
        action.setDefaultWidget(header);
        menu.addAction(&action);
        menu.addAction(
            QStringLiteral("An entry that is much wider than a hundred points, so to say"));
        menu.popup({0, 0});
        const QImage image = menu.grab().toImage();
        menu.hide();
        pictures.add(QStringLiteral("device_menu_background"), {1, backgroundHeight},
                     backgroundColor);
        const int frame = menu.style()->pixelMetric(QStyle::PM_MenuPanelWidth, nullptr, &menu);
        for (int y = 0; y < 30; ++y)
            QCOMPARE(image.pixelColor(frame + 8, frame + y), QColor(0, y, 100));
        for (const int x : {frame, image.width() - 1 - frame}) {
            for (int y = 0; y < 5; ++y)
                QCOMPARE(image.pixelColor(x, frame + y), QColor(0, y, 100));
        }
    }

    // Also where the header is not the first, and when the window changes its width.
    void topCapFollowsTheWindow() {
        class FramedStyle final : public QProxyStyle {
        public:
            int pixelMetric(PixelMetric metric, const QStyleOption *option,
                            const QWidget *widget) const override {
                return metric == PM_MenuPanelWidth
                           ? 3
                           : QProxyStyle::pixelMetric(metric, option, widget);
            }
        };
        FramedStyle style;
        QWidget window;
        window.setStyle(&style);
        window.resize(200, 120);
        auto *const header = new ZRKClipmuleDeviceMenuView(status, pictures.bundle());
        header->setParent(&window);
        header->move(0, 60);
        window.show();
        const auto capIn = [&window] {
            const QImage image = window.grab().toImage();
            QRect cap;
            for (int y = 0; y < 30; ++y) {
                for (int x = 0; x < image.width(); ++x) {
                    if (image.pixelColor(x, y) == backgroundColor)
                        cap |= QRect(x, y, 1, 1);
                }
            }
            return cap;
        };
        QCOMPARE(capIn(), QRect(3, 3, 194, 5));
        window.resize(350, 120);
        QCOMPARE(capIn(), QRect(3, 3, 344, 5));
    }

    // The cap that it had before is not yet deleted.
    void viewMayComeBackToTheMenuAtOnce() {
        QWidget window;
        window.resize(200, 50);
        view->viewWillMoveToWindow(&window);
        view->viewWillMoveToWindow(nullptr);
        view->viewWillMoveToWindow(&window);
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        const auto caps = window.findChildren<QWidget *>();
        QCOMPARE(caps.size(), 1);
        QVERIFY(!caps.first()->isHidden());
    }

    void viewMayDieBeforeTheMenu() {
        QWidget window;
        window.resize(200, 50);
        view->viewWillMoveToWindow(&window);
        QCOMPARE(window.findChildren<QWidget *>().size(), 1);
        const auto *const cap = window.findChild<QWidget *>();
        QVERIFY(!cap->isHidden());
        view.reset();
        // It is deleted later, and must not be painted until then.
        QVERIFY(cap->isHidden());
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        QCOMPARE(window.findChildren<QWidget *>().size(), 0);
    }

    void denseScreen() {
        const QImage image = drawn(100, 2);
        QCOMPARE(image.pixel(0, 0), backgroundColor.darker().rgb());
        QCOMPARE(image.pixel(2 * 74, 2 * 9), offColor.darker().rgb());
        QCOMPARE(image.pixel(2 * 74 - 1, 2 * 9), backgroundColor.darker().rgb());
    }

private:
    void remake() { view.emplace(status, pictures.bundle()); }
    [[nodiscard]] QImage drawn(int width, qreal ratio = 1) const {
        const QSize size(width, backgroundHeight - 1);
        return painted(
            size, Qt::white,
            [&](QPainter &painter) {
                view->drawRect(painter, {{0, 0}, QSizeF(size)});
            },
            ratio);
    }

    PlainPictures pictures;
    FakeSyncStatus status;
    std::optional<ManualRunLoop> loop;
    std::optional<RunLoop::Installation> installation;
    std::optional<ZRKClipmuleDeviceMenuView> view;
};

QTEST_MAIN(DeviceMenuViewTest)
#include "tst_devicemenuview.moc"
