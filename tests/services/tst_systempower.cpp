// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/dbus/BusConnection.h"
#include "platform/power/SystemPower.h"
#include "tests/kit/FakeSystemPower.h"
#include "tests/kit/ManualRunLoop.h"
#include "tests/kit/TestCase.h"
#include "tests/services/PrivateBus.h"

#include <QDBusArgument>
#include <QDBusConnectionInterface>
#include <QDBusInterface>
#include <QDBusReply>
#include <QRegularExpression>
#include <QTest>

using namespace clipmule;
using namespace clipmule::kit;

namespace {

struct Message {
    quint32 number;
    quint64 argument;
};

// What logind tells of a delay lock.
struct Inhibitor {
    QString what;
    QString who;
    QString why;
    QString mode;
};

/// A login manager on a private system bus: the mock of the python-dbusmock project, which keeps
/// the list of locks as the real one does and says what the test makes it say.
class MockLogind final {
public:
    [[nodiscard]] bool start() {
        _process = kit::startProgram(QStringLiteral("/usr/bin/python3"),
                                     {QStringLiteral("-m"), QStringLiteral("dbusmock"),
                                      QStringLiteral("--system"), QStringLiteral("--template"),
                                      QStringLiteral("logind")});
        if (!_process || !_bus.open())
            return false;
        return QTest::qWaitFor([this] { return isOnBus(); }, kit::patience);
    }
    void stop() { kit::endProgram(_process); }
    ~MockLogind() { stop(); }

    void emitSignal(const QString &name, const QVariantList &arguments, const QString &signature) {
        QDBusMessage call =
            methodCall(QStringLiteral("org.freedesktop.DBus.Mock"), QStringLiteral("EmitSignal"));
        call << QStringLiteral("org.freedesktop.login1.Manager") << name << signature << arguments;
        _bus.connection().call(call);
    }
    void prepareForSleep(bool begins) {
        emitSignal(QStringLiteral("PrepareForSleep"), {begins}, QStringLiteral("b"));
    }
    void prepareForShutdown(bool begins) {
        emitSignal(QStringLiteral("PrepareForShutdown"), {begins}, QStringLiteral("b"));
    }
    [[nodiscard]] QList<Inhibitor> inhibitors() {
        const QDBusMessage reply = _bus.connection().call(methodCall(
            QStringLiteral("org.freedesktop.login1.Manager"), QStringLiteral("ListInhibitors")));
        QList<Inhibitor> result;
        const auto list = reply.arguments().value(0).value<QDBusArgument>();
        list.beginArray();
        while (!list.atEnd()) {
            Inhibitor inhibitor;
            quint32 user = 0;
            quint32 process = 0;
            list.beginStructure();
            list >> inhibitor.what >> inhibitor.who >> inhibitor.why >> inhibitor.mode >> user >>
                process;
            list.endStructure();
            result.append(inhibitor);
        }
        list.endArray();
        return result;
    }
    [[nodiscard]] const QDBusConnection &bus() const { return _bus.connection(); }

private:
    [[nodiscard]] bool isOnBus() const {
        return _bus.connection().interface()->isServiceRegistered(
            QStringLiteral("org.freedesktop.login1"));
    }
    static QDBusMessage methodCall(const QString &interface, const QString &method) {
        return QDBusMessage::createMethodCall(QStringLiteral("org.freedesktop.login1"),
                                              QStringLiteral("/org/freedesktop/login1"), interface,
                                              method);
    }
    std::unique_ptr<QProcess> _process;
    BusConnection _bus{BusConnection::Bus::System};
};

} // namespace

class SystemPowerTest final : public kit::TestCase {
    Q_OBJECT

    void begin() override { _messages.clear(); }

