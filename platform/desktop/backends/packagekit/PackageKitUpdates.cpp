// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/desktop/PackageUpdates.h"

#include "platform/dbus/BusConnection.h"

#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDBusServiceWatcher>

#include <utility>

namespace clipmule {

namespace {

using Answer = PackageUpdates::Answer;
using Outcome = PackageUpdates::Answer::Outcome;

const QString service = QStringLiteral("org.freedesktop.PackageKit");
const QString path = QStringLiteral("/org/freedesktop/PackageKit");
const QString transactionInterface = QStringLiteral("org.freedesktop.PackageKit.Transaction");

// Numbers of the interface: bits of a filter, flags of a transaction, and how one ended.
constexpr quint64 noFilter = 1U << 1;
constexpr quint64 installedOnly = 1U << 2;
constexpr quint64 trustedOnly = 1U << 1;
constexpr uint succeeded = 1;

// Fetching lists over a slow network takes minutes, installing may wait for a password.
constexpr RunLoop::Seconds findWithin{300};
constexpr RunLoop::Seconds installWithin{3600};
// How long a reply may take, in milliseconds; the daemon may have to be started first.
constexpr int replyWithin = 25000;
// UTF-16 units of a version: whatever is shown to the user fits into a panel.
constexpr qsizetype longestVersion = 64;
constexpr qsizetype longestError = 200;
// "name;version;architecture;origin"
constexpr qsizetype longestIdentifier = 512;

struct TransactionResult {
    bool serviceIsThere = true;
    bool success = false;
    QString error;
    // Identifier and version of the package that was asked for, if it was named.
    QString identifier;
    QString version;
};

// One transaction of the daemon's, from its making to its end.
class Transaction final : public QObject {
    Q_OBJECT

public:
    using Callback = std::function<void(const TransactionResult &)>;

    Transaction(const QDBusConnection &bus, QString package, bool background)
        : _bus(bus)
        , _package(std::move(package))
        , _background(background)
        , _daemon(service, bus, QDBusServiceWatcher::WatchForUnregistration) {
        connect(&_daemon, &QDBusServiceWatcher::serviceUnregistered, this, [this] {
            if (!_path.isEmpty())
                end(QStringLiteral("PackageKit has ended"));
        });
    }

    void run(const QString &method, const QVariantList &arguments, RunLoop::Seconds within,
             Callback callback) {
        _callback = std::move(callback);
        _deadline = RunLoop::current().performAfter(within, [this] {
            if (!_path.isEmpty())
                call(QStringLiteral("Cancel"), {});
            end(QStringLiteral("no answer from PackageKit"));
        });
        const QDBusMessage create = QDBusMessage::createMethodCall(
            service, path, service, QStringLiteral("CreateTransaction"));
        await(create, [this, method, arguments](const QDBusMessage &reply) {
            _path = reply.arguments().value(0).value<QDBusObjectPath>().path();
            if (_path.isEmpty()) {
                end(QStringLiteral("PackageKit answered something else"));
                return;
            }
            listen(QStringLiteral("Package"), SLOT(package(uint, QString, QString)));
            listen(QStringLiteral("ErrorCode"), SLOT(errorCode(uint, QString)));
            listen(QStringLiteral("Finished"), SLOT(finished(uint, uint)));
            const QString yes = QStringLiteral("true");
            const QString no = QStringLiteral("false");
            const QStringList hints{QStringLiteral("background=") + (_background ? yes : no),
                                    QStringLiteral("interactive=") + (_background ? no : yes)};
            call(QStringLiteral("SetHints"), {hints});
            await(message(method, arguments), {});
        });
    }

private Q_SLOTS:
    void package(uint, const QString &identifier, const QString &) {
        const QStringList parts = identifier.split(u';');
        if (identifier.size() > longestIdentifier || parts.value(0) != _package)
            return;
        _result.identifier = identifier;
        _result.version = parts.value(1).left(longestVersion);
    }
    void errorCode(uint, const QString &details) { _result.error = details.left(longestError); }
    void finished(uint exit, uint) {
        _result.success = exit == succeeded;
        end(_result.error);
    }

private:
    [[nodiscard]] QDBusMessage message(const QString &method, const QVariantList &arguments) const {
        QDBusMessage call =
            QDBusMessage::createMethodCall(service, _path, transactionInterface, method);
        call.setArguments(arguments);
        return call;
    }

    void call(const QString &method, const QVariantList &arguments) {
        _bus.send(message(method, arguments));
    }

    void listen(const QString &signal, const char *slot) {
        _bus.connect(service, _path, transactionInterface, signal, this, slot);
    }

