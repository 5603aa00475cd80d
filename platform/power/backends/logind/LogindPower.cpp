// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/dbus/BusConnection.h"
#include "platform/foundation/Log.h"
#include "platform/power/SystemPower.h"

#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDBusServiceWatcher>
#include <QDBusUnixFileDescriptor>

namespace clipmule {

namespace {

const QString manager = QStringLiteral("org.freedesktop.login1");
const QString managerPath = QStringLiteral("/org/freedesktop/login1");
const QString managerInterface = QStringLiteral("org.freedesktop.login1.Manager");
constexpr int timeoutInMilliseconds = 2000;
// The token of messages that hold nothing back.
constexpr quint64 holdsNothing = 0;

class LogindPower final : public QObject, public SystemPower {
    Q_OBJECT

public:
    LogindPower() {
        connect(&_bus, &BusConnection::opened, this, &LogindPower::begin);
        connect(&_bus, &BusConnection::lost, this, [this] {
            dropWatcher();
            setOwner(QString());
        });
    }

    bool registerForSystemPower(Callback callback) override {
        deregisterForSystemPower();
        _callback = std::move(callback);
        if (_bus.open())
            begin();
        else
            qCInfo(logPower) << "no system bus: sleep and shutdown are not noticed";
        return true;
    }

    void deregisterForSystemPower() override {
        ++_registration;
        _callback = nullptr;
        dropWatcher();
        _owner.clear();
        _bus.close();
        releaseLock();
        _isAsleep = false;
    }

    void allowPowerChange(quint64 argument) override {
        if (argument != holdsNothing && argument == _heldMessage)
            releaseLock();
    }

private Q_SLOTS:
    void prepareForSleep(bool begins, const QDBusMessage &signal) {
        if (!isFromManager(signal))
            return;
        if (begins)
            announce(PowerMessage::SystemWillSleep);
        else
            wake();
    }

    // Newer managers send this one first; it alone tells a restart.
    void prepareForShutdownWithMetadata(bool begins, const QVariantMap &metadata,
                                        const QDBusMessage &signal) {
        static const QStringList restarts{QStringLiteral("reboot"), QStringLiteral("kexec"),
                                          QStringLiteral("soft-reboot")};
        if (isFromManager(signal))
            _isRestart =
                begins && restarts.contains(metadata.value(QStringLiteral("type")).toString());
    }

    void prepareForShutdown(bool begins, const QDBusMessage &signal) {
        if (!isFromManager(signal))
            return;
        const bool isRestart = std::exchange(_isRestart, false);
        if (begins)
            announce(isRestart ? PowerMessage::SystemWillRestart
                               : PowerMessage::SystemWillPowerOff);
        else
            takeLock(); // called off
    }

private:
    void begin() {
        QDBusConnection bus = _bus.connection();
        // Signals of any sender are received, and looked at on arrival: naming the sender would
        // make the library ask the bus for it, and wait.
        bus.connect(QString(), managerPath, managerInterface, QStringLiteral("PrepareForSleep"),
                    this, SLOT(prepareForSleep(bool, QDBusMessage)));
        bus.connect(QString(), managerPath, managerInterface, QStringLiteral("PrepareForShutdown"),
                    this, SLOT(prepareForShutdown(bool, QDBusMessage)));
        bus.connect(QString(), managerPath, managerInterface,
                    QStringLiteral("PrepareForShutdownWithMetadata"), this,
                    SLOT(prepareForShutdownWithMetadata(bool, QVariantMap, QDBusMessage)));
        dropWatcher();
        _watcher =
            new QDBusServiceWatcher(manager, bus, QDBusServiceWatcher::WatchForOwnerChange, this);
        connect(
            _watcher, &QDBusServiceWatcher::serviceOwnerChanged, this,
            [this](const QString &, const QString &, const QString &owner) { setOwner(owner); });

        QDBusMessage message = QDBusMessage::createMethodCall(
            QStringLiteral("org.freedesktop.DBus"), QStringLiteral("/org/freedesktop/DBus"),
            QStringLiteral("org.freedesktop.DBus"), QStringLiteral("GetNameOwner"));
        message << manager;
        call<QString>(message, [this](const QDBusPendingReply<QString> &reply) {
            // No owner is an error, and nothing to speak of: the watcher tells when one comes.
            if (!reply.isError() && _owner.isEmpty())
                setOwner(reply.value());
        });
    }