    void end() override { _bus.stop(); }

private Q_SLOTS:
    void initTestCase() {
        QTest::failOnWarning(QRegularExpression(QStringLiteral(".*")));
        qputenv("DBUS_SYSTEM_BUS_ADDRESS", _bus.address().toUtf8());
    }
    // What holds for every power service, here for the one that tests switch and for the real one.
    void tellsWhatHappensUntilItIsDeregistered_data() {
        QTest::addColumn<bool>("real");
        QTest::newRow("fake") << false;
        QTest::newRow("logind") << true;
    }
    void tellsWhatHappensUntilItIsDeregistered() {
        QFETCH(bool, real);
        MockLogind logind;
        std::unique_ptr<SystemPower> power;
        FakeSystemPower *fake = nullptr;
        if (real) {
            QVERIFY(_bus.start());
            QVERIFY(logind.start());
            power = makeSystemPower();
        } else {
            auto made = std::make_unique<FakeSystemPower>();
            fake = made.get();
            power = std::move(made);
        }
        const auto sleepAndWake = [&] {
            if (fake) {
                fake->send(PowerMessage::SystemWillSleep);
                fake->send(PowerMessage::SystemHasPoweredOn);
            } else {
                logind.prepareForSleep(true);
                logind.prepareForSleep(false);
            }
        };
        QVERIFY(power->registerForSystemPower(recorder()));
        if (real)
            QTRY_COMPARE_WITH_TIMEOUT(logind.inhibitors().size(), 1, kit::patience);
        QCOMPARE(_messages.size(), 0);
        sleepAndWake();
        QTRY_COMPARE_WITH_TIMEOUT(_messages.size(), 2, kit::patience);
        QCOMPARE(_messages[0].number, 0xE0000280u);
        QCOMPARE(_messages[1].number, 0xE0000300u);
        power->allowPowerChange(_messages[0].argument);
        power->allowPowerChange(_messages[1].argument);
        power->deregisterForSystemPower();
        sleepAndWake();
        QCoreApplication::processEvents();
        QCOMPARE(_messages.size(), 2);
        if (real)
            QTRY_COMPARE_WITH_TIMEOUT(logind.inhibitors().size(), 0, kit::patience);
        // And once more from the start.
        QVERIFY(power->registerForSystemPower(recorder()));
        if (real)
            QTRY_COMPARE_WITH_TIMEOUT(logind.inhibitors().size(), 1, kit::patience);
        sleepAndWake();
        QTRY_COMPARE_WITH_TIMEOUT(_messages.size(), 4, kit::patience);
    }

    void holdsADelayLockWhileRegistered() {
        QVERIFY(_bus.start());
        MockLogind logind;
        QVERIFY(logind.start());
        const auto power = makeSystemPower();
        QVERIFY(power->registerForSystemPower(recorder()));
        QTRY_COMPARE_WITH_TIMEOUT(logind.inhibitors().size(), 1, kit::patience);
        const Inhibitor lock = logind.inhibitors().constFirst();
        QCOMPARE(lock.what, QStringLiteral("sleep:shutdown"));
        QCOMPARE(lock.who, QStringLiteral("Clipmule Sync"));
        QCOMPARE(lock.mode, QStringLiteral("delay"));
        QVERIFY(!lock.why.isEmpty());
        power->deregisterForSystemPower();
        QTRY_COMPARE_WITH_TIMEOUT(logind.inhibitors().size(), 0, kit::patience);
    }

    void sleepIsHeldBackUntilItIsAllowed() {
        QVERIFY(_bus.start());
        MockLogind logind;
        QVERIFY(logind.start());
        const auto power = makeSystemPower();
        QVERIFY(power->registerForSystemPower(recorder()));
        QTRY_COMPARE_WITH_TIMEOUT(logind.inhibitors().size(), 1, kit::patience);
        logind.prepareForSleep(true);
        QTRY_COMPARE_WITH_TIMEOUT(_messages.size(), 1, kit::patience);
        QCOMPARE(logind.inhibitors().size(), 1);
        power->allowPowerChange(_messages[0].argument + 1); // not ours
        QCOMPARE(logind.inhibitors().size(), 1);
        power->allowPowerChange(_messages[0].argument);
        QTRY_COMPARE_WITH_TIMEOUT(logind.inhibitors().size(), 0, kit::patience);
        // After waking the lock is held again, and the acknowledgement of the waking leaves it.
        logind.prepareForSleep(false);
        QTRY_COMPARE_WITH_TIMEOUT(_messages.size(), 2, kit::patience);
        QCOMPARE(_messages[1].number, 0xE0000300u);
        QTRY_COMPARE_WITH_TIMEOUT(logind.inhibitors().size(), 1, kit::patience);
        power->allowPowerChange(_messages[1].argument);
        power->allowPowerChange(_messages[0].argument);
        QCoreApplication::processEvents();
        QCOMPARE(logind.inhibitors().size(), 1);
        // Another round.
        logind.prepareForSleep(true);
        QTRY_COMPARE_WITH_TIMEOUT(_messages.size(), 3, kit::patience);
        power->allowPowerChange(_messages[2].argument);
        QTRY_COMPARE_WITH_TIMEOUT(logind.inhibitors().size(), 0, kit::patience);
    }

