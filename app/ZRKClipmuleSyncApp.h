// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "app/Refusals.h"
#include "app/Updater.h"
#include "model/PasteboardServices.h"
#include "model/PictureEcho.h"
#include "model/ZRKClipmuleData.h"
#include "net/OutputObject.h"
#include "net/ZRKNetServiceClient.h"
#include "platform/bundle/Bundle.h"
#include "platform/dnssd/FixedAddresses.h"
#include "platform/dnssd/NetService.h"
#include "platform/foundation/LogLimit.h"
#include "platform/foundation/Object.h"
#include "platform/foundation/RunLoop.h"
#include "platform/keyboard/KeyboardEvents.h"
#include "platform/session/SessionPrograms.h"
#include "platform/session/StatusInterface.h"
#include "support/ApplicationDefaults.h"
#include "support/RegisteredPhones.h"
#include "support/ZRKUserDefaults.h"
#include "ui/SyncStatusSource.h"

#include <QMap>

#include <deque>
#include <map>
#include <memory>
#include <vector>

namespace clipmule {

class ZRKClipmuleStatusController;
class ZRKClipmuleSyncApp;

/// What the agent runs on. Everything referred to outlives the application object.
struct SyncServices {
    dnssd::Backend &dnssd;
    PasteboardServices &pasteboard;
    KeyboardEvents &keyboard;
    ApplicationDefaults &applicationDefaults;
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

/// Posted on the platform's default centre when the connection picture may have changed.
inline const QString ZRKClipmuleSyncStatusDidChange =
    QStringLiteral("ZRKClipmuleSyncStatusDidChange");

/// The agent: owns every peer connection, decides when to connect and disconnect, sends what is
/// copied here to the phones and pastes what they send.
///
/// Construct, then finishLaunching(). Everything runs on the main run loop.
class ZRKClipmuleSyncApp final : public Object, public SyncStatusSource {
public:
    /// Clips larger than this (in the unit of ZRKClipmuleData::size) are not sent.
    static constexpr quint64 largestClipSent = 9'999'999;
    static constexpr RunLoop::Seconds pollInterval{0.5};
    /// A phone's description of itself is a handful of short entries. It is kept and sent on to all
    /// phones again and again, so a larger one is refused; in bytes of its XML form.
    static constexpr qsizetype largestDeviceRecord = 64 * 1024;

    /// Between two pastes: the window in front fetches a clip only when its key stroke has arrived,
    /// and by then the next must not have taken its place.
    static constexpr RunLoop::Seconds pasteInterval{0.25};
    /// The same while clips are passed over: a paste closes our menu, and a phone that sends
    /// without end must leave the user time to switch it off there.
    static constexpr RunLoop::Seconds pasteIntervalInFlood{3};
    /// Received clips that may wait for their turn, and how large they may be together (in the unit
    /// of ZRKClipmuleData::size): of more the newest stay. A person sends them one by one.
    static constexpr size_t mostWaitingClips = 8;
    static constexpr quint64 largestWaitingClips = 64 * 1024 * 1024;

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
    [[nodiscard]] bool isConnected() const override;
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
    [[nodiscard]] const QList<Refusal> &refusals() const { return _refusals.newestFirst(); }
    [[nodiscard]] std::optional<Refusal> lastRefusal() const override;

