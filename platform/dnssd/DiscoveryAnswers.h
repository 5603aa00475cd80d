// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/dnssd/Responder.h"

#include <array>
#include <bitset>
#include <map>
#include <set>

namespace clipmule::dnssd {

// What is made of a responder's many answers.

/// Which instances of a type are there: a responder reports each once per network interface and
/// protocol, a browser once in all.
class SeenInstances {
public:
    /// Any host on the network can announce as many services as it likes; a home has a handful.
    static constexpr int maximumInstances = 1000;

    /// Only this name matters from now on, all when there is none: another one is never seen, and
    /// so takes no place.
    void setWanted(const std::optional<QString> &name) { _wanted = name; }
    /// True for the first sighting of a name. False, too, for a name above the limit, which is
    /// forgotten; the first one is logged.
    bool add(const QString &name, int interface, int protocol);
    /// True when the last sighting of a name is gone.
    bool remove(const QString &name, int interface, int protocol);
    [[nodiscard]] bool contains(const QString &name) const { return _sightings.count(name) > 0; }
    void clear();
    [[nodiscard]] bool isFull() const { return int(_sightings.size()) >= maximumInstances; }

private:
    std::map<QString, std::set<std::pair<int, int>>> _sightings;
    std::optional<QString> _wanted;
    bool _saidFull = false;
};

/// One question of a responder answers with one address, from whichever network answers first; a
/// service may be reachable by another one only. So four questions are asked.
inline constexpr std::array<AddressQuestion, 4> addressQuestions{{
    {false, false},
    {true, true},
    {false, true},
    {true, false},
}};

/// Puts the answers to the four questions together, and decides when there are enough of them:
/// at once when each transport has told its own kind of address, or when no question is open, else
/// a short while after the first one.
class EndpointGatherer {
public:
    /// How long a first IPv4 address waits for company: an answer from the same host is about
    /// 100 ms away.
    static constexpr RunLoop::Seconds patienceWithIpv4{0.25};
    /// How long a first IPv6 address waits: the IPv4 one, if there is one, works with more
    /// listeners.
    static constexpr RunLoop::Seconds patienceWithIpv6{1.5};
    /// Forgets everything.
    void clear();
    /// One answer. May call onComplete. Addresses that nobody may connect to are left out; those of
    /// the loopback network count only when the answer came over the loopback interface.
    void add(AddressQuestion question, const QString &hostName, const Endpoint &endpoint,
             bool overLoopback = false);
    /// No answer comes to this question; one transport may be switched off. May call back.
    void refused(AddressQuestion question, const QString &reason);
    // One of them at most once after clear(). May destroy the gatherer.
    std::function<void(const Resolved &)> onComplete;
    /// All four were refused.
    std::function<void(const QString &reason)> onFailed;

private:
    void waitAtMost(RunLoop::Seconds patience);
    void complete();

    Resolved _resolved;
    bool _ipv4OverIpv4 = false;
    bool _ipv6OverIpv6 = false;
    std::bitset<addressQuestions.size()> _closed; // answered or refused
    RunLoop::Seconds _deadline{0};
    RunLoop::Timer _wait;
};

} // namespace clipmule::dnssd
