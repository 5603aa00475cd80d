// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/dbus/BusConnection.h"
#include "platform/foundation/Log.h"
#include "platform/foundation/PlatformException.h"
#include "platform/preferences/DistributedNotifications.h"
#include "platform/propertylist/PropertyListSerialization.h"

#include <QDBusMessage>
#include <QDBusPendingCallWatcher>

#include <algorithm>

namespace clipmule {

namespace {

const QString signalPath = QStringLiteral("/com/zendrik/DistributedNotifications");
const QString signalInterface = QStringLiteral("com.zendrik.DistributedNotifications");
const QString signalMember = QStringLiteral("Posted");
// The signal's arguments: name, object, user info.
const QString signalSignature = QStringLiteral("ssay");
constexpr qsizetype longestName = 255;
constexpr int timeoutInMilliseconds = 2000;

// Names stand in the bus's match rules, where a quote would end them.
bool isValidName(const QString &name) {
    return !name.isEmpty() && name.size() <= longestName &&
           std::all_of(name.begin(), name.end(), [](QChar unit) {
               return unit > u' ' && unit < u'\x7f' && unit != u'\'' && unit != u'"' &&
                      unit != u'\\';
           });
}

class DBusDistributedNotifications final : public QObject, public DistributedNotifications {
    Q_OBJECT

public:
    DBusDistributedNotifications() {
        connect(&_bus, &BusConnection::opened, this, [this] {
            for (const QString &name : observedNames())
                didBeginToObserve(name);
            // Once the bus knows what to pass on.
            whenDelivered([this](bool) { tellMissed(); });
        });
    }

    void post(const QString &name, const QString &object,
              const PropertyList::Dictionary &userInfo) override {
        if (!isValidName(name)) {
            refuse(name, QStringLiteral("no name for a notification"));
            return;
        }
        QByteArray bytes;
        try {
            bytes = PropertyListSerialization::binary(userInfo);
        } catch (const PlatformException &exception) {
            refuse(name, exception.reason());
            return;
        }
        if (bytes.size() > largestUserInfo) {
            refuse(name, QStringLiteral("more than %1 bytes").arg(largestUserInfo));
            return;
        }
        if (openBus()) {
            QDBusMessage signal =
                QDBusMessage::createSignal(signalPath, signalInterface, signalMember);
            signal << name << object << bytes;
            if (_bus.connection().send(signal))
                return;
        }
        RunLoop::current().performSoon(delivery(name, object, userInfo));
    }

    void whenDelivered(std::function<void(bool)> callback) override {
        if (!openBus()) {
            RunLoop::current().performSoon([callback = std::move(callback)] { callback(false); });
            return;
        }
        // The bus handles one connection's messages in order: when it answers this one it has
        // passed on those before.
        const QDBusMessage call = QDBusMessage::createMethodCall(
            QStringLiteral("org.freedesktop.DBus"), QStringLiteral("/org/freedesktop/DBus"),
            QStringLiteral("org.freedesktop.DBus"), QStringLiteral("GetId"));
        auto *watcher = new QDBusPendingCallWatcher(
            _bus.connection().asyncCall(call, timeoutInMilliseconds), this);
        connect(watcher, &QDBusPendingCallWatcher::finished, this,
                [callback = std::move(callback)](QDBusPendingCallWatcher *pending) {
                    const bool delivered = !pending->isError();
                    pending->deleteLater();
                    callback(delivered);
                });
    }

private Q_SLOTS:
    void received(const QString &name, const QString &object, const QByteArray &bytes) {
        if (bytes.size() > largestUserInfo) {
            refuse(name, QStringLiteral("more than %1 bytes").arg(largestUserInfo));
            return;
        }
        const auto parsed = PropertyListSerialization::parseBinary(bytes);
        if (!parsed) {
            refuse(name, parsed.error().reason);
            return;
        }
        const auto *userInfo = parsed->as<PropertyList::Dictionary>();
        if (!userInfo) {
            refuse(name, QStringLiteral("the user info is no dictionary"));
            return;
        }
        delivery(name, object, *userInfo)();
    }

private:
    bool openBus() {
        if (_bus.open())
            return true;
        // A program that only posts asks whenDelivered().
        if (!observedNames().isEmpty() && !std::exchange(_hasSaidThatThereIsNoBus, true))
            qCWarning(logPreferences)
                << "no session bus: changed preferences reach this program only";
        return false;
    }

    void didBeginToObserve(const QString &name) override {
        if (!isValidName(name))
            refuse(name, QStringLiteral("no name for a notification"));
        else if (openBus())
            QDBusConnection(_bus.connection())
                .connect(QString(), signalPath, signalInterface, signalMember, {name},
                         signalSignature, this, SLOT(received(QString, QString, QByteArray)));
    }

    void didEndToObserve(const QString &name) override {
        if (_bus.isOpen())
            QDBusConnection(_bus.connection())
                .disconnect(QString(), signalPath, signalInterface, signalMember, {name},
                            signalSignature, this, SLOT(received(QString, QString, QByteArray)));
    }

    static void refuse(const QString &name, const QString &reason) {
        qCWarning(logPreferences).noquote()
            << "notification" << cutForLog(name) << "dropped:" << cutForLog(reason);
    }

    BusConnection _bus{BusConnection::Bus::Session};
    bool _hasSaidThatThereIsNoBus = false;
};

} // namespace

std::unique_ptr<DistributedNotifications> makeDistributedNotifications() {
    return std::make_unique<DBusDistributedNotifications>();
}

} // namespace clipmule

#include "DBusDistributedNotifications.moc"
