// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "tests/app/AgentFixture.h"
#include "tests/kit/TestCase.h"

#include <QDir>
#include <QFile>
#include <QTest>

using namespace clipmule;
using namespace clipmule::kit;
using namespace Qt::StringLiterals;

namespace {

// Counts a notification of the platform's centre.
class Counter final : public Object {
public:
    explicit Counter(const QString &name) {
        ZRKNotificationCenter::platformDefault().addObserver(
            this, selector<&Counter::count>("count"), name);
    }
    ~Counter() override { ZRKNotificationCenter::platformDefault().removeObserver(this); }
    void count(const Notification &notification) {
        ++times;
        last = notification;
    }
    int times = 0;
    Notification last;
};

// The fake network, with somebody who watches announcements end.
class AnnouncementWatch final : public dnssd::Backend {
public:
    explicit AnnouncementWatch(AgentFixture &agent)
        : _agent(agent) {}
    [[nodiscard]] SyncServices services() {
        const SyncServices given = _agent.services();
        return {.dnssd = *this,
                .pasteboard = given.pasteboard,
                .keyboard = given.keyboard,
                .applicationDefaults = given.applicationDefaults,
                .sharedDefaults = given.sharedDefaults,
                .sessionPrograms = given.sessionPrograms,
                .agentBundle = given.agentBundle,
                .makeStatusController = {},
                .updaterForBundle = {},
                .prepareToPaste = {}};
    }
    std::function<void()> onStop;
    QList<bool> connectedAtStop;

    [[nodiscard]] std::unique_ptr<dnssd::Publisher> makePublisher() override {
        return std::make_unique<Watched>(*this, _agent.backend.makePublisher());
    }
    [[nodiscard]] std::unique_ptr<dnssd::Browser> makeBrowser() override {
        return _agent.backend.makeBrowser();
    }
    [[nodiscard]] std::unique_ptr<dnssd::Resolver> makeResolver() override {
        return _agent.backend.makeResolver();
    }
    [[nodiscard]] std::unique_ptr<dnssd::TxtWatch> makeTxtWatch() override {
        return _agent.backend.makeTxtWatch();
    }
    [[nodiscard]] StreamPair connectTo(const dnssd::Resolved &resolved) override {
        return _agent.backend.connectTo(resolved);
    }
    [[nodiscard]] QString description() const override { return _agent.backend.description(); }

private:
    class Watched final : public dnssd::Publisher {
    public:
        Watched(AnnouncementWatch &watch, std::unique_ptr<dnssd::Publisher> real)
            : _watch(watch)
            , _real(std::move(real)) {}
        void start(const dnssd::ServiceName &service, quint16 port,
                   const QByteArray &txtRecord) override {
            _real->start(service, port, txtRecord);
        }
        void setTxtRecord(const QByteArray &txtRecord) override { _real->setTxtRecord(txtRecord); }
        void stop() override {
            if (_watch.onStop)
                _watch.onStop();
            _real->stop();
        }

    private:
        AnnouncementWatch &_watch;
        std::unique_ptr<dnssd::Publisher> _real;
    };

    AgentFixture &_agent;
};

PropertyList::Dictionary phoneEntry(const QString &service, const QString &name) {
    return {{u"serverService"_s, service}, {u"serverName"_s, name}};
}

} // namespace

class ControllerTest final : public kit::TestCase {
    Q_OBJECT

    void begin() override { _agent = std::make_unique<AgentFixture>(); }

    void end() override { _agent.reset(); }

private Q_SLOTS:
    // Launching

