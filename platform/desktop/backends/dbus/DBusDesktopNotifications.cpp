// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/desktop/DesktopNotifications.h"

#include "platform/dbus/BusConnection.h"

#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>

#include <optional>

namespace clipmule {

namespace {

// How long a message is shown, in milliseconds: as long as the message panel stays.
constexpr int shownFor = 5000;

class DBusDesktopNotifications final : public DesktopNotifications {
public:
    void notify(const QString &title, const QString &text) override {
        if (!_bus.open())
            return;
        _title = title;
        _text = text;
        // Of several messages that come while the server is being asked, only the last is shown.
        if (_readsMarkup)
            send();
        else if (!_asking)
            askWhetherMarkupIsRead();
    }

private:
    void askWhetherMarkupIsRead() {
        _asking = true;
        ask<QStringList>(call(QStringLiteral("GetCapabilities")), [this](const auto &reply) {
            _asking = false;
            // A server that does not answer is asked again: it may be another one next time.
            if (!reply.isError())
                _readsMarkup = reply.value().contains(QStringLiteral("body-markup"));
            send();
        });
    }

    void send() {
        QDBusMessage message = call(QStringLiteral("Notify"));
        const QVariantMap hints{
            {QStringLiteral("desktop-entry"), QStringLiteral("com.zendrik.ClipmuleSync")},
            {QStringLiteral("transient"), true}};
        // The text is plain; where the body is markup, it must not be read as such.
        message << _title << _last << QStringLiteral("com.zendrik.ClipmuleSync") << _title
                << (_readsMarkup.value_or(true) ? _text.toHtmlEscaped() : _text) << QStringList()
                << hints << shownFor;
        ask<uint>(message, [this](const auto &reply) {
            if (!reply.isError())
                _last = reply.value();
        });
    }

    template <typename Value, typename Then>
    void ask(const QDBusMessage &question, Then then) {
        auto *const watcher =
            new QDBusPendingCallWatcher(_bus.connection().asyncCall(question), &_bus);
        QObject::connect(watcher, &QDBusPendingCallWatcher::finished, &_bus, [watcher, then] {
            watcher->deleteLater();
            then(QDBusPendingReply<Value>(*watcher));
        });
    }

    [[nodiscard]] static QDBusMessage call(const QString &method) {
        const QString name = QStringLiteral("org.freedesktop.Notifications");
        return QDBusMessage::createMethodCall(
            name, QStringLiteral("/org/freedesktop/Notifications"), name, method);
    }

    QString _title;
    QString _text;
    bool _asking = false;
    std::optional<bool> _readsMarkup;
    BusConnection _bus{BusConnection::Bus::Session};
    // The number of the notification that is replaced; 0 for none.
    uint _last = 0;
};

} // namespace

std::unique_ptr<DesktopNotifications> makeDesktopNotifications() {
    return std::make_unique<DBusDesktopNotifications>();
}

} // namespace clipmule
