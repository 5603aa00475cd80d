// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/dnssd/EventQueue.h"
#include "platform/dnssd/ServiceRules.h"
#include "platform/dnssd/backends/local/LocalServices.h"
#include "platform/foundation/Log.h"
#include "platform/streams/SocketStreams.h"

#include <sys/socket.h>

#include <cerrno>

namespace clipmule::dnssd {

namespace {

/// The far ends of one publication: who wants to know its record. They say nothing themselves.
class Audience {
public:
    // A session has a few programs that look for phones.
    static constexpr size_t largest = 64;

    void setPacket(const QByteArray &packet) {
        _packet = packet;
        std::vector<Member *> members;
        for (const auto &member : _members)
            members.push_back(member.get());
        for (Member *member : members)
            send(*member);
    }
    void admit(FileHandle socket) {
        if (!socket.isOpen() || _members.size() == largest)
            return;
        auto &member = _members.emplace_back(std::make_unique<Member>());
        member->socket = std::move(socket);
        const int descriptor = member->socket.descriptor();
        Member *const one = member.get();
        member->coming = std::make_unique<SocketNotifier>(descriptor, QSocketNotifier::Read,
                                                          [this, one] { dismiss(*one); });
        member->room = std::make_unique<SocketNotifier>(descriptor, QSocketNotifier::Write,
                                                        [this, one] { send(*one); });
        send(*one);
    }
    void clear() { _members.clear(); }

private:
    struct Member {
        FileHandle socket;
        std::unique_ptr<SocketNotifier> coming;
        std::unique_ptr<SocketNotifier> room;
    };

    // The latest record is what counts: who does not read gets it when there is room again.
    void send(Member &member) {
        const ssize_t sent = ::send(member.socket.descriptor(), _packet.constData(),
                                    size_t(_packet.size()), MSG_NOSIGNAL | MSG_DONTWAIT);
        member.room->setEnabled(sent < 0);
        if (sent < 0 && errno != EAGAIN && errno != EINTR)
            dismiss(member);
    }
    void dismiss(const Member &member) {
        std::erase_if(_members, [&](const auto &one) { return one.get() == &member; });
    }

    QByteArray _packet;
    std::vector<std::unique_ptr<Member>> _members;
};

class LocalPublisher final : public Publisher {
public:
    explicit LocalPublisher(LocalServices &services)
        : _services(services) {}

    void start(const ServiceName &service, quint16 port, const QByteArray &txtRecord) override {
        stop();
        const QString refusal = reasonToRefuse(service, txtRecord);
        if (!refusal.isEmpty())
            return report(refusal);
        _wanted = service.name;
        _announcement = {service, port, orEmpty(txtRecord)};
        announce();
    }

    void setTxtRecord(const QByteArray &txtRecord) override {
        if (!_listener && !_retry.isPending())
            return;
        const QString refusal = reasonToRefuseTxtRecord(txtRecord);
        if (!refusal.isEmpty())
            return report(refusal);
        _announcement.txtRecord = orEmpty(txtRecord);
        _audience.setPacket(packetOf(_announcement));
    }

    void stop() override {
        _events.clear();
        _retry.cancel();
        // The file goes before the connections, whose ends have its name looked at.
        _listener.reset();
        _audience.clear();
        _attempt = 1;
        _attemptsInFlux = 0;
    }

private:
    static constexpr RunLoop::Seconds pauseInFlux{0.1};
    // Nobody takes longer to put a socket there, or to clean up.
    static constexpr int mostAttemptsInFlux = 20;

    static QByteArray orEmpty(const QByteArray &txtRecord) {
        return txtRecord.isEmpty() ? emptyTxtRecord() : txtRecord;
    }

    void report(const QString &reason) {
        _events.post([this, reason] { callCopyOf(onError, reason); });
    }

    void announce() {
        const auto folder = _services.folder();
        if (!folder)
            return report(folder.error().reason);
        for (; _attempt <= maximumNameAttempts; ++_attempt) {
            ServiceName &service = _announcement.service;
            service.name = nameForAttempt(_wanted, _attempt);
            auto [claim, name] = LocalName::claim(*folder, fileOf(service.name, service.type));
            switch (claim) {
            case LocalName::Claim::Claimed:
                return listen(name);
            case LocalName::Claim::Refused:
                return report(QStringLiteral("something else lies in its place in %1")
                                  .arg(cutForLog(QString::fromLocal8Bit((*folder)->path()))));
            case LocalName::Claim::InFlux:
                if (++_attemptsInFlux > mostAttemptsInFlux)
                    break;
                _retry = RunLoop::current().performAfter(pauseInFlux, [this] { announce(); });
                return;
            case LocalName::Claim::Taken:
                break;
            }
        }
        report(QStringLiteral("every name is taken"));
    }

    void listen(const std::shared_ptr<LocalName> &name) {
        auto opened = SocketListener::open(callsFor(name, SOCK_SEQPACKET));
        if (!opened)
            return report(opened.error().reason);
        _listener = std::move(*opened);
        _audience.setPacket(packetOf(_announcement));
        acceptNext();
        _events.post([this, name = _announcement.service.name] { callCopyOf(onPublished, name); });
    }

