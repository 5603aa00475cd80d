// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/foundation/RunLoop.h"
#include "platform/streams/Stream.h"

#include <QByteArray>
#include <QHostAddress>
#include <QList>
#include <QString>

#include <functional>
#include <memory>
#include <optional>

/// DNS service discovery, as far down as this program needs it. What a service *is* for the rest of
/// the program is NetService; this is what it stands on.
///
/// Rules that hold for all of it: no callback from inside start(); none after stop() or
/// destruction; a callback may destroy its sender. Everything runs on the main run loop.
namespace clipmule::dnssd {

/// The name of one service instance. The instance name is plain UTF-8 text of at most 63 bytes,
/// never escaped; the type is like "_http._tcp"; the domain is "local" without a final dot.
struct ServiceName {
    QString name;
    QString type;
    QString domain;
    friend bool operator==(const ServiceName &, const ServiceName &) = default;
};

/// Where a service can be reached. A link-local IPv6 address carries its scope.
struct Endpoint {
    QHostAddress address;
    quint16 port = 0;
    friend bool operator==(const Endpoint &, const Endpoint &) = default;
};

/// On the network it has endpoints, IPv4 first. A service of this session has none there, but a
/// port of its own kind (LocalSockets.h), so that neither is ever taken for the other.
struct Resolved {
    QString hostName;
    QList<Endpoint> endpoints = {};
    std::optional<quint16> localPort = {};
};

/// What a backend does for somebody until it is stopped or destroyed.
class Task {
public:
    Task() = default;
    virtual ~Task() = default;
    Q_DISABLE_COPY_MOVE(Task)
    virtual void stop() = 0;
};

/// Announces one service, through restarts of the responder, and says goodbye when it is stopped. A
/// name taken by another host is changed to "Name (2)" and so on, cut to 63 bytes.
class Publisher : public Task {
public:
    /// The TXT record is its raw bytes, at most 1300; longer ones do not reach anybody and are
    /// reported as an error.
    virtual void start(const ServiceName &service, quint16 port, const QByteArray &txtRecord) = 0;
    virtual void setTxtRecord(const QByteArray &txtRecord) = 0;
    std::function<void(const QString &actualName)> onPublished;
    std::function<void(const QString &reason)> onError;
};

/// Watches for instances of one type in the domain "local". Each name is reported once, however
/// many interfaces and protocols it is seen on, and removed when the last of them is gone.
class Browser : public Task {
public:
    virtual void start(const QString &type) = 0;
    /// Set before start(): only an instance of this name is reported. However many others a host
    /// announces, they hide it from nobody.
    std::optional<QString> wantedName;
    std::function<void(const ServiceName &)> onFound;
    std::function<void(const ServiceName &)> onRemoved;
    /// What was there at the start has been reported.
    std::function<void()> onAllForNow;
};

/// Asks once where a service is.
class Resolver : public Task {
public:
    virtual void start(const ServiceName &service, RunLoop::Seconds timeout) = 0;
    std::function<void(const Resolved &)> onResolved;
    std::function<void(const QString &reason)> onFailed;
};

/// Reports a service's TXT record: its first value, then each change.
class TxtWatch : public Task {
public:
    virtual void start(const ServiceName &service) = 0;
    std::function<void(const QByteArray &txtRecord)> onTxtRecord;
};

/// Makes publishers, browsers, resolvers and TXT watches. Outlives what it made.
class Backend {
public:
    Backend() = default;
    virtual ~Backend() = default;
    Q_DISABLE_COPY_MOVE(Backend)
    [[nodiscard]] virtual std::unique_ptr<Publisher> makePublisher() = 0;
    [[nodiscard]] virtual std::unique_ptr<Browser> makeBrowser() = 0;
    [[nodiscard]] virtual std::unique_ptr<Resolver> makeResolver() = 0;
    [[nodiscard]] virtual std::unique_ptr<TxtWatch> makeTxtWatch() = 0;
    /// Streams to a resolved service: a pair that connects when it is opened, or no streams at all.
    [[nodiscard]] virtual StreamPair connectTo(const Resolved &resolved) = 0;
    /// One line for people: which responder is in use, and since when not.
    [[nodiscard]] virtual QString description() const = 0;
    /// description() may answer another text now. May be empty.
    std::function<void()> onDescriptionChange;
};

/// What programs use, the two below in one (LocalAndNetwork.h). Making any of the three reaches
/// nothing; the first start() of something it made does.
[[nodiscard]] std::unique_ptr<Backend> makeBackend();
/// avahi-daemon, and a responder of our own while there is none.
[[nodiscard]] std::unique_ptr<Backend> makeNetworkBackend();
/// This user's programs in this session, without the network. Nobody else can find what is
/// published here or connect to it. The port is one of localPortCalls().
[[nodiscard]] std::unique_ptr<Backend>
makeLocalBackend(const QByteArray &runtimeFolder = qgetenv("XDG_RUNTIME_DIR"));

} // namespace clipmule::dnssd