    void migratesTheSettingsOfASinglePhone() {
        _agent->setRegistered({u"Old"_s});
        QVERIFY(_agent->shared->setObjectForKey(PropertyList(u"Anna"_s), u"serverService"_s));
        QVERIFY(_agent->shared->setObjectForKey(PropertyList(u"Anna's"_s), u"serverName"_s));
        _agent->launch();
        const PropertyList::List migrated{PropertyList(phoneEntry(u"Anna"_s, u"Anna's"_s))};
        QCOMPARE(*_agent->app->serverServices(), PropertyList(migrated));
        QVERIFY(!_agent->shared->objectForKey(u"serverService"_s));
        QVERIFY(!_agent->shared->objectForKey(u"serverName"_s));
        QVERIFY(_agent->database.synchronized().contains(sharedDomain));
        QCOMPARE(_agent->announced(), QStringList{u"Anna"_s});
    }

    void migratesNothingThatCannotBeWritten() {
        QVERIFY(_agent->shared->setObjectForKey(PropertyList(u"Anna"_s), u"serverService"_s));
        QVERIFY(_agent->shared->setObjectForKey(PropertyList(u"Anna's"_s), u"serverName"_s));
        _agent->database.setFailsToWrite(u"the disk is full"_s);
        _agent->launch();
        QVERIFY(_agent->shared->objectForKey(u"serverService"_s));
        QVERIFY(_agent->shared->objectForKey(u"serverName"_s));
    }

    void leavesAStrayKeyAlone_data() {
        QTest::addColumn<QString>("key");
        QTest::newRow("service only") << u"serverService"_s;
        QTest::newRow("name only") << u"serverName"_s;
    }
    void leavesAStrayKeyAlone() {
        QFETCH(QString, key);
        QVERIFY(_agent->shared->setObjectForKey(PropertyList(u"Anna"_s), key));
        _agent->launch();
        QVERIFY(!_agent->app->serverServices());
        QCOMPARE(*_agent->shared->objectForKey(key), PropertyList(u"Anna"_s));
    }

    // Old settings of another kind name no phone, and replace no list.
    void migratesNothingThatIsNoText_data() {
        QTest::addColumn<QString>("damaged");
        QTest::newRow("service") << u"serverService"_s;
        QTest::newRow("name") << u"serverName"_s;
    }
    void migratesNothingThatIsNoText() {
        QFETCH(QString, damaged);
        _agent->setRegistered({u"Anna"_s});
        QVERIFY(_agent->shared->setObjectForKey(PropertyList(u"Old"_s), u"serverService"_s));
        QVERIFY(_agent->shared->setObjectForKey(PropertyList(u"Old"_s), u"serverName"_s));
        QVERIFY(_agent->shared->setObjectForKey(PropertyList(PropertyList::List()), damaged));
        _agent->launch();
        QCOMPARE(_agent->announced(), QStringList{u"Anna"_s});
    }

    void isEnabledWhenNothingSaysOtherwise() {
        _agent->setRegistered({u"Anna"_s});
        _agent->launch();
        QVERIFY(_agent->app->isEnabled());
        QCOMPARE(_agent->announced(), QStringList{u"Anna"_s});
        QCOMPARE(_agent->backend.browsedTypes(), QStringList{u"_clipmule-s2._tcp"_s});
    }

    void staysUnconnectedWhenDisabled() {
        _agent->applicationDefaults->setBoolForKey(false, u"syncEnabled"_s);
        _agent->setRegistered({u"Anna"_s});
        _agent->launch();
        QVERIFY(!_agent->app->isEnabled());
        QVERIFY(_agent->announced().isEmpty());
        _agent->app->connect();
        QVERIFY(_agent->backend.browsedTypes().isEmpty());
    }

