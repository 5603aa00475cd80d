// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/dnssd/DnsSd.h"
#include "platform/foundation/Object.h"

#include <optional>

namespace clipmule {

/// One DNS-SD service: found by a browser and to be resolved and connected to, or to be published.
/// Two are equal when name, type and domain are.
///
/// Held by std::shared_ptr. After stop() nobody is called back.
class NetService final : public Object, public std::enable_shared_from_this<NetService> {
    /// Keeps the constructor for the factory.
    struct Key {
        explicit Key() = default;
    };

public:
    /// The service is announced under this name, which differs from the wanted one when that was
    /// taken.
    std::function<void(NetService &, const QString &)> onPublished;
    std::function<void(NetService &)> onResolved;
    std::function<void(NetService &)> onNotResolved;
    std::function<void(NetService &, const QByteArray &)> onTxtRecord;

    /// A service to look at (port 0) or to publish. An empty domain stands for the default one,
    /// "local"; a final dot is dropped. The backend must outlive the service.
    [[nodiscard]] static std::shared_ptr<NetService>
    initWithDomainTypeNamePort(dnssd::Backend &backend, const QString &domain, const QString &type,
                               const QString &name, quint16 port);
    NetService(Key key, dnssd::Backend &backend, dnssd::ServiceName service, quint16 port);
    ~NetService() override;

    [[nodiscard]] const QString &name() const { return _service.name; }
    [[nodiscard]] const QString &type() const { return _service.type; }
    [[nodiscard]] const QString &domain() const { return _service.domain; }
    [[nodiscard]] quint16 port() const { return _port; }

    /// Announces the service with its port and TXT record. Errors are only logged. A record that
    /// the network does not carry costs the record, not the service: it is announced with an empty
    /// one.
    void publish();
    /// Looks the address up afresh; nothing known from before is used. Answers once, with
    /// onNotResolved when the time is over.
    void resolveWithTimeout(RunLoop::Seconds timeout);
    /// Reports the TXT record and its changes from now on.
    void startMonitoring();
    /// Ends publication, resolving and monitoring. May be published or resolved again.
    void stop();

    /// Streams to the address resolved last, which connect when they are opened; nothing when it
    /// was never resolved or no socket could be made.
    [[nodiscard]] std::optional<StreamPair> streams();

    /// The record to publish, or the one last seen; nothing when there is none or none was seen.
    [[nodiscard]] const std::optional<QByteArray> &txtRecordData() const { return _txtRecord; }
    /// Also changes the record of a published service at once.
    void setTXTRecordData(const QByteArray &record);

    [[nodiscard]] bool isEqual(const Object &other) const override;
    [[nodiscard]] QString description() const override;

private:
    [[nodiscard]] QByteArray publishableTxtRecord() const;

    dnssd::Backend &_backend;
    dnssd::ServiceName _service;
    quint16 _port;
    std::optional<QByteArray> _txtRecord;
    std::optional<dnssd::Resolved> _resolved;
    std::unique_ptr<dnssd::Publisher> _publisher;
    std::unique_ptr<dnssd::Resolver> _resolver;
    std::unique_ptr<dnssd::TxtWatch> _txtWatch;
};

/// Finds services of one type in one domain ("local" is the only one there is).
class NetServiceBrowser final {
public:
    std::function<void(const std::shared_ptr<NetService> &)> onFound;
    /// Gets an equal service, not the same object.
    std::function<void(const std::shared_ptr<NetService> &)> onRemoved;
    /// Only services of this name are reported, all of them when there is none. To be set before
    /// the search.
    std::optional<QString> wantedName;

    explicit NetServiceBrowser(dnssd::Backend &backend);
    ~NetServiceBrowser();
    Q_DISABLE_COPY_MOVE(NetServiceBrowser)

    void searchForServicesOfTypeInDomain(const QString &type, const QString &domain);
    void stop();

private:
    dnssd::Backend &_backend;
    std::unique_ptr<dnssd::Browser> _browser;
};

} // namespace clipmule
