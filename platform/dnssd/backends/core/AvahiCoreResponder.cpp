// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/dnssd/EventQueue.h"
#include "platform/dnssd/Responder.h"
#include "platform/dnssd/ServiceRules.h"
#include "platform/dnssd/backends/core/AvahiPollAdapter.h"
#include "platform/foundation/Log.h"

#include <QNetworkInterface>
#include <QtEndian>

#include <avahi-common/alternative.h>
#include <avahi-common/error.h>
#include <avahi-common/malloc.h>
#include <avahi-core/core.h>
#include <avahi-core/log.h>
#include <avahi-core/lookup.h>
#include <avahi-core/publish.h>
#include <cstring>
#include <limits>

namespace clipmule::dnssd {

namespace {

constexpr auto noLookupFlags = AvahiLookupFlags(0);
constexpr auto noPublishFlags = AvahiPublishFlags(0);
/// What a record's data can have at most, by the width of its length field.
constexpr qsizetype maximumRecordBytes = std::numeric_limits<quint16>::max();
/// UTF-16 units of a log line; the library's own lines are shorter.
constexpr qsizetype longestLine = 512;

void logFromLibrary(AvahiLogLevel level, const char *text) {
    // That avahi-daemon may start beside us is what we expect; the library calls it unreliable.
    // It quotes names and addresses from the network.
    const QString line = onOneLine(QString::fromUtf8(text), longestLine);
    if (level <= AVAHI_LOG_WARN && !std::strstr(text, "another IPv"))
        qCInfo(logDnsSd).noquote() << line;
    else
        qCDebug(logDnsSd).noquote() << line;
}

QString errorText(AvahiServer *server) {
    return QString::fromUtf8(avahi_strerror(avahi_server_errno(server)));
}

AvahiProtocol protocolNumber(bool ipv6) {
    return ipv6 ? AVAHI_PROTO_INET6 : AVAHI_PROTO_INET;
}

QHostAddress hostAddress(const AvahiAddress &address, AvahiIfIndex interface) {
    if (address.proto == AVAHI_PROTO_INET)
        return QHostAddress(qFromBigEndian(address.data.ipv4.address));
    QHostAddress result(address.data.ipv6.address);
    if (result.isLinkLocal())
        result.setScopeId(QNetworkInterface::interfaceNameFromIndex(interface));
    return result;
}

using StringList = std::unique_ptr<AvahiStringList, decltype(&avahi_string_list_free)>;

StringList stringList(const QByteArray &txtRecord) {
    // The library keeps such lists from back to front, and writes them so that what was added
    // first comes first.
    AvahiStringList *list = nullptr;
    for (const QByteArray &entry : txtRecordEntries(txtRecord))
        list = avahi_string_list_add_arbitrary(
            list, reinterpret_cast<const uint8_t *>(entry.constData()), size_t(entry.size()));
    return {list, avahi_string_list_free};
}

/// An operation and the library's object for it, which Free frees.
template <typename Kind, typename Object, auto Free>
class CoreOperation : public Kind {
protected:
    explicit CoreOperation(AvahiServer *server)
        : _server(server) {}

    /// Takes the library's object; null when the library refused, which is reported like everything
    /// else.
    void hold(Object *object) {
        _object.reset(object);
        if (!object)
            fail(errorText(_server));
    }
    void fail(const QString &reason) {
        _events.post([this, reason] { callCopyOf(this->onFailed, reason); });
    }

