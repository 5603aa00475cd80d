// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "support/RegisteredPhones.h"
#include "tests/kit/ManualRunLoop.h"
#include "tests/kit/MemoryDistributedNotifications.h"
#include "tests/kit/MemoryPreferencesDatabase.h"
#include "tests/kit/Results.h"
#include "tests/kit/Settle.h"
#include "tests/kit/TestCase.h"

#include <QTest>

using namespace clipmule;
using namespace clipmule::kit;
using namespace Qt::StringLiterals;

namespace {

using Settings::Domain;
using Settings::Key;

const QString sharedDomain = QStringLiteral("com.zendrik.ClipmuleSync.shared");
const QString agentDomain = QStringLiteral("com.zendrik.ClipmuleSync");
const QString statisticsDomain = QStringLiteral("com.zendrik.ClipmuleSync.stats");

} // namespace

class SettingsStoresTest final : public kit::TestCase {
    Q_OBJECT

    void begin() override {
        _database = std::make_unique<MemoryPreferencesDatabase>();
        _hub = std::make_shared<MemoryDistributedNotifications::Hub>();
        _notifications = std::make_unique<MemoryDistributedNotifications>(_hub);
        _changes = 0;
    }

    void end() override { _settings.reset(); }

private Q_SLOTS:
    void withoutAnySettingItSyncs() {
        start(*_database);
        QVERIFY(_settings->isOn(Key::SyncEnabled));
        QVERIFY(_settings->isOn(Key::ShowStatus));
        QVERIFY(!_settings->isOn(Key::AutoUpdateEnabled));
        QCOMPARE(_settings->statistics(), SettingsStores::Statistics());
    }

    void aSwitchIsWrittenWhereTheAgentReadsIt_data() {
        QTest::addColumn<int>("which");
        QTest::addColumn<QString>("domain");
        QTest::addColumn<QString>("key");
        QTest::newRow("sync") << int(Key::SyncEnabled) << agentDomain
                              << QStringLiteral("syncEnabled");
        QTest::newRow("status item")
            << int(Key::ShowStatus) << sharedDomain << QStringLiteral("showStatus");
        QTest::newRow("updates") << int(Key::AutoUpdateEnabled) << sharedDomain
                                 << QStringLiteral("autoUpdateEnabled");
    }
    void aSwitchIsWrittenWhereTheAgentReadsIt() {
        QFETCH(int, which);
        QFETCH(QString, domain);
        QFETCH(QString, key);
        start(*_database);
        const bool opposite = !_settings->isOn(Key(which));
        QVERIFY(_settings->set(Key(which), opposite));
        QCOMPARE(_settings->isOn(Key(which)), opposite);
        QCOMPARE(_database->copyMultiple(domain).value(key), PropertyList(opposite));
        QCOMPARE(_notifications->posted().size(), 1);
    }

    void whatTheAgentCountsIsShownAtOnce() {
        start(*_database);
        setElsewhere(statisticsDomain, QStringLiteral("dataSent"), PropertyList(quint64(1500)));
        setElsewhere(statisticsDomain, QStringLiteral("dataReceived"), PropertyList(quint64(7)));
        setElsewhere(statisticsDomain, QStringLiteral("textItems"), PropertyList(qint64(3)));
        setElsewhere(statisticsDomain, QStringLiteral("imageItems"), PropertyList(qint64(2)));
        QCOMPARE(_settings->statistics(),
                 (SettingsStores::Statistics{
                     .bytesSent = 1500, .bytesReceived = 7, .textItems = 3, .imageItems = 2}));
        QCOMPARE(_changes, 4);
    }

    void aSwitchThatIsThrownElsewhereIsFollowed() {
        start(*_database);
        setElsewhere(agentDomain, QStringLiteral("syncEnabled"), PropertyList(false));
        QVERIFY(!_settings->isOn(Key::SyncEnabled));
        QCOMPARE(_changes, 1);
    }

    void aSwitchThatCouldNotBeWrittenStaysAsItWas() {
        start(*_database);
        _database->setFailsToWrite(QStringLiteral("no space"));
        const auto written = _settings->set(Key::SyncEnabled, false);
        QCOMPARE(written.error().reason, QStringLiteral("no space"));
        QVERIFY(_settings->isOn(Key::SyncEnabled));
        QVERIFY(!_settings->set(Key::ShowStatus, false));
        QVERIFY(_settings->isOn(Key::ShowStatus));
        QVERIFY(!_settings->set(Key::PasteMode, QStringLiteral("clipboard")));
        QCOMPARE(_settings->pasteMode(), PasteMode::Paste);
        QVERIFY(kit::settle(_runLoop));
        QCOMPARE(_changes, 1);
    }

    void aCounterThatIsNoNumberIsZero() {
        QVERIFY(_database->setValue(statisticsDomain, QStringLiteral("dataSent"),
                                    PropertyList(PropertyList::List())));
        QTest::ignoreMessage(
            QtWarningMsg, "setting dataSent of the domain \"stats\" holds a list, which is not a "
                          "whole number, 0 or more: not used");
        start(*_database);
        QCOMPARE(_settings->statistics().bytesSent, quint64(0));
    }