    void acceptNext() {
        _listener->acceptInBackground([this](FileHandle socket) {
            _audience.admit(std::move(socket));
            acceptNext();
        });
    }

    LocalServices &_services;
    QString _wanted;
    Announcement _announcement;
    int _attempt = 1;
    int _attemptsInFlux = 0;
    Audience _audience;
    std::unique_ptr<SocketListener> _listener;
    EventQueue _events;
    RunLoop::Timer _retry;
};

/// What the three that look have in common: they follow from start() to stop().
class Following : public LocalServices::Follower {
public:
    explicit Following(LocalServices &services)
        : _services(services) {}
    ~Following() override { _services.unfollow(*this); }

    [[nodiscard]] std::optional<QByteArray> wantedFile() const override { return _file; }

protected:
    void follow(const std::optional<QByteArray> &file) {
        _file = file;
        _services.follow(*this);
    }
    void unfollow() { _services.unfollow(*this); }

private:
    LocalServices &_services;
    std::optional<QByteArray> _file;
};

class LocalBrowser final : public Browser, private Following {
public:
    using Following::Following;

    void start(const QString &type) override {
        stop();
        _type = type;
        follow(wantedName ? std::optional(fileOf(*wantedName, type)) : std::nullopt);
    }

    void stop() override {
        unfollow();
        _reported.clear();
        _toldAllForNow = false;
    }

private:
    void changed(const QByteArray &file, const Announcement *now) override {
        if (now && now->service.type == _type && _reported.emplace(file, now->service).second)
            return callCopyOf(onFound, ServiceName(now->service));
        const auto reported = _reported.find(file);
        if (now || reported == _reported.end())
            return;
        const ServiceName service = reported->second;
        _reported.erase(reported);
        callCopyOf(onRemoved, service);
    }

    void settled() override {
        if (!std::exchange(_toldAllForNow, true))
            callCopyOf(onAllForNow);
    }

    QString _type;
    std::map<QByteArray, ServiceName> _reported;
    bool _toldAllForNow = false;
};

class LocalResolver final : public Resolver, private Following {
public:
    using Following::Following;

    void start(const ServiceName &service, RunLoop::Seconds timeout) override {
        stop();
        const QString refusal = reasonToRefuse(service);
        if (!refusal.isEmpty())
            return _events.post([this, refusal] { callCopyOf(onFailed, refusal); });
        _timeout = RunLoop::current().performAfter(timeout, [this] {
            stop();
            callCopyOf(onFailed, QStringLiteral("timed out"));
        });
        follow(fileOf(service.name, service.type));
    }

    void stop() override {
        unfollow();
        _events.clear();
        _timeout.cancel();
    }

private:
    void changed(const QByteArray &, const Announcement *now) override {
        if (!now)
            return;
        const Resolved resolved{
            .hostName = QStringLiteral("localhost"), .endpoints = {}, .localPort = now->port};
        stop();
        callCopyOf(onResolved, resolved);
    }

    EventQueue _events;
    RunLoop::Timer _timeout;
};

class LocalTxtWatch final : public TxtWatch, private Following {
public:
    using Following::Following;

    void start(const ServiceName &service) override {
        stop();
        const QString refusal = reasonToRefuse(service);
        if (refusal.isEmpty())
            return follow(fileOf(service.name, service.type));
        qCWarning(logDnsSd).noquote()
            << QStringLiteral("cannot watch a TXT record: %1").arg(refusal);
    }

    void stop() override {
        unfollow();
        _last.reset();
    }

private:
    void changed(const QByteArray &, const Announcement *now) override {
        if (now && std::exchange(_last, now->txtRecord) != now->txtRecord)
            callCopyOf(onTxtRecord, QByteArray(now->txtRecord));
    }

    std::optional<QByteArray> _last;
};

class LocalBackend final : public Backend {
public:
    explicit LocalBackend(const QByteArray &runtimeFolder)
        : _services(runtimeFolder) {}

    std::unique_ptr<Publisher> makePublisher() override {
        return std::make_unique<LocalPublisher>(_services);
    }
    std::unique_ptr<Browser> makeBrowser() override {
        return std::make_unique<LocalBrowser>(_services);
    }
    std::unique_ptr<Resolver> makeResolver() override {
        return std::make_unique<LocalResolver>(_services);
    }
    std::unique_ptr<TxtWatch> makeTxtWatch() override {
        return std::make_unique<LocalTxtWatch>(_services);
    }
    StreamPair connectTo(const Resolved &resolved) override {
        const auto folder = _services.folder();
        if (!folder || !resolved.localPort)
            return {};
        auto [answer, socket] =
            (*folder)->connect(nameOfLocalPort(*resolved.localPort), SOCK_STREAM);
        return streamPairOwning(std::move(socket));
    }
    QString description() const override { return QStringLiteral("the programs of this session"); }

private:
    LocalServices _services;
};

} // namespace

std::unique_ptr<Backend> makeLocalBackend(const QByteArray &runtimeFolder) {
    return std::make_unique<LocalBackend>(runtimeFolder);
}

} // namespace clipmule::dnssd