    // By then the settings are listened to and the counters there; nothing is observed or
    // connected.
    void theStatusControllerComesBetweenSettingsAndConnections() {
        _agent->setRegistered({u"Anna"_s});
        SyncServices services = _agent->services();
        QStringList seen;
        services.makeStatusController = [&](ZRKClipmuleSyncApp &app) {
            ZRKNotificationCenter::platformDefault().postNotificationName(
                ZRKUserDefaultsDidChangeNotification);
            _agent->power.send(PowerMessage::SystemHasPoweredOn);
            seen = _agent->announced();
            seen += app.statusController() ? u"early"_s : u"made"_s;
            // Another process unregisters her: who listens already will hear of it.
            ZRKUserDefaults::Environment environment;
            environment.database = &_agent->database;
            environment.distributedNotifications = &_agent->notifications;
            ZRKNotificationCenter otherCenter;
            environment.localCenter = &otherCenter;
            const auto panel = ZRKUserDefaults::initWithIdentifier(sharedDomain, environment);
            seen += panel->setObjectForKey(PropertyList(PropertyList::List()), u"serverServices"_s)
                        ? u"unregistered"_s
                        : u"refused"_s;
            return std::shared_ptr<ZRKClipmuleStatusController>();
        };
        _agent->app = std::make_unique<ZRKClipmuleSyncApp>(services);
        _agent->app->finishLaunching();
        QCOMPARE(seen, (QStringList{u"made"_s, u"unregistered"_s}));
        _agent->settle();
        QCOMPARE(_agent->announced(), QStringList{u"Anna"_s});
        _agent->advance(0.05);
        QVERIFY(_agent->announced().isEmpty());
    }

    void announcementsEndBeforeConnections() {
        _agent->connectedPhone(u"Anna"_s);
        AnnouncementWatch watch(*_agent);
        _agent->app = std::make_unique<ZRKClipmuleSyncApp>(watch.services());
        _agent->app->finishLaunching();
        _agent->settle();
        const auto phone = _agent->phones.constFirst();
        watch.onStop = [&] { watch.connectedAtStop += phone->connection().isOpen(); };
        _agent->setRegistered({});
        _agent->settle();
        QCOMPARE(watch.connectedAtStop, QList<bool>{true});
        QVERIFY(phone->connection().isClosed());
        _agent->setRegistered({u"Anna"_s});
        _agent->settle();
        QVERIFY(phone->connection().isOpen());
        _agent->app->disconnect();
        QCOMPARE(watch.connectedAtStop, (QList<bool>{true, true}));
        QVERIFY(phone->connection().isClosed());
        _agent->app.reset();
    }

    void whatChangesWhileItQuitsConnectsNobody() {
        _agent->connectedPhone(u"Anna"_s);
        _agent->app->applicationShouldTerminate();
        _agent->setRegistered({u"Anna"_s, u"Ben"_s});
        _agent->applicationDefaults->setBoolForKey(true, u"syncEnabled"_s);
        _agent->power.send(PowerMessage::SystemHasPoweredOn);
        _agent->settle();
        QVERIFY(_agent->announced().isEmpty());
        QVERIFY(_agent->backend.browsedTypes().isEmpty());
    }

    void aNameIsListedEvenWithoutAService() {
        QVERIFY(_agent->shared->setObjectForKey(
            PropertyList(PropertyList::List{
                PropertyList(phoneEntry(u"Anna"_s, u"A"_s)),
                PropertyList(PropertyList::Dictionary{{u"serverName"_s, u"B"_s}}),
                PropertyList(phoneEntry(QString(), u"C"_s)), PropertyList(5),
                PropertyList(PropertyList::Dictionary{{u"serverName"_s, 5}})}),
            u"serverServices"_s));
        _agent->launch();
        QCOMPARE(_agent->app->registeredDeviceNames(), (QStringList{u"A"_s, u"B"_s, u"C"_s}));
        QCOMPARE(_agent->announced(), QStringList{u"Anna"_s});
    }

