// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "net/ServiceDictionary.h"
#include "platform/dnssd/NetService.h"
#include "platform/session/StatusInterface.h"
#include "support/RegisteredPhones.h"

#include <map>

namespace clipmule {

/// What the agent tells of the phone; null where it tells nothing.
[[nodiscard]] const AgentStatus::Phone *phoneIn(const std::optional<AgentStatus> &status,
                                                const QString &service);

/// The phones that the window lists: the registered ones, joined with those on the network now and
/// with what the agent tells of its connections. Adds, renames and removes them.
///
/// Construct, set the callback, then start(). Everything runs on the main run loop.
class PhoneList final : public Object {
public:
    using Presence = AgentStatus::PhoneState;
    struct Phone {
        QString service;
        /// The name to be shown; that of the service where no other was given.
        QString name;
        bool isRegistered = false;
        Presence presence = Presence::NotSeen;
        /// When it was on the network last; missing where nobody remembers it there.
        std::optional<Date> lastSeen;
        /// What it tells about itself; empty as long as it told nothing.
        ServiceDictionary details;
        /// Why the agent's last attempt failed; empty when it did not, or is connected since.
        QString lastError;
        /// Its own paste mode, if it has one.
        std::optional<PasteMode> pasteMode = {};
        /// Where it is reached without discovery; empty for a phone that is to be found.
        QString address = {};
        /// Whether it is a program on this computer, out of the network's sight.
        [[nodiscard]] bool isLocal() const { return LocalNames::isLocal(service); }
        friend bool operator==(const Phone &, const Phone &) = default;
    };

    /// More phones are not looked at: the network is playing tricks, and avahi-daemon follows the
    /// records of at most a thousand for one client.
    static constexpr int mostOnNetwork = 200;

    /// All arguments outlive the list.
    PhoneList(dnssd::Backend &dnssd, SettingsStores &stores);
    ~PhoneList() override;

    void start();
    /// Remembers what is on the network now, and stops looking.
    void stop();
    /// What the agent tells; nothing while it does not run.
    void setAgentStatus(const std::optional<AgentStatus> &status);

    /// The registered phones, in the order in which they were registered.
    [[nodiscard]] QList<Phone> registered() const;
    /// The phones on the network that are not registered, by name.
    [[nodiscard]] QList<Phone> available() const;
    /// Whether to tell why no phone is found: none is on the network now, and one of the network
    /// that is paired is missed, or none is paired and none was ever seen.
    [[nodiscard]] bool missesPhones() const;

    // The failures are sentences for the user; after one nothing has changed.

    /// Registers a phone under its service name, if it is not, and changes something about it.
    [[nodiscard]] Result<void> change(const QString &service,
                                      const RegisteredPhones::Change &change = {});
    /// Names a phone; an empty name is that of the service.
    [[nodiscard]] Result<void> rename(const QString &service, const QString &name);
    [[nodiscard]] Result<void> remove(const QString &service);
    /// Puts back what was removed last. Nothing happens, and it is forgotten, when the phone was
    /// registered again meanwhile.
    [[nodiscard]] Result<void> undoRemoval();
    /// The name of the phone that undoRemoval() would bring back.
    [[nodiscard]] std::optional<QString> undoableRemoval() const;
    void forgetRemovals();
    /// A phone that was removed cannot be brought back any more. May do anything.
    std::function<void(const QString &service)> onForgotten;

    /// Called from the run loop when something is different, once for a burst of changes.
    std::function<void()> onChange;

private:
    struct Removal {
        QString service;
        QString name;
        QList<RegisteredPhones::Entry> entries;
    };

    void found(const std::shared_ptr<NetService> &service);
    void lost(const QString &service);
    void changed();
    [[nodiscard]] std::optional<PropertyList> stored() const;
    void rememberSeen(const QString &service);
    void writeMemory();
    [[nodiscard]] std::optional<Date> rememberedDate(const QString &service) const;
    [[nodiscard]] Phone describe(const RegisteredPhones::Phone &stored, bool isRegistered) const;

    dnssd::Backend &_dnssd;
    SettingsStores &_stores;
    std::optional<AgentStatus> _agentStatus;
    std::unique_ptr<NetServiceBrowser> _browser;
    std::map<QString, std::shared_ptr<NetService>> _onNetwork;
    QMap<QString, Date> _seen;
    QList<Removal> _removals;
    RunLoop::Timer _change;
};

} // namespace clipmule