    void dropWatcher() {
        if (!_watcher)
            return;
        _watcher->disconnect(this);
        // The watcher may be on the stack.
        std::exchange(_watcher, nullptr)->deleteLater();
    }

    void setOwner(const QString &owner) {
        if (owner == _owner || !_callback)
            return;
        _owner = owner;
        if (owner.isEmpty())
            return;
        takeLock();
        // The login manager that would have told of the waking is gone. A new one runs, so we are
        // awake.
        if (_isAsleep)
            wake();
    }

    void takeLock() {
        if (_owner.isEmpty())
            return;
        QDBusMessage message = QDBusMessage::createMethodCall(
            manager, managerPath, managerInterface, QStringLiteral("Inhibit"));
        message << QStringLiteral("sleep:shutdown") << QStringLiteral("Clipmule Sync")
                << QStringLiteral("Phones are told that the computer goes away")
                << QStringLiteral("delay");
        message.setAutoStartService(false);
        const quint64 request = ++_lastLockRequest;
        call<QDBusUnixFileDescriptor>(
            message, [this, request](const QDBusPendingReply<QDBusUnixFileDescriptor> &reply) {
                if (reply.isError())
                    qCInfo(logPower).noquote()
                        << "sleep cannot be put off:" << reply.error().message();
                else if (request == _lastLockRequest)
                    _lock = reply.value();
            });
    }

    void releaseLock() {
        // An answer still on its way is of no use either.
        ++_lastLockRequest;
        _heldMessage = holdsNothing;
        _lock = QDBusUnixFileDescriptor();
    }

    void announce(PowerMessage message) {
        _isAsleep = message == PowerMessage::SystemWillSleep;
        _heldMessage = ++_lastMessage;
        deliver(message, _heldMessage);
    }

    void wake() {
        _isAsleep = false;
        takeLock();
        deliver(PowerMessage::SystemHasPoweredOn, holdsNothing);
    }

    void deliver(PowerMessage message, quint64 argument) {
        // A copy: the callee may deregister.
        if (const Callback callback = _callback)
            callback(quint32(message), argument);
    }

    [[nodiscard]] bool isFromManager(const QDBusMessage &signal) const {
        return !_owner.isEmpty() && signal.service() == _owner;
    }

    template <typename Value>
    void call(const QDBusMessage &message,
              std::function<void(const QDBusPendingReply<Value> &)> answer) {
        auto *watcher = new QDBusPendingCallWatcher(
            _bus.connection().asyncCall(message, timeoutInMilliseconds), this);
        connect(watcher, &QDBusPendingCallWatcher::finished, this,
                [this, registration = _registration,
                 answer = std::move(answer)](QDBusPendingCallWatcher *pending) {
                    const QDBusPendingReply<Value> reply = *pending;
                    pending->deleteLater();
                    if (registration == _registration)
                        answer(reply);
                });
    }

    BusConnection _bus{BusConnection::Bus::System};
    QDBusServiceWatcher *_watcher = nullptr; // a child of this object
    Callback _callback;
    quint64 _registration = 0;
    QString _owner;
    QDBusUnixFileDescriptor _lock;
    quint64 _lastLockRequest = 0;
    quint64 _lastMessage = 0;
    quint64 _heldMessage = holdsNothing;
    bool _isAsleep = false;
    bool _isRestart = false;
};

} // namespace

std::unique_ptr<SystemPower> makeSystemPower() {
    return std::make_unique<LogindPower>();
}

} // namespace clipmule

#include "LogindPower.moc"