    struct Freeing {
        void operator()(Object *object) const { Free(object); }
    };
    AvahiServer *_server;
    /// Holds back what the library reports.
    EventQueue _events;
    std::unique_ptr<Object, Freeing> _object;
};

class CoreBrowse final
    : public CoreOperation<Responder::Browse, AvahiSServiceBrowser, avahi_s_service_browser_free> {
public:
    CoreBrowse(AvahiServer *server, const QString &type)
        : CoreOperation(server) {
        hold(avahi_s_service_browser_new(server, AVAHI_IF_UNSPEC, AVAHI_PROTO_UNSPEC,
                                         type.toUtf8().constData(), "local", noLookupFlags, report,
                                         this));
    }

private:
    static void report(AvahiSServiceBrowser *, AvahiIfIndex interface, AvahiProtocol protocol,
                       AvahiBrowserEvent event, const char *name, const char *, const char *,
                       AvahiLookupResultFlags, void *self) {
        auto *browse = static_cast<CoreBrowse *>(self);
        browse->_events.post([=, text = QString::fromUtf8(name)] {
            if (event == AVAHI_BROWSER_NEW)
                callCopyOf(browse->onSeen, text, interface, protocol);
            else if (event == AVAHI_BROWSER_REMOVE)
                callCopyOf(browse->onGone, text, interface, protocol);
            else if (event == AVAHI_BROWSER_ALL_FOR_NOW)
                callCopyOf(browse->onAllForNow);
        });
    }
};

class CoreQuestion final : public CoreOperation<Responder::Question, AvahiSServiceResolver,
                                                avahi_s_service_resolver_free> {
public:
    CoreQuestion(AvahiServer *server, const ServiceName &service, AddressQuestion question)
        : CoreOperation(server) {
        hold(avahi_s_service_resolver_new(
            server, AVAHI_IF_UNSPEC, protocolNumber(question.overIpv6),
            service.name.toUtf8().constData(), service.type.toUtf8().constData(),
            service.domain.toUtf8().constData(), protocolNumber(question.forIpv6),
            AVAHI_LOOKUP_NO_TXT, report, this));
    }

private:
    static void report(AvahiSServiceResolver *, AvahiIfIndex interface, AvahiProtocol,
                       AvahiResolverEvent event, const char *, const char *, const char *,
                       const char *hostName, const AvahiAddress *address, uint16_t port,
                       AvahiStringList *, AvahiLookupResultFlags, void *self) {
        // A failure is the library's own time limit, which is shorter; it goes on asking.
        if (event != AVAHI_RESOLVER_FOUND || !address)
            return;
        auto *question = static_cast<CoreQuestion *>(self);
        const Endpoint endpoint{hostAddress(*address, interface), port};
        question->_events.post(
            [=, host = QString::fromUtf8(hostName), overLoopback = isLoopbackInterface(interface)] {
                callCopyOf(question->onAnswer, host, endpoint, overLoopback);
            });
    }
};

class CoreRecordWatch final : public CoreOperation<Responder::RecordWatch, AvahiSRecordBrowser,
                                                   avahi_s_record_browser_free> {
public:
    CoreRecordWatch(AvahiServer *server, const ServiceName &service)
        : CoreOperation(server) {
        const std::unique_ptr<AvahiKey, decltype(&avahi_key_unref)> key(
            avahi_key_new(escapedFullName(service).toUtf8().constData(), AVAHI_DNS_CLASS_IN,
                          AVAHI_DNS_TYPE_TXT),
            avahi_key_unref);
        hold(!key
                 ? nullptr
                 : avahi_s_record_browser_new(server, AVAHI_IF_UNSPEC, AVAHI_PROTO_UNSPEC,
                                              key.get(), AVAHI_LOOKUP_USE_MULTICAST, report, this));
    }

private:
    static void report(AvahiSRecordBrowser *, AvahiIfIndex, AvahiProtocol, AvahiBrowserEvent event,
                       AvahiRecord *record, AvahiLookupResultFlags, void *self) {
        if (event != AVAHI_BROWSER_NEW || !record)
            return;
        QByteArray data(maximumRecordBytes, Qt::Uninitialized);
        data.truncate(qsizetype(avahi_rdata_serialize(record, data.data(), size_t(data.size()))));
        auto *watch = static_cast<CoreRecordWatch *>(self);
        watch->_events.post([watch, data] { callCopyOf(watch->onRecord, data); });
    }
};

class CoreEntryGroup final
    : public CoreOperation<Responder::EntryGroup, AvahiSEntryGroup, avahi_s_entry_group_free> {
public:
    CoreEntryGroup(AvahiServer *server, const ServiceName &service, quint16 port,
                   const QByteArray &txtRecord)
        : CoreOperation(server)
        , _name(service.name.toUtf8())
        , _type(service.type.toUtf8()) {
        hold(avahi_s_entry_group_new(server, report, this));
        if (!_object)
            return;
        const StringList list = stringList(txtRecord);
        int error = avahi_server_add_service_strlst(
            server, _object.get(), AVAHI_IF_UNSPEC, AVAHI_PROTO_UNSPEC, noPublishFlags,
            _name.constData(), _type.constData(), nullptr, nullptr, port, list.get());
        if (error == AVAHI_OK)
            error = avahi_s_entry_group_commit(_object.get());
        if (error == AVAHI_ERR_COLLISION)
            _events.post([this] { callCopyOf(onCollision); });
        else if (error != AVAHI_OK)
            fail(QString::fromUtf8(avahi_strerror(error)));
    }

    void setTxtRecord(const QByteArray &txtRecord) override {
        const StringList list = stringList(txtRecord);
        if (_object &&
            avahi_server_update_service_txt_strlst(
                _server, _object.get(), AVAHI_IF_UNSPEC, AVAHI_PROTO_UNSPEC, noPublishFlags,
                _name.constData(), _type.constData(), nullptr, list.get()) != AVAHI_OK)
            fail(errorText(_server));
    }

private:
    static void report(AvahiServer *server, AvahiSEntryGroup *, AvahiEntryGroupState state,
                       void *self) {
        auto *group = static_cast<CoreEntryGroup *>(self);
        if (state == AVAHI_ENTRY_GROUP_FAILURE)
            return group->fail(errorText(server));
        group->_events.post([group, state] {
            if (state == AVAHI_ENTRY_GROUP_ESTABLISHED)
                callCopyOf(group->onEstablished);
            else if (state == AVAHI_ENTRY_GROUP_COLLISION)
                callCopyOf(group->onCollision);
        });
    }

    const QByteArray _name;
    const QByteArray _type;
};

/// The library calls back from inside our calls, and must not be called back from its callbacks
/// with what frees them. So nothing here does more in such a callback than to post an event for the
/// next turn of the run loop.
class AvahiCoreResponder final : public Responder {
public:
    static constexpr RunLoop::Seconds retryInterval{5.0};
    /// Another responder of this machine that calls it by another name makes both change their
    /// names again and again, because an address has one name only. After so many changes, not
    /// further apart than the interval, we leave the host's name and addresses to the other.
    static constexpr int maximumHostNameCollisions = 3;
    static constexpr RunLoop::Seconds collisionInterval{60.0};

