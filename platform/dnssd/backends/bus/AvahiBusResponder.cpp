// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/dnssd/backends/bus/AvahiBusResponder.h"

#include "platform/dnssd/EventQueue.h"
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

int protocolNumber(bool ipv6) {
    return ipv6 ? protocolIpv6 : protocolIpv4;
}

/// The entries of a TXT record as an argument.
QVariant entries(const QByteArray &txtRecord) {
    return QVariant::fromValue(QByteArrayList(txtRecordEntries(txtRecord)));
}

/// An operation and the daemon's object for it, which is started once it is there.
template <typename Kind>
class BusOperation : public Kind, public AvahiBusObject {
public:
    using AvahiBusObject::AvahiBusObject;

    void created() override { call(QStringLiteral("Start"), {}); }
    void refused(const QDBusMessage &error) override { fail(errorText(error)); }

protected:
    void fail(const QString &reason) { callCopyOf(this->onFailed, reason); }
};

class BusBrowse final : public BusOperation<Responder::Browse> {
public:
    BusBrowse(AvahiBus &bus, const QString &type)
        : BusOperation(bus, QStringLiteral("ServiceBrowser")) {
        create(QStringLiteral("Server2"), QStringLiteral("ServiceBrowserPrepare"),
               {anyInterface, anyProtocol, type, QStringLiteral("local"), noFlags});
    }

    void receive(const QDBusMessage &signal) override {
        const QVariantList arguments = signal.arguments();
        if (signal.member() == QStringLiteral("AllForNow"))
            return callCopyOf(onAllForNow);
        if (signal.member() == QStringLiteral("Failure"))
            return fail(arguments.value(0).toString());
        // interface, protocol, name, type, domain, flags
        if (signal.signature() != QStringLiteral("iisssu"))
            return;
        const auto &report = signal.member() == QStringLiteral("ItemNew") ? onSeen : onGone;
        callCopyOf(report, arguments[2].toString(), arguments[0].toInt(), arguments[1].toInt());
    }
};

class BusQuestion final : public BusOperation<Responder::Question> {
public:
    BusQuestion(AvahiBus &bus, const ServiceName &service, AddressQuestion question)
        : BusOperation(bus, QStringLiteral("ServiceResolver")) {
        create(QStringLiteral("Server2"), QStringLiteral("ServiceResolverPrepare"),
               {anyInterface, protocolNumber(question.overIpv6), service.name, service.type,
                service.domain, protocolNumber(question.forIpv6), lookupWithoutTxt});
    }

    void receive(const QDBusMessage &signal) override {
        const QVariantList arguments = signal.arguments();
        if (signal.member() == QStringLiteral("Failure")) {
            // The daemon reports this at its own limit of five seconds; an answer may still come.
            const QString error = arguments.value(0).toString();
            if (!error.endsWith(QStringLiteral("TimeoutError")))
                fail(error);
            return;
        }
        // interface, protocol, name, type, domain, host, address protocol, address, port, TXT,
        // flags
        if (signal.signature() != QStringLiteral("iissssisqaayu"))
            return;
        QHostAddress address(arguments[7].toString());
        const int interface = arguments[0].toInt();
        if (address.isLinkLocal() && address.protocol() == QAbstractSocket::IPv6Protocol)
            address.setScopeId(QNetworkInterface::interfaceNameFromIndex(interface));
        callCopyOf(onAnswer, arguments[5].toString(),
                   Endpoint{address, quint16(arguments[8].toUInt())},
                   isLoopbackInterface(interface));
    }
};

class BusRecordWatch final : public BusOperation<Responder::RecordWatch> {
public:
    BusRecordWatch(AvahiBus &bus, const ServiceName &service)
        : BusOperation(bus, QStringLiteral("RecordBrowser")) {
        create(QStringLiteral("Server2"), QStringLiteral("RecordBrowserPrepare"),
               {anyInterface, anyProtocol, escapedFullName(service),
                QVariant::fromValue(classInternet), QVariant::fromValue(typeTxt),
                lookupByMulticast});
    }

