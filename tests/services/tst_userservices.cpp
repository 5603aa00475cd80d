// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/dbus/BusConnection.h"
#include "platform/session/UserServices.h"
#include "tests/kit/ManualRunLoop.h"
#include "tests/kit/TestCase.h"
#include "tests/services/PrivateBus.h"

#include <QDBusMessage>
#include <QDBusVirtualObject>
#include <QTest>

using namespace clipmule;
using namespace Qt::StringLiterals;
using AtLogin = UserServices::AtLogin;

namespace {

const QString unit = QStringLiteral("clipmule-web.service");

/// The manager's side of the bus.
class MockManager final : public QDBusVirtualObject {
public:
    [[nodiscard]] bool start() {
        QDBusConnection bus = QDBusConnection::sessionBus();
        return bus.registerVirtualObject(QStringLiteral("/org/freedesktop/systemd1"), this) &&
               bus.registerService(QStringLiteral("org.freedesktop.systemd1"));
    }
    ~MockManager() override {
        QDBusConnection bus = QDBusConnection::sessionBus();
        bus.unregisterService(QStringLiteral("org.freedesktop.systemd1"));
        bus.unregisterObject(QStringLiteral("/org/freedesktop/systemd1"));
    }

    [[nodiscard]] QString introspect(const QString &) const override { return {}; }

    bool handleMessage(const QDBusMessage &message, const QDBusConnection &given) override {
        QDBusConnection bus = given;
        calls.append(message.member() + u'/' + message.signature());
        arguments.append(message.arguments());
        if (message.member() == refused)
            bus.send(message.createErrorReply(QStringLiteral("org.example.Error"), reason));
        else if (message.member() == u"GetUnitFileState")
            bus.send(message.createReply(state));
        else
            bus.send(message.createReply());
        return true;
    }

    QString state;
    QString refused;
    QString reason = QStringLiteral("not allowed");
    QStringList calls;
    QList<QVariantList> arguments;
};

} // namespace

// What the session's service manager is asked, and how its answers are understood.
class UserServicesTest final : public kit::TestCase {
    Q_OBJECT

    void begin() override {
        _manager = std::make_unique<MockManager>();
        QVERIFY(_manager->start());
        _services = makeUserServices();
    }
    void end() override {
        _services.reset();
        _manager.reset();
    }

private Q_SLOTS:
    void initTestCase() {
        qputenv("DBUS_SESSION_BUS_ADDRESS", kit::PrivateBus::running().address().toUtf8());
    }

    void whetherAUnitIsStartedAtLogin_data() {
        QTest::addColumn<QString>("state");
        QTest::addColumn<AtLogin>("expected");
        QTest::newRow("enabled") << u"enabled"_s << AtLogin::On;
        QTest::newRow("enabled until the computer stops") << u"enabled-runtime"_s << AtLogin::On;
        QTest::newRow("disabled") << u"disabled"_s << AtLogin::Off;
        QTest::newRow("masked") << u"masked"_s << AtLogin::Off;
    }
    void whetherAUnitIsStartedAtLogin() {
        QFETCH(QString, state);
        _manager->state = state;
        QTEST(look(), "expected");
        QCOMPARE(_manager->calls, QStringList{u"GetUnitFileState/s"_s});
        QCOMPARE(_manager->arguments[0], QVariantList{unit});
    }

    void aUnitThatIsUnknown() {
        _manager->refused = u"GetUnitFileState"_s;
        QCOMPARE(look(), AtLogin::Unknown);
    }

    void aSessionWithoutAManager() {
        _manager.reset();
        QCOMPARE(look(), AtLogin::Unknown);
        QCOMPARE(start(), false);
    }

    void aUnitIsStarted() {
        QCOMPARE(start(), true);
        QCOMPARE(_manager->calls, QStringList{u"StartUnit/ss"_s});
        QCOMPARE(_manager->arguments[0], (QVariantList{unit, u"replace"_s}));
        _manager->refused = u"StartUnit"_s;
        QCOMPARE(start(), false);
    }

    void itIsSwitchedOn() {
        QVERIFY(setAtLogin(true));
        QCOMPARE(_manager->calls,
                 (QStringList{u"EnableUnitFiles/asbb"_s, u"Reload/"_s, u"StartUnit/ss"_s}));
        QCOMPARE(_manager->arguments[0], (QVariantList{QStringList{unit}, false, false}));
        QCOMPARE(_manager->arguments[2], (QVariantList{unit, u"replace"_s}));
    }

    void itIsSwitchedOff() {
        QVERIFY(setAtLogin(false));
        QCOMPARE(_manager->calls,
                 (QStringList{u"DisableUnitFiles/asb"_s, u"Reload/"_s, u"StopUnit/ss"_s}));
        QCOMPARE(_manager->arguments[0], (QVariantList{QStringList{unit}, false}));
        QCOMPARE(_manager->arguments[2], (QVariantList{unit, u"replace"_s}));
    }

    void aRefusalEndsItAndIsTold() {
        _manager->refused = u"EnableUnitFiles"_s;
        const auto refused = setAtLogin(true);
        QVERIFY(!refused);
        QCOMPARE(refused.error().reason, u"not allowed"_s);
        QCOMPARE(_manager->calls.size(), 1);
        // Without words, its name stands for the reason.
        _manager->reason.clear();
        QCOMPARE(setAtLogin(true).error().reason, u"org.example.Error"_s);
    }

    void nothingIsAnsweredToWhoIsGone() {
        int answers = 0;
        _services->look(unit, [&answers](AtLogin) { ++answers; });
        _services.reset();
        QTRY_COMPARE(_manager->calls.size(), 1);
        _services = makeUserServices();
        QCOMPARE(look(), AtLogin::Off);
        QCOMPARE(answers, 0);
    }

private:
    template <typename Value>
    [[nodiscard]] static Value waitFor(const std::optional<Value> &answer) {
        if (!QTest::qWaitFor([&answer] { return answer.has_value(); }, kit::patience))
            qFatal("no answer");
        return *answer;
    }
    [[nodiscard]] AtLogin look() {
        std::optional<AtLogin> answer;
        _services->look(unit, [&answer](AtLogin told) { answer = told; });
        return waitFor(answer);
    }
    [[nodiscard]] bool start() {
        std::optional<bool> answer;
        _services->start(unit, [&answer](bool told) { answer = told; });
        return waitFor(answer);
    }
    [[nodiscard]] Result<void> setAtLogin(bool on) {
        std::optional<Result<void>> answer;
        _services->setAtLogin(unit, on, [&answer](const Result<void> &told) { answer = told; });
        return waitFor(answer);
    }

    kit::ManualRunLoop _runLoop;
    const RunLoop::Installation _installation{_runLoop};
    std::unique_ptr<MockManager> _manager;
    std::unique_ptr<UserServices> _services;
};

QTEST_GUILESS_MAIN(UserServicesTest)
#include "tst_userservices.moc"
