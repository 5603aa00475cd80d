// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/keyboard/KeyboardEvents.h"
#include "platform/keyboard/backends/wayland/KdeLayouts.h"
#include "platform/session/Session.h"
#include "platform/wayland/WaylandConnection.h"
#include "tests/kit/Await.h"
#include "tests/kit/Keymaps.h"
#include "tests/kit/ManualRunLoop.h"
#include "tests/kit/TestCase.h"
#include "tests/kit/TestCompositor.h"
#include "tests/services/PrivateBus.h"

#include <QDBusContext>
#include <QDBusMessage>
#include <QTest>

#include <optional>

using namespace clipmule;
using namespace clipmule::kit;

// KDE's side.
class Keyboards final : public QObject, protected QDBusContext {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.kde.KeyboardLayouts")

public:
    QVariant layout = QVariant(0U);

    void appear(const QString &address) {
        _bus = QDBusConnection::connectToBus(address, QStringLiteral("kde"));
        QVERIFY(_bus->registerObject(QStringLiteral("/Layouts"), this,
                                     QDBusConnection::ExportScriptableContents));
        QVERIFY(_bus->registerService(QStringLiteral("org.kde.keyboard")));
    }
    void vanish() {
        _bus.reset();
        QDBusConnection::disconnectFromBus(QStringLiteral("kde"));
    }

public Q_SLOTS:
    Q_SCRIPTABLE void getLayout() {
        setDelayedReply(true);
        _bus->send(message().createReply(layout));
    }

Q_SIGNALS:
    Q_SCRIPTABLE void layoutChanged(quint32 index);
    Q_SCRIPTABLE void layoutListChanged();

private:
    std::optional<QDBusConnection> _bus;
};

class KdeLayoutsTest final : public kit::TestCase {
    Q_OBJECT

    using Layout = std::optional<quint32>;

    void begin() override {
        qputenv("DBUS_SESSION_BUS_ADDRESS", PrivateBus::running().address().toUtf8());
        _told.clear();
        _keyboards.emplace();
        _layouts.emplace();
        _layouts->onChange = [this](Layout layout) { _told.append(layout); };
    }
    void end() override {
        _layouts.reset();
        _keyboards->vanish();
    }

private Q_SLOTS:
    void whatIsInForceIsTold() {
        _keyboards->layout = 2U;
        appear();
        _layouts->start();
        QVERIFY(await([&] { return _told == QList<Layout>{2}; }));
    }

    void oneThatComesLaterIsTold() {
        _layouts->start();
        appear();
        QVERIFY(await([&] { return _told == QList<Layout>{0}; }));
    }

    void changesAreTold() {
        appear();
        _layouts->start();
        QVERIFY(await([&] { return _told == QList<Layout>{0}; }));
        Q_EMIT _keyboards->layoutChanged(1);
        // The same again is no change.
        Q_EMIT _keyboards->layoutChanged(1);
        Q_EMIT _keyboards->layoutChanged(3);
        QVERIFY(await([&] { return _told.size() == 3; }));
        // In another list it may be anywhere.
        _keyboards->layout = 2U;
        Q_EMIT _keyboards->layoutListChanged();
        QVERIFY(await([&] { return _told.size() == 4; }));
        QCOMPARE(_told, (QList<Layout>{0, 1, 3, 2}));
    }

    // With one layout KDE has nothing to tell.
    void whatHasGoneIsNotKnown() {
        appear();
        _layouts->start();
        QVERIFY(await([&] { return _told == QList<Layout>{0}; }));
        _keyboards->vanish();
        QVERIFY(await([&] { return _told == (QList<Layout>{0, {}}); }));
    }

    void aBusThatGoesAndComesIsFollowed() {
        appear();
        _layouts->start();
        QVERIFY(await([&] { return _told == QList<Layout>{0}; }));
        _keyboards->vanish();
        QVERIFY(await([&] { return _told.size() == 2; }));
        appear();
        QVERIFY(await([&] { return _told.size() == 3; }));
        PrivateBus::running().stop();
        QVERIFY(await([&] { return _told.size() == 4; }));
        _keyboards->vanish();
        QVERIFY(PrivateBus::running().start());
        appear();
        // Our loss of the bus may be noticed late.
        QVERIFY(await([&] {
            _runLoop.advance(BusConnection::retryInterval);
            return _told.size() == 5;
        }));
        QCOMPARE(_told, (QList<Layout>{0, {}, 0, {}, 0}));
    }

    void anOddAnswerIsNone() {
        appear();
        _layouts->start();
        QVERIFY(await([&] { return _told == QList<Layout>{0}; }));
        _keyboards->layout = QStringLiteral("English");
        Q_EMIT _keyboards->layoutListChanged();
        QVERIFY(await([&] { return _told == (QList<Layout>{0, {}}); }));
    }

    void strokesAreMadeInTheLayoutInForce() {
        TestCompositor compositor({.keyboards = false, .fakeInput = 4});
        qputenv("WAYLAND_DISPLAY", compositor.display());
        compositor.setKeymap(TestCompositor::Keymap{.text = keymapText("us,us", ",dvorak")});
        _keyboards->layout = 1U;
        appear();
        Session session{.wayland = WaylandConnection::open()};
        const auto keyboard = makeKeyboardEvents(session);
        QVERIFY(await([&] {
            keyboard->paste();
            return compositor.typed().contains("press 52");
        }));
    }

private:
    void appear() { _keyboards->appear(PrivateBus::running().address()); }

    ManualRunLoop _runLoop;
    RunLoop::Installation _installation{_runLoop};
    std::optional<Keyboards> _keyboards;
    std::optional<KdeLayouts> _layouts;
    QList<Layout> _told;
};

QTEST_GUILESS_MAIN(KdeLayoutsTest)
#include "tst_kdelayouts.moc"
