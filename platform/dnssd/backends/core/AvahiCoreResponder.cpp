// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/dnssd/backends/core/AvahiCoreResponder.h"

#include "platform/dnssd/Connecting.h"
#include "platform/dnssd/EndpointGatherer.h"
#include "platform/dnssd/Log.h"
#include "platform/dnssd/SeenInstances.h"
#include "platform/dnssd/ServiceRules.h"
#include "platform/dnssd/backends/core/AvahiCore.h"

#include <QNetworkInterface>
#include <QtEndian>

#include <avahi-common/error.h>
#include <avahi-core/lookup.h>
#include <avahi-core/publish.h>
#include <limits>
#include <optional>

namespace clipmule::dnssd {

namespace {

const auto local = QStringLiteral("local");
constexpr auto noLookupFlags = AvahiLookupFlags(0);
constexpr auto noPublishFlags = AvahiPublishFlags(0);
/// What a record's data can have at most, by the width of its length field.
constexpr qsizetype maximumRecordBytes = std::numeric_limits<quint16>::max();

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

class Listening : public AvahiCore::Listener {
public:
    explicit Listening(AvahiCore &core)
        : _core(core) {
        _core.addListener(*this);
    }
    ~Listening() override { _core.removeListener(*this); }

protected:
    AvahiCore &_core;
    /// What the library reports.
    EventQueue _events;
};

class CorePublisher final : public Publisher, public Listening {
public:
    using Listening::Listening;
    ~CorePublisher() override { withdraw(); }

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
        _started = true;
        _core.begin();
        serverChanged();
    }

    void setTxtRecord(const QByteArray &txtRecord) override {
        if (!_started)
            return;
        const QString refusal = reasonToRefuseTxtRecord(txtRecord);
        if (!refusal.isEmpty())
            return report(refusal);
        _txtRecord = txtRecord;
        if (!_group)
            return;
        const StringList list = stringList(txtRecord);
        if (avahi_server_update_service_txt_strlst(
                _core.server(), _group, AVAHI_IF_UNSPEC, AVAHI_PROTO_UNSPEC, noPublishFlags,
                name().toUtf8().constData(), _service.type.toUtf8().constData(), nullptr,
                list.get()) < 0)
            report(_core.errorText());
    }

    void stop() override {
        withdraw();
        _reports.clear();
        _started = false;
    }

    void serverEnds() override {
        withdraw();
        _attempt = 1;
    }

    void serverChanged() override {
        if (!_started)
            return;
        if (!_core.isRunning())
            withdraw(); // the records name the host
        else if (!_group)
            announce();
    }

private:
    void report(const QString &reason) {
        _reports.post([this, reason] { callCopyOf(onError, reason); });
    }

    [[nodiscard]] QString name() const { return nameForAttempt(_service.name, _attempt); }

    /// Says goodbye.
    void withdraw() {
        _events.clear();
        if (_group)
            avahi_s_entry_group_free(std::exchange(_group, nullptr));
    }

    void announce() {
        for (; _attempt <= maximumNameAttempts; ++_attempt) {
            const int error = tryToAnnounce();
            if (error == AVAHI_OK)
                return;
            withdraw();
            if (error != AVAHI_ERR_COLLISION)
                return report(QString::fromUtf8(avahi_strerror(error)));
        }
        report(QStringLiteral("every name is taken"));
    }

    [[nodiscard]] int tryToAnnounce() {
        _group = avahi_s_entry_group_new(
            _core.server(),
            [](AvahiServer *, AvahiSEntryGroup *, AvahiEntryGroupState state, void *self) {
                auto *publisher = static_cast<CorePublisher *>(self);
                publisher->_events.post([publisher, state] { publisher->stateChanged(state); });
            },
            this);
        if (!_group)
            return avahi_server_errno(_core.server());
        const StringList list = stringList(_txtRecord);
        const int error = avahi_server_add_service_strlst(
            _core.server(), _group, AVAHI_IF_UNSPEC, AVAHI_PROTO_UNSPEC, noPublishFlags,
            name().toUtf8().constData(), _service.type.toUtf8().constData(), nullptr, nullptr,
            _port, list.get());
        return error < 0 ? error : avahi_s_entry_group_commit(_group);
    }

    void stateChanged(AvahiEntryGroupState state) {
        switch (state) {
        case AVAHI_ENTRY_GROUP_UNCOMMITED:
        case AVAHI_ENTRY_GROUP_REGISTERING:
            break;
        case AVAHI_ENTRY_GROUP_ESTABLISHED:
            callCopyOf(onPublished, name());
            break;
        case AVAHI_ENTRY_GROUP_COLLISION:
            withdraw();
            ++_attempt;
            announce();
            break;
        case AVAHI_ENTRY_GROUP_FAILURE:
            report(_core.errorText());
            break;
        }
    }

