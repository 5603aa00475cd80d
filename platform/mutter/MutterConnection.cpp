// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/mutter/MutterConnection.h"

#include <QDBusPendingCallWatcher>
#include <QDBusReply>

#include <limits>

namespace clipmule {

namespace {

const QString compositor = QStringLiteral("org.gnome.Mutter.RemoteDesktop");
// Who waits for an answer has limits of its own.
constexpr int noTimeout = std::numeric_limits<int>::max();

QDBusMessage whoOwnsTheName() {
    QDBusMessage question = QDBusMessage::createMethodCall(
        QStringLiteral("org.freedesktop.DBus"), QStringLiteral("/org/freedesktop/DBus"),
        QStringLiteral("org.freedesktop.DBus"), QStringLiteral("GetNameOwner"));
    question << compositor;
    return question;
}

} // namespace

MutterConnection::MutterConnection() {
    _watcher.setWatchMode(QDBusServiceWatcher::WatchForOwnerChange);
    _watcher.addWatchedService(compositor);
    connect(&_watcher, &QDBusServiceWatcher::serviceOwnerChanged, this,
            [this](const QString &, const QString &, const QString &owner) { setOwner(owner); });
    connect(&_bus, &BusConnection::opened, this, [this] {
        follow();
        call(whoOwnsTheName(), this,
             [this](const QDBusMessage &answer) { setOwner(QDBusReply<QString>(answer).value()); });
    });
    connect(&_bus, &BusConnection::lost, this, [this] { setOwner({}); });
}

std::shared_ptr<MutterConnection> MutterConnection::open() {
    auto connection = std::make_shared<MutterConnection>();
    if (!connection->_bus.open())
        return nullptr;
    connection->follow();
    const QDBusReply<QString> owner =
        connection->_bus.connection().call(whoOwnsTheName(), QDBus::Block, int(patience.count()));
    connection->setOwner(owner.value());
    return connection->isThere() ? connection : nullptr;
}

void MutterConnection::follow() {
    QDBusConnection bus = _bus.connection();
    // Of any sender, and looked at on arrival: naming the sender would make the library ask for it.
    for (const char *const signal : {"SelectionOwnerChanged", "SelectionTransfer", "Closed"})
        bus.connect(QString(), QString(), mutterSessionInterface, QString::fromLatin1(signal), this,
                    SLOT(hear(QDBusMessage)));
    _watcher.setConnection(bus);
}

void MutterConnection::setOwner(const QString &owner) {
    if (owner == _owner)
        return;
    _owner = owner;
    Q_EMIT ownerChanged();
}

void MutterConnection::hear(const QDBusMessage &signal) {
    if (isThere() && signal.service() == _owner)
        Q_EMIT sessionSaid(signal);
}

void MutterConnection::call(const QString &path, const QString &interface, const QString &method,
                            const QVariantList &arguments, QObject *asker, const Answer &answer) {
    QDBusMessage message = QDBusMessage::createMethodCall(_owner, path, interface, method);
    message.setArguments(arguments);
    call(message, asker, answer);
}

void MutterConnection::call(const QDBusMessage &message, QObject *asker, const Answer &answer) {
    auto *const watcher =
        new QDBusPendingCallWatcher(_bus.connection().asyncCall(message, noTimeout), asker);
    connect(watcher, &QDBusPendingCallWatcher::finished, asker,
            [answer](QDBusPendingCallWatcher *answered) {
                answered->deleteLater();
                answer(answered->reply());
            });
}

} // namespace clipmule
