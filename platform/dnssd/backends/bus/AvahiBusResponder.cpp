// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/dnssd/backends/bus/AvahiBusResponder.h"

#include "platform/dnssd/ServiceRules.h"
#include "platform/foundation/Callbacks.h"
#include "platform/foundation/Log.h"

#include <QDBusError>
#include <QDBusMetaType>
#include <QDBusObjectPath>
#include <QDBusPendingCallWatcher>
#include <QNetworkInterface>

#include <algorithm>

namespace clipmule::dnssd {

namespace {

const auto avahiService = QStringLiteral("org.freedesktop.Avahi");
const auto serverInterface = QStringLiteral("org.freedesktop.Avahi.Server");
const auto serverPath = QStringLiteral("/");
const auto busService = QStringLiteral("org.freedesktop.DBus");

// The states of the daemon's server, as numbers on the bus.
enum class ServerState { Invalid, Registering, Running, Collision, Failed };

bool isWithoutAnswer(const QDBusMessage &reply) {
    if (reply.type() != QDBusMessage::ErrorMessage)
        return false;
    const QDBusError::ErrorType type = QDBusError(reply).type();
    return type == QDBusError::NoReply || type == QDBusError::Timeout ||
           type == QDBusError::TimedOut;
}

bool isWithoutReceiver(const QDBusMessage &reply) {
    return reply.errorName() == QStringLiteral("org.freedesktop.DBus.Error.NameHasNoOwner") ||
           reply.errorName() == QStringLiteral("org.freedesktop.DBus.Error.ServiceUnknown");
}

/// An error's message, or its name.
QString errorText(const QDBusMessage &reply) {
    const QString message = reply.errorMessage();
    return onOneLine(message.isEmpty() ? reply.errorName() : message, shownInLabel);
}

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
class BusOperation : public Kind {
protected:
    BusOperation(AvahiBusResponder &bus, const QString &kind)
        : _object(bus, kind) {
        _object.onCreated = [this] { _object.call(QStringLiteral("Start"), {}); };
        _object.onRefused = [this](const QDBusMessage &error) { fail(errorText(error)); };
    }

    void fail(const QString &reason) { callCopyOf(this->onFailed, reason); }

