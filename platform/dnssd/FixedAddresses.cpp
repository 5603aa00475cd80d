// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/dnssd/FixedAddresses.h"

#include "platform/dnssd/EventQueue.h"

#include <QCoreApplication>
#include <QHostInfo>

#include <algorithm>
#include <set>

namespace clipmule::dnssd {

/// What the browser below reports, and the fixed services of the type: each name once.
class FixedBrowser final : public Browser {
public:
    explicit FixedBrowser(FixedAddresses &backend)
        : _backend(backend)
        , _below(backend._below.makeBrowser()) {
        _backend._browsers.push_back(this);
        _below->onFound = [this](const ServiceName &service) {
            _discovered.insert(service);
            report(service, true);
        };
        _below->onRemoved = [this](const ServiceName &service) {
            _discovered.erase(service);
            report(service, false);
        };
        _below->onAllForNow = [this] { callCopyOf(onAllForNow); };
    }
    ~FixedBrowser() override { std::erase(_backend._browsers, this); }

    void start(const QString &type) override {
        stop();
        _type = type;
        _below->wantedName = wantedName;
        _below->start(type);
        addressesChanged({});
    }

    void stop() override {
        _below->stop();
        _events.clear();
        _type.clear();
        _discovered.clear();
        _reported.clear();
    }

    /// Reports the services whose address has changed.
    void addressesChanged(const std::vector<ServiceName> &moved) {
        if (_type.isEmpty())
            return;
        _events.post([this, moved] { reportFixed(moved); });
    }

private:
    [[nodiscard]] bool isThere(const ServiceName &service) const {
        return _discovered.contains(service) || _backend.hasAddress(service);
    }

    [[nodiscard]] bool isWanted(const ServiceName &service) const {
        return service.type == _type && (!wantedName || service.name == *wantedName);
    }

    void reportFixed(const std::vector<ServiceName> &moved) {
        std::vector<std::pair<ServiceName, bool>> changes;
        for (const ServiceName &service : moved) {
            if (_reported.contains(service))
                changes.emplace_back(service, false);
        }
        for (const ServiceName &service : _reported) {
            if (!isThere(service))
                changes.emplace_back(service, false);
        }
        for (const ServiceName &service : moved) {
            if (isWanted(service) && isThere(service))
                changes.emplace_back(service, true);
        }
        for (const auto &[service, address] : _backend._addresses) {
            if (isWanted(service))
                changes.emplace_back(service, true);
        }
        const std::weak_ptr<bool> alive = _alive;
        for (const auto &[service, isFound] : changes) {
            // A callback may have stopped or destroyed the browser.
            if (alive.expired() || _type.isEmpty())
                return;
            if (isFound)
                report(service, true);
            else if (_reported.erase(service) > 0)
                callCopyOf(onRemoved, service);
        }
    }

    void report(const ServiceName &service, bool isFound) {
        if (isFound ? _reported.insert(service).second
                    : !isThere(service) && _reported.erase(service) > 0)
            callCopyOf(isFound ? onFound : onRemoved, service);
    }

    FixedAddresses &_backend;
    std::unique_ptr<Browser> _below;
    EventQueue _events;
    QString _type;
    std::set<ServiceName, ByServiceName> _discovered;
    std::set<ServiceName, ByServiceName> _reported;
    std::shared_ptr<bool> _alive = std::make_shared<bool>(true);
};

class FixedResolver final : public Resolver {
public:
    explicit FixedResolver(FixedAddresses &backend)
        : _backend(backend)
        , _below(backend._below.makeResolver()) {
        _below->onResolved = [this](const Resolved &resolved) { callCopyOf(onResolved, resolved); };
        _below->onFailed = [this](const QString &reason) { callCopyOf(onFailed, reason); };
    }

