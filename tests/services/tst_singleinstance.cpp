// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/foundation/QtRunLoop.h"
#include "platform/session/SessionPrograms.h"
#include "tests/kit/ManualRunLoop.h"
#include "tests/kit/TestCase.h"
#include "tests/services/PrivateBus.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusReply>
#include <QTest>

using namespace clipmule;

using Outcome = SingleInstance::Outcome;
using Standing = SingleInstance::Standing;

namespace {

const QString name = QStringLiteral("com.zendrik.ClipmuleSync");
// Of the bus protocol.
constexpr uint allowReplacement = 1;
constexpr uint replaceExisting = 2;
constexpr uint doNotQueue = 4;
constexpr uint primaryOwner = 1;
constexpr uint exists = 3;

} // namespace

// The other instance is a connection of its own to the same bus.
class SingleInstanceTest final : public kit::TestCase {
    Q_OBJECT

    void begin() override {
        _outcomes.clear();
        _replaced = 0;
        _instance = makeSingleInstance();
        _instance->onReplaced = [this] { ++_replaced; };
    }

    void end() override {
        _instance.reset();
        leave();
        // The bus hears of it when it gets to it.
        QTRY_VERIFY_WITH_TIMEOUT(owner().isEmpty(), kit::patience);
    }

private Q_SLOTS:
    void initTestCase() {
        qputenv("DBUS_SESSION_BUS_ADDRESS", _bus.address().toUtf8());
        QVERIFY(_bus.start());
    }
    void theFirstOneHasTheName_data() { standings(); }
    void theFirstOneHasTheName() {
        QFETCH(Standing, standing);
        claim(standing);
        QTRY_COMPARE_WITH_TIMEOUT(_outcomes, QList<Outcome>{Outcome::First}, kit::patience);
        _instance.reset();
        // The name is free again.
        QTRY_VERIFY_WITH_TIMEOUT(owner().isEmpty(), kit::patience);
    }

    void aWholeOneStaysBesideAnotherWholeOne_data() { standings(); }
    void aWholeOneStaysBesideAnotherWholeOne() {
        QFETCH(Standing, standing);
        QCOMPARE(other(doNotQueue | replaceExisting), primaryOwner);
        claim(standing);
        QTRY_COMPARE_WITH_TIMEOUT(_outcomes, QList<Outcome>{Outcome::AlreadyRunning},
                                  kit::patience);
    }

    void aWholeOneIsNotReplaced() {
        claim(Standing::Whole);
        QTRY_COMPARE_WITH_TIMEOUT(_outcomes, QList<Outcome>{Outcome::First}, kit::patience);
        QCOMPARE(other(doNotQueue | replaceExisting), exists);
        QCOMPARE(_replaced, 0);
    }

    void aMakeshiftOneIsReplaced() {
        claim(Standing::Makeshift);
        QTRY_COMPARE_WITH_TIMEOUT(_outcomes, QList<Outcome>{Outcome::First}, kit::patience);
        QCOMPARE(other(doNotQueue), exists);
        QCOMPARE(other(doNotQueue | replaceExisting), primaryOwner);
        QTRY_COMPARE_WITH_TIMEOUT(_replaced, 1, kit::patience);
    }

    void aMakeshiftOneReplacesNobody() {
        QCOMPARE(other(doNotQueue | allowReplacement), primaryOwner);
        claim(Standing::Makeshift);
        QTRY_COMPARE_WITH_TIMEOUT(_outcomes, QList<Outcome>{Outcome::AlreadyRunning},
                                  kit::patience);
    }

    void aWholeOneWaitsUntilTheMakeshiftOneHasLeft() {
        QCOMPARE(other(doNotQueue | allowReplacement), primaryOwner);
        claim(Standing::Whole);
        // It has the name…
        QTRY_COMPARE_WITH_TIMEOUT(owner(), QDBusConnection::sessionBus().baseService(),
                                  kit::patience);
        // …and every answer that the bus could give by now, but does not begin.
        QTRY_VERIFY_WITH_TIMEOUT(hasListened(), kit::patience);
        QVERIFY(_outcomes.isEmpty());
        leave();
        QTRY_COMPARE_WITH_TIMEOUT(_outcomes, QList<Outcome>{Outcome::First}, kit::patience);
    }

    void aMakeshiftOneThatHangsIsNotWaitedForForEver() {
        kit::ManualRunLoop clock;
        const RunLoop::Installation installation(clock);
        QCOMPARE(other(doNotQueue | allowReplacement), primaryOwner);
        claim(Standing::Whole);
        QTRY_COMPARE_WITH_TIMEOUT(clock.pendingCount(), 1, kit::patience);
        clock.advance(SingleInstance::patienceWithPredecessor - RunLoop::Seconds(0.1));
        QVERIFY(_outcomes.isEmpty());
        QTest::ignoreMessage(QtWarningMsg, "the instance that was there does not end");
        clock.advance(0.2);
        QCOMPARE(_outcomes, QList<Outcome>{Outcome::First});
        // Said once.
        leave();
        QTRY_VERIFY_WITH_TIMEOUT(hasListened(), kit::patience);
        QCOMPARE(_outcomes.size(), 1);
        _instance.reset();
    }

private:
    static void standings() {
        QTest::addColumn<Standing>("standing");
        QTest::newRow("whole") << Standing::Whole;
        QTest::newRow("makeshift") << Standing::Makeshift;
    }
    void claim(Standing standing) {
        _instance->claim(
            name, [this](Outcome outcome) { _outcomes.append(outcome); }, standing);
    }
    static QDBusConnection otherConnection() {
        return QDBusConnection::connectToBus(QDBusConnection::SessionBus, QStringLiteral("other"));
    }
    // What the bus answers to the other instance's request.
    static uint other(uint flags) {
        const QDBusReply<uint> reply =
            otherConnection().interface()->call(QStringLiteral("RequestName"), name, flags);
        return reply.value();
    }
    static void leave() { QDBusConnection::disconnectFromBus(QStringLiteral("other")); }
    static QString owner() {
        return QDBusConnection::sessionBus().interface()->serviceOwner(name).value();
    }
    // Everything that the instance asked of the bus before this was answered.
    static bool hasListened() {
        QDBusConnection::sessionBus().interface()->call(QStringLiteral("GetId"));
        QCoreApplication::processEvents();
        return true;
    }

    QtRunLoop _runLoop;
    RunLoop::Installation _installation{_runLoop};
    kit::PrivateBus _bus;
    std::unique_ptr<SingleInstance> _instance;
    QList<Outcome> _outcomes;
    int _replaced = 0;
};

QTEST_GUILESS_MAIN(SingleInstanceTest)
#include "tst_singleinstance.moc"