    AvahiSEntryGroup *_group = nullptr;
    EventQueue _reports;
    ServiceName _service;
    quint16 _port = 0;
    QByteArray _txtRecord;
    int _attempt = 1;
    bool _started = false;
};

class CoreBrowser final : public Browser, public Listening {
public:
    using Listening::Listening;
    ~CoreBrowser() override { close(); }

    void start(const QString &type) override {
        stop();
        _type = type;
        _seen.setWanted(wantedName);
        _started = true;
        _core.begin();
        serverChanged();
    }

    void stop() override {
        close();
        _reports.clear();
        _started = false;
    }

    void serverEnds() override {
        if (!_browser)
            return;
        close();
        _reports.post([this] { callCopyOf(onLost); });
    }

    void serverChanged() override {
        if (!_started || _browser || !_core.server())
            return;
        _browser = avahi_s_service_browser_new(_core.server(), AVAHI_IF_UNSPEC, AVAHI_PROTO_UNSPEC,
                                               _type.toUtf8().constData(), "local", noLookupFlags,
                                               report, this);
        if (!_browser)
            qCWarning(logDnsSd).noquote()
                << QStringLiteral("cannot look for %1: %2").arg(_type, _core.errorText());
    }

private:
    static void report(AvahiSServiceBrowser *, AvahiIfIndex interface, AvahiProtocol protocol,
                       AvahiBrowserEvent event, const char *name, const char *, const char *,
                       AvahiLookupResultFlags, void *self) {
        auto *browser = static_cast<CoreBrowser *>(self);
        browser->_events.post([=, text = QString::fromUtf8(name)] {
            browser->receive(event, text, interface, protocol);
        });
    }

    void receive(AvahiBrowserEvent event, const QString &name, int interface, int protocol) {
        const ServiceName service{name, _type, local};
        switch (event) {
        case AVAHI_BROWSER_NEW:
            if (_seen.add(name, interface, protocol))
                callCopyOf(onFound, service);
            break;
        case AVAHI_BROWSER_REMOVE:
            if (_seen.remove(name, interface, protocol))
                callCopyOf(onRemoved, service);
            break;
        case AVAHI_BROWSER_ALL_FOR_NOW:
            callCopyOf(onAllForNow);
            break;
        case AVAHI_BROWSER_CACHE_EXHAUSTED:
        case AVAHI_BROWSER_FAILURE:
            break;
        }
    }

    void close() {
        _events.clear();
        _seen.clear();
        if (_browser)
            avahi_s_service_browser_free(std::exchange(_browser, nullptr));
    }

    AvahiSServiceBrowser *_browser = nullptr;
    EventQueue _reports;
    SeenInstances _seen;
    QString _type;
    bool _started = false;
};

class CoreResolver final : public Resolver, public Listening {
public:
    explicit CoreResolver(AvahiCore &core)
        : Listening(core) {
        for (size_t number = 0; number < addressQuestions.size(); ++number)
            _questions[number] = {this, addressQuestions[number], nullptr};
        _gatherer.onComplete = [this](const Resolved &resolved) {
            stop();
            callCopyOf(onResolved, resolved);
        };
    }
    ~CoreResolver() override { close(); }

    void start(const ServiceName &service, RunLoop::Seconds timeout) override {
        stop();
        const QString refusal = reasonToRefuse(service);
        if (!refusal.isEmpty()) {
            _events.post([this, refusal] { callCopyOf(onFailed, refusal); });
            return;
        }
        _service = service;
        _started = true;
        _timeout = RunLoop::current().performAfter(timeout, [this] {
            stop();
            callCopyOf(onFailed, QStringLiteral("timed out"));
        });
        _core.begin();
        serverChanged();
    }

    void stop() override {
        close();
        _gatherer.clear();
        _timeout.cancel();
        _started = false;
    }

    void serverEnds() override { close(); }

    void serverChanged() override {
        if (!_started || !_core.server())
            return;
        for (Question &question : _questions) {
            if (question.resolver)
                continue;
            question.resolver = avahi_s_service_resolver_new(
                _core.server(), AVAHI_IF_UNSPEC, protocolNumber(question.kind.overIpv6),
                _service.name.toUtf8().constData(), _service.type.toUtf8().constData(),
                _service.domain.toUtf8().constData(), protocolNumber(question.kind.forIpv6),
                AVAHI_LOOKUP_NO_TXT, report, &question);
        }
    }

private:
    struct Question {
        CoreResolver *owner = nullptr;
        AddressQuestion kind{};
        AvahiSServiceResolver *resolver = nullptr;
    };

