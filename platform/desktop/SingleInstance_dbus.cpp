// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/desktop/SingleInstance.h"

#include "platform/foundation/RunLoop.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>

namespace clipmule {

namespace {

// Of the bus protocol.
constexpr uint doNotQueue = 4;
constexpr uint primaryOwner = 1;
constexpr uint alreadyOwner = 4;

class SingleInstanceOnBus final : public SingleInstance {
public:
    SingleInstanceOnBus()
        : _bus(QDBusConnection::sessionBus()) {}

    ~SingleInstanceOnBus() override {
        if (!_name.isEmpty())
            _bus.interface()->asyncCall(QStringLiteral("ReleaseName"), _name);
    }

    void claim(const QString &name, std::function<void(Outcome)> answer) override {
        if (!_bus.isConnected()) {
            RunLoop::current().performSoon(
                [answer = std::move(answer)] { answer(Outcome::Unknown); });
            return;
        }
        auto *const watcher = new QDBusPendingCallWatcher(
            _bus.interface()->asyncCall(QStringLiteral("RequestName"), name, doNotQueue), &_guard);
        QObject::connect(watcher, &QDBusPendingCallWatcher::finished, &_guard,
                         [this, watcher, name, answer = std::move(answer)] {
                             const QDBusPendingReply<uint> reply = *watcher;
                             watcher->deleteLater();
                             if (reply.isError()) {
                                 answer(Outcome::Unknown);
                             } else if (reply.value() == primaryOwner ||
                                        reply.value() == alreadyOwner) {
                                 _name = name;
                                 answer(Outcome::First);
                             } else {
                                 answer(Outcome::AlreadyRunning);
                             }
                         });
    }

private:
    QDBusConnection _bus;
    QString _name;
    QObject _guard;
};

} // namespace

std::unique_ptr<SingleInstance> makeSingleInstance() {
    return std::make_unique<SingleInstanceOnBus>();
}

} // namespace clipmule
