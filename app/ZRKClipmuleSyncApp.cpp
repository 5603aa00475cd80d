// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "app/ZRKClipmuleSyncApp.h"

#include "platform/foundation/Log.h"
#include "platform/pasteboard/Pasteboard.h"
#include "support/ZRKNotificationCenter.h"
#include "support/ZRKPowerNotificationCenter.h"

#include <QDir>
#include <QSet>

#include <algorithm>
#include <utility>

namespace clipmule {

namespace {

const QString serverServiceKey = QStringLiteral("serverService");
const QString serverNameKey = QStringLiteral("serverName");
const QString statisticsIdentifier = QStringLiteral("com.zendrik.ClipmuleSync.stats");

// The agent announces itself under each phone's name, so that the phone sees its computer is there.
const QString announcementType = QStringLiteral("_clipmule-c2._tcp");
// Nothing listens behind the announcement: a record needs a port, and this one is nobody's.
constexpr quint16 announcementPort = 1;
const QString preferencesProgram = QStringLiteral("com.zendrik.ClipmuleSync.Preferences");

const QString phoneType = QStringLiteral("_clipmule-s2._tcp");

std::optional<QString> textUnder(const PropertyList::Dictionary &dictionary, const QString &key) {
    const PropertyList *value = find(dictionary, key);
    const auto *text = value ? value->as<QString>() : nullptr;
    return text ? std::optional(*text) : std::nullopt;
}

} // namespace

ZRKClipmuleSyncApp::ZRKClipmuleSyncApp(SyncServices services)
    : _services(std::move(services)) {}

ZRKClipmuleSyncApp::~ZRKClipmuleSyncApp() {
    _waitingClips.clear();
    stopObserving();
    disconnect();
}

void ZRKClipmuleSyncApp::stopObserving() {
    ZRKNotificationCenter::platformDefault().removeObserver(this);
    ZRKPowerNotificationCenter::defaultCenter()->removeObserver(this);
}

void ZRKClipmuleSyncApp::finishLaunching() {
    // Nobody is asked for what is copied until a phone is there to get it.
    _services.pasteboard.pasteboard.setWatching(false);
    // Of an agent that was killed.
    ZRKClipmuleData::deleteImageFiles(_services.pasteboard);
    migrateSinglePhoneSettings();
    _clientsDictionary.clear();
    _netServicesDictionary.clear();
    _clientsDataDictionary->clear();
    _services.sharedDefaults.listenForChanges();
    _statisticDefaults = ZRKUserDefaults::initWithIdentifier(statisticsIdentifier);
    if (_services.makeStatusController)
        _statusController = _services.makeStatusController(*this);

    auto &center = ZRKNotificationCenter::platformDefault();
    const Selector settingsChanged =
        selector<&ZRKClipmuleSyncApp::defaultsDidChange>("defaultsDidChange");
    center.addObserver(this, settingsChanged, ZRKUserDefaultsDidChangeNotification);
    center.addObserver(this, settingsChanged, NSUserDefaultsDidChangeNotification);
    const auto power = ZRKPowerNotificationCenter::defaultCenter();
    power->addObserver(this, selector<&ZRKClipmuleSyncApp::willSleep>("willSleep"),
                       ZRKPowerStatusWillSleep);
    power->addObserver(this, selector<&ZRKClipmuleSyncApp::didWake>("didWake"),
                       ZRKPowerStatusDidWake);

    defaultsDidChange();
    if (Updater *const own = updater()) {
        Updater::Delegate delegate;
        delegate.updaterWillInstallUpdate = [this](Updater &sender) {
            updaterWillInstallUpdate(sender);
        };
        own->setDelegate(std::move(delegate));
    }
}

// Earlier versions knew a single phone, in two keys of its own.
void ZRKClipmuleSyncApp::migrateSinglePhoneSettings() {
    ZRKUserDefaults &shared = _services.sharedDefaults;
    const auto service = shared.objectForKey(serverServiceKey);
    const auto name = shared.objectForKey(serverNameKey);
    if (!service || !name || !service->isString() || !name->isString())
        return;
    const PropertyList::Dictionary phone{{serverServiceKey, *service}, {serverNameKey, *name}};
    shared.setObjectForKey(PropertyList(PropertyList::List{PropertyList(phone)}),
                           RegisteredPhones::key());
    shared.removeObjectForKey(serverServiceKey);
    shared.removeObjectForKey(serverNameKey);
    shared.synchronize();
}

std::optional<PropertyList> ZRKClipmuleSyncApp::serverServices() const {
    return _services.sharedDefaults.objectForKey(RegisteredPhones::key());
}

QList<RegisteredPhones::Phone> ZRKClipmuleSyncApp::registeredPhones() const {
    return RegisteredPhones::phones(serverServices());
}

void ZRKClipmuleSyncApp::connect() {
    if (!isEnabled())
        return;
    const QList<RegisteredPhones::Phone> phones = registeredPhones();
    tellAddresses(phones);
    for (const RegisteredPhones::Phone &phone : phones) {
        const QString &name = phone.service;
        if (!_netServicesDictionary.contains(name)) {
            const auto announcement = NetService::initWithDomainTypeNamePort(
                _services.dnssd, QString(), announcementType, name, announcementPort);
            _netServicesDictionary.insert(name, announcement);
            announcement->publish();
        }
        if (!_clientsDictionary.contains(name)) {
            const auto client = makeClient(name);
            _clientsDictionary.insert(name, client);
            client->start();
        }
    }
}

void ZRKClipmuleSyncApp::tellAddresses(const QList<RegisteredPhones::Phone> &phones) {
    if (!_services.fixedAddresses)
        return;
    std::map<dnssd::ServiceName, HostAndPort, dnssd::ByServiceName> addresses;
    for (const RegisteredPhones::Phone &phone : phones) {
        if (phone.address.isEmpty())
            continue;
        const ParsedHostAndPort parsed = parseHostAndPort(phone.address);
        if (parsed.value)
            addresses.emplace(dnssd::ServiceName{phone.service, phoneType, QStringLiteral("local")},
                              *parsed.value);
        else
            qCDebug(logApp).noquote()
                << "no address of" << cutForLog(phone.service) << "is" << cutForLog(phone.address);
    }
    _services.fixedAddresses->setAddresses(std::move(addresses));
}

PasteMode ZRKClipmuleSyncApp::pasteModeOf(const QString &serviceName) const {
    const auto phone = RegisteredPhones::phone(serverServices(), serviceName);
    return phone && phone->pasteMode ? *phone->pasteMode
                                     : Settings::pasteMode(_services.sharedDefaults);
}

std::shared_ptr<ZRKNetServiceClient> ZRKClipmuleSyncApp::makeClient(const QString &name) {
    auto client = ZRKNetServiceClient::initWithTypeName(_services.dnssd, phoneType, name);
    ZRKNetServiceClient::Delegate delegate;
    delegate.clientServiceDidOpen = [this](NetService &service) { clientServiceDidOpen(service); };
    delegate.clientServiceDidClose = [this](NetService &service) {
        clientServiceDidClose(service);
    };
    delegate.clientServiceDidReconnect = [this](NetService &service) {
        clientServiceDidReconnect(service);
    };
    delegate.clientServiceDidChangeConnection = [this](NetService &service,
                                                       const QString &failure) {
        clientServiceDidChangeConnection(service, failure);
    };
    delegate.clientServiceDidReceiveObject = [this](NetService &service,
                                                    const PropertyList &object) {
        clientServiceDidReceiveObject(service, object);
    };
    delegate.clientServiceDidRefuseObject = [this](NetService &service, const OutputObject &object,
                                                   qsizetype waiting) {
        clientServiceDidRefuseObject(service, object, waiting);
    };
    delegate.clientServiceDidDropObject = [this](NetService &service, const OutputObject &object) {
        clientServiceDidDropObject(service, object);
    };
    delegate.clientServiceDidRefuseInput = [this](NetService &service,
                                                  const ZRKStreamHandler::RefusedInput &input) {
        clientServiceDidRefuseInput(service, input);
    };
    client->setDelegate(std::move(delegate));
    return client;
}

// The delegate goes first, so that a shutdown of our own produces no callback.
void ZRKClipmuleSyncApp::stopAnnouncement(NetService &service) {
    service.setDelegate({});
    service.stop();
}

void ZRKClipmuleSyncApp::stopClient(ZRKNetServiceClient &client) {
    client.setDelegate({});
    client.stop();
}

void ZRKClipmuleSyncApp::disconnect() {
    for (const auto &service : std::exchange(_netServicesDictionary, {}))
        stopAnnouncement(*service);
    for (const auto &client : std::exchange(_clientsDictionary, {}))
        stopClient(*client);
    while (!_waitingClips.empty())
        forgetWaitingClips(_waitingClips.front().phone);
}

void ZRKClipmuleSyncApp::defaultsDidChange() {
    if (isEnabled()) {
        QSet<QString> registered;
        for (const RegisteredPhones::Phone &phone : registeredPhones())
            registered.insert(phone.service);
        const QStringList announced = _netServicesDictionary.keys();
        for (const QString &name : announced) {
            if (!registered.contains(name))
                stopAnnouncement(*_netServicesDictionary.take(name));
        }
        const QStringList connected = _clientsDictionary.keys();
        for (const QString &name : connected) {
            if (registered.contains(name))
                continue;
            stopClient(*_clientsDictionary.take(name));
            forgetWaitingClips(name);
        }
        connect();
    } else {
        disconnect();
    }
    postStatusDidChange();
    if (Updater *const own = updater())
        own->setAutomaticallyChecksForUpdates(
            Settings::truth(_services.sharedDefaults, Settings::Key::AutoUpdateEnabled));
}

void ZRKClipmuleSyncApp::willSleep() {
    qCDebug(logApp, "the computer goes to sleep");
    disconnect();
    situationDidChange();
}

void ZRKClipmuleSyncApp::didWake() {
    qCDebug(logApp, "the computer woke up");
    connect();
    situationDidChange();
}

ZRKClipmuleSyncApp::TerminateReply ZRKClipmuleSyncApp::applicationShouldTerminate() {
    // The clipboard may be handed over for half a second yet: nothing connects again meanwhile.
    stopObserving();
    disconnect();
    ZRKClipmuleData::deleteImageFiles(_services.pasteboard);
    return TerminateReply::Now;
}

bool ZRKClipmuleSyncApp::isConnected() const {
    return std::any_of(_clientsDictionary.begin(), _clientsDictionary.end(),
                       [](const auto &client) { return client->isConnected(); });
}

bool ZRKClipmuleSyncApp::isEnabled() const {
    return Settings::truth(_services.applicationDefaults, Settings::Key::SyncEnabled);
}

void ZRKClipmuleSyncApp::setEnabled(bool enabled) {
    _services.applicationDefaults.setBoolForKey(enabled,
                                                Settings::nameOf(Settings::Key::SyncEnabled));
}

QStringList ZRKClipmuleSyncApp::connectedDeviceNames() const {
    QStringList names;
    for (const PropertyList &record : std::as_const(*_clientsDataDictionary)) {
        if (const auto name = textUnder(record.dictionary(), QStringLiteral("name")))
            names.append(*name);
    }
    return names;
}

QStringList ZRKClipmuleSyncApp::registeredDeviceNames() const {
    return RegisteredPhones::displayNames(serverServices());
}

void ZRKClipmuleSyncApp::postStatusDidChange() {
    ZRKNotificationCenter::platformDefault().postNotificationName(ZRKClipmuleSyncStatusDidChange);
    situationDidChange();
}

const Bundle *ZRKClipmuleSyncApp::prefPaneBundle() {
    if (!_prefPaneBundle) {
        // The agent's bundle lies in Contents/Resources of the panel's.
        const QString path = _services.agentBundle.path() + QStringLiteral("/../../..");
        _prefPaneBundle.emplace(QDir::cleanPath(path));
    }
    return _prefPaneBundle->identifier().isEmpty() ? nullptr : &*_prefPaneBundle;
}

Updater *ZRKClipmuleSyncApp::updater() {
    if (_updater)
        return _updater.get();
    const Bundle *const panel = prefPaneBundle();
    if (panel && _services.updaterForBundle)
        _updater = _services.updaterForBundle(*panel);
    return _updater.get();
}

void ZRKClipmuleSyncApp::checkForUpdates() {
    if (Updater *const own = updater())
        own->checkForUpdates();
}

void ZRKClipmuleSyncApp::updaterWillInstallUpdate(Updater &) {
    // The panel must be closed so that its files can be replaced.
    const QStringList applications = _services.sessionPrograms.launchedApplications();
    for (const QString &identifier : applications) {
        if (identifier == preferencesProgram)
            _services.sessionPrograms.quit(identifier);
    }
}

} // namespace clipmule