    void await(const QDBusMessage &question, std::function<void(const QDBusMessage &)> then) {
        auto *const pending =
            new QDBusPendingCallWatcher(_bus.asyncCall(question, replyWithin), this);
        connect(pending, &QDBusPendingCallWatcher::finished, this,
                [this, pending, then = std::move(then)] {
                    pending->deleteLater();
                    if (pending->isError()) {
                        const QDBusError error = pending->error();
                        _result.serviceIsThere =
                            error.type() != QDBusError::ServiceUnknown &&
                            !error.name().startsWith(u"org.freedesktop.DBus.Error.Spawn.");
                        end(error.message().left(longestError));
                    } else if (then) {
                        then(pending->reply());
                    }
                });
    }

    void end(const QString &error) {
        _deadline.cancel();
        _result.error = error;
        // The callback may release this object.
        if (const Callback callback = std::exchange(_callback, {}))
            callback(_result);
    }

    QDBusConnection _bus;
    QString _package;
    bool _background;
    QDBusServiceWatcher _daemon;
    QString _path;
    TransactionResult _result;
    Callback _callback;
    RunLoop::Timer _deadline;
};

class PackageKitUpdates final : public PackageUpdates {
public:
    void findUpdate(const QString &package, Asker asker, Callback callback) override {
        if (!begin(std::move(callback)))
            return;
        _package = package;
        _background = asker == Asker::Nobody;
        run(QStringLiteral("Resolve"), {QVariant::fromValue(installedOnly), QStringList{package}},
            findWithin, [this](const TransactionResult &result) {
                if (result.identifier.isEmpty())
                    answer({.outcome = Outcome::NotInstalled});
                else if (_background)
                    askForUpdates();
                else
                    run(QStringLiteral("RefreshCache"), {false}, findWithin,
                        [this](const TransactionResult &) { askForUpdates(); });
            });
    }

    void installUpdate(const QString &identifier, Callback callback) override {
        if (!begin(std::move(callback)))
            return;
        _package = identifier.section(u';', 0, 0);
        _background = false;
        run(QStringLiteral("UpdatePackages"),
            {QVariant::fromValue(trustedOnly), QStringList{identifier}}, installWithin,
            [this, identifier](const TransactionResult &) {
                answer({.outcome = Outcome::Installed,
                        .version = identifier.section(u';', 1, 1).left(longestVersion),
                        .identifier = identifier});
            });
    }

private:
    // False when it answers by itself: there is no bus, or a request is under way.
    bool begin(Callback callback) {
        const bool busy = bool(_callback);
        if (!busy && _bus.open()) {
            _callback = std::move(callback);
            return true;
        }
        const Outcome outcome = busy ? Outcome::Failed : Outcome::NoService;
        _refusal = RunLoop::current().performAfter(
            RunLoop::Seconds(0),
            [callback = std::move(callback), outcome] { callback({.outcome = outcome}); });
        return false;
    }

    // Goes on when the transaction has succeeded; answers otherwise.
    void run(const QString &method, const QVariantList &arguments, RunLoop::Seconds within,
             std::function<void(const TransactionResult &)> then) {
        if (!_bus.isOpen()) {
            answer({.outcome = Outcome::NoService});
            return;
        }
        _transaction = std::make_shared<Transaction>(_bus.connection(), _package, _background);
        _transaction->run(
            method, arguments, within,
            [this, then = std::move(then),
             transaction = std::weak_ptr(_transaction)](const TransactionResult &given) {
                const auto alive = transaction.lock();
                const TransactionResult result = given;
                if (result.success)
                    then(result);
                else
                    answer({.outcome = result.serviceIsThere ? Outcome::Failed : Outcome::NoService,
                            .error = result.error});
            });
    }

    void askForUpdates() {
        run(QStringLiteral("GetUpdates"), {QVariant::fromValue(noFilter)}, findWithin,
            [this](const TransactionResult &result) {
                answer({.outcome =
                            result.identifier.isEmpty() ? Outcome::UpToDate : Outcome::Available,
                        .version = result.version,
                        .identifier = result.identifier});
            });
    }

    void answer(const Answer &given) {
        if (const Callback callback = std::exchange(_callback, {}))
            callback(given);
    }

    BusConnection _bus{BusConnection::Bus::System};
    QString _package;
    bool _background = false;
    Callback _callback;
    std::shared_ptr<Transaction> _transaction;
    RunLoop::Timer _refusal;
};

} // namespace

std::unique_ptr<PackageUpdates> makePackageUpdates() {
    return std::make_unique<PackageKitUpdates>();
}

} // namespace clipmule

#include "PackageKitUpdates.moc"
