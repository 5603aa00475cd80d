// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/dbus/SessionNames.h"

#include "platform/dbus/BusConnection.h"

#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>

namespace clipmule {

namespace {
// The bus itself answers, at once; after this long it is stuck.
constexpr int timeoutInMilliseconds = 2000;
} // namespace

class SessionNames::Private final : public QObject {
public:
    void findOwner(const QString &name, std::function<void(std::optional<bool>)> answer) {
        if (!_bus.open()) {
            QMetaObject::invokeMethod(
                this, [answer = std::move(answer)] { answer(std::nullopt); }, Qt::QueuedConnection);
            return;
        }
        QDBusMessage message = QDBusMessage::createMethodCall(
            QStringLiteral("org.freedesktop.DBus"), QStringLiteral("/org/freedesktop/DBus"),
            QStringLiteral("org.freedesktop.DBus"), QStringLiteral("NameHasOwner"));
        message << name;
        // Owned by this object, so that no answer comes after its end.
        auto *watcher = new QDBusPendingCallWatcher(
            _bus.connection().asyncCall(message, timeoutInMilliseconds), this);
        connect(watcher, &QDBusPendingCallWatcher::finished, this,
                [answer = std::move(answer)](QDBusPendingCallWatcher *call) {
                    const QDBusPendingReply<bool> reply = *call;
                    call->deleteLater();
                    answer(reply.isError() ? std::nullopt : std::optional(reply.value()));
                });
    }

private:
    BusConnection _bus{BusConnection::Bus::Session};
};

SessionNames::SessionNames()
    : _private(std::make_unique<Private>()) {}

SessionNames::~SessionNames() = default;

void SessionNames::findOwner(const QString &name,
                             std::function<void(std::optional<bool> owned)> answer) {
    _private->findOwner(name, std::move(answer));
}

} // namespace clipmule
