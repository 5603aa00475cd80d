// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/session/UserServices.h"

#include "platform/foundation/Callbacks.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>

namespace clipmule {

namespace {

// Enabling reads all units anew, which takes a while on a slow disk.
constexpr int timeoutInMilliseconds = 25'000;

class DBusUserServices final : public UserServices {
public:
    void look(const QString &unit, std::function<void(AtLogin)> answer) override {
        call(QStringLiteral("GetUnitFileState"), {unit}, [answer](const QDBusMessage &reply) {
            const QString state = reply.arguments().value(0).toString();
            if (reply.type() != QDBusMessage::ReplyMessage)
                answer(AtLogin::Unknown);
            else
                answer(state.startsWith(u"enabled") ? AtLogin::On : AtLogin::Off);
        });
    }

    void start(const QString &unit, std::function<void(bool)> answer) override {
        call(QStringLiteral("StartUnit"), {unit, QStringLiteral("replace")},
             [answer](const QDBusMessage &reply) {
                 answer(reply.type() == QDBusMessage::ReplyMessage);
             });
    }

    void setAtLogin(const QString &unit, bool on,
                    std::function<void(const Result<void> &)> answer) override {
        const QStringList units{unit};
        // Not for this session alone, and over nothing else that is in its place.
        perform(on ? QList<Step>{{QStringLiteral("EnableUnitFiles"), {units, false, false}},
                                 {QStringLiteral("Reload"), {}},
                                 {QStringLiteral("StartUnit"), {unit, QStringLiteral("replace")}}}
                   : QList<Step>{{QStringLiteral("DisableUnitFiles"), {units, false}},
                                 {QStringLiteral("Reload"), {}},
                                 {QStringLiteral("StopUnit"), {unit, QStringLiteral("replace")}}},
                std::move(answer));
    }

private:
    using OnReply = std::function<void(const QDBusMessage &)>;
    using Step = std::pair<QString, QVariantList>;

    void call(const QString &method, const QVariantList &arguments, OnReply answer) {
        QDBusMessage message = QDBusMessage::createMethodCall(
            QStringLiteral("org.freedesktop.systemd1"), QStringLiteral("/org/freedesktop/systemd1"),
            QStringLiteral("org.freedesktop.systemd1.Manager"), method);
        // Where it does not run, the bus is not to look for it.
        message.setAutoStartService(false);
        message.setArguments(arguments);
        const QDBusConnection bus = QDBusConnection::sessionBus();
        if (!bus.isConnected()) {
            RunLoop::current().performSoon(
                [alive = std::weak_ptr(_alive), answer = std::move(answer)] {
                    if (!alive.expired())
                        answer(QDBusMessage::createError(QDBusError::Disconnected, QString()));
                });
            return;
        }
        auto watcher = std::make_shared<QDBusPendingCallWatcher>(
            bus.asyncCall(message, timeoutInMilliseconds));
        // The watcher keeps itself until it is done.
        QObject::connect(
            watcher.get(), &QDBusPendingCallWatcher::finished, watcher.get(),
            [watcher, alive = std::weak_ptr(_alive), answer = std::move(answer)]() mutable {
                if (!alive.expired())
                    answer(watcher->reply());
                keepUntilNextTurn(std::move(watcher));
            });
    }

    void perform(QList<Step> steps, std::function<void(const Result<void> &)> answer) {
        if (steps.isEmpty()) {
            answer({});
            return;
        }
        const Step step = steps.takeFirst();
        call(step.first, step.second,
             [this, steps = std::move(steps),
              answer = std::move(answer)](const QDBusMessage &reply) mutable {
                 if (reply.type() == QDBusMessage::ReplyMessage)
                     perform(std::move(steps), std::move(answer));
                 else
                     answer(failure(reply.errorMessage().isEmpty() ? reply.errorName()
                                                                   : reply.errorMessage()));
             });
    }

    const std::shared_ptr<bool> _alive = std::make_shared<bool>(true);
};

} // namespace

std::unique_ptr<UserServices> makeUserServices() {
    return std::make_unique<DBusUserServices>();
}

} // namespace clipmule
