// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/dnssd/NetService.h"

#include "platform/dnssd/ServiceRules.h"
#include "platform/foundation/Callbacks.h"
#include "platform/foundation/HostAndPort.h"
#include "platform/foundation/Log.h"

namespace clipmule {

namespace {

QString withoutFinalDot(const QString &name) {
    return name.endsWith(u'.') ? name.chopped(1) : name;
}

QString defaultDomain() {
    return QStringLiteral("local");
}

// The endpoints in the order in which they are tried.
QString placesOf(const dnssd::Resolved &resolved) {
    if (resolved.localPort)
        return QStringLiteral("port %1 of this session").arg(*resolved.localPort);
    QStringList places;
    for (const dnssd::Endpoint &endpoint : resolved.endpoints)
        places += HostAndPort{endpoint.address.toString(), endpoint.port}.text();
    return cutForLog(resolved.hostName) + QStringLiteral(" at ") +
           places.join(QStringLiteral(", "));
}

} // namespace

std::shared_ptr<NetService>
NetService::initWithDomainTypeNamePort(dnssd::Backend &backend, const QString &domain,
                                       const QString &type, const QString &name, quint16 port) {
    const QString plainDomain = withoutFinalDot(domain);
    dnssd::ServiceName service{name, withoutFinalDot(type),
                               plainDomain.isEmpty() ? defaultDomain() : plainDomain};
    return std::make_shared<NetService>(Key(), backend, std::move(service), port);
}

NetService::NetService(Key, dnssd::Backend &backend, dnssd::ServiceName service, quint16 port)
    : _backend(backend)
    , _service(std::move(service))
    , _port(port) {}

NetService::~NetService() {
    stop();
}

void NetService::publish() {
    _publisher = _backend.makePublisher();
    _publisher->onPublished = [this](const QString &actualName) {
        if (actualName != _service.name)
            qCInfo(logDnsSd).noquote()
                << QStringLiteral("published %1 as \"%2\": the name is taken")
                       .arg(description(), cutForLog(actualName));
        callCopyOf(onPublished, *this, actualName);
    };
    _publisher->onError = [this](const QString &reason) {
        qCWarning(logDnsSd).noquote()
            << QStringLiteral("cannot publish %1: %2").arg(description(), reason);
    };
    _publisher->start(_service, _port, publishableTxtRecord());
}

QByteArray NetService::publishableTxtRecord() const {
    QByteArray record = _txtRecord.value_or(dnssd::emptyTxtRecord());
    const QString refusal = dnssd::reasonToRefuseTxtRecord(record);
    if (refusal.isEmpty())
        return record;
    qCWarning(logDnsSd).noquote()
        << QStringLiteral("%1 is published without its TXT record: %2").arg(description(), refusal);
    return dnssd::emptyTxtRecord();
}

void NetService::resolveWithTimeout(RunLoop::Seconds timeout) {
    _resolved.reset();
    _resolver = _backend.makeResolver();
    _resolver->onResolved = [this](const dnssd::Resolved &resolved) {
        const auto self = shared_from_this();
        _resolver.reset();
        _resolved = resolved;
        qCDebug(logDnsSd).noquote() << QStringLiteral("\"%1\": resolved, %2")
                                           .arg(cutForLog(_service.name), placesOf(resolved));
        callCopyOf(onResolved, *this);
    };
    _resolver->onFailed = [this](const QString &reason) {
        const auto self = shared_from_this();
        _resolver.reset();
        qCInfo(logDnsSd).noquote()
            << QStringLiteral("%1 is not resolved: %2").arg(description(), reason);
        callCopyOf(onNotResolved, *this);
    };
    _resolver->start(_service, timeout);
}

void NetService::startMonitoring() {
    _txtWatch = _backend.makeTxtWatch();
    _txtWatch->onTxtRecord = [this](const QByteArray &record) {
        const auto self = shared_from_this();
        _txtRecord = record;
        callCopyOf(onTxtRecord, *this, QByteArray(record));
    };
    _txtWatch->start(_service);
}

void NetService::stop() {
    if (_publisher)
        _publisher->stop();
    _publisher.reset();
    _resolver.reset();
    _txtWatch.reset();
}

std::optional<StreamPair> NetService::streams() {
    if (!_resolved)
        return {};
    qCDebug(logDnsSd).noquote() << QStringLiteral("\"%1\": connecting to %2")
                                       .arg(cutForLog(_service.name), placesOf(*_resolved));
    StreamPair pair = _backend.connectTo(*_resolved);
    if (!pair.input || !pair.output)
        return {};
    return pair;
}

void NetService::setTXTRecordData(const QByteArray &record) {
    _txtRecord = record;
    if (_publisher)
        _publisher->setTxtRecord(record);
}

bool NetService::isEqual(const Object &other) const {
    const auto *service = dynamic_cast<const NetService *>(&other);
    return service && service->_service == _service;
}

QString NetService::description() const {
    return QStringLiteral("\"%1\" (%2.%3)")
        .arg(cutForLog(_service.name), _service.type, _service.domain);
}

NetServiceBrowser::NetServiceBrowser(dnssd::Backend &backend)
    : _backend(backend) {}

NetServiceBrowser::~NetServiceBrowser() = default;

void NetServiceBrowser::searchForServicesOfTypeInDomain(const QString &type,
                                                        const QString &domain) {
    stop();
    const QString plainDomain = withoutFinalDot(domain);
    if (!plainDomain.isEmpty() && plainDomain != defaultDomain()) {
        qCWarning(logDnsSd).noquote()
            << QStringLiteral("cannot search in the domain \"%1\"").arg(cutForLog(domain));
        return;
    }
    _browser = _backend.makeBrowser();
    _browser->wantedName = wantedName;
    const auto tell = [this](auto &callback) {
        return [this, &callback](const dnssd::ServiceName &service) {
            callCopyOf(callback, NetService::initWithDomainTypeNamePort(
                                     _backend, service.domain, service.type, service.name, 0));
        };
    };
    _browser->onFound = tell(onFound);
    _browser->onRemoved = tell(onRemoved);
    _browser->start(withoutFinalDot(type));
}

void NetServiceBrowser::stop() {
    if (_browser)
        _browser->stop();
    _browser.reset();
}

} // namespace clipmule
