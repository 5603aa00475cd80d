// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/pasteboard/backends/x11/X11TargetTransfer.h"

#include "platform/foundation/Log.h"
#include "platform/pasteboard/PasteboardTargets.h"

#include <algorithm>
#include <utility>

namespace clipmule {

namespace {

// How many requests are made before the first one's property comes round again.
constexpr int propertyCount = 64;

// Names of atoms that are remembered.
constexpr qsizetype rememberedNames = 4096;

// Bytes of a target's name: no real one is longer, and a server takes names of 64 KiB.
constexpr int longestName = 255;

} // namespace

X11TargetTransfer::X11TargetTransfer(std::shared_ptr<X11Connection> connection)
    : _connection(std::move(connection))
    , _window(_connection->createWindow()) {
    QList<QByteArray> names{"CLIPBOARD", "INCR"};
    for (int index = 0; index < propertyCount; ++index)
        names.append("_CLIPMULE_READ_" + QByteArray::number(index));
    const QList<xcb_atom_t> atoms = _connection->atoms(names);
    _clipboard = atoms.at(0);
    _incr = atoms.at(1);
    _properties = atoms.sliced(2);
    QList<QByteArray> markers;
    for (const QString &marker : PasteboardMarker::all)
        markers.append(marker.toLatin1());
    const QList<xcb_atom_t> known = _connection->atoms(markers);
    _markers = {known.cbegin(), known.cend()};
    forgetNames();
    _connection->addObserver(this);
}

X11TargetTransfer::~X11TargetTransfer() {
    _connection->removeObserver(this);
    xcb_destroy_window(_connection->xcb(), _window);
    _connection->flush();
}

// What the owner offers

void X11TargetTransfer::list(xcb_timestamp_t time, Listed listed) {
    _time = time;
    start({.target = QStringLiteral("TARGETS"), .mostBytes = targetListBytes},
          [this, listed = std::move(listed)](Outcome outcome, const QByteArray &list) {
              _listed = listed;
              listEnded(outcome, list);
          });
}

void X11TargetTransfer::listEnded(Outcome outcome, const QByteArray &list) {
    switch (outcome) {
    case Outcome::Received: {
        const auto *atoms = reinterpret_cast<const xcb_atom_t *>(list.constData());
        askForNames({atoms, atoms + list.size() / qsizetype(sizeof(xcb_atom_t))});
        return;
    }
    case Outcome::Refused:
        // An owner that does not tell its targets is asked for text.
        askForNames(_connection->atoms({"UTF8_STRING", "STRING"}));
        return;
    case Outcome::TooLarge:
        qCWarning(logPasteboard, "the clipboard's owner offers more than %lld targets",
                  targetListBytes / qint64(sizeof(xcb_atom_t)));
        break;
    case Outcome::TimedOut:
        qCWarning(logPasteboard, "the clipboard's owner does not answer");
        break;
    }
    std::exchange(_listed, nullptr)(std::nullopt);
}

void X11TargetTransfer::askForNames(const QList<xcb_atom_t> &targets) {
    const qsizetype looked = std::min<qsizetype>(targets.size(), PasteboardTargets::maximumTargets);
    // A marker counts wherever it is.
    QSet<xcb_atom_t> hidden;
    for (const xcb_atom_t target : targets.sliced(looked)) {
        if (_markers.contains(target))
            hidden.insert(target);
    }
    _atoms = hidden.values() + targets.first(looked);
    if (_names.size() > rememberedNames)
        forgetNames();
    // One more, so that it does not come to none before all are asked for.
    _namesToCome = 1;
    for (const xcb_atom_t atom : std::as_const(_atoms)) {
        if (atom != XCB_ATOM_NONE && !_names.contains(atom))
            askForName(atom);
    }
    nameArrived();
}

void X11TargetTransfer::askForName(xcb_atom_t atom) {
    ++_namesToCome;
    const auto cookie = xcb_get_atom_name(_connection->xcb(), atom);
    _connection->awaitReply(cookie.sequence, this, [this, atom](const void *memory) {
        const auto *reply = static_cast<const xcb_get_atom_name_reply_t *>(memory);
        if (reply) {
            const int length = xcb_get_atom_name_name_length(reply);
            const char *name = xcb_get_atom_name_name(reply);
            _names.insert(atom,
                          length > longestName ? QString() : QString::fromLatin1(name, length));
        }
        nameArrived();
    });
}

void X11TargetTransfer::forgetNames() {
    _names.clear();
    // Texts say by their type which encoding they have.
    for (const char *name : {"STRING", "UTF8_STRING", "COMPOUND_TEXT"})
        _names.insert(_connection->atom(name), QString::fromLatin1(name));
}

void X11TargetTransfer::nameArrived() {
    if (--_namesToCome > 0)
        return;
    QStringList targets;
    for (const xcb_atom_t atom : std::as_const(_atoms))
        targets.append(_names.value(atom));
    std::exchange(_listed, nullptr)(targets);
}

xcb_atom_t X11TargetTransfer::atomOf(const QString &target) const {
    const xcb_atom_t listed = _names.key(target, XCB_ATOM_NONE);
    return listed == XCB_ATOM_NONE ? _connection->atom(target.toLatin1()) : listed;
}

// One target

void X11TargetTransfer::start(const Request &request, Ended ended, Piece piece) {
    abandon();
    _request = request;
    _target = atomOf(request.target);
    _ended = std::move(ended);
    _piece = std::move(piece);
    _received = 0;
    _state = State::Asked;
    _property = _properties.at(_nextProperty);
    _nextProperty = (_nextProperty + 1) % _properties.size();
    _drained.remove(_property);
    xcb_delete_property(_connection->xcb(), _window, _property);
    xcb_convert_selection(_connection->xcb(), _window, _clipboard, _target, _property, _time);
    _connection->flush();
    waitFor(request.patience);
}

void X11TargetTransfer::abandon() {
    if (_state == State::Whole || _state == State::Pieces)
        drain(_property);
    _state = State::Idle;
    _timer.cancel();
    _connection->dropReplies(this);
    _ended = nullptr;
    _piece = nullptr;
    _bytes.clear();
}

void X11TargetTransfer::end(Outcome outcome) {
    const Ended ended = std::move(_ended);
    QByteArray bytes = std::move(_bytes);
    // What is there but empty is not the same as nothing.
    if (bytes.isNull())
        bytes = QByteArray("");
    abandon();
    ended(outcome, bytes);
}

void X11TargetTransfer::waitFor(RunLoop::Seconds patience) {
    _timer = RunLoop::current().performAfter(patience, [this] { end(Outcome::TimedOut); });
}

void X11TargetTransfer::x11Event(const xcb_generic_event_t &event) {
    switch (event.response_type & 0x7f) {
    case XCB_SELECTION_NOTIFY:
        selectionNotified(reinterpret_cast<const xcb_selection_notify_event_t &>(event));
        break;
    case XCB_PROPERTY_NOTIFY:
        propertyNotified(reinterpret_cast<const xcb_property_notify_event_t &>(event));
        break;
    default:
        break;
    }
}

void X11TargetTransfer::selectionNotified(const xcb_selection_notify_event_t &event) {
    if (event.requestor != _window || event.selection != _clipboard)
        return;
    const bool isExpected = _state == State::Asked && event.target == _target;
    if (event.property == XCB_ATOM_NONE) {
        // A late refusal of an earlier request carries another time.
        if (isExpected && (event.time == _time || event.time == XCB_CURRENT_TIME))
            end(Outcome::Refused);
    } else if (isExpected && event.property == _property) {
        _state = State::Whole;
        readProperty(0);
    } else if (_properties.contains(event.property) &&
               (event.property != _property || _state == State::Idle)) {
        drain(event.property);
    }
}

void X11TargetTransfer::propertyNotified(const xcb_property_notify_event_t &event) {
    if (event.window != _window || event.state != XCB_PROPERTY_NEW_VALUE)
        return;
    if (_state == State::Pieces && event.atom == _property) {
        readProperty(0);
    } else if (const auto left = _drained.find(event.atom); left != _drained.end()) {
        xcb_delete_property(_connection->xcb(), _window, event.atom);
        if (--*left == 0)
            _drained.erase(left);
    }
}

void X11TargetTransfer::readProperty(quint32 offset) {
    const auto cookie = xcb_get_property(_connection->xcb(), 0, _window, _property, XCB_ATOM_ANY,
                                         offset / 4, chunkBytes / 4);
    _connection->awaitReply(cookie.sequence, this, [this, offset](const void *reply) {
        propertyArrived(static_cast<const xcb_get_property_reply_t *>(reply), offset);
    });
}

void X11TargetTransfer::propertyArrived(const xcb_get_property_reply_t *reply, quint32 offset) {
    if (!reply || reply->type == XCB_ATOM_NONE) {
        end(Outcome::Refused);
        return;
    }
    waitFor(stepLimit);
    const bool isFirst = _state == State::Whole && offset == 0;
    if (isFirst && reply->type == _incr) {
        beginPieces(*reply);
        return;
    }
    const int size = xcb_get_property_value_length(reply);
    const qint64 toCome = size + qint64(reply->bytes_after);
    if (size > _request.mostBytes - _received) {
        end(Outcome::TooLarge);
        return;
    }
    if (isFirst && toCome <= _request.mostBytes && !_piece)
        _bytes.reserve(toCome);
    take(*reply);
    if (reply->bytes_after > 0 && size > 0) {
        readProperty(offset + quint32(size));
        return;
    }
    xcb_delete_property(_connection->xcb(), _window, _property);
    // The end of pieces is one without bytes.
    if (_state == State::Whole || (offset == 0 && size == 0))
        end(Outcome::Received);
}

// The owner announces how many bytes there will be at least, and waits for the property to go.
void X11TargetTransfer::beginPieces(const xcb_get_property_reply_t &reply) {
    const bool isTold = xcb_get_property_value_length(&reply) >= 4 && reply.format == 32;
    const auto *value = static_cast<const quint32 *>(xcb_get_property_value(&reply));
    const qint64 atLeast = isTold ? *value : 0;
    _state = State::Pieces;
    if (atLeast > _request.mostBytes) {
        end(Outcome::TooLarge);
        return;
    }
    if (!_piece)
        _bytes.reserve(atLeast);
    xcb_delete_property(_connection->xcb(), _window, _property);
}

void X11TargetTransfer::take(const xcb_get_property_reply_t &reply) {
    const QByteArrayView bytes(static_cast<const char *>(xcb_get_property_value(&reply)),
                               xcb_get_property_value_length(&reply));
    _received += bytes.size();
    if (_piece)
        _piece(bytes, _names.value(reply.type));
    else
        _bytes.append(bytes);
}

// Throws away what an owner still sends there.
void X11TargetTransfer::drain(xcb_atom_t property) {
    _drained.insert(property, drainedPieces);
    xcb_delete_property(_connection->xcb(), _window, property);
    _connection->flush();
}

} // namespace clipmule
