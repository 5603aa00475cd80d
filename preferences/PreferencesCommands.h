// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/desktop/StatusInterface.h"
#include "platform/dnssd/NetService.h"
#include "platform/dnssd/NetworkFacts.h"
#include "preferences/CommandLine.h"
#include "preferences/PhoneList.h"
#include "support/ZRKUserDefaults.h"

#include <QSet>

namespace clipmule {

/// Carries out one command of clipmule-preferences.
class PreferencesCommands final {
public:
    struct Services {
        /// Database and distributed notifications are required.
        ZRKUserDefaults::Environment preferences;
        /// Where phones are looked for; not asked for before that.
        std::function<dnssd::Backend &()> dnssd;
        /// Who tells of the agent, and who of the network; not asked for before that.
        std::function<StatusReader &()> agent;
        std::function<dnssd::NetworkProbe &()> network;
        /// Of this program.
        QString version;
        /// Whether a program of this session has a name on the session bus; no answer without one.
        std::function<void(const QString &name, std::function<void(std::optional<bool>)>)>
            findOwner;
        /// One line of the result.
        std::function<void(const QString &line)> print;
        /// One line about what went wrong.
        std::function<void(const QString &line)> complain;
        /// It is done, with the program's exit status; called once, perhaps from inside perform().
        std::function<void(int exitStatus)> finish;
    };

    /// A network where more phones announce themselves is playing tricks.
    static constexpr int mostDiscovered = 1000;

    explicit PreferencesCommands(Services services);
    ~PreferencesCommands();
    PreferencesCommands(const PreferencesCommands &) = delete;
    PreferencesCommands &operator=(const PreferencesCommands &) = delete;
    PreferencesCommands(PreferencesCommands &&) = delete;
    PreferencesCommands &operator=(PreferencesCommands &&) = delete;

    /// Any command but help and version.
    void perform(const PreferencesCommand &command);

private:
    void discover();
    void found(const QString &service);
    void registerPhone();
    void unregisterPhone();
    void list();
    void get();
    void setEnabled(bool enabled);
    void status();
    void doctor();
    void finishDoctor();
    void printStatus(std::optional<bool> agentRuns);
    void printStatusAsJson(std::optional<bool> agentRuns);

    [[nodiscard]] std::shared_ptr<ZRKUserDefaults> open(PreferencesCommand::Domain domain);
    /// Finishes with a complaint.
    void fail(const QString &complaint);
    /// Writes one value, and finishes when the others have been told of it; prints the line then.
    void write(PreferencesCommand::Domain domain, const QString &key, const PropertyList &value,
               const QString &line);
    [[nodiscard]] QList<QString> registeredServices();
    [[nodiscard]] bool isEnabled();

    Services _services;
    PreferencesCommand _command;
    std::map<PreferencesCommand::Domain, std::shared_ptr<ZRKUserDefaults>> _stores;
    std::unique_ptr<NetServiceBrowser> _browser;
    std::unique_ptr<PhoneList> _phones;
    std::optional<dnssd::NetworkFacts> _network;
    RunLoop::Timer _end;
    QSet<QString> _found;
};

} // namespace clipmule
