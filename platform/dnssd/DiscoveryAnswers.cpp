// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/dnssd/DiscoveryAnswers.h"

#include "platform/dnssd/ServiceRules.h"
#include "platform/foundation/Callbacks.h"
#include "platform/foundation/Log.h"

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

namespace {

size_t number(AddressQuestion question) {
    return size_t(question.overIpv6) * 2 + size_t(question.forIpv6);
}

} // namespace

void EndpointGatherer::clear() {
    _resolved = {};
    _closed.reset();
    _ipv4OverIpv4 = false;
    _ipv6OverIpv6 = false;
    _wait.cancel();
}

void EndpointGatherer::add(AddressQuestion question, const QString &hostName,
                           const Endpoint &endpoint, bool overLoopback) {
    if (endpoint.port == 0)
        return;
    const QString refusal = reasonToAvoidAnnounced(endpoint.address, overLoopback);
    if (!refusal.isEmpty()) {
        qCDebug(logDnsSd).noquote() << "address left out:" << refusal;
        return;
    }
    const bool isIpv4 = endpoint.address.protocol() == QAbstractSocket::IPv4Protocol;
    if (!_resolved.endpoints.contains(endpoint)) {
        if (_resolved.endpoints.size() == maximumEndpoints)
            return;
        _resolved.endpoints.append(endpoint);
        _resolved.hostName = hostName;
    }
    if (isIpv4 && !question.overIpv6)
        _ipv4OverIpv4 = true;
    if (!isIpv4 && question.overIpv6)
        _ipv6OverIpv6 = true;
    _closed.set(number(question));
    if ((_ipv4OverIpv4 && _ipv6OverIpv6) || _closed.all())
        complete();
    else
        waitAtMost(isIpv4 ? patienceWithIpv4 : patienceWithIpv6);
}

void EndpointGatherer::refused(AddressQuestion question, const QString &reason) {
    _closed.set(number(question));
    if (!_closed.all())
        return;
    if (!_resolved.endpoints.isEmpty())
        return complete();
    clear();
    callCopyOf(onFailed, reason);
}

void EndpointGatherer::waitAtMost(RunLoop::Seconds patience) {
    RunLoop &runLoop = RunLoop::current();
    const RunLoop::Seconds deadline = runLoop.now() + patience;
    if (_wait.isPending() && _deadline <= deadline)
        return;
    _deadline = deadline;
    _wait = runLoop.performAfter(patience, [this] { complete(); });
}

void EndpointGatherer::complete() {
    Resolved resolved = _resolved;
    clear();
    sortEndpoints(resolved.endpoints);
    callCopyOf(onComplete, resolved);
}

} // namespace clipmule::dnssd
