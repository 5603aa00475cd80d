// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/dnssd/NetService.h"
#include "platform/dnssd/NetworkFacts.h"
#include "platform/session/StatusInterface.h"
#include "preferences/CommandLine.h"
#include "preferences/PhoneList.h"
#include "support/ZRKUserDefaults.h"

#include <QJsonObject>
#include <QSet>

namespace clipmule {

inline const QString installationIsIncomplete =
    QStringLiteral("the installation is incomplete: Info.plist names no shared domain");

/// Carries out one command of clipmule-preferences.
class PreferencesCommands final {
public:
    struct Services {
        /// Database and distributed notifications are required.
        ZRKUserDefaults::Environment preferences;
        /// Gives the backend that looks for phones; not called before that is needed.
        std::function<dnssd::Backend &()> dnssd;
        /// Give the readers of the agent's status and of the network; not called before that is
        /// needed.
        std::function<StatusReader &()> agent;
        std::function<dnssd::NetworkProbe &()> network;
        /// Tell the program that serves the page what became of a phone of this computer, which may
        /// be a browser. Each may be empty.
        std::function<void(const QString &service)> wasUnpaired;
        std::function<void(const QString &service, const QString &name)> wasRenamed;
        /// The version of this program.
        QString version;
        /// Called with one line of the result.
        std::function<void(const QString &line)> print;
        /// Called with one line about what went wrong.
        std::function<void(const QString &line)> complain;
        /// Called once when the command is done, with the program's exit status; perhaps from
        /// inside perform().
        std::function<void(int exitStatus)> finish;
    };

    /// A network where more phones announce themselves is playing tricks.
    static constexpr int mostDiscovered = 1000;

    explicit PreferencesCommands(Services services);

    /// How long to look for phones where the user did not say.
    static constexpr RunLoop::Seconds usualWait{3};
    /// The same for a phone that was just paired: long enough for one that is there to answer.
    static constexpr RunLoop::Seconds waitForPaired{1};
    /// An agent that does not answer in this time is not waited for.
    static constexpr RunLoop::Seconds patienceWithAgent{5};

    /// Carries out any command but help and version.
    void perform(const PreferencesCommand &command);

private:
    // Phones.
    void discover();
    void found(const QString &service);
    void finishDiscovery();
    void registerPhone();
    void lookForPaired();
    void finishLooking(bool isThere);
    void unregisterPhone();
    void renamePhone();
    void list();
    void browse(std::function<void(const QString &service)> found);
    // Both finish with a complaint when they return false.
    [[nodiscard]] bool canChangePhones();
    [[nodiscard]] bool isPaired();

    // Settings.
    void get();
    void set();
    void setEnabled(bool enabled);

    // How things stand.
    void status();
    void printStatus();
    void statusMayDiffer();
    void doctor();
    void finishDoctor();

    /// Finishes with a complaint.
    void fail(const QString &complaint);
    /// Writes one value, or removes the key; prints the line when the others have been told of it,
    /// and goes on, or finishes.
    void write(PreferencesCommand::Domain domain, const QString &key,
               const std::optional<PropertyList> &value, const QString &line,
               std::function<void()> then = {});
    void writePhones(const PropertyList &list, const QString &line,
                     std::function<void()> then = {});
    void tellOfName();
    [[nodiscard]] std::optional<PropertyList> storedPhones() const;
    void printJson(const QJsonObject &object);
    [[nodiscard]] QStringList registeredServices() const;

    Services _services;
    PreferencesCommand _command;
    std::unique_ptr<SettingsStores> _settings;
    std::unique_ptr<NetServiceBrowser> _browser;
    std::unique_ptr<PhoneList> _phones;
    std::optional<dnssd::NetworkFacts> _network;
    RunLoop::Timer _end;
    RunLoop::Timer _statusChange;
    std::optional<QJsonObject> _lastStatus;
    QSet<QString> _found;
};

} // namespace clipmule