    void aMessageMayBeAllowedFromInsideIt() {
        QVERIFY(_bus.start());
        MockLogind logind;
        QVERIFY(logind.start());
        const auto power = makeSystemPower();
        QVERIFY(power->registerForSystemPower([&](quint32 message, quint64 argument) {
            _messages.append({message, argument});
            power->allowPowerChange(argument);
        }));
        QTRY_COMPARE_WITH_TIMEOUT(logind.inhibitors().size(), 1, kit::patience);
        logind.prepareForSleep(true);
        QTRY_COMPARE_WITH_TIMEOUT(logind.inhibitors().size(), 0, kit::patience);
        logind.prepareForSleep(false);
        QTRY_COMPARE_WITH_TIMEOUT(_messages.size(), 2, kit::patience);
        QTRY_COMPARE_WITH_TIMEOUT(logind.inhibitors().size(), 1, kit::patience);
    }

    void shutdownIsPoweringOff() {
        QVERIFY(_bus.start());
        MockLogind logind;
        QVERIFY(logind.start());
        const auto power = makeSystemPower();
        QVERIFY(power->registerForSystemPower(recorder()));
        QTRY_COMPARE_WITH_TIMEOUT(logind.inhibitors().size(), 1, kit::patience);
        logind.prepareForShutdown(true);
        QTRY_COMPARE_WITH_TIMEOUT(_messages.size(), 1, kit::patience);
        QCOMPARE(_messages[0].number, 0xE0000250u);
        power->allowPowerChange(_messages[0].argument);
        QTRY_COMPARE_WITH_TIMEOUT(logind.inhibitors().size(), 0, kit::patience);
        // Called off: nothing to tell, but the next one is to be held back again.
        logind.prepareForShutdown(false);
        QTRY_COMPARE_WITH_TIMEOUT(logind.inhibitors().size(), 1, kit::patience);
        QCOMPARE(_messages.size(), 1);
    }

    void aRestartIsToldWhereTheManagerTellsIt_data() {
        QTest::addColumn<QString>("type");
        QTest::addColumn<quint32>("message");
        QTest::newRow("power-off") << QStringLiteral("poweroff") << 0xE0000250u;
        QTest::newRow("halt") << QStringLiteral("halt") << 0xE0000250u;
        QTest::newRow("reboot") << QStringLiteral("reboot") << 0xE0000310u;
        QTest::newRow("kexec") << QStringLiteral("kexec") << 0xE0000310u;
        QTest::newRow("soft reboot") << QStringLiteral("soft-reboot") << 0xE0000310u;
        QTest::newRow("unheard of") << QStringLiteral("levitate") << 0xE0000250u;
    }
    void aRestartIsToldWhereTheManagerTellsIt() {
        QFETCH(QString, type);
        QFETCH(quint32, message);
        QVERIFY(_bus.start());
        MockLogind logind;
        QVERIFY(logind.start());
        const auto power = makeSystemPower();
        QVERIFY(power->registerForSystemPower(recorder()));
        QTRY_COMPARE_WITH_TIMEOUT(logind.inhibitors().size(), 1, kit::patience);
        logind.emitSignal(QStringLiteral("PrepareForShutdownWithMetadata"),
                          {true, QVariantMap{{QStringLiteral("type"), type}}},
                          QStringLiteral("ba{sv}"));
        logind.prepareForShutdown(true);
        QTRY_COMPARE_WITH_TIMEOUT(_messages.size(), 1, kit::patience);
        QCOMPARE(_messages[0].number, message);
    }

    void waitsForAManagerThatIsNotThereYet() {
        QVERIFY(_bus.start());
        const auto power = makeSystemPower();
        QVERIFY(power->registerForSystemPower(recorder()));
        MockLogind logind;
        QVERIFY(logind.start());
        QTRY_COMPARE_WITH_TIMEOUT(logind.inhibitors().size(), 1, kit::patience);
        logind.prepareForSleep(true);
        QTRY_COMPARE_WITH_TIMEOUT(_messages.size(), 1, kit::patience);
    }