    void listensForSharedSettings() {
        _agent->launch();
        // Another process registers a phone.
        ZRKUserDefaults::Environment environment;
        environment.database = &_agent->database;
        environment.distributedNotifications = &_agent->notifications;
        ZRKNotificationCenter otherCenter;
        environment.localCenter = &otherCenter;
        const auto panel = ZRKUserDefaults::initWithIdentifier(sharedDomain, environment);
        QVERIFY(panel->setObjectForKey(
            PropertyList(PropertyList::List{PropertyList(phoneEntry(u"Anna"_s, u"A"_s))}),
            u"serverServices"_s));
        QVERIFY(_agent->announced().isEmpty());
        _agent->advance(0.05);
        QCOMPARE(_agent->announced(), QStringList{u"Anna"_s});
    }

    // Connecting

    void announcesUnderThePhonesNameOnPortOne() {
        _agent->setRegistered({u"Anna"_s});
        _agent->launch();
        const auto publication = _agent->backend.published().constFirst();
        QCOMPARE(publication.service,
                 (dnssd::ServiceName{u"Anna"_s, u"_clipmule-c2._tcp"_s, u"local"_s}));
        QCOMPARE(int(publication.port), 1);
    }

    void aPhoneWithAnAddressNeedsNoDiscovery() {
        dnssd::FixedAddresses fixed(_agent->backend, {});
        SyncServices given = _agent->services();
        const auto phone = std::make_shared<FakePhone>();
        phone->port = 4711;
        _agent->phones.append(phone);
        PropertyList::Dictionary entry = phoneEntry(u"Anna"_s, u"A"_s);
        entry.insert(u"address"_s, u"192.0.2.7:4711"_s);
        PropertyList::Dictionary wrong = phoneEntry(u"Ben"_s, u"B"_s);
        wrong.insert(u"address"_s, u"nowhere"_s);
        const auto registerPhone = [this](const PropertyList::List &entries) {
            QVERIFY(_agent->shared->setObjectForKey(PropertyList(entries), u"serverServices"_s));
            _agent->settle();
        };
        // A program of this computer is where its name says, and never at a host.
        PropertyList::Dictionary program = phoneEntry(u"local/Cleo"_s, u"C"_s);
        program.insert(u"address"_s, u"192.0.2.7:4711"_s);
        registerPhone({PropertyList(entry), PropertyList(wrong), PropertyList(program)});
        _agent->app = std::make_unique<ZRKClipmuleSyncApp>(
            SyncServices{.dnssd = fixed,
                         .pasteboard = given.pasteboard,
                         .keyboard = given.keyboard,
                         .applicationDefaults = given.applicationDefaults,
                         .sharedDefaults = given.sharedDefaults,
                         .sessionPrograms = given.sessionPrograms,
                         .agentBundle = given.agentBundle,
                         .fixedAddresses = &fixed,
                         .makeStatusController = {},
                         .updaterForBundle = {},
                         .prepareToPaste = {}});
        _agent->app->finishLaunching();
        _agent->settle();
        QCOMPARE(phone->connections.size(), 1);
        QVERIFY(phone->connection().isOpen());
        const auto hasAddress = [&fixed](const QString &name) {
            return fixed.hasAddress({name, u"_clipmule-s2._tcp"_s, u"local"_s});
        };
        QVERIFY(hasAddress(u"Anna"_s));
        QVERIFY(!hasAddress(u"local/Cleo"_s));
        // Without its address it is to be found like any other.
        entry.remove(u"address"_s);
        registerPhone({PropertyList(entry)});
        QVERIFY(phone->connection().isClosed());
        _agent->app.reset();
    }

    void connectsOnceHoweverOftenItIsAsked() {
        const auto phone = _agent->connectedPhone(u"Anna"_s);
        _agent->app->connect();
        _agent->settle();
        QCOMPARE(phone->connections.size(), 1);
        QCOMPARE(_agent->announced().size(), 1);
        QVERIFY(_agent->app->isConnected());
    }

    void isNotConnectedWithoutClients() {
        _agent->launch();
        QVERIFY(!_agent->app->isConnected());
    }

