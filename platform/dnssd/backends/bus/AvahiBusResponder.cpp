// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/dnssd/backends/bus/AvahiBusResponder.h"

#include "platform/dnssd/Connecting.h"
#include "platform/dnssd/EndpointGatherer.h"
#include "platform/dnssd/EventQueue.h"
#include "platform/dnssd/Log.h"
#include "platform/dnssd/SeenInstances.h"
#include "platform/dnssd/ServiceRules.h"
#include "platform/dnssd/backends/bus/AvahiBus.h"
#include "platform/foundation/Log.h"

#include <QDBusMetaType>
#include <QNetworkInterface>

namespace clipmule::dnssd {

namespace {

// Avahi's numbers, as they stand on the bus.
constexpr int anyInterface = -1;
constexpr int anyProtocol = -1;
constexpr int protocolIpv4 = 0;
constexpr int protocolIpv6 = 1;
constexpr uint noFlags = 0;
constexpr uint lookupByMulticast = 2;
constexpr uint lookupWithoutTxt = 4;
constexpr ushort classInternet = 1;
constexpr ushort typeTxt = 16;
enum GroupState { Uncommitted = 0, Registering = 1, Established = 2, Collision = 3, Failed = 4 };

/// When the daemon refuses to publish, to browse or to watch, for its limit of objects for example.
constexpr RunLoop::Seconds refusalRetryInterval{10.0};

const auto local = QStringLiteral("local");

int protocolNumber(bool ipv6) {
    return ipv6 ? protocolIpv6 : protocolIpv4;
}

class Listening : public AvahiBus::Listener {
public:
    explicit Listening(AvahiBus &bus)
        : _bus(bus) {
        _bus.addListener(*this);
    }
    ~Listening() override { _bus.removeListener(*this); }

protected:
    AvahiBus &_bus;
};

class BusPublisher final : public Publisher, public Listening {
public:
    using Listening::Listening;

    void start(const ServiceName &service, quint16 port, const QByteArray &txtRecord) override {
        stop();
        const QString refusal = reasonToRefuse(service);
        const QString txtRefusal = reasonToRefuseTxtRecord(txtRecord);
        if (!refusal.isEmpty() || !txtRefusal.isEmpty()) {
            report(refusal.isEmpty() ? txtRefusal : refusal);
            return;
        }
        _service = service;
        _port = port;
        _txtRecord = txtRecord;
        _attempt = 1;
        _running = true;
        _bus.begin();
        daemonAnswers();
    }

    void setTxtRecord(const QByteArray &txtRecord) override {
        if (!_running)
            return;
        const QString refusal = reasonToRefuseTxtRecord(txtRecord);
        if (!refusal.isEmpty()) {
            report(refusal);
            return;
        }
        _txtRecord = txtRecord;
        if (_established)
            updateTxtRecord();
    }

    void stop() override {
        _events.clear();
        _retry.cancel();
        _group.reset();
        _established = false;
        _running = false;
        _hasReported = false;
    }

    void daemonLost() override {
        _retry.cancel();
        _group.reset();
        _established = false;
        _attempt = 1;
    }

    void daemonAnswers() override {
        if (!_running)
            return;
        if (_bus.availability() != Availability::Running) {
            // It is looking for another host name; what is published goes with the old one.
            _group.reset();
            _established = false;
        } else if (!_group && !_retry.isPending()) {
            announce();
        }
    }

private:
    void report(const QString &reason) {
        _events.post([this, reason] { callCopyOf(onError, reason); });
    }

    /// Said once, tried again until it succeeds: the daemon may have had too much to do.
    void tryLater(const QString &reason) {
        if (!std::exchange(_hasReported, true))
            report(reason);
        _group.reset();
        _established = false;
        _retry = RunLoop::current().performAfter(refusalRetryInterval, [this] {
            _attempt = 1;
            daemonAnswers();
        });
    }

    [[nodiscard]] QString name() const { return nameForAttempt(_service.name, _attempt); }

