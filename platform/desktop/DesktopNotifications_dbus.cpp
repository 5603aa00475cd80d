// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/desktop/DesktopNotifications.h"

#include "platform/dbus/BusConnection.h"

#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>

namespace clipmule {

namespace {

// In milliseconds, as long as the message panel stays.
constexpr int shownFor = 5000;

class DesktopNotificationsOnBus final : public DesktopNotifications {
public:
    void notify(const QString &title, const QString &text) override {
        if (!_bus.open())
            return;
        const QString name = QStringLiteral("org.freedesktop.Notifications");
        QDBusMessage call = QDBusMessage::createMethodCall(
            name, QStringLiteral("/org/freedesktop/Notifications"), name, QStringLiteral("Notify"));
        const QVariantMap hints{
            {QStringLiteral("desktop-entry"), QStringLiteral("com.zendrik.ClipmuleSync")},
            {QStringLiteral("transient"), true}};
        // The text is plain; the body of a notification may be read as markup.
        call << title << _last << QStringLiteral("com.zendrik.ClipmuleSync") << title
             << text.toHtmlEscaped() << QStringList() << hints << shownFor;
        auto *const watcher = new QDBusPendingCallWatcher(_bus.connection().asyncCall(call), &_bus);
        QObject::connect(watcher, &QDBusPendingCallWatcher::finished, &_bus, [this, watcher] {
            const QDBusPendingReply<uint> reply = *watcher;
            watcher->deleteLater();
            if (!reply.isError())
                _last = reply.value();
        });
    }

private:
    BusConnection _bus{BusConnection::Bus::Session};
    // The number of the one that is replaced; 0 for none.
    uint _last = 0;
};

} // namespace

std::unique_ptr<DesktopNotifications> makeDesktopNotifications() {
    return std::make_unique<DesktopNotificationsOnBus>();
}

} // namespace clipmule
