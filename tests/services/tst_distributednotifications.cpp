// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/dbus/BusConnection.h"
#include "platform/preferences/DistributedNotifications.h"
#include "platform/propertylist/PropertyListSerialization.h"
#include "tests/kit/ManualRunLoop.h"
#include "tests/kit/MemoryDistributedNotifications.h"
#include "tests/kit/TestCase.h"
#include "tests/services/PrivateBus.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QRegularExpression>
#include <QTest>

using namespace clipmule;
using namespace clipmule::kit;

namespace {

const QString name = QStringLiteral("ZRKUserDefaultsDidChangeNotification.com.zendrik.Test");
const QString other = QStringLiteral("ZRKUserDefaultsDidChangeNotification.com.zendrik.Other");
const QString object = QStringLiteral("ZRKUserDefaultsDidChangeNotification");

struct Delivery {
    QString object;
    PropertyList::Dictionary userInfo;
};

void expectWarning(const QString &pattern) {
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression(pattern));
}

} // namespace

class DistributedNotificationsTest final : public kit::TestCase {
    Q_OBJECT

    void begin() override {
        _deliveries.clear();
        _hub = std::make_shared<MemoryDistributedNotifications::Hub>();
    }

    void end() override {
        _bus.stop();
        _forger.reset();
    }

private Q_SLOTS:
    void initTestCase() {
        QTest::failOnWarning(QRegularExpression(QStringLiteral(".*")));
        qputenv("DBUS_SESSION_BUS_ADDRESS", _bus.address().toUtf8());
    }
    // What holds for every kind, within one process and between two ends.

    void aNotificationReachesWhoObservesItsName_data() { kinds(); }
    void aNotificationReachesWhoObservesItsName() {
        const auto agent = makeEnd();
        const auto panel = makeEnd();
        const auto observation = agent->observe(name, recorder());
        const auto elsewhere = agent->observe(other, recorder());
        settle(*agent);
        const PropertyList::Dictionary userInfo{
            {QStringLiteral("key"), QStringLiteral("serverServices")},
            {QStringLiteral("nested"),
             PropertyList::List{PropertyList::Dictionary{{QStringLiteral("a"), Date{12.5}}},
                                QByteArray("\0\1", 2), ~quint64(0), 0.1, true}},
            {QStringLiteral("lone surrogate"), QString(QChar(0xd800))}};
        panel->post(name, object, userInfo);
        QCOMPARE(_deliveries.size(), 0);
        settle(*panel);
        QTRY_COMPARE_WITH_TIMEOUT(_deliveries.size(), 1, kit::patience);
        QCOMPARE(_deliveries[0].object, object);
        QCOMPARE(_deliveries[0].userInfo, userInfo);
        panel->post(other, QString(), {});
        settle(*panel);
        QTRY_COMPARE_WITH_TIMEOUT(_deliveries.size(), 2, kit::patience);
        QCOMPARE(_deliveries[1].object, QString());
        QVERIFY(_deliveries[1].userInfo.isEmpty());
    }

    void thePosterHearsItself_data() { kinds(); }
    void thePosterHearsItself() {
        const auto agent = makeEnd();
        const auto observation = agent->observe(name, recorder());
        settle(*agent);
        agent->post(name, object, {});
        QCOMPARE(_deliveries.size(), 0); // never from inside post()
        settle(*agent);
        QTRY_COMPARE_WITH_TIMEOUT(_deliveries.size(), 1, kit::patience);
    }

    void notificationsArriveInOrder_data() { kinds(); }
    void notificationsArriveInOrder() {
        const auto agent = makeEnd();
        const auto panel = makeEnd();
        const auto observation = agent->observe(name, recorder());
        settle(*agent);
        for (int i = 0; i < 50; ++i)
            panel->post(name, QString::number(i), {});
        settle(*panel);
        QTRY_COMPARE_WITH_TIMEOUT(_deliveries.size(), 50, kit::patience);
        for (int i = 0; i < 50; ++i)
            QCOMPARE(_deliveries[i].object, QString::number(i));
    }

