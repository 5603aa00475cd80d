// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/mutter/MutterSession.h"

#include "platform/foundation/Log.h"

#include <QDBusObjectPath>
#include <QDBusReply>

#include <utility>

namespace clipmule {

MutterSession::MutterSession(std::shared_ptr<MutterConnection> connection)
    : _connection(std::move(connection)) {
    connect(_connection.get(), &MutterConnection::sessionSaid, this, &MutterSession::hear);
    connect(_connection.get(), &MutterConnection::ownerChanged, this, [this] {
        close();
        ask();
    });
}

void MutterSession::ask() {
    _retry.cancel();
    const quint64 request = ++_request;
    if (!_connection->isThere())
        return;
    _retry = RunLoop::current().performAfter(
        answerLimit, [] { qCWarning(logWayland, "the compositor does not answer us"); });
    _connection->call(QStringLiteral("/org/gnome/Mutter/RemoteDesktop"),
                      QStringLiteral("org.gnome.Mutter.RemoteDesktop"),
                      QStringLiteral("CreateSession"), {}, this,
                      [this, request](const QDBusMessage &answer) {
                          if (request == _request)
                              answered(answer);
                      });
}

void MutterSession::answered(const QDBusMessage &answer) {
    _retry.cancel();
    const QDBusReply<QDBusObjectPath> path = answer;
    if (!path.isValid()) {
        if (!std::exchange(_wasRefused, true))
            qCInfo(logWayland).noquote() << "the compositor gives us no session at the moment:"
                                         << cutForLog(path.error().message());
        askLater();
        return;
    }
    _wasRefused = false;
    _path = path.value().path();
    if (onOpened)
        onOpened();
}

void MutterSession::askLater() {
    _retry = RunLoop::current().performAfter(retryInterval, [this] { ask(); });
}

void MutterSession::renew() {
    _path.clear();
    ask();
}

void MutterSession::close() {
    ++_life;
    const bool wasOpen = !std::exchange(_path, QString()).isEmpty();
    if (wasOpen && onClosed)
        onClosed();
}

void MutterSession::hear(const QDBusMessage &signal) {
    if (!isOpen() || signal.path() != _path)
        return;
    if (signal.member() == u"Closed") {
        close();
        askLater();
    } else if (onSignal) {
        onSignal(signal);
    }
}

void MutterSession::call(const QString &method, const QVariantList &arguments,
                         const MutterConnection::Answer &answer) {
    _connection->call(_path, mutterSessionInterface, method, arguments, this,
                      [this, life = _life, answer](const QDBusMessage &message) {
                          if (life == _life && answer)
                              answer(message);
                      });
}

} // namespace clipmule