    void passesOverEntriesThatAreNone() {
        QVERIFY(_agent->shared->setObjectForKey(
            PropertyList(PropertyList::List{
                PropertyList(u"text"_s), PropertyList(5),
                PropertyList(PropertyList::Dictionary{{u"serverService"_s, 7}}),
                PropertyList(PropertyList::Dictionary{{u"serverService"_s, u""_s}}),
                PropertyList(phoneEntry(u"Anna"_s, u"A"_s))}),
            u"serverServices"_s));
        _agent->launch();
        QCOMPARE(_agent->announced(), QStringList{u"Anna"_s});
        QTest::ignoreMessage(
            QtWarningMsg, "setting serverServices of the domain \"shared\" holds a string, which "
                          "is not a list of phones: not used");
        QVERIFY(_agent->shared->setObjectForKey(PropertyList(u"no list"_s), u"serverServices"_s));
        QVERIFY(_agent->announced().isEmpty());
    }

    // Settings changed

    void aPhoneThatIsNoLongerRegisteredIsLetGo() {
        const auto anna = _agent->connectedPhone(u"Anna"_s);
        const auto ben = _agent->connectedPhone(u"Ben"_s);
        anna->send(u"4"_s, PropertyList(PropertyList::Dictionary{{u"name"_s, u"A"_s}}));
        _agent->settle();
        _agent->setRegistered({u"Ben"_s});
        QVERIFY(anna->connection().isClosed());
        QVERIFY(!ben->connection().isClosed());
        QCOMPARE(_agent->announced(), QStringList{u"Ben"_s});
        // What it told of itself stays, and goes on to the others.
        QCOMPARE(_agent->app->connectedDeviceNames(), QStringList{u"A"_s});
        (void)ben->received();
        ben->send(u"4"_s, PropertyList(PropertyList::Dictionary{{u"name"_s, u"B"_s}}));
        _agent->settle();
        QCOMPARE(ben->received().constLast().find(u"3"_s)->dictionary().keys(),
                 (QStringList{u"Anna"_s, u"Ben"_s}));
    }

    void allUnregisteredPhonesGoInOnePass() {
        for (const QString &name : {u"Anna"_s, u"Ben"_s, u"Cleo"_s, u"Dora"_s})
            _agent->connectedPhone(name);
        _agent->setRegistered({u"Cleo"_s});
        QCOMPARE(_agent->announced(), QStringList{u"Cleo"_s});
        int open = 0;
        for (const auto &phone : std::as_const(_agent->phones))
            open += phone->connection().isClosed() ? 0 : 1;
        QCOMPARE(open, 1);
    }

    void disablingEndsEverythingAndEnablingBringsItBack() {
        const auto phone = _agent->connectedPhone(u"Anna"_s);
        _agent->app->setEnabled(false);
        QVERIFY(phone->connection().isClosed());
        QVERIFY(_agent->announced().isEmpty());
        QCOMPARE(_agent->database.copyMultiple(agentDomain).value(u"syncEnabled"_s),
                 PropertyList(false));
        _agent->app->setEnabled(true);
        _agent->settle();
        QCOMPARE(phone->connections.size(), 2);
        QVERIFY(_agent->app->isConnected());
    }

    void anotherProcessDisables() {
        const auto phone = _agent->connectedPhone(u"Anna"_s);
        ZRKUserDefaults::Environment environment;
        environment.database = &_agent->database;
        environment.distributedNotifications = &_agent->notifications;
        ZRKNotificationCenter otherCenter;
        environment.localCenter = &otherCenter;
        const auto other = Settings::openForAgent(environment);
        other->setBoolForKey(false, u"syncEnabled"_s);
        _agent->advance(0.05);
        QVERIFY(phone->connection().isClosed());
    }

