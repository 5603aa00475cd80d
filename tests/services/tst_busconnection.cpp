// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/dbus/BusConnection.h"
#include "tests/kit/ManualRunLoop.h"
#include "tests/kit/TestCase.h"
#include "tests/services/PrivateBus.h"

#include <QRegularExpression>
#include <QSignalSpy>
#include <QTest>

using namespace clipmule;

class BusConnectionTest final : public kit::TestCase {
    Q_OBJECT

    void end() override { _bus.stop(); }

private Q_SLOTS:
    void initTestCase() {
        QTest::failOnWarning(QRegularExpression(QStringLiteral(".*")));
        qputenv("DBUS_SESSION_BUS_ADDRESS", _bus.address().toUtf8());
    }
    void opensWhenThereIsABus() {
        QVERIFY(_bus.start());
        BusConnection connection(BusConnection::Bus::Session);
        QVERIFY(!connection.isOpen());
        QVERIFY(connection.open());
        QVERIFY(connection.isOpen());
        QVERIFY(connection.connection().isConnected());
        QVERIFY(connection.open());
        QCOMPARE(_runLoop.pendingCount(), 0);
        connection.close();
        QVERIFY(!connection.isOpen());
    }

    void triesAgainUntilThereIsABus() {
        BusConnection connection(BusConnection::Bus::Session);
        QSignalSpy opened(&connection, &BusConnection::opened);
        QVERIFY(!connection.open());
        QCOMPARE(_runLoop.timeToNext(), BusConnection::retryInterval);
        _runLoop.advance(BusConnection::retryInterval);
        QCOMPARE(opened.size(), 0);
        QVERIFY(_bus.start());
        QVERIFY(!connection.open()); // not before its time
        _runLoop.advance(BusConnection::retryInterval);
        QCOMPARE(opened.size(), 1);
        QVERIFY(connection.isOpen());
        QCOMPARE(_runLoop.pendingCount(), 0);
    }

    void triesAgainAtItsOwnIntervalWhenItHasOne() {
        BusConnection connection(BusConnection::Bus::Session, RunLoop::Seconds(1));
        QSignalSpy opened(&connection, &BusConnection::opened);
        QVERIFY(!connection.open());
        QVERIFY(_bus.start());
        _runLoop.advance(0.9);
        QCOMPARE(opened.size(), 0);
        _runLoop.advance(0.2);
        QCOMPARE(opened.size(), 1);
    }

    void comesBackAfterTheBusWentAway() {
        QVERIFY(_bus.start());
        BusConnection connection(BusConnection::Bus::Session);
        QSignalSpy opened(&connection, &BusConnection::opened);
        QSignalSpy lost(&connection, &BusConnection::lost);
        QVERIFY(connection.open());
        const QString first = connection.connection().baseService();
        _bus.stop();
        QTRY_COMPARE_WITH_TIMEOUT(lost.size(), 1, kit::patience);
        QVERIFY(!connection.isOpen());
        QVERIFY(_bus.start());
        _runLoop.advance(BusConnection::retryInterval);
        QCOMPARE(opened.size(), 1);
        QVERIFY(connection.connection().isConnected());
        _bus.stop();
        QTRY_COMPARE_WITH_TIMEOUT(lost.size(), 2, kit::patience);
    }

    void stopsTryingWhenItIsClosed() {
        BusConnection connection(BusConnection::Bus::Session);
        QVERIFY(!connection.open());
        connection.close();
        QCOMPARE(_runLoop.pendingCount(), 0);
    }

    void doesNotStartABusWhereNoneIsKnown() {
        const QByteArray address = qgetenv("DBUS_SESSION_BUS_ADDRESS");
        const QByteArray folder = qgetenv("XDG_RUNTIME_DIR");
        qunsetenv("DBUS_SESSION_BUS_ADDRESS");
        qputenv("XDG_RUNTIME_DIR", "/nonexistent");
        BusConnection connection(BusConnection::Bus::Session);
        const bool opened = connection.open();
        qputenv("DBUS_SESSION_BUS_ADDRESS", address);
        qputenv("XDG_RUNTIME_DIR", folder);
        QVERIFY(!opened);
    }

private:
    kit::ManualRunLoop _runLoop;
    RunLoop::Installation _installation{_runLoop};
    kit::PrivateBus _bus;
};

QTEST_GUILESS_MAIN(BusConnectionTest)
#include "tst_busconnection.moc"
