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
const auto busPath = QStringLiteral("/org/freedesktop/DBus");

// The states of the daemon's server, as numbers on the bus.
enum ServerState { Invalid = 0, Registering = 1, Running = 2, Collision = 3, Failed = 4 };

bool isWithoutAnswer(const QDBusMessage &reply) {
    if (reply.type() != QDBusMessage::ErrorMessage)
        return false;
    const QDBusError::ErrorType type = QDBusError(reply).type();
    return type == QDBusError::NoReply || type == QDBusError::Timeout ||
           type == QDBusError::TimedOut;
}

} // namespace

QString errorText(const QDBusMessage &reply) {
    const QString message = reply.errorMessage();
    return onOneLine(message.isEmpty() ? reply.errorName() : message, shownInLabel);
}

bool isCollision(const QDBusMessage &reply) {
    return reply.errorName() == QStringLiteral("org.freedesktop.Avahi.CollisionError");
}

AvahiBus::AvahiBus(const QString &address)
    : _address(address) {}

AvahiBus::~AvahiBus() {
    dropConnection();
}

void AvahiBus::begin() {
    if (std::exchange(_begun, true))
        return;
    _retry = RunLoop::current().performAfter(RunLoop::Seconds(0), [this] { connectToBus(); });
}

bool AvahiBus::isAnswering() const {
    return _availability == Availability::Starting || _availability == Availability::Running;
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

void AvahiBus::connectToBus() {
    // A connection of our own, so that dropping it concerns nobody else. Its name is used once: a
    // dropped connection lives on until its last reference is gone.
    static int count = 0;
    _connectionName = QStringLiteral("clipmule-dnssd-%1").arg(++count);
    _bus = _address.isEmpty()
               ? QDBusConnection::connectToBus(QDBusConnection::SystemBus, _connectionName)
               : QDBusConnection::connectToBus(_address, _connectionName);
    if (!_bus->isConnected()) {
        dropConnection();
        lose(QStringLiteral("there is no system bus"));
        retryLater();
        return;
    }
    subscribe();
    askForOwner();
}

void AvahiBus::subscribe() {
    _bus->connect(QString(), QStringLiteral("/org/freedesktop/DBus/Local"),
                  QStringLiteral("org.freedesktop.DBus.Local"), QStringLiteral("Disconnected"),
                  this, SLOT(disconnectedFromBus()));
    _bus->connect(busService, busPath, busService, QStringLiteral("NameOwnerChanged"),
                  {avahiService}, QStringLiteral("sss"), this,
                  SLOT(ownerChanged(QString, QString, QString)));
    // From any sender and any path. A sender by name would cost a blocking question for its
    // owner; whether it is the daemon is seen from the message. And the daemon sends an object's
    // first signals together with the answer that names its path, too early to subscribe to it.
    _bus->connect(QString(), serverPath, serverInterface, QStringLiteral("StateChanged"), this,
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
            _bus->connect(QString(), QString(), avahiService + u'.' + kind, member, this,
                          SLOT(objectSignal(QDBusMessage)));
    }
}

void AvahiBus::dropConnection() {
    ++_generation;
    forgetCalls();
    _heldSignals.clear();
    _objects.clear();
    _owner.clear();
    _bus.reset();
    if (!_connectionName.isEmpty())
        QDBusConnection::disconnectFromBus(_connectionName);
    _connectionName.clear();
}

void AvahiBus::retryLater() {
    _retry = RunLoop::current().performAfter(retryInterval, [this] { connectToBus(); });
}

void AvahiBus::disconnectedFromBus() {
    dropConnection();
    lose(QStringLiteral("the system bus is gone"));
    retryLater();
}

void AvahiBus::askForOwner() {
    QDBusMessage message = QDBusMessage::createMethodCall(busService, busPath, busService,
                                                          QStringLiteral("GetNameOwner"));
    message.setArguments({avahiService});
    // Qt wants the watcher to have a parent or a deleter.
    auto *watcher =
        new QDBusPendingCallWatcher(_bus->asyncCall(message, callTimeoutMilliseconds), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this,
            [this, generation = _generation](QDBusPendingCallWatcher *finished) {
                finished->deleteLater();
                if (generation != _generation || !_owner.isEmpty())
                    return;
                const QDBusMessage reply = finished->reply();
                if (reply.type() == QDBusMessage::ReplyMessage) {
                    setOwner(reply.arguments().value(0).toString());
                } else if (reply.errorName() ==
                           QStringLiteral("org.freedesktop.DBus.Error.NameHasNoOwner")) {
                    lose(QStringLiteral("it is not running")); // ownerChanged() tells when it is
                } else {
                    dropConnection();
                    lose(errorText(reply));
                    retryLater();
                }
            });
}

void AvahiBus::ownerChanged(const QString &name, const QString &, const QString &newOwner) {
    if (name == avahiService)
        setOwner(newOwner);
}

void AvahiBus::setOwner(const QString &owner) {
    if (owner == _owner)
        return;
    ++_generation;
    forgetCalls();
    _heldSignals.clear();
    _objects.clear();
    _owner = owner;
    if (isAnswering() || owner.isEmpty())
        lose(QStringLiteral("it has ended"));
    // A listener's client may do anything, but not change the owner: that comes from the bus.
    if (!_owner.isEmpty())
        askForState();
}

void AvahiBus::askForState() {
    call(serverPath, serverInterface, QStringLiteral("GetState"), {},
         [this](const QDBusMessage &reply) {
             if (reply.type() == QDBusMessage::ReplyMessage)
                 setServerState(reply.arguments().value(0).toInt());
             else
                 lose(errorText(reply));
         });
}

void AvahiBus::serverStateChanged(const QDBusMessage &message) {
    if (message.service() == _owner && message.signature() == QStringLiteral("is"))
        setServerState(message.arguments().value(0).toInt());
}

void AvahiBus::setServerState(int state) {
    if (state == Failed) {
        lose(QStringLiteral("it has failed"));
        return;
    }
    setAvailability(state == Running ? Availability::Running : Availability::Starting);
}

void AvahiBus::daemonHangs() {
    dropConnection();
    lose(QStringLiteral("it does not answer"));
    retryLater();
}

void AvahiBus::lose(const QString &reason) {
    const bool wasAnswering = isAnswering();
    if (wasAnswering || _availability == Availability::Unknown) {
        _lossDate = Date::now();
        qCInfo(logDnsSd).noquote() << QStringLiteral("no Avahi daemon: %1").arg(reason);
    }
    _lossReason = reason;
    if (wasAnswering) {
        // Until all have let go of what the daemon kept for them, none may ask for more.
        _availability = Availability::Absent;
        callListeners(&Listener::daemonLost);
        callListeners(&Listener::afterDaemonLost);
        callCopyOf(onAvailability, Availability::Absent);
        return;
    }
    setAvailability(Availability::Absent);
}

void AvahiBus::setAvailability(Availability availability) {
    if (_availability == availability)
        return;
    _availability = availability;
    if (isAnswering())
        callListeners(&Listener::daemonAnswers);
    callCopyOf(onAvailability, availability);
}

void AvahiBus::callListeners(void (Listener::*notice)()) {
    // A listener's client may destroy any of them.
    const std::vector<Listener *> listeners = _listeners;
    for (Listener *listener : listeners) {
        if (std::find(_listeners.begin(), _listeners.end(), listener) != _listeners.end())
            (listener->*notice)();
    }
}

void AvahiBus::call(const QString &path, const QString &interface, const QString &member,
                    const QVariantList &arguments, Reply reply) {
    if (!_bus || _owner.isEmpty())
        return;
    QDBusMessage message = QDBusMessage::createMethodCall(_owner, path, interface, member);
    message.setArguments(arguments);
    _waitingCalls.push_back({message, std::move(reply)});
    sendCalls();
}

void AvahiBus::sendCalls() {
    while (_bus && _openCalls < maximumOpenCalls && !_waitingCalls.empty()) {
        Call next = std::move(_waitingCalls.front());
        _waitingCalls.pop_front();
        ++_openCalls;
        auto *watcher = new QDBusPendingCallWatcher(
            _bus->asyncCall(next.message, callTimeoutMilliseconds), this);
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
        daemonHangs();
        return;
    }
    sendCalls();
    reply(answer);
}

void AvahiBus::forgetCalls() {
    _waitingCalls.clear();
    _openCalls = 0;
    _creations = 0;
}

void AvahiBus::send(const QString &path, const QString &interface, const QString &member) {
    if (_bus && !_owner.isEmpty())
        _bus->send(QDBusMessage::createMethodCall(_owner, path, interface, member));
}

void AvahiBus::objectSignal(const QDBusMessage &message) {
    if (message.service() != _owner)
        return;
    if (AvahiBusObject *object = _objects.value(message.path()))
        callCopyOf(object->onSignal, message);
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
            callCopyOf(object->onSignal, message);
    }
}

