// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/dnssd/LocalAndNetwork.h"

#include "platform/foundation/Callbacks.h"
#include "platform/foundation/LocalNames.h"
#include "platform/foundation/Log.h"

namespace clipmule::dnssd {

namespace {

// A service by the name that it has with its own side.
ServiceName inside(const ServiceName &service) {
    return {LocalNames::ownName(service.name), service.type, service.domain};
}

ServiceName asLocal(const ServiceName &service) {
    return {LocalNames::serviceNamed(service.name), service.type, service.domain};
}

/// What does its work for one service, and so with one of the two sides.
template <typename Kind, std::unique_ptr<Kind> (Backend::*make)()>
class OneSided : public Kind {
public:
    explicit OneSided(LocalAndNetwork &both)
        : _both(both) {}
    void stop() override {
        if (_task)
            _task->stop();
    }

protected:
    Kind &taskFor(const ServiceName &service) {
        stop();
        _task = (_both.sideOf(service).*make)();
        return *_task;
    }
    [[nodiscard]] Kind *task() const { return _task.get(); }

private:
    LocalAndNetwork &_both;
    std::unique_ptr<Kind> _task;
};

class BothPublisher final : public OneSided<Publisher, &Backend::makePublisher> {
public:
    using OneSided::OneSided;

    void start(const ServiceName &service, quint16 port, const QByteArray &txtRecord) override {
        Publisher &task = taskFor(service);
        const bool isLocal = LocalNames::isLocal(service.name);
        task.onPublished = [this, isLocal](const QString &actualName) {
            callCopyOf(onPublished, isLocal ? LocalNames::serviceNamed(actualName) : actualName);
        };
        task.onError = [this](const QString &reason) { callCopyOf(onError, QString(reason)); };
        task.start(inside(service), port, txtRecord);
    }
    void setTxtRecord(const QByteArray &txtRecord) override {
        if (task())
            task()->setTxtRecord(txtRecord);
    }
};

class BothResolver final : public OneSided<Resolver, &Backend::makeResolver> {
public:
    using OneSided::OneSided;

    void start(const ServiceName &service, RunLoop::Seconds timeout) override {
        Resolver &task = taskFor(service);
        task.onResolved = [this](const Resolved &resolved) {
            callCopyOf(onResolved, Resolved(resolved));
        };
        task.onFailed = [this](const QString &reason) { callCopyOf(onFailed, QString(reason)); };
        task.start(inside(service), timeout);
    }
};

class BothTxtWatch final : public OneSided<TxtWatch, &Backend::makeTxtWatch> {
public:
    using OneSided::OneSided;

    void start(const ServiceName &service) override {
        TxtWatch &task = taskFor(service);
        task.onTxtRecord = [this](const QByteArray &txtRecord) {
            callCopyOf(onTxtRecord, QByteArray(txtRecord));
        };
        task.start(inside(service));
    }
};

class BothBrowser final : public Browser {
public:
    BothBrowser(std::unique_ptr<Browser> local, std::unique_ptr<Browser> network)
        : _local(std::move(local))
        , _network(std::move(network)) {
        _local->onFound = [this](const ServiceName &service) {
            callCopyOf(onFound, asLocal(service));
        };
        _local->onRemoved = [this](const ServiceName &service) {
            callCopyOf(onRemoved, asLocal(service));
        };
        _network->onFound = [this](const ServiceName &service) {
            if (isPretender(service))
                complain(service);
            else
                callCopyOf(onFound, ServiceName(service));
        };
        _network->onRemoved = [this](const ServiceName &service) {
            if (!isPretender(service))
                callCopyOf(onRemoved, ServiceName(service));
        };
        for (Browser *side : {_local.get(), _network.get()})
            side->onAllForNow = [this] { oneSideIsDone(); };
    }

    void start(const QString &type) override {
        stop();
        const bool wantsLocal = !wantedName || LocalNames::isLocal(*wantedName);
        const bool wantsNetwork = !wantedName || !wantsLocal;
        _toBeDone = (wantsLocal ? 1 : 0) + (wantsNetwork ? 1 : 0);
        if (wantsLocal) {
            _local->wantedName =
                wantedName ? std::optional(LocalNames::ownName(*wantedName)) : std::nullopt;
            _local->start(type);
        }
        if (wantsNetwork) {
            _network->wantedName = wantedName;
            _network->start(type);
        }
    }

    void stop() override {
        _local->stop();
        _network->stop();
    }

private:
    static bool isPretender(const ServiceName &service) {
        return LocalNames::isLocal(service.name);
    }
    void complain(const ServiceName &service) {
        if (!std::exchange(_hasComplained, true))
            qCWarning(logDnsSd).noquote()
                << QStringLiteral("\"%1\" on the network is not shown: its name is that of a "
                                  "program on this computer")
                       .arg(cutForLog(service.name));
    }
    void oneSideIsDone() {
        if (--_toBeDone == 0)
            callCopyOf(onAllForNow);
    }

    std::unique_ptr<Browser> _local;
    std::unique_ptr<Browser> _network;
    int _toBeDone = 0;
    bool _hasComplained = false;
};

} // namespace

LocalAndNetwork::LocalAndNetwork(std::unique_ptr<Backend> local, std::unique_ptr<Backend> network)
    : _local(std::move(local))
    , _network(std::move(network)) {
    _network->onDescriptionChange = [this] { callCopyOf(onDescriptionChange); };
}

Backend &LocalAndNetwork::sideOf(const ServiceName &service) const {
    return LocalNames::isLocal(service.name) ? *_local : *_network;
}

std::unique_ptr<Publisher> LocalAndNetwork::makePublisher() {
    return std::make_unique<BothPublisher>(*this);
}

std::unique_ptr<Browser> LocalAndNetwork::makeBrowser() {
    return std::make_unique<BothBrowser>(_local->makeBrowser(), _network->makeBrowser());
}

std::unique_ptr<Resolver> LocalAndNetwork::makeResolver() {
    return std::make_unique<BothResolver>(*this);
}

std::unique_ptr<TxtWatch> LocalAndNetwork::makeTxtWatch() {
    return std::make_unique<BothTxtWatch>(*this);
}

StreamPair LocalAndNetwork::connectTo(const Resolved &resolved) {
    return (resolved.localPort ? _local : _network)->connectTo(resolved);
}

QString LocalAndNetwork::description() const {
    return _network->description();
}

std::unique_ptr<Backend> makeBackend() {
    return std::make_unique<LocalAndNetwork>(makeLocalBackend(), makeNetworkBackend());
}

} // namespace clipmule::dnssd
