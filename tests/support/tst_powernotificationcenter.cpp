// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/power/SystemPower.h"
#include "support/ZRKPowerNotificationCenter.h"
#include "tests/kit/FakeSystemPower.h"
#include "tests/kit/TestCase.h"

#include <QTest>

#include <stdexcept>

using namespace clipmule;
using namespace clipmule::kit;

namespace {

const QStringList allNames{ZRKPowerStatusDidChange, ZRKPowerStatusWillPowerOff,
                           ZRKPowerStatusWillSleep, ZRKPowerStatusDidWake,
                           ZRKPowerStatusWillRestart};

class Listener final : public Object {
public:
    void wasTold(const Notification &notification) {
        QString line = notification.name;
        if (const auto *number = dynamic_cast<const UnsignedNumber *>(notification.object.get()))
            line += QStringLiteral(" %1").arg(number->value(), 0, 16);
        else if (notification.object)
            line += QStringLiteral(" (another object)");
        told += line;
        if (then)
            then();
    }
    void observe(const QString &name) {
        ZRKPowerNotificationCenter::defaultCenter()->addObserver(
            this, selector<&Listener::wasTold>("wasTold"), name);
    }
    void observeAll() {
        for (const QString &name : allNames)
            observe(name);
    }
    ~Listener() override { ZRKPowerNotificationCenter::defaultCenter()->removeObserver(this); }

    QStringList told;
    std::function<void()> then;
};

} // namespace

class PowerNotificationCenterTest final : public kit::TestCase {
    Q_OBJECT

    void begin() override {
        _power = std::make_unique<FakeSystemPower>();
        ZRKPowerNotificationCenter::setSystemPower(_power.get());
    }

    void end() override {
        ZRKPowerNotificationCenter::setSystemPower(nullptr);
        _power.reset();
    }

private Q_SLOTS:
    void everyMessageIsNamedAndAcknowledged_data() {
        QTest::addColumn<quint32>("message");
        QTest::addColumn<QStringList>("told");
        QTest::newRow("will power off")
            << 0xE0000250u
            << QStringList{QStringLiteral("ZRKPowerStatusDidChange e0000250"),
                           QStringLiteral("ZRKPowerStatusWillPowerOff")};
        QTest::newRow("will sleep")
            << 0xE0000280u
            << QStringList{QStringLiteral("ZRKPowerStatusDidChange e0000280"),
                           QStringLiteral("ZRKPowerStatusWillSleep")};
        QTest::newRow("has powered on")
            << 0xE0000300u
            << QStringList{QStringLiteral("ZRKPowerStatusDidChange e0000300"),
                           QStringLiteral("ZRKPowerStatusDidWake")};
        QTest::newRow("will restart")
            << 0xE0000310u
            << QStringList{QStringLiteral("ZRKPowerStatusDidChange e0000310"),
                           QStringLiteral("ZRKPowerStatusWillRestart")};
        QTest::newRow("may it sleep")
            << 0xE0000270u << QStringList{QStringLiteral("ZRKPowerStatusDidChange e0000270")};
        QTest::newRow("a number of tomorrow")
            << 7u << QStringList{QStringLiteral("ZRKPowerStatusDidChange 7")};
    }
    void everyMessageIsNamedAndAcknowledged() {
        QFETCH(quint32, message);
        QFETCH(QStringList, told);
        Listener listener;
        listener.observeAll();
        const quint64 token = _power->send(message);
        QCOMPARE(listener.told, told);
        QCOMPARE(_power->allowed(), QList<quint64>{token});
    }

    void theAcknowledgementFollowsTheObservers() {
        Listener listener;
        listener.observe(ZRKPowerStatusWillSleep);
        qsizetype allowedBefore = -1;
        listener.then = [&] { allowedBefore = _power->allowed().size(); };
        _power->send(PowerMessage::SystemWillSleep);
        QCOMPARE(allowedBefore, 0);
        QCOMPARE(_power->allowed().size(), 1);
    }

    void anObserverThatThrowsDoesNotKeepTheComputerAwake() {
        Listener listener;
        listener.observe(ZRKPowerStatusWillSleep);
        listener.then = [] { throw std::runtime_error("a fault elsewhere"); };
        QVERIFY_THROWS_EXCEPTION(std::runtime_error, _power->send(PowerMessage::SystemWillSleep));
        QCOMPARE(_power->allowed().size(), 1);
    }