    AvahiBusObject _object;
};

class BusBrowse final : public BusOperation<Responder::Browse> {
public:
    BusBrowse(AvahiBusResponder &bus, const QString &type)
        : BusOperation(bus, QStringLiteral("ServiceBrowser")) {
        _object.onSignal = [this](const QDBusMessage &signal) { receive(signal); };
        _object.create(QStringLiteral("Server2"), QStringLiteral("ServiceBrowserPrepare"),
                       {anyInterface, anyProtocol, type, QStringLiteral("local"), noFlags});
    }

private:
    void receive(const QDBusMessage &signal) {
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
    BusQuestion(AvahiBusResponder &bus, const ServiceName &service, AddressQuestion question)
        : BusOperation(bus, QStringLiteral("ServiceResolver")) {
        _object.onSignal = [this](const QDBusMessage &signal) { receive(signal); };
        _object.create(QStringLiteral("Server2"), QStringLiteral("ServiceResolverPrepare"),
                       {anyInterface, protocolNumber(question.overIpv6), service.name, service.type,
                        service.domain, protocolNumber(question.forIpv6), lookupWithoutTxt});
    }

private:
    void receive(const QDBusMessage &signal) {
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
    BusRecordWatch(AvahiBusResponder &bus, const ServiceName &service)
        : BusOperation(bus, QStringLiteral("RecordBrowser")) {
        _object.onSignal = [this](const QDBusMessage &signal) { receive(signal); };
        _object.create(QStringLiteral("Server2"), QStringLiteral("RecordBrowserPrepare"),
                       {anyInterface, anyProtocol, escapedFullName(service),
                        QVariant::fromValue(classInternet), QVariant::fromValue(typeTxt),
                        lookupByMulticast});
    }

private:
    void receive(const QDBusMessage &signal) {
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
    BusEntryGroup(AvahiBusResponder &bus, const ServiceName &service, quint16 port,
                  const QByteArray &txtRecord)
        : BusOperation(bus, QStringLiteral("EntryGroup"))
        , _service(service)
        , _port(port)
        , _txtRecord(txtRecord) {
        _object.onCreated = [this] { publish(); };
        _object.onRefused = [this](const QDBusMessage &error) { refused(error); };
        _object.onSignal = [this](const QDBusMessage &signal) { receive(signal); };
        _object.create(QStringLiteral("Server"), QStringLiteral("EntryGroupNew"), {});
    }

    void setTxtRecord(const QByteArray &txtRecord) override {
        _txtRecord = txtRecord;
        if (_isEstablished)
            updateTxtRecord();
    }

private:
    void publish() {
        _publishedTxtRecord = _txtRecord;
        // Empty texts stand for the daemon's own domain and host.
        _object.call(QStringLiteral("AddService"),
                     {anyInterface, anyProtocol, noFlags, _service.name, _service.type, QString(),
                      QString(), QVariant::fromValue(_port), entries(_txtRecord)},
                     [this] { _object.call(QStringLiteral("Commit"), {}); });
    }

    void refused(const QDBusMessage &error) {
        if (error.errorName() == QStringLiteral("org.freedesktop.Avahi.CollisionError"))
            callCopyOf(onCollision);
        else
            fail(errorText(error));
    }

    void receive(const QDBusMessage &signal) {
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

    void updateTxtRecord() {
        _publishedTxtRecord = _txtRecord;
        _object.call(QStringLiteral("UpdateServiceTxt"),
                     {anyInterface, anyProtocol, noFlags, _service.name, _service.type, QString(),
                      entries(_txtRecord)});
    }

    const ServiceName _service;
    const quint16 _port;
    QByteArray _txtRecord;
    QByteArray _publishedTxtRecord;
    bool _isEstablished = false;
};

} // namespace

AvahiBusResponder::AvahiBusResponder() {
    qDBusRegisterMetaType<QByteArrayList>();
    connect(&_bus, &BusConnection::opened, this, &AvahiBusResponder::subscribe);
    connect(&_bus, &BusConnection::lost, this, [this] {
        _owner.clear();
        lose(QStringLiteral("the system bus is gone"));
    });
}

void AvahiBusResponder::begin() {
    if (!std::exchange(_begun, true))
        _look = RunLoop::current().performAfter(RunLoop::Seconds(0), [this] { look(); });
}

QString AvahiBusResponder::description() const {
    switch (_availability) {
    case Availability::Unknown:
        return QStringLiteral("Avahi's daemon, not asked yet");
    case Availability::Starting:
        return QStringLiteral("Avahi's daemon, which is starting");
    case Availability::Running:
        return QStringLiteral("Avahi's daemon");
    case Availability::Absent:
        break;
    }
    return QStringLiteral("no answer from Avahi's daemon since %1: %2")
        .arg(_lossDate.toDateTime().toLocalTime().toString(QStringLiteral("HH:mm:ss")),
             _lossReason);
}

void AvahiBusResponder::look() {
    if (_bus.open())
        subscribe();
    else
        lose(QStringLiteral("there is no system bus")); // it is told when there is one
}

void AvahiBusResponder::subscribe() {
    QDBusConnection bus = _bus.connection();
    bus.connect(busService, QStringLiteral("/org/freedesktop/DBus"), busService,
                QStringLiteral("NameOwnerChanged"), {avahiService}, QStringLiteral("sss"), this,
                SLOT(ownerChanged(QString, QString, QString)));
    // Signals of any sender and any path are received. A sender by name would cost a blocking
    // question for its owner; whether it is the daemon is seen from the message. And the daemon
    // sends an object's first signals together with the answer that names its path, too early to
    // subscribe to it.
    bus.connect(QString(), serverPath, serverInterface, QStringLiteral("StateChanged"), this,
                SLOT(serverStateChanged(QDBusMessage)));
    const std::pair<QString, QStringList> signalsOfObjects[] = {
        {QStringLiteral("EntryGroup"), {QStringLiteral("StateChanged")}},
        {QStringLiteral("ServiceBrowser"),
         {QStringLiteral("ItemNew"), QStringLiteral("ItemRemove"), QStringLiteral("AllForNow"),
          QStringLiteral("Failure")}},
        {QStringLiteral("ServiceResolver"), {QStringLiteral("Found"), QStringLiteral("Failure")}},
        {QStringLiteral("RecordBrowser"), {QStringLiteral("ItemNew"), QStringLiteral("Failure")}},
    };
    for (const auto &[kind, members] : signalsOfObjects) {
        for (const QString &member : members)
            bus.connect(QString(), QString(), avahiService + u'.' + kind, member, this,
                        SLOT(objectSignal(QDBusMessage)));
    }
    askForState();
}

void AvahiBusResponder::ownerChanged(const QString &name, const QString &,
                                     const QString &newOwner) {
    if (name != avahiService)
        return;
    _owner.clear();
    forget();
    if (newOwner.isEmpty() || isAnswering(_availability))
        lose(QStringLiteral("it has ended"));
    if (!newOwner.isEmpty())
        askForState();
}

void AvahiBusResponder::askForState() {
    // The bus is asked who the daemon is, which does not start one that is switched off. An answer
    // does not tell: later versions of the toolkit do not say from whom it comes.
    const QString bus = QStringLiteral("org.freedesktop.DBus");
    QDBusMessage message = QDBusMessage::createMethodCall(
        bus, QStringLiteral("/org/freedesktop/DBus"), bus, QStringLiteral("GetNameOwner"));
    message.setArguments({avahiService});
    enqueue(message, [this](const QDBusMessage &reply) {
        if (isWithoutReceiver(reply))
            return lose(QStringLiteral("it is not running")); // ownerChanged() tells when it is
        if (reply.type() != QDBusMessage::ReplyMessage)
            return lose(errorText(reply));
        _owner = reply.arguments().value(0).toString();
        _wasToldState = false;
        call(serverPath, serverInterface, QStringLiteral("GetState"), {},
             [this](const QDBusMessage &state) {
                 if (state.type() != QDBusMessage::ReplyMessage)
                     return lose(errorText(state));
                 // An answer that a signal has overtaken on its way is old.
                 if (!_wasToldState)
                     setServerState(state.arguments().value(0).toInt());
             });
    });
}

void AvahiBusResponder::serverStateChanged(const QDBusMessage &message) {
    if (message.service() != _owner || message.signature() != QStringLiteral("is"))
        return;
    _wasToldState = true;
    setServerState(message.arguments().value(0).toInt());
}

void AvahiBusResponder::setServerState(int state) {
    if (ServerState(state) == ServerState::Failed)
        lose(QStringLiteral("it has failed")); // it tells when it runs again
    else
        setAvailability(ServerState(state) == ServerState::Running ? Availability::Running
                                                                   : Availability::Starting);
}

void AvahiBusResponder::forget() {
    ++_generation;
    _waitingCalls.clear();
    _openCalls = 0;
    _creations = 0;
    _heldSignals.clear();
}

void AvahiBusResponder::lose(const QString &reason) {
    forget();
    if (_availability != Availability::Absent) {
        _lossDate = Date::now();
        qCInfo(logDnsSd).noquote() << QStringLiteral("no Avahi daemon: %1").arg(reason);
    }
    _lossReason = reason;
    setAvailability(Availability::Absent);
}

void AvahiBusResponder::setAvailability(Availability availability) {
    if (std::exchange(_availability, availability) != availability)
        callCopyOf(onAvailability);
}

void AvahiBusResponder::call(const QString &path, const QString &interface, const QString &member,
                             const QVariantList &arguments, Reply reply) {
    if (_owner.isEmpty())
        return;
    QDBusMessage message = QDBusMessage::createMethodCall(_owner, path, interface, member);
    message.setArguments(arguments);
    enqueue(message, std::move(reply));
}

void AvahiBusResponder::enqueue(const QDBusMessage &message, Reply reply) {
    _waitingCalls.push_back({message, std::move(reply)});
    sendCalls();
}

void AvahiBusResponder::sendCalls() {
    while (_bus.isOpen() && _openCalls < maximumOpenCalls && !_waitingCalls.empty()) {
        Call next = std::move(_waitingCalls.front());
        _waitingCalls.pop_front();
        ++_openCalls;
        // Qt wants the watcher to have a parent or a deleter.
        auto *watcher = new QDBusPendingCallWatcher(
            _bus.connection().asyncCall(next.message, callTimeoutMilliseconds), this);
        connect(watcher, &QDBusPendingCallWatcher::finished, this,
                [this, generation = _generation,
                 reply = std::move(next.reply)](QDBusPendingCallWatcher *finished) {
                    finished->deleteLater();
                    if (generation == _generation)
                        callEnds(finished->reply(), reply);
                });
    }
}

void AvahiBusResponder::callEnds(const QDBusMessage &answer, const Reply &reply) {
    --_openCalls;
    if (isWithoutAnswer(answer)) {
        _bus.close();
        _owner.clear();
        lose(QStringLiteral("it does not answer"));
        _look = RunLoop::current().performAfter(retryInterval, [this] { look(); });
        return;
    }
    sendCalls();
    reply(answer);
}

void AvahiBusResponder::send(const QString &path, const QString &interface, const QString &member) {
    if (_bus.isOpen() && !_owner.isEmpty())
        (void)_bus.connection().send(
            QDBusMessage::createMethodCall(_owner, path, interface, member));
}

void AvahiBusResponder::objectSignal(const QDBusMessage &message) {
    if (message.service() != _owner)
        return;
    if (AvahiBusObject *object = _objects.value(message.path()))
        callCopyOf(object->onSignal, message);
    else if (_creations > 0 && _heldSignals.size() < maximumHeldSignals)
        _heldSignals.append(message);
}

void AvahiBusResponder::deliverHeldSignals(const QString &path) {
    QList<QDBusMessage> messages;
    const auto isForPath = [&path](const QDBusMessage &held) { return held.path() == path; };
    std::copy_if(_heldSignals.begin(), _heldSignals.end(), std::back_inserter(messages), isForPath);
    _heldSignals.removeIf(isForPath);
    for (const QDBusMessage &message : messages) {
        if (AvahiBusObject *object = _objects.value(path))
            callCopyOf(object->onSignal, message);
    }
}

void AvahiBusResponder::creationEnds() {
    if (--_creations == 0)
        _heldSignals.clear();
}

AvahiBusObject::AvahiBusObject(AvahiBusResponder &bus, const QString &kind)
    : _bus(bus)
    , _interface(avahiService + u'.' + kind) {}

AvahiBusObject::~AvahiBusObject() {
    if (_path.isEmpty())
        return;
    _bus.unroute(_path);
    _bus.send(_path, _interface, QStringLiteral("Free"));
}

void AvahiBusObject::create(const QString &interface, const QString &member,
                            const QVariantList &arguments) {
    _bus.creationBegins();
    _bus.call(
        serverPath, avahiService + u'.' + interface, member, arguments,
        [&bus = _bus, kind = _interface, weak = std::weak_ptr(_self)](const QDBusMessage &reply) {
            if (const auto self = weak.lock()) {
                (*self)->answered(reply);
            } else if (reply.type() == QDBusMessage::ReplyMessage) {
                const auto path = reply.arguments().value(0).value<QDBusObjectPath>();
                bus.send(path.path(), kind, QStringLiteral("Free"));
            }
            bus.creationEnds();
        });
}

void AvahiBusObject::answered(const QDBusMessage &reply) {
    const QString path = reply.arguments().value(0).value<QDBusObjectPath>().path();
    if (reply.type() != QDBusMessage::ReplyMessage || path.isEmpty())
        return callCopyOf(onRefused, reply);
    _path = path;
    AvahiBusResponder &bus = _bus;
    bus.route(path, *this);
    callCopyOf(onCreated);
    bus.deliverHeldSignals(path);
}

void AvahiBusObject::call(const QString &member, const QVariantList &arguments,
                          std::function<void()> done) {
    _bus.call(_path, _interface, member, arguments,
              [weak = std::weak_ptr(_self), done = std::move(done)](const QDBusMessage &reply) {
                  const auto self = weak.lock();
                  if (self && reply.type() != QDBusMessage::ReplyMessage)
                      callCopyOf((*self)->onRefused, reply);
                  else if (self && done)
                      done();
              });
}

std::unique_ptr<Responder> makeAvahiBusResponder() {
    return std::make_unique<AvahiBusResponder>();
}

std::unique_ptr<Responder::Browse> AvahiBusResponder::browse(const QString &type) {
    return std::make_unique<BusBrowse>(*this, type);
}

std::unique_ptr<Responder::Question> AvahiBusResponder::resolve(const ServiceName &service,
                                                                AddressQuestion question) {
    return std::make_unique<BusQuestion>(*this, service, question);
}

std::unique_ptr<Responder::RecordWatch>
AvahiBusResponder::watchTxtRecord(const ServiceName &service) {
    return std::make_unique<BusRecordWatch>(*this, service);
}

std::unique_ptr<Responder::EntryGroup>
AvahiBusResponder::publish(const ServiceName &service, quint16 port, const QByteArray &txtRecord) {
    return std::make_unique<BusEntryGroup>(*this, service, port, txtRecord);
}

} // namespace clipmule::dnssd