void AvahiBus::creationEnds() {
    if (--_creations == 0)
        _heldSignals.clear();
}

AvahiBusObject::AvahiBusObject(AvahiBus &bus, const QString &kind)
    : _bus(bus)
    , _interface(avahiService + u'.' + kind)
    , _generation(bus.generation()) {}

AvahiBusObject::~AvahiBusObject() {
    // A daemon started since then gives the same paths to other objects.
    if (_path.isEmpty() || _generation != _bus.generation())
        return;
    _bus.unroute(_path);
    _bus.send(_path, _interface, QStringLiteral("Free"));
}

void AvahiBusObject::create(const QString &interface, const QString &member,
                            const QVariantList &arguments) {
    _bus.creationBegins();
    _bus.call(serverPath, avahiService + u'.' + interface, member, arguments,
              [&bus = _bus, kind = _interface, generation = _generation,
               weak = std::weak_ptr(_self)](const QDBusMessage &reply) {
                  if (const auto self = weak.lock()) {
                      (*self)->created(reply);
                  } else if (reply.type() == QDBusMessage::ReplyMessage) {
                      const auto path = reply.arguments().value(0).value<QDBusObjectPath>();
                      bus.send(path.path(), kind, QStringLiteral("Free"));
                  }
                  if (generation == bus.generation())
                      bus.creationEnds();
              });
}

void AvahiBusObject::created(const QDBusMessage &reply) {
    const QString path = reply.arguments().value(0).value<QDBusObjectPath>().path();
    if (reply.type() != QDBusMessage::ReplyMessage || path.isEmpty()) {
        callCopyOf(onError, errorText(reply));
        return;
    }
    _path = path;
    AvahiBus &bus = _bus;
    bus.route(path, *this);
    callCopyOf(onCreated);
    bus.deliverHeldSignals(path);
}

void AvahiBusObject::call(const QString &member, const QVariantList &arguments,
                          AvahiBus::Reply reply) {
    _bus.call(_path, _interface, member, arguments,
              [weak = std::weak_ptr(_self), reply = std::move(reply)](const QDBusMessage &answer) {
                  if (!weak.expired())
                      reply(answer);
              });
}

void AvahiBusObject::start() {
    call(QStringLiteral("Start"), {}, [this](const QDBusMessage &answer) {
        if (answer.type() != QDBusMessage::ReplyMessage)
            callCopyOf(onError, errorText(answer));
    });
}

} // namespace clipmule::dnssd
