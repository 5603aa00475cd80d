// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/dbus/BusConnection.h"
#include "platform/session/backends/dbus/DBusStatusInterface.h"

#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>

namespace clipmule {

namespace {

// The agent answers from memory; after this long it is stuck.
constexpr int timeoutInMilliseconds = 2000;

class DBusStatusReader final : public QObject, public StatusReader {
    Q_OBJECT

public:
    DBusStatusReader() {
        connect(&_bus, &BusConnection::opened, this, &DBusStatusReader::follow);
        connect(&_bus, &BusConnection::lost, this, [this] { become(Agent::Unknown); });
    }

    void start() override {
        StatusOnBus::registerTypes();
        if (_bus.open())
            follow();
        else
            _first = RunLoop::current().performAfter(RunLoop::Seconds(0), [this] { tell(); });
    }

    [[nodiscard]] Agent agent() const override { return _agent; }
    [[nodiscard]] const std::optional<AgentStatus> &status() const override { return _status; }
    [[nodiscard]] bool hasBus() const override { return _bus.isOpen(); }

private Q_SLOTS:
    void ownerChanged(const QString &, const QString &, const QString &newOwner) {
        if (newOwner.isEmpty())
            become(Agent::NotRunning);
        else
            ask();
    }

    void propertiesChanged(const QString &interface, const QVariantMap &changes,
                           const QStringList &invalidated) {
        if (interface != StatusOnBus::interface)
            return;
        if (_agent != Agent::Running || !invalidated.isEmpty()) {
            ask();
            return;
        }
        _properties.insert(changes);
        take();
    }

private:
    void follow() {
        QDBusConnection bus = _bus.connection();
        const QString daemon = QStringLiteral("org.freedesktop.DBus");
        bus.connect(daemon, QStringLiteral("/org/freedesktop/DBus"), daemon,
                    QStringLiteral("NameOwnerChanged"), {StatusOnBus::service}, QString(), this,
                    SLOT(ownerChanged(QString, QString, QString)));
        bus.connect(StatusOnBus::service, StatusOnBus::path, StatusOnBus::propertiesInterface,
                    QStringLiteral("PropertiesChanged"), this,
                    SLOT(propertiesChanged(QString, QVariantMap, QStringList)));
        ask();
    }

    void ask() {
        QDBusMessage call = QDBusMessage::createMethodCall(StatusOnBus::service, StatusOnBus::path,
                                                           StatusOnBus::propertiesInterface,
                                                           QStringLiteral("GetAll"));
        call << StatusOnBus::interface;
        call.setAutoStartService(false);
        // Owned by this object, so that no answer comes after its end; an older one is of no use.
        _call = std::make_unique<QDBusPendingCallWatcher>(
            _bus.connection().asyncCall(call, timeoutInMilliseconds));
        connect(_call.get(), &QDBusPendingCallWatcher::finished, this,
                [this](QDBusPendingCallWatcher *finished) {
                    _call.release()->deleteLater();
                    answered(*finished);
                });
    }

    void answered(const QDBusPendingReply<QVariantMap> &reply) {
        if (!reply.isError()) {
            _properties = reply.value();
            _agent = Agent::Running;
            take();
            return;
        }
        const auto kind = reply.error().type();
        if (kind == QDBusError::ServiceUnknown ||
            reply.error().name() == u"org.freedesktop.DBus.Error.NameHasNoOwner")
            become(Agent::NotRunning);
        else
            become(kind == QDBusError::Disconnected ? Agent::Unknown : Agent::Silent);
    }

    void take() {
        _status = StatusOnBus::fromProperties(_properties);
        tell();
    }

    void become(Agent agent) {
        _call.reset();
        _agent = agent;
        _properties.clear();
        _status.reset();
        tell();
    }

    void tell() {
        if (const auto slot = onChange)
            slot();
    }

    BusConnection _bus{BusConnection::Bus::Session};
    std::unique_ptr<QDBusPendingCallWatcher> _call;
    Agent _agent = Agent::Unknown;
    QVariantMap _properties;
    std::optional<AgentStatus> _status;
    RunLoop::Timer _first;
};

} // namespace

std::unique_ptr<StatusReader> makeStatusReader() {
    return std::make_unique<DBusStatusReader>();
}

} // namespace clipmule

#include "DBusStatusReader.moc"
