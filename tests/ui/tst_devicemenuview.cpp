// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "tests/kit/ManualRunLoop.h"
#include "tests/ui/FakeSyncStatus.h"
#include "tests/ui/Pictures.h"
#include "ui/ZRKClipmuleDeviceMenuView.h"

#include <QCoreApplication>
#include <QMenu>
#include <QRegularExpression>
#include <QStyle>
#include <QTest>
#include <QTranslator>
#include <QWidgetAction>

#include <optional>

using namespace clipmule;
using clipmule::kit::ManualRunLoop;

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

} // namespace

class DeviceMenuViewTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();

    void serverName_data();
    void serverName();
    void textsAreTranslated();
    void accessibleNameFollows();

    void frame();
    void backgroundIsStretched();
    void topCapIsTheBackgroundsTop();
    void lightLiesInItsFrame();
    void lightStaysSevenPointsFromTheRight();
    void textGetsTheExtraWidth();
    void textHasColourAndShadow();
    void foreignNameIsOneLine();

    void lightIsAsTheConnectionAtStart();
    void lightFadesIn();
    void lightFadesOut();
    void fadeTurnsRoundWhereItIs();
    void connectionLostBeforeTheFadeBegan();
    void nothingMovesWithoutAChange();
    void observersAreRemoved();
    void defaultsChangeRedraws();

    void menuWidensTheView();
    void topCapLiesOverTheMenusUpperEdge();
    void viewMayDieBeforeTheMenu();
    void denseScreen();

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

void DeviceMenuViewTest::initTestCase() {
    pictures.add(QStringLiteral("device_menu_background"), {1, backgroundHeight}, backgroundColor);
    pictures.add(QStringLiteral("led_on"), {19, 19}, onColor);
    pictures.add(QStringLiteral("led_off"), {19, 19}, offColor);
}

void DeviceMenuViewTest::init() {
    QTest::failOnWarning(QRegularExpression(QStringLiteral(".*")));
    installation.reset();
    loop.emplace();
    installation.emplace(*loop);
    status.connected.clear();
    status.registered.clear();
    remake();
}

void DeviceMenuViewTest::cleanup() {
    view.reset();
    QCOMPARE(loop->pendingCount(), 0);
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}

void DeviceMenuViewTest::serverName_data() {
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
    QTest::newRow("three connected")
        << QStringList{anna, ben, eve} << QStringList{} << QStringLiteral("3 Devices Connected.");
    QTest::newRow("none registered")
        << QStringList{} << QStringList{} << QStringLiteral("No Device Registered.");
    QTest::newRow("one registered") << QStringList{} << QStringList{anna} << anna;
    QTest::newRow("two registered")
        << QStringList{} << QStringList{anna, ben} << QStringLiteral("2 Devices Registered.");
    QTest::newRow("a name with a sign")
        << QStringList{QStringLiteral("%d %1")} << QStringList{} << QStringLiteral("%d %1");
}

void DeviceMenuViewTest::serverName() {
    QFETCH(QStringList, connected);
    QFETCH(QStringList, registered);
    status.connected = connected;
    status.registered = registered;
    QTEST(view->serverName(), "name");
}

void DeviceMenuViewTest::textsAreTranslated() {
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

void DeviceMenuViewTest::accessibleNameFollows() {
    QCOMPARE(view->accessibleName(), QStringLiteral("No Device Registered."));
    status.connected = QStringList{QStringLiteral("Anna")};
    FakeSyncStatus::announce();
    QCOMPARE(view->accessibleName(), QStringLiteral("Anna"));
}

void DeviceMenuViewTest::frame() {
    QCOMPARE(view->geometry(), QRect(0, 0, 100, backgroundHeight - 1));
}

// The picture's column 0 without its five upper rows, over all but the four lowest of the view.
void DeviceMenuViewTest::backgroundIsStretched() {
    ruler().save(pictures.bundle().path() + QStringLiteral("/images/device_menu_background.png"));
    remake();
    const QImage image = drawn(130);
    for (int y = 0; y < 35; ++y) {
        QCOMPARE(image.pixelColor(0, y), QColor(0, y + 5, 100));
        QCOMPARE(image.pixelColor(129, y), QColor(0, y + 5, 100));
    }
    for (int y = 35; y < 39; ++y)
        QCOMPARE(image.pixelColor(0, y), QColor(Qt::white));
}

void DeviceMenuViewTest::topCapIsTheBackgroundsTop() {
    const QImage image = painted({50, 20}, Qt::white, [this](QPainter &painter) {
        view->drawTopCap(painter, {10, 3, 30, 17});
    });
    for (int y = 0; y < 5; ++y) {
        QCOMPARE(image.pixelColor(10, 3 + y), QColor(0, y, 100));
        QCOMPARE(image.pixelColor(39, 3 + y), QColor(0, y, 100));
    }
    QCOMPARE(boundsOfOthers(image, Qt::white), QRect(10, 3, 30, 5));
    pictures.add(QStringLiteral("device_menu_background"), {1, backgroundHeight}, backgroundColor);
}

void DeviceMenuViewTest::lightLiesInItsFrame() {
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

void DeviceMenuViewTest::lightStaysSevenPointsFromTheRight() {
    QCOMPARE(view->lightFrame(QSizeF(100, 39)), QRectF(74, 9, 19, 19));
    QCOMPARE(view->lightFrame(QSizeF(280, 39)).right(), 273.0);
    const QImage image = drawn(280);
    QCOMPARE(image.pixelColor(272, 18), offColor);
    QCOMPARE(image.pixelColor(273, 18), backgroundColor);
}

void DeviceMenuViewTest::textGetsTheExtraWidth() {
    const auto widthOfText = [this](int width) {
        QImage image = drawn(width);
        // The light aside.
        image = image.copy(0, 0, width - 27, 35);
        return boundsOfOthers(image, backgroundColor);
    };
    status.connected = QStringList{QStringLiteral("A telephone with a name of some length")};
    const QRect narrow = widthOfText(160);
    const QRect wide = widthOfText(600);
    QVERIFY(narrow.left() >= 22);
    QVERIFY(narrow.right() < 134);
    QVERIFY(wide.width() > 2 * narrow.width());
}

void DeviceMenuViewTest::textHasColourAndShadow() {
    status.connected = QStringList{QStringLiteral("|||")};
    const QImage image = drawn(200).copy(0, 0, 173, 35);
    QRect text;
    QRect shadow;
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            // 0.627 and 0.137 of white.
            if (image.pixelColor(x, y) == QColor(160, 160, 160))
                text |= QRect(x, y, 1, 1);
            if (image.pixelColor(x, y) == QColor(35, 35, 35))
                shadow |= QRect(x, y, 1, 1);
        }
    }
    QVERIFY(!text.isEmpty());
    // One point above the text; below that the text covers it.
    QCOMPARE(shadow.top(), text.top() - 1);
    // On one line with the light.
    QVERIFY(std::abs(text.center().y() - 18) <= 2);
}