    void aSettingThatIsNoTruthValueIsNone() {
        QTest::ignoreMessage(QtWarningMsg,
                             "setting syncEnabled of the domain \"agent\" holds a list, which is "
                             "not true or false: not used");
        QVERIFY(_agent->applicationDefaults->setObjectForKey(PropertyList(PropertyList::List()),
                                                             u"syncEnabled"_s));
        _agent->launch();
        QVERIFY(_agent->app->isEnabled());
        QVERIFY(
            _agent->applicationDefaults->setObjectForKey(PropertyList(u"NO"_s), u"syncEnabled"_s));
        QVERIFY(!_agent->app->isEnabled());
        QVERIFY(
            _agent->applicationDefaults->setObjectForKey(PropertyList(u"YES"_s), u"syncEnabled"_s));
        QVERIFY(_agent->app->isEnabled());
    }

    void everyChangeOfSettingsIsFollowedByOneOfTheStatus() {
        _agent->launch();
        Counter status(ZRKClipmuleSyncStatusDidChange);
        _agent->setRegistered({u"Anna"_s});
        QCOMPARE(status.times, 1);
        _agent->app->setEnabled(false);
        QCOMPARE(status.times, 2);
        QVERIFY(!status.last.object);
        QVERIFY(status.last.userInfo.isEmpty());
    }

    // Names

    void namesAreThoseReportedAndThoseRegistered() {
        const auto anna = _agent->connectedPhone(u"Anna"_s);
        const auto ben = _agent->connectedPhone(u"Ben"_s);
        QVERIFY(_agent->app->connectedDeviceNames().isEmpty());
        anna->send(u"4"_s, PropertyList(PropertyList::Dictionary{{u"name"_s, u"A phone"_s}}));
        ben->send(u"4"_s, PropertyList(PropertyList::Dictionary{{u"model"_s, u"nameless"_s}}));
        _agent->settle();
        QCOMPARE(_agent->app->connectedDeviceNames(), QStringList{u"A phone"_s});
        QCOMPARE(_agent->app->registeredDeviceNames(),
                 (QStringList{u"Anna's name"_s, u"Ben's name"_s}));
    }

    void disconnectingKeepsWhatThePhonesTold() {
        const auto anna = _agent->connectedPhone(u"Anna"_s);
        anna->send(u"4"_s, PropertyList(PropertyList::Dictionary{{u"name"_s, u"A"_s}}));
        _agent->settle();
        _agent->app->disconnect();
        QCOMPARE(_agent->app->connectedDeviceNames(), QStringList{u"A"_s});
    }

    // Sleep, wake, quit

    void disconnectsBeforeSleepAndConnectsAfterwards() {
        const auto phone = _agent->connectedPhone(u"Anna"_s);
        _agent->power.send(PowerMessage::SystemWillSleep);
        // At once: the system sleeps when the message has been delivered.
        QVERIFY(phone->connection().isClosed());
        QVERIFY(_agent->announced().isEmpty());
        _agent->power.send(PowerMessage::SystemHasPoweredOn);
        _agent->settle();
        QCOMPARE(phone->connections.size(), 2);
        QCOMPARE(_agent->announced(), QStringList{u"Anna"_s});
    }

    void wakingWhileDisabledConnectsNothing() {
        _agent->setRegistered({u"Anna"_s});
        _agent->launch();
        _agent->app->setEnabled(false);
        _agent->power.send(PowerMessage::SystemHasPoweredOn);
        _agent->settle();
        QVERIFY(_agent->announced().isEmpty());
    }

    void quitsAtOnceAfterDisconnecting() {
        const auto phone = _agent->connectedPhone(u"Anna"_s);
        QCOMPARE(_agent->app->applicationShouldTerminate(),
                 ZRKClipmuleSyncApp::TerminateReply::Now);
        QVERIFY(phone->connection().isClosed());
        QVERIFY(_agent->announced().isEmpty());
    }

    void hearsNothingAfterItsEnd() {
        _agent->connectedPhone(u"Anna"_s);
        _agent->app.reset();
        QVERIFY(!_agent->power.isRegistered());
        _agent->setRegistered({});
        _agent->advance(1);
        QVERIFY(_agent->announced().isEmpty());
    }