    void registeredExactlyWhileSomebodyObserves() {
        Listener first;
        Listener second;
        QVERIFY(!_power->isRegistered());
        first.observe(ZRKPowerStatusWillSleep);
        QVERIFY(_power->isRegistered());
        second.observe(ZRKPowerStatusDidWake);
        QCOMPARE(_power->registrationCount(), 1);
        const auto hub = ZRKPowerNotificationCenter::defaultCenter();
        hub->removeObserver(&first);
        QVERIFY(_power->isRegistered());
        hub->removeObserver(&second);
        QVERIFY(!_power->isRegistered());
    }

    void afterTheLastObserverThereIsANewHubThatRegistersAgain() {
        Listener listener;
        listener.observe(ZRKPowerStatusWillSleep);
        const auto hub = ZRKPowerNotificationCenter::defaultCenter();
        hub->removeObserver(&listener);
        QVERIFY(ZRKPowerNotificationCenter::defaultCenter() != hub);
        QCOMPARE(_power->registrationCount(), 1);
        listener.observe(ZRKPowerStatusWillSleep);
        QCOMPARE(_power->registrationCount(), 2);
        _power->send(PowerMessage::SystemWillSleep);
        QCOMPARE(listener.told, QStringList{QStringLiteral("ZRKPowerStatusWillSleep")});
    }

    void theServiceMayGoInsideTheNotification() {
        Listener listener;
        listener.observe(ZRKPowerStatusWillSleep);
        listener.then = [] { ZRKPowerNotificationCenter::setSystemPower(nullptr); };
        _power->send(PowerMessage::SystemWillSleep);
        QCOMPARE(listener.told.size(), 1);
        QCOMPARE(_power->allowed(), QList<quint64>());
    }

    void theLastObserverMayLeaveInsideTheNotification() {
        Listener listener;
        listener.observe(ZRKPowerStatusDidChange);
        listener.then = [&] {
            ZRKPowerNotificationCenter::defaultCenter()->removeObserver(&listener);
        };
        _power->send(PowerMessage::SystemWillSleep);
        QCOMPARE(listener.told.size(), 1);
        QVERIFY(!_power->isRegistered());
        QCOMPARE(_power->allowed().size(), 1);
    }

    void theHubIsAnotherThanThePlainOne() {
        const std::shared_ptr<ZRKNotificationCenter> power =
            ZRKPowerNotificationCenter::defaultCenter();
        QVERIFY(power != ZRKNotificationCenter::defaultCenter());
        QVERIFY(power == ZRKPowerNotificationCenter::defaultCenter());
    }

    void aFailedRegistrationLeavesTheHubSilent() {
        _power->setRefusesRegistration(true);
        Listener listener;
        listener.observeAll();
        _power->send(PowerMessage::SystemWillSleep);
        QCOMPARE(listener.told, QStringList());
        QCOMPARE(_power->allowed().size(), 0);
    }

    void withoutAPowerServiceTheHubIsSilent() {
        ZRKPowerNotificationCenter::setSystemPower(nullptr);
        Listener listener;
        listener.observeAll();
        QCOMPARE(listener.told, QStringList());
    }

    void aServiceThatIsTakenAwayIsDeregisteredFrom() {
        Listener listener;
        listener.observeAll();
        ZRKPowerNotificationCenter::setSystemPower(nullptr);
        QVERIFY(!_power->isRegistered());
        _power.reset();
        ZRKPowerNotificationCenter::defaultCenter()->removeObserver(&listener);
    }

    void aHubThatGoesTakesItsRegistrationAlong() {
        Listener listener;
        auto hub = std::make_shared<ZRKPowerNotificationCenter>();
        hub->addObserver(&listener, selector<&Listener::wasTold>("wasTold"),
                         ZRKPowerStatusWillSleep);
        QVERIFY(_power->isRegistered());
        hub.reset();
        QVERIFY(!_power->isRegistered());
    }

    void numbersAreComparedByValue() {
        QVERIFY(UnsignedNumber(7).isEqual(UnsignedNumber(7)));
        QVERIFY(!UnsignedNumber(7).isEqual(UnsignedNumber(8)));
        QVERIFY(!UnsignedNumber(7).isEqual(Listener()));
        QCOMPARE(UnsignedNumber(0xE0000280).description(), QStringLiteral("3758097024"));
    }

private:
    std::unique_ptr<FakeSystemPower> _power;
};

QTEST_GUILESS_MAIN(PowerNotificationCenterTest)
#include "tst_powernotificationcenter.moc"
