// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/session/ApplicationInterface.h"

#include "platform/foundation/Callbacks.h"
#include "platform/foundation/RunLoop.h"

#include <QDBusAbstractAdaptor>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>

namespace clipmule {

namespace {

const QString interface = QStringLiteral("org.freedesktop.Application");
const QString activationTokenEntry = QStringLiteral("activation-token");
const QString startupIdEntry = QStringLiteral("desktop-startup-id");
// A program that has to be started first takes its time.
constexpr int timeoutInMilliseconds = 25000;

QString pathOf(const QString &identifier) {
    QString path = identifier;
    path.replace(u'.', u'/').replace(u'-', u'_').prepend(u'/');
    return path;
}

class ApplicationAdaptor final : public QDBusAbstractAdaptor {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.Application")

public:
    ApplicationAdaptor(QObject *parent, ApplicationInterface &owner)
        : QDBusAbstractAdaptor(parent)
        , _owner(owner) {}

public Q_SLOTS:
    // The names are the interface's.
    void Activate(const QVariantMap &platform_data) { // NOLINT(readability-identifier-naming)
        QString token = platform_data.value(activationTokenEntry).toString();
        if (token.isEmpty())
            token = platform_data.value(startupIdEntry).toString();
        if (const auto slot = _owner.onActivate)
            slot(token);
    }
    // There are no files to open; showing itself is what the caller expects at least.
    void Open(const QStringList &uris, const QVariantMap &platform_data) { // NOLINT
        Q_UNUSED(uris)
        Activate(platform_data);
    }
    void ActivateAction(const QString &action_name, const QVariantList &parameter, // NOLINT
                        const QVariantMap &platform_data) {
        Q_UNUSED(parameter)
        Q_UNUSED(platform_data)
        if (const auto slot = _owner.onAction)
            slot(action_name);
    }

private:
    ApplicationInterface &_owner;
};

class DBusApplicationInterface final : public ApplicationInterface {
public:
    DBusApplicationInterface()
        : _bus(QDBusConnection::sessionBus())
        , _adaptor(std::make_unique<ApplicationAdaptor>(&_object, *this)) {}

    ~DBusApplicationInterface() override {
        if (!_path.isEmpty())
            _bus.unregisterObject(_path);
    }

    bool start(const QString &identifier) override {
        const QString path = pathOf(identifier);
        if (!_bus.isConnected() || !_bus.registerObject(path, &_object))
            return false;
        _path = path;
        return true;
    }

private:
    QDBusConnection _bus;
    QObject _object;
    std::unique_ptr<ApplicationAdaptor> _adaptor;
    QString _path;
};

} // namespace

std::unique_ptr<ApplicationInterface> makeApplicationInterface() {
    return std::make_unique<DBusApplicationInterface>();
}

void activateApplication(const QString &identifier, std::function<void(bool)> answer) {
    const QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected()) {
        RunLoop::current().performSoon([answer = std::move(answer)] { answer(false); });
        return;
    }
    QVariantMap platformData;
    if (const QString token = qEnvironmentVariable("XDG_ACTIVATION_TOKEN"); !token.isEmpty())
        platformData.insert(activationTokenEntry, token);
    if (const QString startup = qEnvironmentVariable("DESKTOP_STARTUP_ID"); !startup.isEmpty())
        platformData.insert(startupIdEntry, startup);
    QDBusMessage call = QDBusMessage::createMethodCall(identifier, pathOf(identifier), interface,
                                                       QStringLiteral("Activate"));
    call << platformData;
    auto watcher =
        std::make_shared<QDBusPendingCallWatcher>(bus.asyncCall(call, timeoutInMilliseconds));
    // The watcher keeps itself until it is done.
    QObject::connect(watcher.get(), &QDBusPendingCallWatcher::finished, watcher.get(),
                     [watcher, answer = std::move(answer)]() mutable {
                         const QDBusPendingReply<> reply = *watcher;
                         answer(!reply.isError());
                         keepUntilNextTurn(std::move(watcher));
                     });
}

} // namespace clipmule

#include "DBusApplicationInterface.moc"