    // What every program that pairs a phone does.

    void anotherProgramHearsOfAPhone() {
        start(*_database);
        MemoryDistributedNotifications notifications(_hub);
        ZRKNotificationCenter center;
        ZRKUserDefaults::Environment environment;
        environment.database = _database.get();
        environment.distributedNotifications = &notifications;
        environment.localCenter = &center;
        const auto agents = ZRKUserDefaults::initWithIdentifier(sharedDomain, environment);
        agents->listenForChanges();
        const auto phones = [&] {
            _runLoop.advance(0.06);
            return RegisteredPhones::phones(agents->objectForKey(RegisteredPhones::key()));
        };
        QCOMPARE(phones(), QList<RegisteredPhones::Phone>());
        QVERIFY(RegisteredPhones::change(*_settings, u"local/Anna"_s, {.name = u"Pixel"_s}));
        QVERIFY(RegisteredPhones::change(*_settings, u"Bert"_s));
        QVERIFY(RegisteredPhones::change(*_settings, u"local/Anna"_s, {.name = u"Pixel 9"_s}));
        QCOMPARE(phones(),
                 (QList<RegisteredPhones::Phone>{{.service = u"local/Anna"_s, .name = u"Pixel 9"_s},
                                                 {.service = u"Bert"_s, .name = u"Bert"_s}}));
        QVERIFY(RegisteredPhones::remove(*_settings, u"local/Anna"_s));
        QVERIFY(RegisteredPhones::remove(*_settings, u"Anna"_s)); // not there
        QCOMPARE(phones(),
                 (QList<RegisteredPhones::Phone>{{.service = u"Bert"_s, .name = u"Bert"_s}}));
    }

    void whatIsNoListOfPhonesIsLeftAlone() {
        const PropertyList damage(u"damage"_s);
        (void)_database->setValue(sharedDomain, RegisteredPhones::key(), damage);
        start(*_database);
        const QString damaged = u"The stored list of phones is damaged. Nothing was changed."_s;
        QCOMPARE(reasonOf(RegisteredPhones::change(*_settings, u"Anna"_s)), damaged);
        QCOMPARE(reasonOf(RegisteredPhones::store(*_settings, PropertyList::List())), damaged);
        QCOMPARE(reasonOf(RegisteredPhones::remove(*_settings, u"Anna"_s)), QString());
        QCOMPARE(_settings->value(Key::ServerServices), std::optional(damage));
    }

    void noMorePhonesAreRegisteredThanAreRead() {
        start(*_database);
        const auto change = [this](const QString &phone) {
            return reasonOf(RegisteredPhones::change(*_settings, phone, {.name = u"x"_s}));
        };
        for (qsizetype number = 0; number < RegisteredPhones::mostPhones; ++number)
            QCOMPARE(change(QString::number(number)), QString());
        QCOMPARE(change(u"Anna"_s), u"200 phones are paired already."_s);
        QCOMPARE(change(u"7"_s), QString());
        QCOMPARE(RegisteredPhones::phones(_settings->value(Key::ServerServices)).size(),
                 RegisteredPhones::mostPhones);
        QVERIFY(RegisteredPhones::remove(*_settings, u"7"_s));
        QCOMPARE(change(u"Anna"_s), QString());
    }

    void aPhoneThatCouldNotBeWrittenIsSaid() {
        start(*_database);
        _database->setFailsToWrite(u"no space"_s);
        QCOMPARE(reasonOf(RegisteredPhones::change(*_settings, u"Anna"_s)),
                 u"The settings could not be written: no space"_s);
        QVERIFY(!_settings->value(Key::ServerServices));
    }

private:
    void start(PreferencesDatabase &database) {
        ZRKUserDefaults::Environment environment;
        environment.database = &database;
        environment.distributedNotifications = _notifications.get();
        _settings = SettingsStores::open(environment);
        QVERIFY(_settings);
        _settings->onChange = [this] { ++_changes; };
        _settings->start();
    }
    void setElsewhere(const QString &domain, const QString &key, const PropertyList &value) {
        MemoryDistributedNotifications notifications(_hub);
        ZRKNotificationCenter center;
        ZRKUserDefaults::Environment environment;
        environment.database = _database.get();
        environment.distributedNotifications = &notifications;
        environment.localCenter = &center;
        QVERIFY(
            ZRKUserDefaults::initWithIdentifier(domain, environment)->setObjectForKey(value, key));
        _runLoop.advance(0.06);
        QVERIFY(kit::settle(_runLoop));
    }

    kit::ManualRunLoop _runLoop;
    RunLoop::Installation _installation{_runLoop};
    std::unique_ptr<MemoryPreferencesDatabase> _database;
    std::shared_ptr<MemoryDistributedNotifications::Hub> _hub;
    std::unique_ptr<MemoryDistributedNotifications> _notifications;
    std::unique_ptr<SettingsStores> _settings;
    int _changes = 0;
};

QTEST_GUILESS_MAIN(SettingsStoresTest)
#include "tst_settingsstores.moc"