    void start(const ServiceName &service, RunLoop::Seconds timeout) override {
        stop();
        const auto fixed = _backend._addresses.find(service);
        if (fixed == _backend._addresses.end()) {
            _below->start(service, timeout);
            return;
        }
        const HostAndPort place = fixed->second;
        // The system's resolver has limits of its own, some of them minutes.
        _timeout = RunLoop::current().performAfter(timeout, [this, place] {
            fail(QStringLiteral("no answer about the host %1").arg(place.host));
        });
        _question = std::make_shared<bool>(true);
        if (const QHostAddress address(place.host); !address.isNull()) {
            _events.post([this, place, address] { answer(place, {address}, {}); });
            return;
        }
        _backend._lookUp(place.host,
                         [this, place, question = std::weak_ptr(_question)](
                             const QList<QHostAddress> &addresses, const QString &error) {
                             if (!question.expired())
                                 answer(place, addresses, error);
                         });
    }

    void stop() override {
        _below->stop();
        _events.clear();
        _timeout.cancel();
        _question.reset();
    }

private:
    void answer(const HostAndPort &place, const QList<QHostAddress> &addresses,
                const QString &error) {
        Resolved resolved{place.host, {}};
        for (const QHostAddress &address : addresses) {
            if (resolved.endpoints.size() < maximumEndpoints && reasonToAvoid(address).isEmpty())
                resolved.endpoints.append({address, place.port});
        }
        if (resolved.endpoints.isEmpty()) {
            fail(addresses.isEmpty()
                     ? QStringLiteral("the host %1 has no address: %2").arg(place.host, error)
                     : reasonToAvoid(addresses.first()));
            return;
        }
        sortEndpoints(resolved.endpoints);
        stop();
        callCopyOf(onResolved, resolved);
    }

    void fail(const QString &reason) {
        stop();
        callCopyOf(onFailed, reason);
    }

    FixedAddresses &_backend;
    std::unique_ptr<Resolver> _below;
    EventQueue _events;
    RunLoop::Timer _timeout;
    std::shared_ptr<bool> _question;
};

FixedAddresses::LookUp FixedAddresses::systemLookUp() {
    return [](const QString &host, LookUpAnswer answer) {
        QHostInfo::lookupHost(host, QCoreApplication::instance(),
                              [answer = std::move(answer)](const QHostInfo &info) {
                                  answer(info.addresses(), info.errorString());
                              });
    };
}

FixedAddresses::FixedAddresses(Backend &below, LookUp lookUp)
    : _below(below)
    , _lookUp(std::move(lookUp)) {}

FixedAddresses::~FixedAddresses() = default;

void FixedAddresses::setAddresses(std::map<ServiceName, HostAndPort, ByServiceName> addresses) {
    if (addresses == _addresses)
        return;
    const auto before = std::exchange(_addresses, std::move(addresses));
    std::vector<ServiceName> moved;
    for (const auto &[service, place] : before) {
        const auto now = _addresses.find(service);
        if (now == _addresses.end() || now->second != place)
            moved.push_back(service);
    }
    for (const auto &[service, place] : _addresses) {
        if (!before.contains(service))
            moved.push_back(service);
    }
    for (FixedBrowser *browser : _browsers)
        browser->addressesChanged(moved);
}

bool FixedAddresses::hasAddress(const ServiceName &service) const {
    return _addresses.contains(service);
}

std::unique_ptr<Publisher> FixedAddresses::makePublisher() {
    return _below.makePublisher();
}

std::unique_ptr<Browser> FixedAddresses::makeBrowser() {
    return std::make_unique<FixedBrowser>(*this);
}

std::unique_ptr<Resolver> FixedAddresses::makeResolver() {
    return std::make_unique<FixedResolver>(*this);
}

std::unique_ptr<TxtWatch> FixedAddresses::makeTxtWatch() {
    return _below.makeTxtWatch();
}

StreamPair FixedAddresses::connectTo(const Resolved &resolved) {
    return _below.connectTo(resolved);
}

QString FixedAddresses::description() const {
    return _below.description();
}

} // namespace clipmule::dnssd