    void receive(const QDBusMessage &signal) override {
        if (signal.member() == QStringLiteral("Failure"))
            return fail(signal.arguments().value(0).toString());
        // interface, protocol, name, class, type, data, flags. A new record is reported before the
        // old one is removed, which is not listened to.
        if (signal.signature() == QStringLiteral("iisqqayu"))
            callCopyOf(onRecord, signal.arguments()[5].toByteArray());
    }
};

class BusEntryGroup final : public BusOperation<Responder::EntryGroup> {
public:
    BusEntryGroup(AvahiBus &bus, const ServiceName &service, quint16 port,
                  const QByteArray &txtRecord)
        : BusOperation(bus, QStringLiteral("EntryGroup"))
        , _service(service)
        , _port(port)
        , _txtRecord(txtRecord) {
        create(QStringLiteral("Server"), QStringLiteral("EntryGroupNew"), {});
    }

    void setTxtRecord(const QByteArray &txtRecord) override {
        _txtRecord = txtRecord;
        if (_isEstablished)
            updateTxtRecord();
    }

    void created() override {
        _publishedTxtRecord = _txtRecord;
        // Empty texts stand for the daemon's own domain and host.
        call(QStringLiteral("AddService"),
             {anyInterface, anyProtocol, noFlags, _service.name, _service.type, QString(),
              QString(), QVariant::fromValue(_port), entries(_txtRecord)},
             [this] { call(QStringLiteral("Commit"), {}); });
    }

    void refused(const QDBusMessage &error) override {
        if (error.errorName() == QStringLiteral("org.freedesktop.Avahi.CollisionError"))
            callCopyOf(onCollision);
        else
            BusOperation::refused(error);
    }

    void receive(const QDBusMessage &signal) override {
        if (signal.signature() != QStringLiteral("is"))
            return;
        const int state = signal.arguments()[0].toInt();
        if (state == Collision)
            return callCopyOf(onCollision);
        if (state == Failed)
            return fail(onOneLine(signal.arguments()[1].toString(), shownInLabel));
        if (state != Established)
            return;
        _isEstablished = true;
        if (_txtRecord != _publishedTxtRecord)
            updateTxtRecord();
        callCopyOf(onEstablished);
    }

private:
    void updateTxtRecord() {
        _publishedTxtRecord = _txtRecord;
        call(QStringLiteral("UpdateServiceTxt"), {anyInterface, anyProtocol, noFlags, _service.name,
                                                  _service.type, QString(), entries(_txtRecord)});
    }

    const ServiceName _service;
    const quint16 _port;
    QByteArray _txtRecord;
    QByteArray _publishedTxtRecord;
    bool _isEstablished = false;
};

} // namespace

AvahiBusResponder::AvahiBusResponder()
    : _bus(std::make_unique<AvahiBus>()) {
    qDBusRegisterMetaType<QByteArrayList>();
    _bus->onAvailability = [this] { callCopyOf(onAvailability); };
}

AvahiBusResponder::~AvahiBusResponder() = default;

void AvahiBusResponder::begin() {
    _bus->begin();
}

Availability AvahiBusResponder::availability() const {
    return _bus->availability();
}

QString AvahiBusResponder::description() const {
    return _bus->description();
}

std::unique_ptr<Responder::Browse> AvahiBusResponder::browse(const QString &type) {
    return std::make_unique<BusBrowse>(*_bus, type);
}

std::unique_ptr<Responder::Question> AvahiBusResponder::resolve(const ServiceName &service,
                                                                AddressQuestion question) {
    return std::make_unique<BusQuestion>(*_bus, service, question);
}

std::unique_ptr<Responder::RecordWatch>
AvahiBusResponder::watchTxtRecord(const ServiceName &service) {
    return std::make_unique<BusRecordWatch>(*_bus, service);
}

std::unique_ptr<Responder::EntryGroup>
AvahiBusResponder::publish(const ServiceName &service, quint16 port, const QByteArray &txtRecord) {
    return std::make_unique<BusEntryGroup>(*_bus, service, port, txtRecord);
}

} // namespace clipmule::dnssd
