// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "app/ClipboardWatch.h"
#include "app/InboundClips.h"
#include "app/PackageUpdater.h"
#include "app/PhoneLinks.h"
#include "app/PhoneMessages.h"
#include "app/SyncJournal.h"
#include "platform/bundle/Bundle.h"
#include "platform/foundation/Object.h"
#include "platform/session/SessionPrograms.h"
#include "support/ZRKUserDefaults.h"
#include "ui/SyncStatusSource.h"

#include <functional>
#include <memory>

namespace clipmule {

class KeyboardEvents;
class ZRKClipmuleStatusController;
class ZRKClipmuleSyncApp;

/// What the agent runs on. Everything referred to outlives the application object.
struct SyncServices {
    dnssd::Backend &dnssd;
    PasteboardServices &pasteboard;
    KeyboardEvents &keyboard;
    ZRKUserDefaults &applicationDefaults;
    ZRKUserDefaults &sharedDefaults;
    SessionPrograms &sessionPrograms;
    /// The bundle that holds the agent.
    Bundle agentBundle;
    /// The part of `dnssd` that finds phones at addresses that the user entered; null where nothing
    /// does. It is told the addresses of the registered phones.
    dnssd::FixedAddresses *fixedAddresses = nullptr;
    /// Makes the status item; empty where there is none.
    std::function<std::shared_ptr<ZRKClipmuleStatusController>(ZRKClipmuleSyncApp &)>
        makeStatusController;
    /// Makes the updater of a bundle; empty, or answering null, where there is none.
    std::function<std::unique_ptr<Updater>(const Bundle &)> updaterForBundle;
    /// Runs before the paste key stroke: an open menu of ours holds the keyboard. May be empty.
    std::function<void()> prepareToPaste;
    /// Runs when what phoneStates(), refusals() or isEnabled() answer may have changed. May
    /// be empty.
    std::function<void()> situationDidChange = {};
};

/// The agent: decides by the settings and the computer's state with which phones to be in touch,
/// sends what is copied here to them and pastes what they send.
///
/// Construct, then finishLaunching(). Everything runs on the main run loop.
class ZRKClipmuleSyncApp final : public Object, public SyncStatusSource {
public:
    /// Clips larger than this (in the unit of ZRKClipmuleData::size) are not sent.
    static constexpr quint64 largestClipSent = 9'999'999;

    enum class TerminateReply { Now };

    explicit ZRKClipmuleSyncApp(SyncServices services);
    ~ZRKClipmuleSyncApp() override;

    /// Reads the settings, starts to listen for their changes, and connects.
    void finishLaunching();
    /// Connects to every registered phone that is not connected to yet. Nothing while disabled.
    void connect();
    /// Stops every client and every announcement. What the phones told of themselves stays.
    void disconnect();
    void defaultsDidChange();
    void willSleep();
    void didWake();
    /// Disconnects; always lets the process quit at once.
    TerminateReply applicationShouldTerminate();

    /// Whether any phone is connected.
    [[nodiscard]] bool isConnected() const override { return _links.isConnected(); }
    [[nodiscard]] bool isEnabled() const override;
    void setEnabled(bool enabled) override;
    /// The list of registered phones as stored; nothing when there is no such list.
    [[nodiscard]] std::optional<PropertyList> serverServices() const;
    /// Names that phones have reported, also of those seen before the last disconnection.
    [[nodiscard]] QStringList connectedDeviceNames() const override;
    [[nodiscard]] QStringList registeredDeviceNames() const override;
    [[nodiscard]] const std::shared_ptr<ZRKClipmuleStatusController> &statusController() const {
        return _statusController;
    }

    /// The bundle of the preferences panel that holds the agent's; null when there is none.
    [[nodiscard]] const Bundle *prefPaneBundle() override;
    /// Null as long as there is no panel bundle or nothing that updates it.
    [[nodiscard]] Updater *updater();
    [[nodiscard]] bool hasUpdater() override { return updater() != nullptr; }
    void checkForUpdates() override;
    void updaterWillInstallUpdate(Updater &updater);

    /// How every registered phone stands, in the order of their registration.
    [[nodiscard]] QList<AgentStatus::Phone> phoneStates() const;
    /// What was refused since the start, the newest first.
    [[nodiscard]] const QList<Refusal> &refusals() const { return _journal.refusals(); }
    [[nodiscard]] std::optional<Refusal> lastRefusal() const override;

    // The callbacks of the clients; the service is the phone's.
    void clientServiceDidOpen(NetService &service);
    void clientServiceDidClose(NetService &service);
    /// A dropped connection is back.
    void clientServiceDidReconnect(NetService &service);
    void clientServiceDidReceiveObject(NetService &service, const PropertyList &object) {
        _messages.receive(service.name(), object);
    }
    void clientServiceDidReceiveClipmuleData(NetService &service, const PropertyList &clip) {
        _messages.receiveClip(service.name(), clip);
    }
    void clientServiceDidReceiveClipmuleDataForDevices(NetService &service,
                                                       const PropertyList &clip) {
        _messages.receiveClipForDevices(service.name(), clip);
    }
    void clientServiceDidReceiveDeviceData(NetService &service, const PropertyList &deviceData) {
        _messages.receiveDeviceRecord(service.name(), deviceData);
    }

private:
    [[nodiscard]] QList<RegisteredPhones::Phone> registeredPhones() const;
    void migrateSinglePhoneSettings();
    void listenTo(ZRKNetServiceClient &client);
    void observe();
    void stopObserving();
    [[nodiscard]] PasteMode pasteModeOf(const QString &serviceName) const;
    void postStatusDidChange();
    void situationDidChange();

    SyncServices _services;
    SyncJournal _journal;
    PhoneLinks _links;
    ClipboardWatch _watch;
    InboundClips _inbound;
    PhoneMessages _messages;
    std::shared_ptr<ZRKClipmuleStatusController> _statusController;
    std::optional<Bundle> _prefPaneBundle;
    std::unique_ptr<Updater> _updater;
};

} // namespace clipmule
