// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/dnssd/DnsSd.h"

#include <QByteArrayList>
#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QDBusVirtualObject>
#include <QHash>
#include <QStringList>

#include <functional>

namespace clipmule::kit {

using namespace dnssd;

inline const auto avahi = QStringLiteral("org.freedesktop.Avahi");
inline const auto type = QStringLiteral("_clipmule-s2._tcp");
inline const auto local = QStringLiteral("local");
/// Whom every answer is about.
inline const ServiceName anna{QStringLiteral("Anna"), type, local};
// The states of the daemon and of a group.
inline constexpr int starting = 1;
inline constexpr int running = 2;
inline constexpr int established = 2;

/// Stands on the bus in the daemon's place and does what a test says: it answers each call with the
/// path of a new object, or with nothing, or as told.
class FakeAvahiDaemon final : public QDBusVirtualObject {
public:
    explicit FakeAvahiDaemon(const QString &address, const QString &name = QStringLiteral("daemon"))
        : _name(name)
        , _connection(QDBusConnection::connectToBus(address, name)) {
        _connection.registerVirtualObject(QStringLiteral("/"), this, QDBusConnection::SubPath);
    }
    ~FakeAvahiDaemon() override {
        // A call that is still on its way to us refers to the connection, which goes first.
        _connection.unregisterObject(QStringLiteral("/"), QDBusConnection::UnregisterTree);
        QCoreApplication::removePostedEvents(this);
        QDBusConnection::disconnectFromBus(_name);
    }

    /// Also when another one is there.
    void appear() {
        _connection.interface()->registerService(avahi,
                                                 QDBusConnectionInterface::ReplaceExistingService,
                                                 QDBusConnectionInterface::AllowReplacement);
    }
    void vanish() { _connection.unregisterService(avahi); }

    void emitSignal(const QString &path, const QString &kind, const QString &member,
                    const QVariantList &arguments) {
        QDBusMessage message = QDBusMessage::createSignal(path, avahi + u'.' + kind, member);
        message.setArguments(arguments);
        _connection.send(message);
    }
    void setState(int newState) {
        state = newState;
        emitSignal(QStringLiteral("/"), QStringLiteral("Server"), QStringLiteral("StateChanged"),
                   {state, QString()});
    }
    void found(const QString &path, const QString &name) {
        emitSignal(path, QStringLiteral("ServiceBrowser"), QStringLiteral("ItemNew"),
                   {2, 0, name, type, local, QVariant::fromValue(uint(0))});
    }
    void resolved(const QString &path, const QString &address, ushort port) {
        emitSignal(path, QStringLiteral("ServiceResolver"), QStringLiteral("Found"),
                   {2, 0, anna.name, type, local, QStringLiteral("phone.local"), 0, address,
                    QVariant::fromValue(port), QVariant::fromValue(QByteArrayList()),
                    QVariant::fromValue(uint(0))});
    }
    void groupState(const QString &path, int groupState) {
        emitSignal(path, QStringLiteral("EntryGroup"), QStringLiteral("StateChanged"),
                   {groupState, QString()});
    }

    [[nodiscard]] int count(const QString &member) const { return int(calls.count(member)); }

    QString introspect(const QString &) const override { return {}; }

    bool handleMessage(const QDBusMessage &message, const QDBusConnection &) override {
        if (!message.interface().startsWith(avahi))
            return false;
        const QString member = message.member();
        calls += member;
        callPaths += message.path();
        callArguments += message.arguments();
        if (member == QStringLiteral("GetState") && !errors.contains(member)) {
            stateAsked = message;
            return isMute || tellState();
        }
        if (holds) {
            held += message;
            return true;
        }
        return answer(message);
    }

    bool answer(const QDBusMessage &message) {
        const QString member = message.member();
        const QString error = errors.value(member);
        if (!error.isEmpty())
            return _connection.send(message.createErrorReply(avahi + u'.' + error, error));
        if (member.endsWith(QStringLiteral("Prepare")) ||
            member == QStringLiteral("EntryGroupNew")) {
            const QString path = QStringLiteral("/Client0/Object%1").arg(++objects);
            paths += path;
            if (beforeReply)
                beforeReply(member, path);
            return reply(message, {QVariant::fromValue(QDBusObjectPath(path))});
        }
        reply(message, {});
        if (afterCall)
            afterCall(member, message.path());
        return true;
    }

    /// Answers what it has kept waiting.
    void release(qsizetype count) {
        for (; count > 0; --count)
            answer(held.takeFirst());
    }

    bool tellState() { return reply(stateAsked, {state}); }

    int state = running;
    int objects = 0;
    bool holds = false;
    bool isMute = false; // about its state
    QDBusMessage stateAsked;
    QList<QDBusMessage> held;
    QStringList calls;
    QStringList callPaths;
    QList<QVariantList> callArguments;
    QStringList paths;              // of the objects made
    QHash<QString, QString> errors; // member, name of the error
    std::function<void(const QString &member, const QString &path)> beforeReply;
    std::function<void(const QString &member, const QString &path)> afterCall;

private:
    bool reply(const QDBusMessage &message, const QVariantList &arguments) {
        return _connection.send(message.createReply(arguments));
    }

    const QString _name;
    QDBusConnection _connection;
};

} // namespace clipmule::kit
