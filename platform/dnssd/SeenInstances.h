// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include <QString>

#include <map>
#include <optional>
#include <set>
#include <utility>

namespace clipmule::dnssd {

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

} // namespace clipmule::dnssd
