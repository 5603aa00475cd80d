// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/mutter/MutterDataControl.h"

#include "platform/foundation/Log.h"

#include <QDBusArgument>
#include <QDBusReply>
#include <QDBusUnixFileDescriptor>
#include <QSet>

#include <algorithm>
#include <utility>

#include <fcntl.h>
#include <unistd.h>

namespace clipmule {

namespace {

// With a number behind it, the type of ours that tells which of our own owners is meant.
const QString ownMark = QStringLiteral("application/x-clipmule-own-selection-%1");

// What is said of the clipboard's owner. GNOME has its list of types in a structure of one member.
struct OwnerSaid {
    std::optional<QStringList> types;
    bool isUs = false;
};
std::optional<OwnerSaid> readOwner(const QDBusMessage &signal) {
    if (signal.signature() != u"a{sv}")
        return std::nullopt;
    const auto said = qdbus_cast<QVariantMap>(signal.arguments().constFirst());
    OwnerSaid owner{.isUs = said.value(QStringLiteral("session-is-owner")).toBool()};
    const auto types = said.constFind(QStringLiteral("mime-types"));
    if (types == said.cend())
        return owner;
    if (types->metaType() == QMetaType::fromType<QStringList>()) {
        owner.types = types->toStringList();
        return owner;
    }
    if (types->metaType() != QMetaType::fromType<QDBusArgument>())
        return std::nullopt;
    const auto structure = types->value<QDBusArgument>();
    if (structure.currentSignature() != u"(as)")
        return std::nullopt;
    structure.beginStructure();
    structure >> owner.types.emplace();
    structure.endStructure();
    return owner;
}

// The descriptor of an answer; closed when it has none. It does not block.
FileHandle handleOf(const QDBusMessage &answer) {
    const QDBusReply<QDBusUnixFileDescriptor> descriptor = answer;
    if (!descriptor.isValid() || !descriptor.value().isValid())
        return {};
    FileHandle handle(::fcntl(descriptor.value().fileDescriptor(), F_DUPFD_CLOEXEC, 0));
    if (handle.isOpen())
        ::fcntl(handle.descriptor(), F_SETFL, ::fcntl(handle.descriptor(), F_GETFL) | O_NONBLOCK);
    return handle;
}

} // namespace

MutterDataControl::MutterDataControl(std::shared_ptr<MutterConnection> connection)
    : _session(std::move(connection)) {
    _session.onOpened = [this] {
        _initial.reset();
        _session.call(QStringLiteral("EnableClipboard"), {QVariantMap()},
                      [this](const QDBusMessage &answer) { enabled(answer); });
    };
    _session.onClosed = [this] {
        setAccess(Access::Awaited);
        _isTaking = false;
        _requests = 0;
    };
    _session.onSignal = [this](const QDBusMessage &signal) {
        if (signal.member() == u"SelectionOwnerChanged")
            ownerChanged(signal);
        else
            transferAsked(signal);
    };
    _session.start();
}

// What is on the clipboard was said before the answer comes.
void MutterDataControl::enabled(const QDBusMessage &answer) {
    if (answer.type() == QDBusMessage::ErrorMessage) {
        setAccess(Access::Refused);
        qCWarning(logWayland).noquote() << "the compositor does not let us have its clipboard:"
                                        << cutForLog(answer.errorMessage());
        dropOwned();
        return;
    }
    setAccess(Access::Given);
    const bool isFirst = !std::exchange(_hadAccess, true);
    // The compositor keeps one form of what a program that has gone had offered.
    const bool isOfOurs =
        _owned && _initial &&
        std::all_of(_initial->cbegin(), _initial->cend(),
                    [this](const QString &type) { return _owned->contains(type); });
    const bool isCopy = !isFirst && _initial != _others && !isOfOurs;
    if (_owned && !isCopy) {
        setSelection();
        return;
    }
    dropOwned();
    if (isFirst || isCopy)
        tell(_initial, isFirst ? Moment::AtTheStart : Moment::Change);
}

void MutterDataControl::setAccess(Access access) {
    _access = access;
    if (onAccess)
        onAccess(access == Access::Given);
}

void MutterDataControl::ownerChanged(const QDBusMessage &signal) {
    const std::optional<OwnerSaid> said = readOwner(signal);
    if (!said) {
        if (!std::exchange(_saidStrange, true))
            qCWarning(logWayland, "what the compositor says of the clipboard is not understood");
        return;
    }
    if (said->isUs) {
        if (said->types && said->types->contains(ownMark.arg(_takings)))
            takingEnded({});
        return;
    }
    const Types types = said->types ? std::optional(kept(*said->types)) : std::nullopt;
    if (_access != Access::Given)
        _initial = types;
    // What was copied before we took the clipboard is out of date.
    else if (_isTaking)
        _passedOver = types;
    else
        othersTook(types);
}

void MutterDataControl::othersTook(const Types &types) {
    _owned.reset();
    tell(types, Moment::Change);
}

void MutterDataControl::tell(const Types &types, Moment moment) {
    _others = types;
    if (onSelection)
        onSelection(types, moment);
}

QStringList MutterDataControl::kept(const QStringList &types) const {
    QStringList kept;
    QSet<QString> seen;
    for (const QString &type : types) {
        if (type.size() <= longestType)
            keep(type, kept, seen);
    }
    return kept;
}

void MutterDataControl::receive(const QString &type, const Opened &opened) {
    if (_access != Access::Given) {
        opened({});
        return;
    }
    _session.call(QStringLiteral("SelectionRead"), {type},
                  [opened](const QDBusMessage &answer) { opened(handleOf(answer)); });
}

bool MutterDataControl::own(const QStringList &types) {
    if (_access == Access::Refused || !_session.isExpected())
        return false;
    _owned = types;
    if (_access == Access::Given)
        setSelection();
    return true;
}

void MutterDataControl::setSelection() {
    const quint64 taking = ++_takings;
    _isTaking = true;
    _takingTimer = RunLoop::current().performAfter(
        answerLimit, [this] { takingEnded(QStringLiteral("it does not answer")); });
    const QStringList types = *_owned + QStringList{ownMark.arg(taking)};
    _session.call(QStringLiteral("SetSelection"),
                  {QVariantMap{{QStringLiteral("mime-types"), types}}},
                  [this, taking](const QDBusMessage &answer) {
                      if (taking == _takings)
                          takingEnded(answer.errorMessage());
                  });
}

// An error that is not empty says why the clipboard is not ours.
void MutterDataControl::takingEnded(const QString &error) {
    if (!std::exchange(_isTaking, false))
        return;
    const std::optional<Types> passedOver = std::exchange(_passedOver, std::nullopt);
    if (error.isEmpty()) {
        _others.reset();
        return;
    }
    qCWarning(logWayland).noquote()
        << "the compositor does not make the clipboard ours:" << cutForLog(error);
    dropOwned();
    if (passedOver)
        othersTook(*passedOver);
}

void MutterDataControl::dropOwned() {
    const bool hadOwned = std::exchange(_owned, std::nullopt).has_value();
    if (hadOwned && onCancelled)
        onCancelled();
}

void MutterDataControl::transferAsked(const QDBusMessage &signal) {
    if (signal.signature() != u"su")
        return;
    const QString type = signal.arguments().constFirst().toString();
    const uint serial = signal.arguments().constLast().toUInt();
    if (!_owned || _requests >= mostRequests) {
        writeDone(serial, false);
        return;
    }
    ++_requests;
    _session.call(QStringLiteral("SelectionWrite"), {serial},
                  [this, type, serial](const QDBusMessage &answer) {
                      --_requests;
                      FileHandle pipe = handleOf(answer);
                      if (pipe.isOpen() && onSend)
                          onSend(type, std::move(pipe),
                                 [this, serial](bool isWhole) { writeDone(serial, isWhole); });
                  });
}

void MutterDataControl::writeDone(uint serial, bool isWhole) {
    if (_session.isOpen())
        _session.call(QStringLiteral("SelectionWriteDone"), {serial, isWhole});
}

} // namespace clipmule
