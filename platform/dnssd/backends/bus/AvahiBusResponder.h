// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/dbus/BusConnection.h"
#include "platform/dnssd/Responder.h"
#include "platform/foundation/Date.h"

#include <QDBusMessage>
#include <QHash>

#include <deque>

namespace clipmule::dnssd {

class AvahiBusObject;

/// avahi-daemon on the system bus: whether the daemon is there, the calls to it, and the delivery
/// of its signals. It comes and goes with the daemon and with the bus.
///
/// Every call is asynchronous. A daemon that does not answer a call counts as lost, and the
/// connection is dropped: when it wakes up it then forgets what it was asked for.
class AvahiBusResponder final : public QObject, public Responder {
    Q_OBJECT

public:
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

    AvahiBusResponder();

    /// Begins to look for the daemon, on the next turn of the run loop.
    void begin() override;
    [[nodiscard]] Availability availability() const override { return _availability; }
    [[nodiscard]] QString description() const override;

    [[nodiscard]] std::unique_ptr<Browse> browse(const QString &type) override;
    [[nodiscard]] std::unique_ptr<Question> resolve(const ServiceName &service,
                                                    AddressQuestion question) override;
    [[nodiscard]] std::unique_ptr<RecordWatch> watchTxtRecord(const ServiceName &service) override;
    [[nodiscard]] std::unique_ptr<EntryGroup> publish(const ServiceName &service, quint16 port,
                                                      const QByteArray &txtRecord) override;

    /// Calls the daemon, in the order of the calls. The reply may be an error; there is none when
    /// the daemon is lost before.
    void call(const QString &path, const QString &interface, const QString &member,
              const QVariantList &arguments, Reply reply);
    /// The same for a call whose answer is of no interest. Nothing is sent once the daemon is lost.
    void send(const QString &path, const QString &interface, const QString &member);

    // Called by AvahiBusObject.
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

private:
    struct Call {
        QDBusMessage message;
        Reply reply;
    };

    void look();
    void subscribe();
    void enqueue(const QDBusMessage &message, Reply reply);
    void sendCalls();
    void callEnds(const QDBusMessage &answer, const Reply &reply);
    void askForState();
    void setServerState(int state);
    void forget();
    void lose(const QString &reason);
    void setAvailability(Availability availability);

    BusConnection _bus{BusConnection::Bus::System, retryInterval};
    QString _owner;          // the daemon's unique name; empty until it has answered
    quint64 _generation = 1; // changes with everything that makes the daemon forget us
    bool _begun = false;
    Availability _availability = Availability::Unknown;
    QString _lossReason;
    Date _lossDate;
    RunLoop::Timer _look;
    std::deque<Call> _waitingCalls;
    bool _wasToldState = false; // by a signal, since it was asked for
    int _openCalls = 0;
    QHash<QString, AvahiBusObject *> _objects;
    int _creations = 0;
    QList<QDBusMessage> _heldSignals;
};

/// One object that the daemon keeps for us, freed with this. It is made by a call that answers with
/// its path, and is to be destroyed when the daemon is lost.
class AvahiBusObject final {
public:
    /// The kind is the last part of the interface's name, like "EntryGroup".
    AvahiBusObject(AvahiBusResponder &bus, const QString &kind);
    ~AvahiBusObject();
    Q_DISABLE_COPY_MOVE(AvahiBusObject)

    // Each may destroy the object. All are set before create().

    /// The daemon has made the object.
    std::function<void()> onCreated;
    std::function<void(const QDBusMessage &signal)> onSignal;
    /// The object could not be made, or a call ended with an error.
    std::function<void(const QDBusMessage &error)> onRefused;

    /// Asks the daemon for the object; to be called once. The member belongs to the server's
    /// interface: "Server" or, for the objects that are started, "Server2".
    void create(const QString &serverInterface, const QString &member,
                const QVariantList &arguments);
    void call(const QString &member, const QVariantList &arguments,
              std::function<void()> done = {});

private:
    void answered(const QDBusMessage &reply);

    AvahiBusResponder &_bus;
    const QString _interface;
    QString _path;
    std::shared_ptr<AvahiBusObject *> _self = std::make_shared<AvahiBusObject *>(this);
};

} // namespace clipmule::dnssd