void DeviceMenuViewTest::foreignNameIsOneLine() {
    status.connected = QStringList{QStringLiteral("A\nB\tC")};
    const QImage name = drawn(300);
    status.connected = QStringList{QStringLiteral("A B C")};
    QCOMPARE(name, drawn(300));
}

void DeviceMenuViewTest::lightIsAsTheConnectionAtStart() {
    QCOMPARE(view->lightOnOpacity(), 0.0);
    status.connected = QStringList{QStringLiteral("A")};
    remake();
    QCOMPARE(view->lightOnOpacity(), 1.0);
    QCOMPARE(loop->pendingCount(), 0);
}

void DeviceMenuViewTest::lightFadesIn() {
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

void DeviceMenuViewTest::lightFadesOut() {
    status.connected = QStringList{QStringLiteral("A")};
    remake();
    status.connected.clear();
    FakeSyncStatus::announce();
    loop->advance(0.3);
    QCOMPARE(view->lightOnOpacity(), 0.0);
}

void DeviceMenuViewTest::fadeTurnsRoundWhereItIs() {
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

void DeviceMenuViewTest::connectionLostBeforeTheFadeBegan() {
    status.connected = QStringList{QStringLiteral("A")};
    FakeSyncStatus::announce();
    status.connected.clear();
    FakeSyncStatus::announce();
    QCOMPARE(loop->pendingCount(), 0);
    loop->advance(1);
    QCOMPARE(view->lightOnOpacity(), 0.0);
}

void DeviceMenuViewTest::nothingMovesWithoutAChange() {
    FakeSyncStatus::announce();
    QCOMPARE(loop->pendingCount(), 0);
}

void DeviceMenuViewTest::observersAreRemoved() {
    view.reset();
    status.connected = QStringList{QStringLiteral("A")};
    FakeSyncStatus::announce();
    QCOMPARE(loop->pendingCount(), 0);
}

void DeviceMenuViewTest::defaultsChangeRedraws() {
    status.registered = QStringList{QStringLiteral("Anna")};
    ZRKNotificationCenter::platformDefault().postNotificationName(
        QStringLiteral("ZRKUserDefaultsDidChangeNotification"));
    QCOMPARE(view->accessibleName(), QStringLiteral("Anna"));
    QCOMPARE(loop->pendingCount(), 0);
}

void DeviceMenuViewTest::menuWidensTheView() {
    QMenu menu;
    menu.addAction(QStringLiteral("An entry that is much wider than a hundred points, so to say"));
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

void DeviceMenuViewTest::topCapLiesOverTheMenusUpperEdge() {
    QMenu menu;
    QWidgetAction action(&menu);
    auto *const header = new ZRKClipmuleDeviceMenuView(status, pictures.bundle());
    action.setDefaultWidget(header);
    menu.addAction(&action);
    menu.addAction(QStringLiteral("An entry that is much wider than a hundred points, so to say"));
    menu.popup({0, 0});
    const QImage image = menu.grab().toImage();
    menu.hide();
    const int frame = menu.style()->pixelMetric(QStyle::PM_MenuPanelWidth, nullptr, &menu);
    for (const int x : {frame, image.width() / 2, image.width() - 1 - frame}) {
        for (int y = frame; y < frame + 5; ++y)
            QCOMPARE(image.pixelColor(x, y), backgroundColor);
    }
}

void DeviceMenuViewTest::viewMayDieBeforeTheMenu() {
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

void DeviceMenuViewTest::denseScreen() {
    const QImage image = drawn(100, 2);
    QCOMPARE(image.pixel(0, 0), backgroundColor.darker().rgb());
    QCOMPARE(image.pixel(2 * 74, 2 * 9), offColor.darker().rgb());
    QCOMPARE(image.pixel(2 * 74 - 1, 2 * 9), backgroundColor.darker().rgb());
}

QTEST_MAIN(DeviceMenuViewTest)
#include "tst_devicemenuview.moc"