    void announce() {
        _established = false;
        _group = std::make_unique<AvahiBusObject>(_bus, QStringLiteral("EntryGroup"));
        _group->onCreated = [this] { addService(); };
        _group->onError = [this](const QString &error) { tryLater(error); };
        _group->onSignal = [this](const QDBusMessage &message) {
            if (message.signature() == QStringLiteral("is"))
                groupStateChanged(message.arguments().value(0).toInt(),
                                  message.arguments().value(1).toString());
        };
        _group->create(QStringLiteral("Server"), QStringLiteral("EntryGroupNew"), {});
    }

    void addService() {
        _publishedTxtRecord = _txtRecord;
        const QVariantList arguments{
            anyInterface,
            anyProtocol,
            noFlags,
            name(),
            _service.type,
            QString(), // the daemon's domain
            QString(), // the daemon's host
            QVariant::fromValue(_port),
            QVariant::fromValue(QByteArrayList(txtRecordEntries(_txtRecord)))};
        _group->call(QStringLiteral("AddService"), arguments, [this](const QDBusMessage &reply) {
            if (isCollision(reply))
                changeName();
            else if (reply.type() != QDBusMessage::ReplyMessage)
                tryLater(errorText(reply));
            else
                commit();
        });
    }

    void commit() {
        _group->call(QStringLiteral("Commit"), {}, [this](const QDBusMessage &reply) {
            if (reply.type() != QDBusMessage::ReplyMessage)
                tryLater(errorText(reply));
        });
    }

    void groupStateChanged(int state, const QString &error) {
        if (state == Collision) {
            changeName();
        } else if (state == Failed) {
            tryLater(onOneLine(error, shownInLabel));
        } else if (state == Established) {
            _established = true;
            _hasReported = false;
            if (_txtRecord != _publishedTxtRecord)
                updateTxtRecord();
            callCopyOf(onPublished, name());
        }
    }

    void changeName() {
        _group.reset();
        if (_attempt == maximumNameAttempts) {
            report(QStringLiteral("every name is taken"));
            return;
        }
        ++_attempt;
        announce();
    }

    void updateTxtRecord() {
        _publishedTxtRecord = _txtRecord;
        _group->call(QStringLiteral("UpdateServiceTxt"),
                     {anyInterface, anyProtocol, noFlags, name(), _service.type, QString(),
                      QVariant::fromValue(QByteArrayList(txtRecordEntries(_txtRecord)))},
                     [this](const QDBusMessage &reply) {
                         if (reply.type() != QDBusMessage::ReplyMessage)
                             report(errorText(reply));
                     });
    }

    EventQueue _events;
    std::unique_ptr<AvahiBusObject> _group;
    ServiceName _service;
    quint16 _port = 0;
    QByteArray _txtRecord;
    QByteArray _publishedTxtRecord;
    int _attempt = 1;
    RunLoop::Timer _retry;
    bool _running = false;
    bool _established = false;
    bool _hasReported = false;
};

class BusBrowser final : public Browser, public Listening {
public:
    using Listening::Listening;

    void start(const QString &type) override {
        stop();
        _type = type;
        _seen.setWanted(wantedName);
        _running = true;
        _bus.begin();
        daemonAnswers();
    }

    void stop() override {
        _running = false;
        _wasLost = false;
        daemonForgets();
    }

    void daemonLost() override {
        _wasLost = _running;
        daemonForgets();
    }

    void afterDaemonLost() override {
        if (std::exchange(_wasLost, false))
            callCopyOf(onLost);
    }

    void daemonAnswers() override {
        if (!_running || _remote || _retry.isPending() || !_bus.isAnswering())
            return;
        _remote = std::make_unique<AvahiBusObject>(_bus, QStringLiteral("ServiceBrowser"));
        _remote->onCreated = [this] { _remote->start(); };
        _remote->onError = [this](const QString &error) { refused(error); };
        _remote->onSignal = [this](const QDBusMessage &message) { receive(message); };
        _remote->create(QStringLiteral("Server2"), QStringLiteral("ServiceBrowserPrepare"),
                        {anyInterface, anyProtocol, _type, local, noFlags});
    }

private:
    void daemonForgets() {
        _remote.reset();
        _seen.clear();
        _retry.cancel();
    }

    void refused(const QString &error) {
        qCWarning(logDnsSd).noquote() << QStringLiteral("cannot look for %1: %2").arg(_type, error);
        _remote.reset();
        _retry = RunLoop::current().performAfter(refusalRetryInterval, [this] { daemonAnswers(); });
    }

