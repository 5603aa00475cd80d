// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/dnssd/Discovery.h"

#include "platform/dnssd/ServiceRules.h"
#include "platform/foundation/Callbacks.h"
#include "platform/foundation/Log.h"
#include "platform/streams/SocketStreams.h"

namespace clipmule::dnssd {

Discovery::Discovery(std::unique_ptr<Responder> preferred, MakeResponder makeFallback)
    : _preferred(std::move(preferred))
    , _makeFallback(std::move(makeFallback)) {
    _preferred->onAvailability = [this] { changed(*_preferred); };
}

Discovery::~Discovery() = default;

Responder &Discovery::active() const {
    return _onFallback ? *_fallback : *_preferred;
}

Responder &Discovery::begin() {
    // A responder that says nothing at all is waited for no longer than one that was lost.
    if (!std::exchange(_begun, true) && _makeFallback)
        _loss = RunLoop::current().performAfter(patienceWithLoss, [this] { useFallback(); });
    active().begin();
    return active();
}

void Discovery::changed(const Responder &responder) {
    if (&responder == &active()) {
        for (DiscoveryObject *object : _objects) {
            if (isAnswering(responder.availability()))
                object->ask();
            else
                object->forget();
        }
    } else if (&responder == _fallback.get() && responder.availability() != Availability::Running) {
        endOverlap();
    }
    if (&responder == _preferred.get())
        choose();
    callCopyOf(onDescriptionChange);
}

void Discovery::choose() {
    _hasAnswered |= isAnswering(_preferred->availability());
    switch (_preferred->availability()) {
    case Availability::Unknown:
        break;
    case Availability::Absent:
        if (_onFallback || !_makeFallback)
            break;
        if (_hasAnswered)
            _loss = RunLoop::current().performAfter(patienceWithLoss, [this] { useFallback(); });
        else
            useFallback();
        break;
    case Availability::Starting:
    case Availability::Running:
        _loss.cancel();
        // A responder that is starting cannot announce yet.
        if (_onFallback && _preferred->availability() == Availability::Running)
            usePreferred();
        break;
    }
}

void Discovery::useFallback() {
    _loss.cancel();
    _release.cancel();
    endOverlap();
    if (!_fallback) {
        _fallback = _makeFallback();
        _fallback->onAvailability = [this] { changed(*_fallback); };
    }
    _onFallback = true;
    qCInfo(logDnsSd).noquote() << QStringLiteral("using %1").arg(_fallback->description());
    for (DiscoveryObject *object : _objects)
        object->move();
    callCopyOf(onDescriptionChange);
}

void Discovery::usePreferred() {
    _onFallback = false;
    qCInfo(logDnsSd).noquote() << QStringLiteral("using %1").arg(_preferred->description());
    for (DiscoveryObject *object : _objects)
        object->move();
    RunLoop &runLoop = RunLoop::current();
    _overlap = runLoop.performAfter(announcementOverlap, [this] { endOverlap(); });
    _release = runLoop.performAfter(fallbackRelease, [this] { _fallback.reset(); });
}

void Discovery::endOverlap() {
    _overlap.cancel();
    for (DiscoveryObject *object : _objects)
        object->endOverlap();
}

StreamPair Discovery::connectTo(const Resolved &resolved) {
    QList<SocketEndpoint> endpoints;
    for (const Endpoint &endpoint : resolved.endpoints)
        endpoints.append({endpoint.address, endpoint.port});
    return connectingStreamPair(endpoints, connectTimeout);
}

QString Discovery::description() const {
    if (!_onFallback)
        return _preferred->description();
    return QStringLiteral("%1 (%2)").arg(_fallback->description(), _preferred->description());
}

DiscoveryObject::DiscoveryObject(Discovery &discovery)
    : _discovery(discovery) {
    _discovery._objects.push_back(this);
}

DiscoveryObject::~DiscoveryObject() {
    std::erase(_discovery._objects, this);
}

void DiscoveryObject::move() {
    forget();
    ask();
}

Responder *DiscoveryObject::responder() {
    Responder &active = _discovery.begin();
    return isAnswering(active.availability()) ? &active : nullptr;
}

void DiscoveryObject::askLater() {
    _retry = RunLoop::current().performAfter(refusalRetryInterval, [this] { ask(); });
}

std::unique_ptr<Backend> makeNetworkBackend() {
    return std::make_unique<Discovery>(makeAvahiBusResponder(), makeAvahiCoreResponder);
}

} // namespace clipmule::dnssd