    static void report(AvahiSServiceResolver *, AvahiIfIndex interface, AvahiProtocol,
                       AvahiResolverEvent event, const char *, const char *, const char *,
                       const char *hostName, const AvahiAddress *address, uint16_t port,
                       AvahiStringList *, AvahiLookupResultFlags, void *self) {
        // A failure is the library's own time limit, which is shorter; it goes on asking.
        if (event != AVAHI_RESOLVER_FOUND || !address)
            return;
        const auto *question = static_cast<Question *>(self);
        CoreResolver *resolver = question->owner;
        const Endpoint endpoint{hostAddress(*address, interface), port};
        resolver->_events.post([resolver, kind = question->kind, endpoint,
                                host = QString::fromUtf8(hostName),
                                overLoopback = isLoopbackInterface(interface)] {
            resolver->_gatherer.add(kind, host, endpoint, overLoopback);
        });
    }

    void close() {
        _events.clear();
        for (Question &question : _questions) {
            if (question.resolver)
                avahi_s_service_resolver_free(std::exchange(question.resolver, nullptr));
        }
    }

    std::array<Question, addressQuestions.size()> _questions;
    EndpointGatherer _gatherer;
    ServiceName _service;
    RunLoop::Timer _timeout;
    bool _started = false;
};

class CoreTxtWatch final : public TxtWatch, public Listening {
public:
    using Listening::Listening;
    ~CoreTxtWatch() override { close(); }

    void start(const ServiceName &service) override {
        stop();
        const QString refusal = reasonToRefuse(service);
        if (!refusal.isEmpty()) {
            qCWarning(logDnsSd).noquote()
                << QStringLiteral("cannot watch a TXT record: %1").arg(refusal);
            return;
        }
        _service = service;
        _started = true;
        _core.begin();
        serverChanged();
    }

    void stop() override {
        close();
        _last.reset();
        _started = false;
    }

    void serverEnds() override { close(); }

    void serverChanged() override {
        if (!_started || _browser || !_core.server())
            return;
        AvahiKey *key = avahi_key_new(escapedFullName(_service).toUtf8().constData(),
                                      AVAHI_DNS_CLASS_IN, AVAHI_DNS_TYPE_TXT);
        if (key) {
            _browser =
                avahi_s_record_browser_new(_core.server(), AVAHI_IF_UNSPEC, AVAHI_PROTO_UNSPEC, key,
                                           AVAHI_LOOKUP_USE_MULTICAST, report, this);
            avahi_key_unref(key);
        }
        if (!_browser)
            qCWarning(logDnsSd).noquote()
                << QStringLiteral("cannot watch a TXT record: %1").arg(_core.errorText());
    }

private:
    static void report(AvahiSRecordBrowser *, AvahiIfIndex, AvahiProtocol, AvahiBrowserEvent event,
                       AvahiRecord *record, AvahiLookupResultFlags, void *self) {
        // A new record is reported before the old one is removed, and once for each interface: the
        // latest counts.
        if (event != AVAHI_BROWSER_NEW || !record)
            return;
        QByteArray data(maximumRecordBytes, Qt::Uninitialized);
        data.truncate(qsizetype(avahi_rdata_serialize(record, data.data(), size_t(data.size()))));
        auto *watch = static_cast<CoreTxtWatch *>(self);
        watch->_events.post([watch, data] { watch->receive(data); });
    }

    void receive(const QByteArray &txtRecord) {
        if (_last == txtRecord)
            return;
        _last = txtRecord;
        callCopyOf(onTxtRecord, txtRecord);
    }

    void close() {
        _events.clear();
        if (_browser)
            avahi_s_record_browser_free(std::exchange(_browser, nullptr));
    }

    AvahiSRecordBrowser *_browser = nullptr;
    ServiceName _service;
    std::optional<QByteArray> _last;
    bool _started = false;
};

} // namespace

AvahiCoreBackend::AvahiCoreBackend()
    : _core(std::make_unique<AvahiCore>()) {}

AvahiCoreBackend::~AvahiCoreBackend() = default;

std::unique_ptr<Publisher> AvahiCoreBackend::makePublisher() {
    return std::make_unique<CorePublisher>(*_core);
}

std::unique_ptr<Browser> AvahiCoreBackend::makeBrowser() {
    return std::make_unique<CoreBrowser>(*_core);
}

std::unique_ptr<Resolver> AvahiCoreBackend::makeResolver() {
    return std::make_unique<CoreResolver>(*_core);
}

std::unique_ptr<TxtWatch> AvahiCoreBackend::makeTxtWatch() {
    return std::make_unique<CoreTxtWatch>(*_core);
}

StreamPair AvahiCoreBackend::connectTo(const Resolved &resolved) {
    return connectToEndpoints(resolved);
}

QString AvahiCoreBackend::description() const {
    return _core->description();
}

} // namespace clipmule::dnssd
