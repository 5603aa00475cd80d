// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/dnssd/SeenInstances.h"

#include "platform/dnssd/Log.h"

namespace clipmule::dnssd {

bool SeenInstances::add(const QString &name, int interface, int protocol) {
    if (_wanted && name != *_wanted)
        return false;
    const auto known = _sightings.find(name);
    if (known != _sightings.end()) {
        known->second.emplace(interface, protocol);
        return false;
    }
    if (isFull()) {
        if (!std::exchange(_saidFull, true))
            qCWarning(logDnsSd, "more than %d services of one type; the others are left out",
                      maximumInstances);
        return false;
    }
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

void SeenInstances::clear() {
    _sightings.clear();
    _saidFull = false;
}

} // namespace clipmule::dnssd