    // Updates

    void thePanelBundleLiesThreeFoldersUp() {
        const QTemporaryDir folder;
        const QDir panel(folder.path());
        QVERIFY(panel.mkpath(u"Contents/Resources/agent"_s));
        SyncServices services = _agent->services();
        services.agentBundle = Bundle(panel.filePath(u"Contents/Resources/agent"_s));
        ZRKClipmuleSyncApp without(services);
        QVERIFY(!without.prefPaneBundle());

        QFile information(panel.filePath(u"Info.plist"_s));
        QVERIFY(information.open(QIODevice::WriteOnly));
        information.write("{ CFBundleIdentifier = \"com.zendrik.ClipmuleSync.prefPane\"; }");
        information.close();
        ZRKClipmuleSyncApp with(services);
        QVERIFY(with.prefPaneBundle());
        QCOMPARE(with.prefPaneBundle()->path(), QDir(folder.path()).canonicalPath());
        QCOMPARE(with.prefPaneBundle(), with.prefPaneBundle());
    }

    void theUpdaterFollowsTheSettingAndClosesThePanel() {
        const QTemporaryDir folder;
        const QDir panel(folder.path());
        QVERIFY(panel.mkpath(u"Contents/Resources/agent"_s));
        QFile information(panel.filePath(u"Info.plist"_s));
        QVERIFY(information.open(QIODevice::WriteOnly));
        information.write("{ CFBundleIdentifier = \"com.zendrik.ClipmuleSync.prefPane\"; }");
        information.close();

        FakeUpdater *updater = nullptr;
        int asked = 0;
        SyncServices services = _agent->services();
        services.agentBundle = Bundle(panel.filePath(u"Contents/Resources/agent"_s));
        services.updaterForBundle = [&](const Bundle &bundle) -> std::unique_ptr<Updater> {
            // Nothing at the first attempt: it is asked again.
            if (++asked == 1 || bundle.identifier() != u"com.zendrik.ClipmuleSync.prefPane")
                return nullptr;
            auto made = std::make_unique<FakeUpdater>();
            updater = made.get();
            return made;
        };
        _agent->shared->setBoolForKey(true, u"autoUpdateEnabled"_s);
        _agent->app = std::make_unique<ZRKClipmuleSyncApp>(services);
        _agent->app->finishLaunching();
        QVERIFY(updater);
        QCOMPARE(asked, 2);
        _agent->shared->setBoolForKey(true, u"showStatus"_s);
        QCOMPARE(updater->automatic, QList<bool>{true});
        _agent->shared->removeObjectForKey(u"autoUpdateEnabled"_s);
        QCOMPARE(updater->automatic.constLast(), false);

        QCOMPARE(updater->checks, 0);
        _agent->app->checkForUpdates();
        QCOMPARE(updater->checks, 1);

        _agent->programs.launched = {u"org.example.Editor"_s,
                                     u"com.zendrik.ClipmuleSync.Preferences"_s};
        updater->onWillInstallUpdate(*updater);
        QCOMPARE(_agent->programs.asked, QStringList{u"com.zendrik.ClipmuleSync.Preferences"_s});
    }

    void withoutAPanelBundleThereIsNoUpdater() {
        SyncServices services = _agent->services();
        bool asked = false;
        services.updaterForBundle = [&](const Bundle &) -> std::unique_ptr<Updater> {
            asked = true;
            return nullptr;
        };
        ZRKClipmuleSyncApp app(services);
        QVERIFY(!app.updater());
        QVERIFY(!asked);
        // Asked for updates, it has nobody to ask.
        app.checkForUpdates();
        QVERIFY(!asked);
    }

private:
    std::unique_ptr<AgentFixture> _agent;
};

QTEST_GUILESS_MAIN(ControllerTest)
#include "tst_controller.moc"