    void nothingArrivesAfterTheObservationsEnd_data() { kinds(); }
    void nothingArrivesAfterTheObservationsEnd() {
        const auto agent = makeEnd();
        const auto panel = makeEnd();
        auto observation = agent->observe(name, recorder());
        settle(*agent);
        panel->post(name, object, {}); // on its way when the observation ends
        observation.reset();
        panel->post(name, object, {});
        settle(*panel);
        settle(*agent);
        QCOMPARE(_deliveries.size(), 0);
        // And again from the start.
        observation = agent->observe(name, recorder());
        settle(*agent);
        panel->post(name, object, {});
        settle(*panel);
        QTRY_COMPARE_WITH_TIMEOUT(_deliveries.size(), 1, kit::patience);
    }

    void aHandlerMayEndObservations_data() { kinds(); }
    void aHandlerMayEndObservations() {
        const auto agent = makeEnd();
        std::unique_ptr<DistributedNotifications::Observation> first;
        std::unique_ptr<DistributedNotifications::Observation> second;
        int calls = 0;
        first = agent->observe(name, [&](const QString &, const PropertyList::Dictionary &) {
            ++calls;
            second.reset();
            first.reset();
        });
        second = agent->observe(
            name, [&](const QString &, const PropertyList::Dictionary &) { calls += 100; });
        settle(*agent);
        agent->post(name, object, {});
        settle(*agent);
        QTRY_COMPARE_WITH_TIMEOUT(calls, 1, kit::patience);
    }

    void anObservationMayOutliveItsEnd_data() { kinds(); }
    void anObservationMayOutliveItsEnd() {
        auto agent = makeEnd();
        auto observation = agent->observe(name, recorder());
        agent.reset();
        observation.reset();
        QCOMPARE(_deliveries.size(), 0);
    }

    // Over the bus.

    void twoProcessesHearEachOther() {
        QVERIFY(_bus.start());
        const auto agent = makeDistributedNotifications();
        const auto observation = agent->observe(name, recorder());
        settle(*agent);
        auto poster = kit::startProgram(
            QStringLiteral(CLIPMULE_PREFERENCES_PEER),
            {QStringLiteral("post"), name, object, QStringLiteral("key"), QStringLiteral("value")});
        QVERIFY(poster);
        QTRY_COMPARE_WITH_TIMEOUT(_deliveries.size(), 1, kit::patience);
        const PropertyList::Dictionary expected{{QStringLiteral("key"), QStringLiteral("value")}};
        QCOMPARE(_deliveries[0].userInfo, expected);
        // It says that everything is delivered, and exits.
        QTRY_COMPARE_WITH_TIMEOUT(poster->state(), QProcess::NotRunning, kit::patience);
        QCOMPARE(poster->exitCode(), 0);

        auto observer = kit::startProgram(QStringLiteral(CLIPMULE_PREFERENCES_PEER),
                                          {QStringLiteral("observe"), other});
        QVERIFY(observer);
        QTRY_VERIFY_WITH_TIMEOUT(observer->canReadLine(), kit::patience);
        QCOMPARE(observer->readLine(), QByteArray("ready\n"));
        agent->post(other, object, {{QStringLiteral("key"), 7}});
        QTRY_VERIFY_WITH_TIMEOUT(observer->canReadLine(), kit::patience);
        QCOMPARE(observer->readLine(),
                 QByteArray("ZRKUserDefaultsDidChangeNotification {key: 7}\n"));
        QTRY_COMPARE_WITH_TIMEOUT(observer->state(), QProcess::NotRunning, kit::patience);
    }

    void withoutABusNotificationsStayInTheProcess() {
        const auto agent = makeDistributedNotifications();
        expectWarning(
            QStringLiteral("^no session bus: changed preferences reach this program only$"));
        const auto observation = agent->observe(name, recorder());
        agent->post(name, object, {{QStringLiteral("key"), 1}});
        QCOMPARE(_deliveries.size(), 0);
        _runLoop.runOnce();
        QCOMPARE(_deliveries.size(), 1);
        QCOMPARE(_deliveries[0].userInfo.value(QStringLiteral("key")), PropertyList(1));
        std::optional<bool> delivered;
        agent->whenDelivered([&](bool answer) { delivered = answer; });
        QVERIFY(!delivered);
        _runLoop.runOnce();
        QVERIFY(delivered == false);
    }

