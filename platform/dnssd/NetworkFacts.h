// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/foundation/RunLoop.h"

#include <QList>
#include <QStringList>

#include <functional>
#include <memory>

namespace clipmule::dnssd {

/// What decides whether phones can be found, for telling people why none is.
struct NetworkFacts {
    struct Interface {
        QString name;
        QStringList addresses;
        bool isLoopback = false;
        bool isUp = false;
        bool canMulticast = false;
        /// Whether it leads to other devices.
        [[nodiscard]] bool isUsable() const { return isUp && !isLoopback && !addresses.isEmpty(); }
        friend bool operator==(const Interface &, const Interface &) = default;
    };
    /// How a question to everybody fared.
    enum class Multicast {
        Untried,      ///< there is no interface for it
        Refused,      ///< this computer does not let it out
        NoAnswer,     ///< nobody answers, not even this computer
        OnlyOwn,      ///< this computer hears itself, and no other
        OthersAnswer, ///< at least one other device answers
    };

    bool hasSystemBus = false;
    bool avahiRuns = false;
    /// The version as the daemon tells it; empty unless it runs and answers.
    QString avahiVersion;
    QList<Interface> interfaces;
    Multicast multicast = Multicast::Untried;
    /// The reason of a refusal, in the system's words.
    QString multicastError;

    [[nodiscard]] bool hasUsableInterface() const;
    friend bool operator==(const NetworkFacts &, const NetworkFacts &) = default;
};

/// Finds out the facts about the network.
class NetworkProbe {
public:
    /// A device that wants to answer does so within half a second.
    static constexpr RunLoop::Seconds answerTime{1.5};

    NetworkProbe() = default;
    virtual ~NetworkProbe() = default;
    Q_DISABLE_COPY_MOVE(NetworkProbe)
    /// Asks the network once, by one multicast packet an interface. Answers once, from the run
    /// loop, after answerTime and some; a second call replaces the first.
    virtual void look(std::function<void(const NetworkFacts &)> answer) = 0;
};

[[nodiscard]] std::unique_ptr<NetworkProbe> makeNetworkProbe();

} // namespace clipmule::dnssd
