// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/dbus/BusConnection.h"
#include "platform/tray/StatusItem.h"

#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDBusServiceWatcher>

#include <utility>

namespace clipmule {

namespace {

const QString watcherName = QStringLiteral("org.kde.StatusNotifierWatcher");
const QString watcherPath = QStringLiteral("/StatusNotifierWatcher");
// A host announces itself by a signal that not every watcher sends: after the watcher came it is
// asked again a few times.
constexpr RunLoop::Seconds repetition{0.25};
constexpr int repetitions = 20;
// How long an answer may take, in milliseconds. A host that takes longer for a short question is
// not relied on.
constexpr int answerWithin = 2000;

class NotifierHostWatch final : public QObject, public TrayWatch {
    Q_OBJECT

public:
    void start(std::function<void()> changed) override {
        _changed = std::move(changed);
        connect(&_bus, &BusConnection::opened, this, &NotifierHostWatch::watch);
        connect(&_bus, &BusConnection::lost, this, [this] {
            _services.reset();
            _watcherIsThere = false;
            setPresent(false);
        });
        if (_bus.open())
            watch();
    }

    [[nodiscard]] bool isPresent() const override { return _present; }

private Q_SLOTS:
    void hostsDidChange() { askAgain(); }

private:
    void watch() {
        QDBusConnection connection = _bus.connection();
        _services = std::make_unique<QDBusServiceWatcher>(watcherName, connection,
                                                          QDBusServiceWatcher::WatchForOwnerChange);
        connect(_services.get(), &QDBusServiceWatcher::serviceOwnerChanged, this,
                [this](const QString &, const QString &, const QString &newOwner) {
                    _watcherIsThere = !newOwner.isEmpty();
                    setPresent(false);
                    if (_watcherIsThere)
                        askAgain();
                });
        for (const auto &signal : {QStringLiteral("StatusNotifierHostRegistered"),
                                   QStringLiteral("StatusNotifierHostUnregistered")})
            connection.connect(watcherName, watcherPath, watcherName, signal, this,
                               SLOT(hostsDidChange()));
        _watcherIsThere = true;
        askAgain();
    }

    void askAgain() {
        _questionsLeft = repetitions;
        ask();
    }

    void ask() {
        _next.cancel();
        if (!_bus.isOpen())
            return;
        QDBusMessage question = QDBusMessage::createMethodCall(
            watcherName, watcherPath, QStringLiteral("org.freedesktop.DBus.Properties"),
            QStringLiteral("Get"));
        question << watcherName << QStringLiteral("IsStatusNotifierHostRegistered");
        question.setAutoStartService(false);
        const quint64 number = ++_question;
        auto *const pending =
            new QDBusPendingCallWatcher(_bus.connection().asyncCall(question, answerWithin), this);
        connect(pending, &QDBusPendingCallWatcher::finished, this, [this, pending, number] {
            const QDBusPendingReply<QDBusVariant> reply = *pending;
            pending->deleteLater();
            if (number != _question)
                return;
            const bool present = !reply.isError() && reply.value().variant().toBool();
            if (reply.isError() && isAbsence(reply.error()))
                _watcherIsThere = false;
            setPresent(present);
            if (!present && _watcherIsThere && --_questionsLeft > 0)
                _next = RunLoop::current().performAfter(repetition, [this] { ask(); });
        });
    }

    static bool isAbsence(const QDBusError &error) {
        return error.type() == QDBusError::ServiceUnknown ||
               error.name() == u"org.freedesktop.DBus.Error.NameHasNoOwner";
    }

    void setPresent(bool present) {
        if (std::exchange(_present, present) != present && _changed)
            _changed();
    }

    BusConnection _bus{BusConnection::Bus::Session};
    std::function<void()> _changed;
    std::unique_ptr<QDBusServiceWatcher> _services;
    RunLoop::Timer _next;
    quint64 _question = 0;
    int _questionsLeft = 0;
    bool _watcherIsThere = false;
    bool _present = false;
};

} // namespace

std::unique_ptr<TrayWatch> makeNotifierHostWatch() {
    return std::make_unique<NotifierHostWatch>();
}

} // namespace clipmule

#include "NotifierHostWatch.moc"