    // It asks whether anybody got it.
    void whoOnlyPostsIsNotWarnedOfTheMissingBus() {
        const auto poster = makeDistributedNotifications();
        poster->post(name, object, {});
        std::optional<bool> delivered;
        poster->whenDelivered([&](bool answer) { delivered = answer; });
        _runLoop.runOnce();
        QVERIFY(delivered == false);
    }

    void theBusMayComeBack() {
        QVERIFY(_bus.start());
        const auto agent = makeDistributedNotifications();
        int missed = 0;
        const auto observation = agent->observe(name, recorder(), [&missed] { ++missed; });
        const auto other = agent->observe(QStringLiteral("other"), recorder());
        settle(*agent);
        _bus.stop();
        // The end of the connection is noticed from the run loop; then there is no bus.
        expectWarning(
            QStringLiteral("^no session bus: changed preferences reach this program only$"));
        QTRY_COMPARE_WITH_TIMEOUT(_runLoop.pendingCount(), 1, kit::patience); // trying again
        agent->post(name, object, {});
        _runLoop.runOnce();
        QCOMPARE(_deliveries.size(), 1);
        QVERIFY(_bus.start());
        QCOMPARE(missed, 0);
        _runLoop.advance(BusConnection::retryInterval);
        QTRY_COMPARE_WITH_TIMEOUT(missed, 1, kit::patience);
        const auto panel = makeDistributedNotifications();
        panel->post(name, object, {});
        QTRY_COMPARE_WITH_TIMEOUT(_deliveries.size(), 2, kit::patience);
    }

    void userInfoHasALargestSize() {
        QVERIFY(_bus.start());
        const auto agent = makeDistributedNotifications();
        const auto observation = agent->observe(name, recorder());
        settle(*agent);
        // The list around bytes of about this size takes as many as this one.
        const auto userInfo = [](qsizetype size) {
            return PropertyList::Dictionary{{QStringLiteral("k"), QByteArray(size, 'x')}};
        };
        const qsizetype around =
            PropertyListSerialization::binary(userInfo(largestUserInfo / 2)).size() -
            largestUserInfo / 2;
        const qsizetype room = largestUserInfo - around;
        QCOMPARE(PropertyListSerialization::binary(userInfo(room)).size(), largestUserInfo);
        agent->post(name, object, userInfo(room - 1));
        agent->post(name, object, userInfo(room));
        expectWarning(QStringLiteral("^notification ZRK.* dropped: more than 8454144 bytes$"));
        agent->post(name, object, userInfo(room + 1));
        agent->post(name, object, {});
        QTRY_COMPARE_WITH_TIMEOUT(_deliveries.size(), 3, kit::patience);
        QVERIFY(_deliveries[1].userInfo == userInfo(room));
        QVERIFY(_deliveries[2].userInfo.isEmpty());
    }

    void whatCannotBePostedIsDropped() {
        QVERIFY(_bus.start());
        const auto agent = makeDistributedNotifications();
        PropertyList deep = PropertyList::List();
        for (int level = 0; level < 600; ++level)
            deep = PropertyList::List{deep};
        expectWarning(QStringLiteral("^notification ZRK.* dropped: "));
        agent->post(name, object, {{QStringLiteral("deep"), deep}});
    }

    void namesAreBounded_data() {
        QTest::addColumn<QString>("text");
        QTest::addColumn<bool>("valid");
        QTest::newRow("a name") << name << true;
        QTest::newRow("one below the longest") << QString(254, u'n') << true;
        QTest::newRow("longest") << QString(255, u'n') << true;
        QTest::newRow("one above the longest") << QString(256, u'n') << false;
        QTest::newRow("empty") << QString() << false;
        QTest::newRow("a quote") << QStringLiteral("a'b") << false;
        QTest::newRow("a space") << QStringLiteral("a b") << false;
        QTest::newRow("not ASCII") << QStringLiteral("\u00fc") << false;
    }
    void namesAreBounded() {
        QFETCH(QString, text);
        QFETCH(bool, valid);
        QVERIFY(_bus.start());
        const auto agent = makeDistributedNotifications();
        if (!valid) {
            expectWarning(QStringLiteral("^notification .*dropped: no name for a notification$"));
            expectWarning(QStringLiteral("^notification .*dropped: no name for a notification$"));
        }
        const auto observation = agent->observe(text, recorder());
        settle(*agent);
        agent->post(text, object, {});
        settle(*agent);
        QCOMPARE(_deliveries.size(), valid ? 1 : 0);
    }

