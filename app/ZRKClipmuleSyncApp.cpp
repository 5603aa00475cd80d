// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "app/ZRKClipmuleSyncApp.h"

#include "model/ZRKClipmuleData.h"
#include "net/OutputObject.h"
#include "platform/foundation/Log.h"
#include "support/ZRKNotificationCenter.h"
#include "support/ZRKPowerNotificationCenter.h"

#include <QCoreApplication>
#include <QDir>

#include <tuple>
#include <utility>

namespace clipmule {

static_assert(ZRKClipmuleSyncApp::largestClipSent == ZRKClipmuleData::largestTravelling);

namespace {

const QString serverServiceKey = QStringLiteral("serverService");
const QString serverNameKey = QStringLiteral("serverName");

} // namespace

ZRKClipmuleSyncApp::ZRKClipmuleSyncApp(SyncServices services)
    : _services(std::move(services))
    , _journal(_services.pasteboard.notice, _services.sharedDefaults)
    , _links(_services.dnssd, _services.fixedAddresses)
    , _watch(_services.pasteboard, _journal)
    , _inbound(_services.pasteboard, _services.keyboard, _journal)
    , _messages(_links, _inbound, _journal) {
    _journal.onChange = [this] { situationDidChange(); };
    _watch.isNeeded = [this] { return isConnected(); };
    _watch.onCopy = [this](ZRKClipmuleData &clip) { return _links.sendClip(clip, _journal); };
    _inbound.pasteModeOf = [this](const QString &phone) { return pasteModeOf(phone); };
    _inbound.onPrepareToPaste = _services.prepareToPaste;
    // The watch must not send the clip back.
    _inbound.onWritten = [this](ZRKClipmuleData &clip) { _watch.noteWritten(clip); };
    _links.onNewClient = [this](ZRKNetServiceClient &client) { listenTo(client); };
}

ZRKClipmuleSyncApp::~ZRKClipmuleSyncApp() {
    stopObserving();
}

void ZRKClipmuleSyncApp::listenTo(ZRKNetServiceClient &client) {
    client.onOpen = [this](NetService &service) { clientServiceDidOpen(service); };
    client.onClose = [this](NetService &service) { clientServiceDidClose(service); };
    client.onReconnect = [this](NetService &service) { clientServiceDidReconnect(service); };
    client.onReceiveObject = [this](NetService &service, const PropertyList &object) {
        clientServiceDidReceiveObject(service, object);
    };
    client.onChangeConnection = [this](NetService &service, const QString &failure) {
        _journal.noteConnection(service.name(), failure);
    };
    client.onRefuseObject = [this](NetService &service, const OutputObject &object,
                                   qsizetype waiting) {
        _messages.refused(service.name(), object, waiting);
    };
    client.onDropObject = [this](NetService &service, const OutputObject &object) {
        _messages.dropped(service.name(), object);
    };
    client.onRefuseInput = [this](NetService &service,
                                  const ZRKStreamHandler::RefusedInput &input) {
        _messages.refusedInput(service.name(), input);
    };
}

void ZRKClipmuleSyncApp::observe() {
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
}

void ZRKClipmuleSyncApp::stopObserving() {
    ZRKNotificationCenter::platformDefault().removeObserver(this);
    ZRKPowerNotificationCenter::defaultCenter()->removeObserver(this);
}

void ZRKClipmuleSyncApp::finishLaunching() {
    // Nobody is asked for what is copied until a phone is there to get it.
    _watch.pause();
    // An agent that was killed may have left the files of its last clip.
    ZRKClipmuleData::deleteImageFiles(_services.pasteboard);
    migrateSinglePhoneSettings();
    _services.sharedDefaults.listenForChanges();
    if (_services.makeStatusController)
        _statusController = _services.makeStatusController(*this);
    observe();
    defaultsDidChange();
    if (Updater *const own = updater())
        own->onWillInstallUpdate = [this](Updater &sender) { updaterWillInstallUpdate(sender); };
}

// Earlier versions knew a single phone, in two keys of its own.
void ZRKClipmuleSyncApp::migrateSinglePhoneSettings() {
    ZRKUserDefaults &shared = _services.sharedDefaults;
    const auto service = shared.objectForKey(serverServiceKey);
    const auto name = shared.objectForKey(serverNameKey);
    if (!service || !name || !service->isString() || !name->isString())
        return;
    const PropertyList::Dictionary phone{{serverServiceKey, *service}, {serverNameKey, *name}};
    const auto written = shared.setObjectForKey(
        PropertyList(PropertyList::List{PropertyList(phone)}), RegisteredPhones::key());
    // Else the next start finds it nowhere.
    if (!written)
        return;
    shared.removeObjectForKey(serverServiceKey);
    shared.removeObjectForKey(serverNameKey);
    std::ignore = shared.synchronize();
}

std::optional<PropertyList> ZRKClipmuleSyncApp::serverServices() const {
    return _services.sharedDefaults.objectForKey(RegisteredPhones::key());
}

QList<RegisteredPhones::Phone> ZRKClipmuleSyncApp::registeredPhones() const {
    return RegisteredPhones::phones(serverServices());
}

PasteMode ZRKClipmuleSyncApp::pasteModeOf(const QString &serviceName) const {
    const auto phone = RegisteredPhones::phone(serverServices(), serviceName);
    return phone && phone->pasteMode ? *phone->pasteMode
                                     : Settings::pasteMode(_services.sharedDefaults);
}

void ZRKClipmuleSyncApp::connect() {
    if (isEnabled())
        _links.connect(registeredPhones());
}

void ZRKClipmuleSyncApp::disconnect() {
    _links.disconnect();
    _watch.needMayHaveChanged();
    _inbound.forgetAll();
}

void ZRKClipmuleSyncApp::defaultsDidChange() {
    _watch.setLooksByTimer(
        Settings::truth(_services.applicationDefaults, Settings::Key::WatchClipboardByTimer));
    if (isEnabled()) {
        const QList<RegisteredPhones::Phone> phones = registeredPhones();
        const QStringList stopped = _links.keepOnly(phones);
        for (const QString &phone : stopped)
            _inbound.forget(phone);
        _links.connect(phones);
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

void ZRKClipmuleSyncApp::clientServiceDidOpen(NetService &service) {
    _journal.noteSeen(service.name());
    // What was copied while no phone was connected is not sent.
    _watch.start();
    postStatusDidChange();
}

// The watch ends when nothing is connected, and only a phone's first connection starts it. A phone
// that lost its connection and came back would get nothing more.
void ZRKClipmuleSyncApp::clientServiceDidReconnect(NetService & /*service*/) {
    _watch.startAgain();
}

void ZRKClipmuleSyncApp::clientServiceDidClose(NetService &service) {
    _journal.noteSeen(service.name());
    postStatusDidChange();
    _links.removeRecord(service.name());
    _links.sendRecords();
}

bool ZRKClipmuleSyncApp::isEnabled() const {
    return Settings::truth(_services.applicationDefaults, Settings::Key::SyncEnabled);
}

void ZRKClipmuleSyncApp::setEnabled(bool enabled) {
    _services.applicationDefaults.setBoolForKey(enabled,
                                                Settings::nameOf(Settings::Key::SyncEnabled));
}

QStringList ZRKClipmuleSyncApp::connectedDeviceNames() const {
    return _links.namesInRecords();
}

QStringList ZRKClipmuleSyncApp::registeredDeviceNames() const {
    return RegisteredPhones::displayNames(serverServices());
}

QList<AgentStatus::Phone> ZRKClipmuleSyncApp::phoneStates() const {
    QList<AgentStatus::Phone> states;
    for (const RegisteredPhones::Phone &phone : registeredPhones()) {
        const SyncJournal::Contact contact = _journal.contact(phone.service);
        states.append({.service = phone.service,
                       .name = phone.shownName(),
                       .state = _links.state(phone.service),
                       .lastSeen = contact.lastSeen,
                       .lastError = contact.lastError,
                       .lastErrorDate = contact.lastErrorDate});
    }
    return states;
}

std::optional<Refusal> ZRKClipmuleSyncApp::lastRefusal() const {
    return refusals().isEmpty() ? std::nullopt : std::optional(refusals().constFirst());
}

void ZRKClipmuleSyncApp::postStatusDidChange() {
    ZRKNotificationCenter::platformDefault().postNotificationName(ZRKClipmuleSyncStatusDidChange);
    situationDidChange();
}

void ZRKClipmuleSyncApp::situationDidChange() {
    _watch.needMayHaveChanged();
    if (_services.situationDidChange)
        _services.situationDidChange();
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

void ZRKClipmuleSyncApp::updaterWillInstallUpdate(Updater & /*updater*/) {
    // The panel must be closed so that its files can be replaced.
    const QStringList applications = _services.sessionPrograms.launchedApplications();
    for (const QString &identifier : applications) {
        if (identifier == preferencesProgram())
            _services.sessionPrograms.quit(identifier);
    }
}

} // namespace clipmule