    // The delegate calls of the clients; the service is the phone's.
    void clientServiceDidOpen(NetService &service);
    void clientServiceDidClose(NetService &service);
    /// A dropped connection is back.
    void clientServiceDidReconnect(NetService &service);
    void clientServiceDidChangeConnection(NetService &service, const QString &failure);
    void clientServiceDidReceiveObject(NetService &service, const PropertyList &object);
    void clientServiceDidReceiveClipmuleData(NetService &service, const PropertyList &clip);
    void clientServiceDidReceiveClipmuleDataForDevices(NetService &service,
                                                       const PropertyList &clip);
    void clientServiceDidReceiveDeviceData(NetService &service, const PropertyList &deviceData);
    /// What was queued for the phone has left the queue unsent; about so many bytes would wait.
    void clientServiceDidRefuseObject(NetService &service, const OutputObject &object,
                                      qsizetype waiting);
    /// What was queued for the phone could not be written.
    void clientServiceDidDropObject(NetService &service, const OutputObject &object);
    /// What the phone sent was not taken.
    void clientServiceDidRefuseInput(NetService &service,
                                     const ZRKStreamHandler::RefusedInput &input);

private:
    [[nodiscard]] QList<RegisteredPhones::Phone> registeredPhones() const;
    void migrateSinglePhoneSettings();
    void stopObserving();
    void stopAnnouncement(NetService &service);
    void stopClient(ZRKNetServiceClient &client);
    [[nodiscard]] std::shared_ptr<ZRKNetServiceClient> makeClient(const QString &name);
    void tellAddresses(const QList<RegisteredPhones::Phone> &phones);
    [[nodiscard]] PasteMode pasteModeOf(const QString &serviceName) const;
    void postStatusDidChange();
    // Enters it in the journal and the log, and tells the user: in the refusal's own words unless a
    // message is given.
    void refuse(Refusal refusal, const QString &message = {});
    // Only the former; whether the user should hear of it.
    bool enter(Refusal refusal);
    // What the user calls the phone.
    [[nodiscard]] QString displayName(const QString &serviceName) const;
    void situationDidChange();

    void startClipboardPoll();
    void scheduleCheck();
    void checkForData();
    void sendClip(ZRKClipmuleData &clip, size_t hash);
    void lookForUnanswered();
    void lookWhyNotSent(const ZRKClipmuleData *clip, size_t hash);
    void sendConnectedClients();
    void sendToAll(const OutputObject &object);

    struct ReceivedClip {
        QString phone; // its service's name
        std::shared_ptr<ZRKClipmuleData> clip;
    };
    // A line about what a phone sent; so many in a while, however much it sends.
    void warnAbout(const NetService &service, const QString &line);
    void waitForPaste(ReceivedClip received);
    void applyNextClip();
    void applyClip(const ReceivedClip &received);
    void forgetWaitingClips(const QString &phone);
    void paste();
    void countClip(ZRKClipmuleData &clip, Settings::Key sizeKey);
    [[nodiscard]] static Refusal::Kind kindOf(const ZRKClipmuleData &clip);
    // Kind and size, for a log line; nothing of the contents.
    [[nodiscard]] static QString descriptionForLog(const ZRKClipmuleData &clip);

    SyncServices _services;
    QMap<QString, std::shared_ptr<ZRKNetServiceClient>> _clientsDictionary;
    QMap<QString, std::shared_ptr<NetService>> _netServicesDictionary;
    // Shared with the messages about it that wait to be written: they go out as it stands then.
    std::shared_ptr<PropertyList::Dictionary> _clientsDataDictionary =
        std::make_shared<PropertyList::Dictionary>();
    std::shared_ptr<ZRKUserDefaults> _statisticDefaults;
    qint64 _lastChangeCount = 0;
    qint64 _lastUnansweredCount = 0;
    size_t _lastHash = 0;
    PictureEcho _lastPicture; // that was received
    std::shared_ptr<ZRKClipmuleStatusController> _statusController;

    // By service name: what phoneStates() tells beside what the clients know.
    struct Contact {
        std::optional<Date> lastSeen;
        QString lastError;
        std::optional<Date> lastErrorDate;
    };
    QMap<QString, Contact> _contacts;
    // By service name.
    std::map<QString, LogLimit> _warnings;
    // Oldest first. Without any the timer may run: too soon for another paste.
    std::deque<ReceivedClip> _waitingClips;
    RunLoop::Timer _nextPaste;
    // A clip was passed over since the last paste.
    bool _clipsOvertaken = false;
    Refusals _refusals;

    std::optional<Bundle> _prefPaneBundle;
    std::unique_ptr<Updater> _updater;
    // More than one for a moment after a second phone has opened; the next check cancels the rest.
    std::vector<RunLoop::Timer> _pendingChecks;
};

} // namespace clipmule
