// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/dnssd/backends/bus/AvahiBus.h"

#include "platform/dnssd/EventQueue.h"
#include "platform/dnssd/Log.h"
#include "platform/foundation/Log.h"

#include <QDBusError>
#include <QDBusObjectPath>
#include <QDBusPendingCallWatcher>

#include <algorithm>

namespace clipmule::dnssd {

namespace {

const auto avahiService = QStringLiteral("org.freedesktop.Avahi");
const auto serverInterface = QStringLiteral("org.freedesktop.Avahi.Server");
const auto serverPath = QStringLiteral("/");
const auto busService = QStringLiteral("org.freedesktop.DBus");

// The states of the daemon's server, as numbers on the bus.
enum ServerState { Invalid = 0, Registering = 1, Running = 2, Collision = 3, Failed = 4 };

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

} // namespace

QString errorText(const QDBusMessage &reply) {
    const QString message = reply.errorMessage();
    return onOneLine(message.isEmpty() ? reply.errorName() : message, shownInLabel);
}

AvahiBus::AvahiBus() {
    connect(&_bus, &BusConnection::opened, this, &AvahiBus::subscribe);
    connect(&_bus, &BusConnection::lost, this, [this] {
        _owner.clear();
        lose(QStringLiteral("the system bus is gone"));
    });
}

void AvahiBus::begin() {
    if (!std::exchange(_begun, true))
        _look = RunLoop::current().performAfter(RunLoop::Seconds(0), [this] { look(); });
}

QString AvahiBus::description() const {
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

void AvahiBus::look() {
    if (_bus.open())
        subscribe();
    else
        lose(QStringLiteral("there is no system bus")); // it is told when there is one
}

void AvahiBus::subscribe() {
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

void AvahiBus::ownerChanged(const QString &name, const QString &, const QString &newOwner) {
    if (name != avahiService)
        return;
    _owner.clear();
    forget();
    if (newOwner.isEmpty() || isAnswering(_availability))
        lose(QStringLiteral("it has ended"));
    if (!newOwner.isEmpty())
        askForState();
}

void AvahiBus::askForState() {
    // The daemon is called by its name, which must not start one that is switched off. Whoever
    // answers is the daemon from then on.
    QDBusMessage message = QDBusMessage::createMethodCall(avahiService, serverPath, serverInterface,
                                                          QStringLiteral("GetState"));
    message.setAutoStartService(false);
    enqueue(message, [this](const QDBusMessage &reply) {
        if (isWithoutReceiver(reply))
            return lose(QStringLiteral("it is not running")); // ownerChanged() tells when it is
        if (reply.type() != QDBusMessage::ReplyMessage)
            return lose(errorText(reply));
        _owner = reply.service();
        setServerState(reply.arguments().value(0).toInt());
    });
}

void AvahiBus::serverStateChanged(const QDBusMessage &message) {
    if (message.service() == _owner && message.signature() == QStringLiteral("is"))
        setServerState(message.arguments().value(0).toInt());
}

void AvahiBus::setServerState(int state) {
    if (state == Failed)
        lose(QStringLiteral("it has failed")); // it tells when it runs again
    else
        setAvailability(state == Running ? Availability::Running : Availability::Starting);
}

void AvahiBus::forget() {
    ++_generation;
    _waitingCalls.clear();
    _openCalls = 0;
    _creations = 0;
    _heldSignals.clear();
}

void AvahiBus::lose(const QString &reason) {
    forget();
    if (_availability != Availability::Absent) {
        _lossDate = Date::now();
        qCInfo(logDnsSd).noquote() << QStringLiteral("no Avahi daemon: %1").arg(reason);
    }
    _lossReason = reason;
    setAvailability(Availability::Absent);
}

void AvahiBus::setAvailability(Availability availability) {
    if (std::exchange(_availability, availability) != availability)
        callCopyOf(onAvailability);
}

void AvahiBus::call(const QString &path, const QString &interface, const QString &member,
                    const QVariantList &arguments, Reply reply) {
    if (_owner.isEmpty())
        return;
    QDBusMessage message = QDBusMessage::createMethodCall(_owner, path, interface, member);
    message.setArguments(arguments);
    enqueue(message, std::move(reply));
}

void AvahiBus::enqueue(const QDBusMessage &message, Reply reply) {
    _waitingCalls.push_back({message, std::move(reply)});
    sendCalls();
}

void AvahiBus::sendCalls() {
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

void AvahiBus::callEnds(const QDBusMessage &answer, const Reply &reply) {
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

void AvahiBus::send(const QString &path, const QString &interface, const QString &member) {
    if (_bus.isOpen() && !_owner.isEmpty())
        (void)_bus.connection().send(
            QDBusMessage::createMethodCall(_owner, path, interface, member));
}

void AvahiBus::objectSignal(const QDBusMessage &message) {
    if (message.service() != _owner)
        return;
    if (AvahiBusObject *object = _objects.value(message.path()))
        object->receive(message);
    else if (_creations > 0 && _heldSignals.size() < maximumHeldSignals)
        _heldSignals.append(message);
}

void AvahiBus::deliverHeldSignals(const QString &path) {
    QList<QDBusMessage> messages;
    const auto isForPath = [&path](const QDBusMessage &held) { return held.path() == path; };
    std::copy_if(_heldSignals.begin(), _heldSignals.end(), std::back_inserter(messages), isForPath);
    _heldSignals.removeIf(isForPath);
    for (const QDBusMessage &message : messages) {
        if (AvahiBusObject *object = _objects.value(path))
            object->receive(message);
    }
}

void AvahiBus::creationEnds() {
    if (--_creations == 0)
        _heldSignals.clear();
}

AvahiBusObject::AvahiBusObject(AvahiBus &bus, const QString &kind)
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
        return refused(reply);
    _path = path;
    AvahiBus &bus = _bus;
    bus.route(path, *this);
    created();
    bus.deliverHeldSignals(path);
}

void AvahiBusObject::call(const QString &member, const QVariantList &arguments,
                          std::function<void()> done) {
    _bus.call(_path, _interface, member, arguments,
              [weak = std::weak_ptr(_self), done = std::move(done)](const QDBusMessage &reply) {
                  const auto self = weak.lock();
                  if (self && reply.type() != QDBusMessage::ReplyMessage)
                      (*self)->refused(reply);
                  else if (self && done)
                      done();
              });
}

} // namespace clipmule::dnssd
