// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "tests/kit/FakeMutter.h"

#include "tests/kit/Await.h"

#include <QCoreApplication>
#include <QDBusArgument>
#include <QDBusConnectionInterface>
#include <QDBusMetaType>
#include <QDBusObjectPath>
#include <QDBusUnixFileDescriptor>

#include <fcntl.h>
#include <unistd.h>

namespace clipmule::kit {

namespace {

const QString name = QStringLiteral("org.gnome.Mutter.RemoteDesktop");
const QString sessionInterface = name + QStringLiteral(".Session");
const QString sessionPath = QStringLiteral("/org/gnome/Mutter/RemoteDesktop/Session/u%1");

// A list of types in a structure.
struct Types {
    QStringList list;
};
QDBusArgument &operator<<(QDBusArgument &argument, const Types &types) {
    argument.beginStructure();
    argument << types.list;
    argument.endStructure();
    return argument;
}
const QDBusArgument &operator>>(const QDBusArgument &argument, Types &types) {
    argument.beginStructure();
    argument >> types.list;
    argument.endStructure();
    return argument;
}

} // namespace

} // namespace clipmule::kit

Q_DECLARE_METATYPE(clipmule::kit::Types)

namespace clipmule::kit {

FakeMutter::FakeMutter(const QString &address)
    : _connection(QDBusConnection::connectToBus(address, QStringLiteral("mutter"))) {
    qDBusRegisterMetaType<Types>();
    _connection.registerVirtualObject(QStringLiteral("/"), this, QDBusConnection::SubPath);
}

FakeMutter::~FakeMutter() {
    // A call that is still on its way to us refers to the connection, which goes first.
    _connection.unregisterObject(QStringLiteral("/"), QDBusConnection::UnregisterTree);
    QCoreApplication::removePostedEvents(this);
    QDBusConnection::disconnectFromBus(QStringLiteral("mutter"));
}

void FakeMutter::appear() {
    _connection.interface()->registerService(name);
}

void FakeMutter::vanish() {
    _sessions.clear();
    _ownTypes.clear();
    _ownSession = 0;
    _hasOwner = false;
    _connection.unregisterService(name);
}

void FakeMutter::copy(const Contents &contents, Owner owner) {
    _contents = contents;
    _owner = owner;
    _hasOwner = true;
    _ownSession = 0;
    _ownTypes.clear();
    QList<PasteboardOffers::Offer> offers;
    for (const auto &[type, data] : contents)
        offers.append({.target = type, .type = type, .data = data});
    _offers.set(offers);
    for (const Session &each : std::as_const(_sessions))
        sayOwner(each.number);
}

void FakeMutter::clear() {
    _hasOwner = false;
    _ownSession = 0;
    _ownTypes.clear();
    for (const Session &each : std::as_const(_sessions))
        sayOwner(each.number);
}

void FakeMutter::sayOwner(int number) const {
    for (const Session &each : _sessions) {
        if (each.number != number || !each.hasClipboard)
            continue;
        QVariantMap said;
        if (_hasOwner) {
            QStringList types = _ownTypes;
            if (_ownSession == 0) {
                for (const auto &[type, data] : _contents)
                    types.append(type);
            }
            said.insert(QStringLiteral("mime-types"),
                        hasStructure ? QVariant::fromValue(Types{types}) : QVariant(types));
            said.insert(QStringLiteral("session-is-owner"), _ownSession == number);
        }
        QDBusMessage signal = QDBusMessage::createSignal(sessionPath.arg(number), sessionInterface,
                                                         QStringLiteral("SelectionOwnerChanged"));
        signal << said;
        _connection.send(signal);
    }
}

FileHandle FakeMutter::paste(const QString &type) {
    int ends[2] = {-1, -1};
    [[maybe_unused]] const int result = ::pipe2(ends, O_CLOEXEC);
    FileHandle reading(ends[0]);
    // The other end is the session's, who has to see to that.
    ::fcntl(reading.descriptor(), F_SETFL, O_NONBLOCK);
    const uint serial = ++_serial;
    _transfers.insert(serial, std::make_shared<FileHandle>(ends[1]));
    askFor(type, serial);
    return reading;
}

void FakeMutter::askFor(const QString &type, uint serial) {
    say(QStringLiteral("SelectionTransfer"), {type, serial});
}

void FakeMutter::closeSessions() {
    for (const Session &each : std::exchange(_sessions, {})) {
        if (each.number == _ownSession)
            _hasOwner = false;
        _connection.send(QDBusMessage::createSignal(sessionPath.arg(each.number), sessionInterface,
                                                    QStringLiteral("Closed")));
    }
    _ownSession = 0;
    _ownTypes.clear();
}

void FakeMutter::say(const QString &signal, const QVariantList &arguments) {
    sayFrom(_connection, signal, arguments);
}

void FakeMutter::sayFrom(const QDBusConnection &impostor, const QString &signal,
                         const QVariantList &arguments) const {
    QDBusMessage message = QDBusMessage::createSignal(
        sessionPath.arg(_ownSession ? _ownSession : _made), sessionInterface, signal);
    message.setArguments(arguments);
    impostor.send(message);
}

void FakeMutter::settle(MutterConnection &connection) {
    // A signal brings a question, and its answer another one, at most so often.
    for (int round = 0; round < 4; ++round) {
        bool isAnswered = false;
        connection.call(QStringLiteral("/"), QStringLiteral("org.freedesktop.DBus.Peer"),
                        QStringLiteral("Ping"), {}, &connection,
                        [&](const QDBusMessage &) { isAnswered = true; });
        if (!await([&] { return isAnswered; }))
            qWarning("the compositor does not answer");
    }
}

FakeMutter::Session *FakeMutter::session(const QString &path) {
    for (Session &each : _sessions) {
        if (sessionPath.arg(each.number) == path)
            return &each;
    }
    return nullptr;
}

bool FakeMutter::handleMessage(const QDBusMessage &message, const QDBusConnection &) {
    if (!message.interface().startsWith(name))
        return false;
    const QString member = message.member();
    const Session *const called = session(message.path());
    QString call = called ? QStringLiteral("%1 %2").arg(called->number).arg(member) : member;
    if (member.startsWith(u"Notify"))
        call += QStringLiteral(" %1 %2")
                    .arg(message.arguments().constFirst().toUInt())
                    .arg(message.arguments().constLast().toBool() ? u"down" : u"up");
    calls.append(call);
    if (silent.contains(member))
        _held.append(message);
    else
        answer(message);
    return true;
}

void FakeMutter::answerHeld() {
    while (!_held.isEmpty())
        answerFirstHeld();
}

void FakeMutter::answerFirstHeld() {
    answer(_held.takeFirst());
}

void FakeMutter::answer(const QDBusMessage &message) {
    const QString member = message.member();
    if (errors.contains(member)) {
        refuse(message, errors.value(member));
        return;
    }
    if (answers.contains(member)) {
        reply(message, answers.value(member));
        return;
    }
    if (member == u"CreateSession") {
        _sessions.append(Session{.number = ++_made});
        reply(message, {QVariant::fromValue(QDBusObjectPath(sessionPath.arg(_made)))});
        return;
    }
    Session *const called = session(message.path());
    if (!called) {
        refuse(message, QStringLiteral("no such session"));
        return;
    }
    if (member == u"EnableClipboard") {
        called->hasClipboard = true;
        if (_hasOwner)
            sayOwner(called->number);
    } else if (member == u"SetSelection") {
        const auto options = qdbus_cast<QVariantMap>(message.arguments().constFirst());
        _ownTypes = options.value(QStringLiteral("mime-types")).toStringList();
        _ownSession = called->number;
        _hasOwner = true;
        for (const Session &each : std::as_const(_sessions)) {
            if (saysOwnership || each.number != _ownSession)
                sayOwner(each.number);
        }
    } else if (member == u"SelectionRead") {
        read(message);
        return;
    } else if (member == u"SelectionWrite") {
        const uint serial = message.arguments().constFirst().toUInt();
        if (const auto transfer = _transfers.take(serial)) {
            QDBusUnixFileDescriptor descriptor(transfer->descriptor());
            reply(message, {QVariant::fromValue(descriptor)});
        } else {
            refuse(message, QStringLiteral("no such transfer"));
        }
        return;
    } else if (member == u"SelectionWriteDone") {
        const uint serial = message.arguments().constFirst().toUInt();
        _transfers.remove(serial);
        writesDone.append({serial, message.arguments().constLast().toBool()});
    } else if (member == u"Start") {
        called->isStarted = true;
    } else if (!called->isStarted) {
        refuse(message, QStringLiteral("Session not started"));
        return;
    } else if (member == u"Stop") {
        const int number = called->number;
        _sessions.removeIf([&](const Session &each) { return each.number == number; });
        _connection.send(
            QDBusMessage::createSignal(message.path(), sessionInterface, QStringLiteral("Closed")));
    }
    reply(message);
}

void FakeMutter::read(const QDBusMessage &message) {
    const QString type = message.arguments().constFirst().toString();
    asked.append(type);
    if (!_hasOwner || _ownSession != 0) {
        refuse(message, QStringLiteral("nothing to read"));
        return;
    }
    if (_owner == Owner::NoPipe) {
        reply(message);
        return;
    }
    int ends[2] = {-1, -1};
    [[maybe_unused]] const int result = ::pipe2(ends, O_CLOEXEC);
    FileHandle writing(ends[1]);
    ::fcntl(writing.descriptor(), F_SETFL, O_NONBLOCK);
    {
        const FileHandle reading(ends[0]);
        reply(message, {QVariant::fromValue(QDBusUnixFileDescriptor(reading.descriptor()))});
    }
    if (_owner == Owner::Answers) {
        _offers.send(type, std::move(writing));
        return;
    }
    if (_owner == Owner::ClosesAtOnce)
        return;
    if (_owner == Owner::StallsMidway) {
        for (const auto &[each, data] : std::as_const(_contents)) {
            if (each == type)
                std::ignore =
                    ::write(writing.descriptor(), data.constData(), size_t(data.size() / 2));
        }
    }
    _open.push_back(std::move(writing));
}

void FakeMutter::reply(const QDBusMessage &message, const QVariantList &arguments) const {
    _connection.send(message.createReply(arguments));
}

void FakeMutter::refuse(const QDBusMessage &message, const QString &text) const {
    _connection.send(message.createErrorReply(QDBusError::Failed, text));
}

} // namespace clipmule::kit