    AvahiCoreResponder() = default;
    ~AvahiCoreResponder() override;

    void begin() override;
    [[nodiscard]] Availability availability() const override { return _availability; }
    [[nodiscard]] QString description() const override;

    [[nodiscard]] std::unique_ptr<Browse> browse(const QString &type) override {
        return std::make_unique<CoreBrowse>(_server, type);
    }
    [[nodiscard]] std::unique_ptr<Question> resolve(const ServiceName &service,
                                                    AddressQuestion question) override {
        return std::make_unique<CoreQuestion>(_server, service, question);
    }
    [[nodiscard]] std::unique_ptr<RecordWatch> watchTxtRecord(const ServiceName &service) override {
        return std::make_unique<CoreRecordWatch>(_server, service);
    }
    [[nodiscard]] std::unique_ptr<EntryGroup> publish(const ServiceName &service, quint16 port,
                                                      const QByteArray &txtRecord) override {
        return std::make_unique<CoreEntryGroup>(_server, service, port, txtRecord);
    }

private:
    void makeServer();
    void endServer();
    void stateChanged(AvahiServerState state);
    void hostNameIsTaken();
    void retryLater(const QString &reason);
    void setAvailability(Availability availability);

    AvahiPollAdapter _poll;
    AvahiServer *_server = nullptr;
    bool _begun = false;
    Availability _availability = Availability::Unknown;
    bool _withHostName = true;
    int _collisions = 0;
    RunLoop::Seconds _lastCollision{0};
    QString _failure;
    EventQueue _events;
    RunLoop::Timer _retry;
};

AvahiCoreResponder::~AvahiCoreResponder() {
    if (_server)
        avahi_server_free(_server);
}

void AvahiCoreResponder::begin() {
    if (std::exchange(_begun, true))
        return;
    _retry = RunLoop::current().performAfter(RunLoop::Seconds(0), [this] { makeServer(); });
}

QString AvahiCoreResponder::description() const {
    if (!_server && !_failure.isEmpty())
        return QStringLiteral("the built-in responder, which cannot start: %1").arg(_failure);
    if (_server && !_withHostName)
        return QStringLiteral("the built-in responder, without a host name of its own");
    return QStringLiteral("the built-in responder");
}

void AvahiCoreResponder::makeServer() {
    avahi_set_log_function(logFromLibrary);
    AvahiServerConfig config;
    avahi_server_config_init(&config);
    // No host name of our choice: avahi-daemon takes the same from the system, and two names for
    // one address exclude each other.
    config.publish_addresses = _withHostName ? 1 : 0;
    config.publish_hinfo = 0;
    config.publish_workstation = 0;
    config.publish_domain = 0;
    config.enable_wide_area = 0;
    int error = 0;
    _server = avahi_server_new(
        _poll.api(), &config,
        [](AvahiServer *, AvahiServerState state, void *self) {
            auto *responder = static_cast<AvahiCoreResponder *>(self);
            responder->_events.post([responder, state] { responder->stateChanged(state); });
        },
        this, &error);
    avahi_server_config_free(&config);
    if (!_server) {
        _events.clear();
        retryLater(QString::fromUtf8(avahi_strerror(error)));
        return;
    }
    _failure.clear();
    // Browsing and resolving need not wait for the host name.
    setAvailability(Availability::Starting);
}

void AvahiCoreResponder::endServer() {
    _events.clear();
    // At this, all clients let go of their operations, which must be freed before the server.
    setAvailability(Availability::Absent);
    avahi_server_free(std::exchange(_server, nullptr));
}

void AvahiCoreResponder::stateChanged(AvahiServerState state) {
    if (state == AVAHI_SERVER_FAILURE) {
        const QString reason = errorText(_server);
        endServer();
        retryLater(reason);
        return;
    }
    setAvailability(state == AVAHI_SERVER_RUNNING ? Availability::Running : Availability::Starting);
    if (state == AVAHI_SERVER_COLLISION)
        hostNameIsTaken();
}

void AvahiCoreResponder::hostNameIsTaken() {
    const RunLoop::Seconds now = RunLoop::current().now();
    if (now - _lastCollision > collisionInterval)
        _collisions = 0;
    _lastCollision = now;
    if (++_collisions >= maximumHostNameCollisions) {
        qCInfo(logDnsSd, "the built-in responder leaves the host name to another one");
        endServer();
        _withHostName = false;
        makeServer();
        return;
    }
    const std::unique_ptr<char, decltype(&avahi_free)> name(
        avahi_alternative_host_name(avahi_server_get_host_name(_server)), avahi_free);
    if (avahi_server_set_host_name(_server, name.get()) < 0) {
        const QString reason = errorText(_server);
        endServer();
        retryLater(reason);
    }
}

void AvahiCoreResponder::retryLater(const QString &reason) {
    if (_failure.isEmpty())
        qCWarning(logDnsSd).noquote()
            << QStringLiteral("the built-in responder cannot start: %1").arg(reason);
    _failure = reason;
    _retry = RunLoop::current().performAfter(retryInterval, [this] { makeServer(); });
    setAvailability(Availability::Absent);
}

void AvahiCoreResponder::setAvailability(Availability availability) {
    if (std::exchange(_availability, availability) != availability)
        callCopyOf(onAvailability);
}

} // namespace

std::unique_ptr<Responder> makeAvahiCoreResponder() {
    return std::make_unique<AvahiCoreResponder>();
}

} // namespace clipmule::dnssd