    void foreignSignalsAreChecked_data() {
        QTest::addColumn<QVariantList>("arguments");
        QTest::addColumn<QString>("warning");
        QTest::newRow("no property list")
            << QVariantList{name, object, QByteArray("nonsense")} << QStringLiteral("dropped: ");
        QTest::newRow("no bytes") << QVariantList{name, object, QByteArray()}
                                  << QStringLiteral("dropped: ");
        QTest::newRow("no dictionary")
            << QVariantList{name, object, PropertyListSerialization::binary(PropertyList::List{})}
            << QStringLiteral("dropped: the user info is no dictionary$");
        QTest::newRow("too large")
            << QVariantList{name, object, QByteArray(largestUserInfo + 1, 'x')}
            << QStringLiteral("dropped: more than 8454144 bytes$");
        // Not for us: another signature.
        QTest::newRow("no user info") << QVariantList{name, object} << QString();
        QTest::newRow("a text for the user info")
            << QVariantList{name, object, QStringLiteral("text")} << QString();
        QTest::newRow("a number for the object")
            << QVariantList{name, 7, QByteArray()} << QString();
    }
    void foreignSignalsAreChecked() {
        QFETCH(QVariantList, arguments);
        QFETCH(QString, warning);
        QVERIFY(_bus.start());
        const auto agent = makeDistributedNotifications();
        const auto observation = agent->observe(name, recorder());
        settle(*agent);
        if (!warning.isEmpty())
            expectWarning(warning);
        send(arguments);
        // The proper one behind it arrives alone.
        send({name, object, PropertyListSerialization::binary(PropertyList::Dictionary{})});
        QTRY_COMPARE_WITH_TIMEOUT(_deliveries.size(), 1, kit::patience);
    }

private:
    static void kinds() {
        QTest::addColumn<bool>("real");
        QTest::newRow("memory") << false;
        QTest::newRow("D-Bus") << true;
    }
    std::unique_ptr<DistributedNotifications> makeEnd() {
        QFETCH(bool, real);
        if (!real)
            return std::make_unique<MemoryDistributedNotifications>(_hub);
        if (!_bus.isRunning() && !_bus.start())
            QTest::qFail("no bus", __FILE__, __LINE__);
        return makeDistributedNotifications();
    }
    DistributedNotifications::Handler recorder() {
        return [this](const QString &sender, const PropertyList::Dictionary &userInfo) {
            _deliveries.append({sender, userInfo});
        };
    }
    /// Until all that was posted and asked for is done.
    void settle(DistributedNotifications &end) {
        std::optional<bool> delivered;
        end.whenDelivered([&](bool answer) { delivered = answer; });
        _runLoop.runOnce();
        QTRY_VERIFY_WITH_TIMEOUT(delivered, kit::patience);
        QVERIFY(*delivered);
    }
    /// As another program would.
    void send(const QVariantList &arguments) {
        if (!_forger) {
            _forger = std::make_unique<BusConnection>(BusConnection::Bus::Session);
            QVERIFY(_forger->open());
        }
        QDBusMessage signal = QDBusMessage::createSignal(
            QStringLiteral("/com/zendrik/DistributedNotifications"),
            QStringLiteral("com.zendrik.DistributedNotifications"), QStringLiteral("Posted"));
        signal.setArguments(arguments);
        QVERIFY(_forger->connection().send(signal));
    }

    kit::ManualRunLoop _runLoop;
    RunLoop::Installation _installation{_runLoop};
    kit::PrivateBus _bus;
    std::unique_ptr<BusConnection> _forger;
    std::shared_ptr<MemoryDistributedNotifications::Hub> _hub;
    QList<Delivery> _deliveries;
};

QTEST_GUILESS_MAIN(DistributedNotificationsTest)
#include "tst_distributednotifications.moc"