    void receive(const QDBusMessage &message) {
        const QVariantList arguments = message.arguments();
        if (message.member() == QStringLiteral("AllForNow"))
            return callCopyOf(onAllForNow);
        if (message.member() == QStringLiteral("Failure"))
            return refused(arguments.value(0).toString());
        // interface, protocol, name, type, domain, flags
        if (message.signature() != QStringLiteral("iisssu"))
            return;
        const int interface = arguments[0].toInt();
        const int protocol = arguments[1].toInt();
        const ServiceName service{arguments[2].toString(), _type, local};
        if (message.member() == QStringLiteral("ItemNew")) {
            if (_seen.add(service.name, interface, protocol))
                callCopyOf(onFound, service);
        } else if (message.member() == QStringLiteral("ItemRemove")) {
            if (_seen.remove(service.name, interface, protocol))
                callCopyOf(onRemoved, service);
        }
    }

    std::unique_ptr<AvahiBusObject> _remote;
    SeenInstances _seen;
    QString _type;
    RunLoop::Timer _retry;
    bool _running = false;
    bool _wasLost = false;
};

class BusResolver final : public Resolver, public Listening {
public:
    explicit BusResolver(AvahiBus &bus)
        : Listening(bus) {
        _gatherer.onComplete = [this](const Resolved &resolved) {
            stop();
            callCopyOf(onResolved, resolved);
        };
    }

    void start(const ServiceName &service, RunLoop::Seconds timeout) override {
        stop();
        const QString refusal = reasonToRefuse(service);
        if (!refusal.isEmpty()) {
            _events.post([this, refusal] { callCopyOf(onFailed, refusal); });
            return;
        }
        _service = service;
        _running = true;
        // The daemon's own limit is shorter, and it goes on asking after it.
        _timeout =
            RunLoop::current().performAfter(timeout, [this] { fail(QStringLiteral("timed out")); });
        _bus.begin();
        daemonAnswers();
    }

    void stop() override {
        _running = false;
        _events.clear();
        _timeout.cancel();
        _gatherer.clear();
        _remotes.clear();
    }

    void daemonLost() override { _remotes.clear(); }

    void daemonAnswers() override {
        if (!_running || !_remotes.empty() || !_bus.isAnswering())
            return;
        _refusals = 0;
        for (const AddressQuestion &question : addressQuestions) {
            auto remote = std::make_unique<AvahiBusObject>(_bus, QStringLiteral("ServiceResolver"));
            remote->onCreated = [resolver = remote.get()] { resolver->start(); };
            remote->onError = [this](const QString &error) { refused(error); };
            remote->onSignal = [this, question](const QDBusMessage &message) {
                receive(question, message);
            };
            remote->create(QStringLiteral("Server2"), QStringLiteral("ServiceResolverPrepare"),
                           {anyInterface, protocolNumber(question.overIpv6), _service.name,
                            _service.type, _service.domain, protocolNumber(question.forIpv6),
                            lookupWithoutTxt});
            _remotes.push_back(std::move(remote));
        }
    }

private:
    void refused(const QString &error) {
        // One transport may be switched off.
        if (++_refusals == int(addressQuestions.size()))
            fail(error);
    }

    void fail(const QString &reason) {
        stop();
        callCopyOf(onFailed, reason);
    }

    void receive(AddressQuestion question, const QDBusMessage &message) {
        const QVariantList arguments = message.arguments();
        if (message.member() == QStringLiteral("Failure")) {
            // After five seconds, for the daemon's own limit; an answer may still come.
            if (!arguments.value(0).toString().endsWith(QStringLiteral("TimeoutError")))
                refused(arguments.value(0).toString());
            return;
        }
        // interface, protocol, name, type, domain, host, address protocol, address, port, TXT,
        // flags
        if (message.signature() != QStringLiteral("iissssisqaayu"))
            return;
        QHostAddress address(arguments[7].toString());
        const int interface = arguments[0].toInt();
        if (address.isLinkLocal() && address.protocol() == QAbstractSocket::IPv6Protocol)
            address.setScopeId(QNetworkInterface::interfaceNameFromIndex(interface));
        _gatherer.add(question, arguments[5].toString(), {address, quint16(arguments[8].toUInt())},
                      isLoopbackInterface(interface));
    }

