// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/session/SessionPrograms.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QObject>
#include <QProcess>

namespace clipmule {

namespace {

// Keeps the list of names current by itself: asking when the answer is needed would block on the
// bus.
class DBusSessionPrograms final : public QObject, public SessionPrograms {
    Q_OBJECT

public:
    DBusSessionPrograms()
        : _bus(QDBusConnection::sessionBus()) {
        if (!_bus.isConnected())
            return;
        const QString bus = QStringLiteral("org.freedesktop.DBus");
        _bus.connect(bus, QStringLiteral("/org/freedesktop/DBus"), bus,
                     QStringLiteral("NameOwnerChanged"), this,
                     SLOT(nameOwnerChanged(QString, QString, QString)));
        auto *const watcher = new QDBusPendingCallWatcher(
            _bus.interface()->asyncCall(QStringLiteral("ListNames")), this);
        QObject::connect(watcher, &QDBusPendingCallWatcher::finished, this, [this, watcher] {
            const QDBusPendingReply<QStringList> reply = *watcher;
            watcher->deleteLater();
            if (reply.isError())
                return;
            for (const QString &name : reply.value())
                note(name, true);
        });
    }

    [[nodiscard]] QStringList launchedApplications() const override { return _names; }

    void activate(const QString &identifier, const QString &executable) override {
        QDBusMessage call = message(identifier, QStringLiteral("Activate"));
        call << QVariantMap();
        auto *const watcher = new QDBusPendingCallWatcher(_bus.asyncCall(call), this);
        QObject::connect(watcher, &QDBusPendingCallWatcher::finished, this, [watcher, executable] {
            const QDBusPendingReply<> reply = *watcher;
            watcher->deleteLater();
            if (reply.isError() && isAbsence(reply.error()) && !executable.isEmpty())
                QProcess::startDetached(executable, {});
        });
    }

    void quit(const QString &identifier) override {
        QDBusMessage call = message(identifier, QStringLiteral("ActivateAction"));
        call << QStringLiteral("quit") << QVariantList() << QVariantMap();
        // A program that is not running is not started in order to quit.
        call.setAutoStartService(false);
        _bus.send(call);
    }

private Q_SLOTS:
    void nameOwnerChanged(const QString &name, const QString &, const QString &newOwner) {
        note(name, !newOwner.isEmpty());
    }

private:
    static QDBusMessage message(const QString &identifier, const QString &method) {
        QString path = identifier;
        path.replace(u'.', u'/').replace(u'-', u'_').prepend(u'/');
        return QDBusMessage::createMethodCall(
            identifier, path, QStringLiteral("org.freedesktop.Application"), method);
    }

    // There is no such program on the bus, and nothing that the bus could start.
    static bool isAbsence(const QDBusError &error) {
        return error.type() == QDBusError::ServiceUnknown ||
               error.type() == QDBusError::Disconnected ||
               error.name().startsWith(u"org.freedesktop.DBus.Error.Spawn.");
    }

    void note(const QString &name, bool present) {
        // Unique names (":1.42") are connections, not programs.
        if (name.startsWith(u':'))
            return;
        if (!present)
            _names.removeAll(name);
        else if (!_names.contains(name))
            _names.append(name);
    }

    QDBusConnection _bus;
    QStringList _names;
};

} // namespace

std::unique_ptr<SessionPrograms> makeSessionPrograms() {
    return std::make_unique<DBusSessionPrograms>();
}

} // namespace clipmule

#include "DBusSessionPrograms.moc"
