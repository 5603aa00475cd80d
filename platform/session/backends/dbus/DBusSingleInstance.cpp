// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/session/SingleInstance.h"

#include "platform/foundation/Log.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>

#include <utility>

namespace clipmule {

namespace {

// Flags and answers of the bus's RequestName.
constexpr uint allowReplacement = 1;
constexpr uint replaceExisting = 2;
constexpr uint doNotQueue = 4;
constexpr uint primaryOwner = 1;
constexpr uint alreadyOwner = 4;
const QString busName = QStringLiteral("org.freedesktop.DBus");
const QString busPath = QStringLiteral("/org/freedesktop/DBus");

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
        if (const auto slot = onReplaced)
            slot();
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

std::unique_ptr<SingleInstance> makeSingleInstance() {
    return std::make_unique<DBusSingleInstance>();
}

} // namespace clipmule

#include "DBusSingleInstance.moc"