    void takesTheLockAgainFromARestartedManager() {
        QVERIFY(_bus.start());
        auto logind = std::make_unique<MockLogind>();
        QVERIFY(logind->start());
        const auto power = makeSystemPower();
        QVERIFY(power->registerForSystemPower(recorder()));
        QTRY_COMPARE_WITH_TIMEOUT(logind->inhibitors().size(), 1, kit::patience);
        logind = std::make_unique<MockLogind>();
        QVERIFY(logind->start());
        QTRY_COMPARE_WITH_TIMEOUT(logind->inhibitors().size(), 1, kit::patience);
        QCOMPARE(_messages.size(), 0);
        logind->prepareForSleep(true);
        QTRY_COMPARE_WITH_TIMEOUT(_messages.size(), 1, kit::patience);
    }

    void aManagerThatRestartsDuringSleepDoesNotLeaveUsAsleep() {
        QVERIFY(_bus.start());
        auto logind = std::make_unique<MockLogind>();
        QVERIFY(logind->start());
        const auto power = makeSystemPower();
        QVERIFY(power->registerForSystemPower(recorder()));
        QTRY_COMPARE_WITH_TIMEOUT(logind->inhibitors().size(), 1, kit::patience);
        logind->prepareForSleep(true);
        QTRY_COMPARE_WITH_TIMEOUT(_messages.size(), 1, kit::patience);
        power->allowPowerChange(_messages[0].argument);
        logind = std::make_unique<MockLogind>();
        QVERIFY(logind->start());
        QTRY_COMPARE_WITH_TIMEOUT(_messages.size(), 2, kit::patience);
        QCOMPARE(_messages[1].number, 0xE0000300u);
        QTRY_VERIFY_WITH_TIMEOUT(!logind->inhibitors().isEmpty(), kit::patience);
    }

    void aSystemWithoutABusIsSilent() {
        const auto power = makeSystemPower();
        QVERIFY(power->registerForSystemPower(recorder()));
        power->allowPowerChange(0);
        power->allowPowerChange(1);
        QCoreApplication::processEvents();
        QCOMPARE(_messages.size(), 0);
        power->deregisterForSystemPower();
        QCOMPARE(_runLoop.pendingCount(), 0);
    }

    void comesToLifeWhenTheBusDoes() {
        const auto power = makeSystemPower();
        QVERIFY(power->registerForSystemPower(recorder()));
        QVERIFY(_bus.start());
        MockLogind logind;
        QVERIFY(logind.start());
        _runLoop.advance(BusConnection::retryInterval);
        QTRY_COMPARE_WITH_TIMEOUT(logind.inhibitors().size(), 1, kit::patience);
    }

    void othersCannotPretendToBeTheManager() {
        QVERIFY(_bus.start());
        MockLogind logind;
        QVERIFY(logind.start());
        const auto power = makeSystemPower();
        QVERIFY(power->registerForSystemPower(recorder()));
        QTRY_COMPARE_WITH_TIMEOUT(logind.inhibitors().size(), 1, kit::patience);
        QDBusMessage forged = QDBusMessage::createSignal(
            QStringLiteral("/org/freedesktop/login1"),
            QStringLiteral("org.freedesktop.login1.Manager"), QStringLiteral("PrepareForSleep"));
        forged << true;
        QVERIFY(logind.bus().send(forged));
        // The manager's own comes after it.
        logind.prepareForShutdown(true);
        QTRY_COMPARE_WITH_TIMEOUT(_messages.size(), 1, kit::patience);
        QCOMPARE(_messages[0].number, 0xE0000250u);
    }

    void theObserverMayDeregisterInsideTheMessage() {
        QVERIFY(_bus.start());
        MockLogind logind;
        QVERIFY(logind.start());
        const auto power = makeSystemPower();
        QVERIFY(power->registerForSystemPower([&](quint32 message, quint64 argument) {
            _messages.append({message, argument});
            power->deregisterForSystemPower();
            power->allowPowerChange(argument);
        }));
        QTRY_COMPARE_WITH_TIMEOUT(logind.inhibitors().size(), 1, kit::patience);
        logind.prepareForSleep(true);
        QTRY_COMPARE_WITH_TIMEOUT(_messages.size(), 1, kit::patience);
        QTRY_COMPARE_WITH_TIMEOUT(logind.inhibitors().size(), 0, kit::patience);
    }

private:
    SystemPower::Callback recorder() {
        return [this](quint32 message, quint64 argument) { _messages.append({message, argument}); };
    }

    kit::ManualRunLoop _runLoop;
    RunLoop::Installation _installation{_runLoop};
    kit::PrivateBus _bus;
    QList<Message> _messages;
};

QTEST_GUILESS_MAIN(SystemPowerTest)
#include "tst_systempower.moc"
