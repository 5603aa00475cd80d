// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "support/Settings.h"
#include "tests/kit/ManualRunLoop.h"
#include "tests/kit/TestCase.h"
#include "tests/support/TestStores.h"

#include <QTest>

using namespace clipmule;

namespace {
const QString syncEnabled = QStringLiteral("syncEnabled");
} // namespace

class ApplicationDefaultsTest final : public kit::TestCase {
    Q_OBJECT

    void begin() override {
        _session = std::make_unique<kit::UserSession>();
        _agent = std::make_unique<kit::Process>(*_session);
        _command = std::make_unique<kit::Process>(*_session);
        _agent->observe(NSUserDefaultsDidChangeNotification);
    }

private Q_SLOTS:
    void valuesLieInADomainOfTheirOwn() {
        const auto defaults = Settings::openForAgent(_agent->environment);
        QCOMPARE(defaults->objectForKey(syncEnabled), std::nullopt);
        QVERIFY(!defaults->boolForKey(syncEnabled));
        defaults->setBoolForKey(true, syncEnabled);
        QVERIFY(defaults->boolForKey(syncEnabled));
        QCOMPARE(_session->database.copyMultiple(QStringLiteral("com.zendrik.ClipmuleSync"))
                     .value(syncEnabled),
                 PropertyList(true));
        defaults->removeObjectForKey(syncEnabled);
        QCOMPARE(defaults->objectForKey(syncEnabled), std::nullopt);
    }

    void storedValuesAreThereFromTheStart() {
        QVERIFY(_session->database.setValue(applicationIdentifier, syncEnabled, false));
        const auto defaults = Settings::openForAgent(_agent->environment);
        QCOMPARE(defaults->objectForKey(syncEnabled), std::optional(PropertyList(false)));
        QCOMPARE(_session->database.readCount(), 1);
        QVERIFY(defaults->synchronize());
    }

    void whatWasWrittenUnheardIsThereAfterReset() {
        const auto defaults = Settings::openForAgent(_agent->environment);
        QVERIFY(_session->database.setValue(applicationIdentifier, syncEnabled, false));
        QCOMPARE(defaults->objectForKey(syncEnabled), std::nullopt);
        defaults->reset();
        QCOMPARE(defaults->objectForKey(syncEnabled), std::optional(PropertyList(false)));
        _runLoop.advance(1.0);
        QCOMPARE(_agent->changes.notifications.size(), 0);
    }

    void aChangeIsAnnouncedOnceAndUnderItsOwnNameAlone() {
        const auto defaults = Settings::openForAgent(_agent->environment);
        defaults->setBoolForKey(false, syncEnabled);
        QCOMPARE(_agent->changes.notifications.size(), 1);
        QCOMPARE(_agent->changes.notifications[0].name,
                 QStringLiteral("NSUserDefaultsDidChangeNotification"));
        QCOMPARE(_agent->changes.notifications[0].object.get(),
                 static_cast<const Object *>(defaults.get()));
        _runLoop.advance(1.0);
        QCOMPARE(_agent->changes.notifications.size(), 1);
    }

    void anotherProgramsChangeArrives() {
        const auto defaults = Settings::openForAgent(_agent->environment);
        const auto command = _command->open(applicationIdentifier);
        command->setBoolForKey(false, syncEnabled);
        _runLoop.advance(0.04);
        QCOMPARE(_agent->changes.notifications.size(), 0);
        _runLoop.advance(0.02);
        QCOMPARE(_agent->changes.notifications.size(), 1);
        QCOMPARE(_agent->changes.notifications[0].name, NSUserDefaultsDidChangeNotification);
        QCOMPARE(defaults->objectForKey(syncEnabled), std::optional(PropertyList(false)));
    }

    void theSharedDomainsFallbacksAreNotTheAgents() {
        // Some bundle of the process has a "Defaults" file: the program's own does.
        ZRKUserDefaults::Environment environment = _agent->environment;
        environment.bundles = nullptr;
        const auto defaults = Settings::openForAgent(environment);
        QCOMPARE(defaults->objectForKey(QStringLiteral("showStatus")), std::nullopt);
        QVERIFY(ZRKUserDefaults::initWithIdentifier(QStringLiteral("any"), environment)
                    ->objectForKey(QStringLiteral("showStatus")));
    }

    void withoutACentreOfItsOwnItSpeaksOnThePlatforms() {
        ZRKUserDefaults::Environment environment = _agent->environment;
        environment.localCenter = nullptr;
        const auto defaults = Settings::openForAgent(environment);
        kit::ChangeLog log;
        auto &center = ZRKNotificationCenter::platformDefault();
        center.addObserver(&log, selector<&kit::ChangeLog::changed>("changed"),
                           NSUserDefaultsDidChangeNotification);
        center.addObserver(&log, selector<&kit::ChangeLog::changed>("changed"),
                           ZRKUserDefaultsDidChangeNotification);
        defaults->setBoolForKey(true, syncEnabled);
        center.removeObserver(&log);
        QCOMPARE(log.notifications.size(), 1);
        QCOMPARE(log.notifications[0].name, NSUserDefaultsDidChangeNotification);
    }

    void theEndOfTheApplicationFlushes() {
        const auto defaults = Settings::openForAgent(_agent->environment);
        defaults->setBoolForKey(true, syncEnabled);
        ZRKNotificationCenter::platformDefault().postNotificationName(
            NSApplicationWillTerminateNotification);
        QCOMPARE(_session->database.synchronized(), QStringList{applicationIdentifier});
    }

private:
    kit::ManualRunLoop _runLoop;
    RunLoop::Installation _installation{_runLoop};
    std::unique_ptr<kit::UserSession> _session;
    std::unique_ptr<kit::Process> _agent;
    std::unique_ptr<kit::Process> _command;
};

QTEST_GUILESS_MAIN(ApplicationDefaultsTest)
#include "tst_applicationdefaults.moc"