    EventQueue _events;
    EndpointGatherer _gatherer;
    // Never kept for longer than it takes: all that ask for the same record share one question,
    // whose pauses grow to an hour, and a later one would wait for it.
    std::vector<std::unique_ptr<AvahiBusObject>> _remotes;
    ServiceName _service;
    RunLoop::Timer _timeout;
    int _refusals = 0;
    bool _running = false;
};

class BusTxtWatch final : public TxtWatch, public Listening {
public:
    using Listening::Listening;

    void start(const ServiceName &service) override {
        stop();
        const QString refusal = reasonToRefuse(service);
        if (!refusal.isEmpty()) {
            qCWarning(logDnsSd).noquote()
                << QStringLiteral("cannot watch a TXT record: %1").arg(refusal);
            return;
        }
        _service = service;
        _running = true;
        _bus.begin();
        daemonAnswers();
    }

    void stop() override {
        _running = false;
        _remote.reset();
        _retry.cancel();
        _last.reset();
    }

    void daemonLost() override {
        _remote.reset();
        _retry.cancel();
    }

    void daemonAnswers() override {
        if (!_running || _remote || _retry.isPending() || !_bus.isAnswering())
            return;
        _remote = std::make_unique<AvahiBusObject>(_bus, QStringLiteral("RecordBrowser"));
        _remote->onCreated = [this] { _remote->start(); };
        _remote->onError = [this](const QString &error) { refused(error); };
        _remote->onSignal = [this](const QDBusMessage &message) { receive(message); };
        _remote->create(QStringLiteral("Server2"), QStringLiteral("RecordBrowserPrepare"),
                        {anyInterface, anyProtocol, escapedFullName(_service),
                         QVariant::fromValue(classInternet), QVariant::fromValue(typeTxt),
                         lookupByMulticast});
    }

private:
    void refused(const QString &error) {
        qCWarning(logDnsSd).noquote() << QStringLiteral("cannot watch a TXT record: %1").arg(error);
        _remote.reset();
        _retry = RunLoop::current().performAfter(refusalRetryInterval, [this] { daemonAnswers(); });
    }

    void receive(const QDBusMessage &message) {
        if (message.member() == QStringLiteral("Failure"))
            return refused(message.arguments().value(0).toString());
        // interface, protocol, name, class, type, data, flags. A new record is reported before the
        // old one is removed, and once for each interface: the latest counts.
        if (message.signature() != QStringLiteral("iisqqayu"))
            return;
        const QByteArray txtRecord = message.arguments()[5].toByteArray();
        if (_last == txtRecord)
            return;
        _last = txtRecord;
        callCopyOf(onTxtRecord, txtRecord);
    }

    std::unique_ptr<AvahiBusObject> _remote;
    ServiceName _service;
    std::optional<QByteArray> _last;
    RunLoop::Timer _retry;
    bool _running = false;
};

} // namespace

AvahiBusBackend::AvahiBusBackend(const QString &busAddress)
    : _bus(std::make_unique<AvahiBus>(busAddress)) {
    qDBusRegisterMetaType<QByteArrayList>();
    _bus->onAvailability = [this](Availability availability) {
        callCopyOf(onAvailability, availability);
    };
}

AvahiBusBackend::~AvahiBusBackend() = default;

std::unique_ptr<Publisher> AvahiBusBackend::makePublisher() {
    return std::make_unique<BusPublisher>(*_bus);
}

std::unique_ptr<Browser> AvahiBusBackend::makeBrowser() {
    return std::make_unique<BusBrowser>(*_bus);
}

std::unique_ptr<Resolver> AvahiBusBackend::makeResolver() {
    return std::make_unique<BusResolver>(*_bus);
}

std::unique_ptr<TxtWatch> AvahiBusBackend::makeTxtWatch() {
    return std::make_unique<BusTxtWatch>(*_bus);
}

StreamPair AvahiBusBackend::connectTo(const Resolved &resolved) {
    return connectToEndpoints(resolved);
}

QString AvahiBusBackend::description() const {
    return _bus->description();
}

void AvahiBusBackend::watch() {
    _bus->begin();
}

Availability AvahiBusBackend::availability() const {
    return _bus->availability();
}

} // namespace clipmule::dnssd
