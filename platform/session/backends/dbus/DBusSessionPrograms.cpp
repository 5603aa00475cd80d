// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/session/SessionPrograms.h"

#include "platform/foundation/Callbacks.h"
#include "platform/foundation/Log.h"

#include <QDBusAbstractAdaptor>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QProcess>

#include <utility>

namespace clipmule {

namespace {

const QString busName = QStringLiteral("org.freedesktop.DBus");
const QString busPath = QStringLiteral("/org/freedesktop/DBus");
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
        callCopyOf(_owner.onActivate, token);
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
        callCopyOf(_owner.onAction, action_name);
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

// Keeps the list of names current by itself: asking when the answer is needed would block on the
// bus.
class DBusSessionPrograms final : public QObject, public SessionPrograms {
    Q_OBJECT

public:
    DBusSessionPrograms()
        : _bus(QDBusConnection::sessionBus()) {
        if (!_bus.isConnected())
            return;
        _bus.connect(busName, busPath, busName, QStringLiteral("NameOwnerChanged"), this,
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
        return QDBusMessage::createMethodCall(identifier, pathOf(identifier), interface, method);
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

// Flags and answers of the bus's RequestName.
constexpr uint allowReplacement = 1;
constexpr uint replaceExisting = 2;
constexpr uint doNotQueue = 4;
constexpr uint primaryOwner = 1;
constexpr uint alreadyOwner = 4;

class DBusSingleInstance final : public QObject, public SingleInstance {
    Q_OBJECT

public:
    DBusSingleInstance()
        : _bus(QDBusConnection::sessionBus()) {}

    ~DBusSingleInstance() override {
        if (!_name.isEmpty())
            _bus.interface()->asyncCall(QStringLiteral("ReleaseName"), _name);
    }

    void claim(const QString &name, std::function<void(Outcome)> answer,
               Standing standing) override {
        _answer = std::move(answer);
        if (!_bus.isConnected()) {
            _late = RunLoop::current().performAfter(RunLoop::Seconds(0),
                                                    [this] { tell(Outcome::Unknown); });
            return;
        }
        _bus.connect(busName, busPath, busName, QStringLiteral("NameLost"), {name}, QString(), this,
                     SLOT(nameLost(QString)));
        // The bus answers these two calls in order, with nothing in between: the first tells whose
        // name it was when we got it.
        await(_bus.interface()->asyncCall(QStringLiteral("GetNameOwner"), name),
              [this](const QDBusPendingReply<QString> &owner) {
                  _predecessor = owner.isError() ? QString() : owner.value();
              });
        const uint flags =
            doNotQueue | (standing == Standing::Whole ? replaceExisting : allowReplacement);
        await(_bus.interface()->asyncCall(QStringLiteral("RequestName"), name, flags),
              [this, name](const QDBusPendingReply<uint> &reply) { answered(name, reply); });
    }

private Q_SLOTS:
    void nameLost(const QString &name) {
        if (_name.isEmpty() || name != _name)
            return;
        _name.clear();
        callCopyOf(onReplaced);
    }

    void ownerChanged(const QString &name, const QString &, const QString &newOwner) {
        if (name == _predecessor && newOwner.isEmpty())
            predecessorLeft();
    }

private:
    template <typename Reply>
    void await(const QDBusPendingCall &call, Reply reply) {
        auto *const watcher = new QDBusPendingCallWatcher(call, this);
        connect(watcher, &QDBusPendingCallWatcher::finished, this, [watcher, reply] {
            watcher->deleteLater();
            reply(*watcher);
        });
    }

    void answered(const QString &name, const QDBusPendingReply<uint> &reply) {
        if (reply.isError()) {
            tell(Outcome::Unknown);
        } else if (reply.value() == alreadyOwner) {
            _name = name;
            tell(Outcome::First);
        } else if (reply.value() == primaryOwner) {
            _name = name;
            if (_predecessor.isEmpty())
                tell(Outcome::First);
            else
                waitForPredecessor();
        } else {
            tell(Outcome::AlreadyRunning);
        }
    }

    void waitForPredecessor() {
        _late = RunLoop::current().performAfter(patienceWithPredecessor, [this] {
            qCWarning(logDesktop, "the instance that was there does not end");
            predecessorLeft();
        });
        _bus.connect(busName, busPath, busName, QStringLiteral("NameOwnerChanged"), {_predecessor},
                     QString(), this, SLOT(ownerChanged(QString, QString, QString)));
        // The predecessor may have left before we listened.
        await(_bus.interface()->asyncCall(QStringLiteral("NameHasOwner"), _predecessor),
              [this](const QDBusPendingReply<bool> &present) {
                  if (!present.isError() && !present.value())
                      predecessorLeft();
              });
    }

    void predecessorLeft() {
        _late.cancel();
        _predecessor.clear();
        tell(Outcome::First);
    }

    void tell(Outcome outcome) {
        if (const auto answer = std::exchange(_answer, nullptr))
            answer(outcome);
    }

    QDBusConnection _bus;
    QString _name;
    // The unique name of who had our name.
    QString _predecessor;
    std::function<void(Outcome)> _answer;
    RunLoop::Timer _late;
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

std::unique_ptr<SessionPrograms> makeSessionPrograms() {
    return std::make_unique<DBusSessionPrograms>();
}

std::unique_ptr<SingleInstance> makeSingleInstance() {
    return std::make_unique<DBusSingleInstance>();
}

} // namespace clipmule

#include "DBusSessionPrograms.moc"
