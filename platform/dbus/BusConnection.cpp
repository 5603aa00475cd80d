// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/dbus/BusConnection.h"

#include "platform/foundation/Log.h"

#include <QDBusError>
#include <QFile>

namespace clipmule {

namespace {

// Without an address the client library would start a bus of its own, which nobody else is on and
// which outlives this program.
bool sessionBusIsKnown() {
    return qEnvironmentVariableIsSet("DBUS_SESSION_BUS_ADDRESS") ||
           QFile::exists(qEnvironmentVariable("XDG_RUNTIME_DIR") + QStringLiteral("/bus"));
}

QString freshConnectionName() {
    static int count = 0;
    return QStringLiteral("clipmule-%1").arg(++count);
}

} // namespace

BusConnection::BusConnection(Bus bus, RunLoop::Seconds interval)
    : _bus(bus)
    , _interval(interval) {}

BusConnection::~BusConnection() {
    close();
}

bool BusConnection::open() {
    if (isOpen())
        return true;
    if (_retry.isPending())
        return false;
    dropConnection();
    if (connectToBus())
        return true;
    retryLater();
    return false;
}

void BusConnection::close() {
    _retry.cancel();
    dropConnection();
}

bool BusConnection::isOpen() const {
    return _connection && _connection->isConnected();
}

bool BusConnection::connectToBus() {
    if (_bus == Bus::Session && !sessionBusIsKnown())
        return false;
    const QString name = freshConnectionName();
    QDBusConnection connection = QDBusConnection::connectToBus(
        _bus == Bus::Session ? QDBusConnection::SessionBus : QDBusConnection::SystemBus, name);
    if (!connection.isConnected()) {
        qCDebug(logDBus).noquote() << "no bus:" << connection.lastError().message();
        QDBusConnection::disconnectFromBus(name);
        return false;
    }
    connection.connect(QString(), QStringLiteral("/org/freedesktop/DBus/Local"),
                       QStringLiteral("org.freedesktop.DBus.Local"), QStringLiteral("Disconnected"),
                       this, SLOT(busWentAway()));
    _connection.emplace(connection);
    return true;
}

void BusConnection::dropConnection() {
    if (!_connection)
        return;
    const QString name = _connection->name();
    _connection.reset();
    QDBusConnection::disconnectFromBus(name);
}

void BusConnection::busWentAway() {
    if (!_connection || _connection->isConnected())
        return;
    dropConnection();
    retryLater();
    Q_EMIT lost();
}

void BusConnection::retryLater() {
    _retry = RunLoop::current().performAfter(_interval, [this] {
        if (connectToBus())
            Q_EMIT opened();
        else
            retryLater();
    });
}

} // namespace clipmule
