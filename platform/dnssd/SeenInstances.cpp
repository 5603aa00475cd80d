// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/dnssd/SeenInstances.h"

namespace clipmule::dnssd {

bool SeenInstances::add(const QString &name, int interface, int protocol) {
    const auto known = _sightings.find(name);
    if (known != _sightings.end()) {
        known->second.emplace(interface, protocol);
        return false;
    }
    if (isFull())
        return false;
    _sightings[name].emplace(interface, protocol);
    return true;
}

bool SeenInstances::remove(const QString &name, int interface, int protocol) {
    const auto known = _sightings.find(name);
    if (known == _sightings.end())
        return false;
    known->second.erase({interface, protocol});
    if (!known->second.empty())
        return false;
    _sightings.erase(known);
    return true;
}

} // namespace clipmule::dnssd
