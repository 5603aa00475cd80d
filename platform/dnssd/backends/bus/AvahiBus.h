// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/dnssd/Responder.h"
#include "platform/foundation/Date.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QHash>
#include <QObject>

#include <deque>
#include <optional>
#include <vector>

namespace clipmule::dnssd {

class AvahiBusObject;

/// The way to avahi-daemon: an own connection to the system bus, whether the daemon is there, and
/// the delivery of its signals.
///
/// Every call is asynchronous. A daemon that does not answer a call counts as lost, and the
/// connection is dropped: when it wakes up it then forgets what it was asked for.
class AvahiBus final : public QObject {
    Q_OBJECT

public:
    /// Who is told when the daemon comes and goes. Never from inside its own calls.
    class Listener {
    public:
        Listener() = default;
        virtual ~Listener() = default;
        Listener(const Listener &) = delete;
        Listener &operator=(const Listener &) = delete;
        /// Whatever the daemon kept for us is gone. Called before any onLost.
        virtual void daemonLost() = 0;
        /// The place to tell one's own client about it.
        virtual void afterDaemonLost() {}
        /// Answers, or has changed between starting and running.
        virtual void daemonAnswers() = 0;
    };
    using Reply = std::function<void(const QDBusMessage &)>;

    /// How long the daemon may take for an answer. It needs milliseconds.
    static constexpr int callTimeoutMilliseconds = 5000;
    static constexpr RunLoop::Seconds retryInterval{1.0};
    /// Signals that arrive before the answer which names their object. A browser's first ones
    /// are as many as there are services in the network.
    static constexpr qsizetype maximumHeldSignals = 4000;

    /// Calls that wait for their answers at once; the others wait for their turn. A bus refuses
    /// calls of a client that has too many open (128 on the system bus as it is delivered), and
    /// fifty phones ask for some four hundred objects when the program starts.
    static constexpr int maximumOpenCalls = 32;

    /// An empty address stands for the system bus.
    explicit AvahiBus(const QString &address);
    ~AvahiBus() override;

    /// Begins to look for the daemon, on the next turn of the run loop; only the first call does.
    void begin();
    [[nodiscard]] Availability availability() const { return _availability; }
    [[nodiscard]] bool isAnswering() const;
    std::function<void(Availability)> onAvailability;
    [[nodiscard]] QString description() const;

    void addListener(Listener &listener) { _listeners.push_back(&listener); }
    void removeListener(Listener &listener) { std::erase(_listeners, &listener); }

    /// Changes with everything that makes the daemon forget us.
    [[nodiscard]] quint64 generation() const { return _generation; }
    /// Calls the daemon, in the order of the calls. The reply may be an error; there is none when
    /// the daemon is lost before.
    void call(const QString &path, const QString &interface, const QString &member,
              const QVariantList &arguments, Reply reply);
    /// As above, the answer is of no interest.
    void send(const QString &path, const QString &interface, const QString &member);

    // For AvahiBusObject.
    void creationBegins() { ++_creations; }
    void creationEnds();
    void route(const QString &path, AvahiBusObject &object) { _objects.insert(path, &object); }
    void unroute(const QString &path) { _objects.remove(path); }
    /// Delivers what arrived for an object before its path was known.
    void deliverHeldSignals(const QString &path);

private Q_SLOTS:
    void objectSignal(const QDBusMessage &message);
    void serverStateChanged(const QDBusMessage &message);
    void ownerChanged(const QString &name, const QString &oldOwner, const QString &newOwner);
    void disconnectedFromBus();

private:
    struct Call {
        QDBusMessage message;
        Reply reply;
    };

    void connectToBus();
    void subscribe();
    void sendCalls();
    void callEnds(const QDBusMessage &answer, const Reply &reply);
    void forgetCalls();
    void dropConnection();
    void retryLater();
    void askForOwner();
    void setOwner(const QString &owner);
    void askForState();
    void setServerState(int state);
    void daemonHangs();
    void lose(const QString &reason);
    void setAvailability(Availability availability);
    void callListeners(void (Listener::*notice)());

    const QString _address;
    QString _connectionName;
    std::optional<QDBusConnection> _bus;
    QString _owner; // the daemon's unique name; empty when it is not there
    quint64 _generation = 1;
    bool _begun = false;
    Availability _availability = Availability::Unknown;
    QString _lossReason;
    Date _lossDate;
    RunLoop::Timer _retry;
    std::vector<Listener *> _listeners;
    std::deque<Call> _waitingCalls;
    int _openCalls = 0;
    QHash<QString, AvahiBusObject *> _objects;
    int _creations = 0;
    QList<QDBusMessage> _heldSignals;
};

/// One object that the daemon keeps for us, freed with this. Made by a call that answers with its
/// path; useless once the daemon is lost.
class AvahiBusObject final {
public:
    /// The kind is the last part of the interface's name, like "EntryGroup".
    AvahiBusObject(AvahiBus &bus, const QString &kind);
    ~AvahiBusObject();
    AvahiBusObject(const AvahiBusObject &) = delete;
    AvahiBusObject &operator=(const AvahiBusObject &) = delete;

    // Each may destroy the object.
    std::function<void()> onCreated;
    std::function<void(const QDBusMessage &)> onSignal;
    std::function<void(const QString &error)> onError;

    /// Only once. The member belongs to the server's interface: "Server" or, for the objects that
    /// are started, "Server2".
    void create(const QString &serverInterface, const QString &member,
                const QVariantList &arguments);
    void call(const QString &member, const QVariantList &arguments, AvahiBus::Reply reply);
    /// Calls without looking at the answer but for an error, which goes to onError.
    void start();

private:
    void created(const QDBusMessage &reply);

    AvahiBus &_bus;
    const QString _interface;
    const quint64 _generation;
    QString _path;
    std::shared_ptr<AvahiBusObject *> _self = std::make_shared<AvahiBusObject *>(this);
};

/// The short form of an error's name, or its message.
[[nodiscard]] QString errorText(const QDBusMessage &reply);
[[nodiscard]] bool isCollision(const QDBusMessage &reply);

} // namespace clipmule::dnssd
