// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/foundation/QtRunLoop.h"
#include "platform/session/SessionPrograms.h"
#include "tests/kit/TestCase.h"
#include "tests/services/PrivateBus.h"

#include <QRegularExpression>
#include <QTest>

using namespace clipmule;

namespace {
const QString identifier = QStringLiteral("com.example.Some-Program");
} // namespace

class ApplicationInterfaceTest final : public kit::TestCase {
    Q_OBJECT

    void begin() override {
        qunsetenv("XDG_ACTIVATION_TOKEN");
        qunsetenv("DESKTOP_STARTUP_ID");
        _tokens.clear();
        _actions.clear();
    }

    void end() override {
        _interface.reset();
        _name.reset();
    }

private Q_SLOTS:
    void initTestCase() {
        QTest::failOnWarning(QRegularExpression(QStringLiteral(".*")));
        qputenv("DBUS_SESSION_BUS_ADDRESS", _bus.address().toUtf8());
        QVERIFY(_bus.start());
    }
    void aProgramThatDoesNotRunIsNotReached() { QVERIFY(!isReached()); }

    void aRunningProgramIsAskedToShowItself() {
        start();
        QVERIFY(isReached());
        QCOMPARE(_tokens, QStringList{QString()});
    }

    void thePermissionToComeToTheFrontIsPassedOn() {
        start();
        qputenv("DESKTOP_STARTUP_ID", "old");
        QVERIFY(isReached());
        qputenv("XDG_ACTIVATION_TOKEN", "new");
        QVERIFY(isReached());
        QCOMPARE(_tokens, (QStringList{QStringLiteral("old"), QStringLiteral("new")}));
    }

    void itIsAskedToQuitAsTheAgentAsks() {
        start();
        makeSessionPrograms()->quit(identifier);
        QTRY_COMPARE_WITH_TIMEOUT(_actions, QStringList{QStringLiteral("quit")}, kit::patience);
        QCOMPARE(_tokens, QStringList());
    }

    void onceItIsGoneItIsNotReached() {
        start();
        _interface.reset();
        QVERIFY(!isReached());
    }

private:
    void start() {
        _interface = makeApplicationInterface();
        _interface->onActivate = [this](const QString &token) { _tokens.append(token); };
        _interface->onAction = [this](const QString &action) { _actions.append(action); };
        QVERIFY(_interface->start(identifier));
        _name = makeSingleInstance();
        bool isOurs = false;
        _name->claim(identifier, [&isOurs](SingleInstance::Outcome outcome) {
            isOurs = outcome == SingleInstance::Outcome::First;
        });
        QTRY_VERIFY_WITH_TIMEOUT(isOurs, kit::patience);
    }
    static bool isReached() {
        std::optional<bool> answer;
        activateApplication(identifier, [&answer](bool reached) { answer = reached; });
        [&answer] { QTRY_VERIFY_WITH_TIMEOUT(answer, kit::patience); }();
        return answer.value_or(false);
    }

    QtRunLoop _runLoop;
    RunLoop::Installation _installation{_runLoop};
    kit::PrivateBus _bus;
    std::unique_ptr<SingleInstance> _name;
    std::unique_ptr<ApplicationInterface> _interface;
    QStringList _tokens;
    QStringList _actions;
};

QTEST_GUILESS_MAIN(ApplicationInterfaceTest)
#include "tst_applicationinterface.moc"
