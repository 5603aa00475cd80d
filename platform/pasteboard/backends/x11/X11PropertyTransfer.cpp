// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/pasteboard/backends/x11/X11PropertyTransfer.h"

#include <utility>

namespace clipmule {

namespace {

// How many requests are made before the first one's property comes round again.
constexpr int propertyCount = 64;

} // namespace

X11PropertyTransfer::X11PropertyTransfer(std::shared_ptr<X11Connection> connection)
    : _connection(std::move(connection))
    , _window(_connection->createWindow()) {
    QList<QByteArray> names{"CLIPBOARD", "INCR"};
    for (int index = 0; index < propertyCount; ++index)
        names.append("_CLIPMULE_READ_" + QByteArray::number(index));
    const QList<xcb_atom_t> atoms = _connection->atoms(names);
    _clipboard = atoms.at(0);
    _incr = atoms.at(1);
    _properties = atoms.sliced(2);
    _connection->addObserver(this);
}

X11PropertyTransfer::~X11PropertyTransfer() {
    _connection->removeObserver(this);
    xcb_destroy_window(_connection->xcb(), _window);
    _connection->flush();
}

void X11PropertyTransfer::start(const Request &request, Ended ended, Piece piece) {
    abandon();
    _request = request;
    _ended = std::move(ended);
    _piece = std::move(piece);
    _received = 0;
    _state = State::Asked;
    _property = _properties.at(_nextProperty);
    _nextProperty = (_nextProperty + 1) % _properties.size();
    _drained.remove(_property);
    xcb_delete_property(_connection->xcb(), _window, _property);
    xcb_convert_selection(_connection->xcb(), _window, _clipboard, request.target, _property,
                          request.time);
    _connection->flush();
    waitFor(request.patience);
}

void X11PropertyTransfer::abandon() {
    if (_state == State::Whole || _state == State::Pieces)
        drain(_property);
    _state = State::Idle;
    _timer.cancel();
    _connection->dropReplies(this);
    _ended = nullptr;
    _piece = nullptr;
    _bytes.clear();
}

void X11PropertyTransfer::end(Outcome outcome) {
    const Ended ended = std::move(_ended);
    QByteArray bytes = std::move(_bytes);
    // What is there but empty is not the same as nothing.
    if (bytes.isNull())
        bytes = QByteArray("");
    abandon();
    ended(outcome, bytes);
}

void X11PropertyTransfer::waitFor(RunLoop::Seconds patience) {
    _timer = RunLoop::current().performAfter(patience, [this] { end(Outcome::TimedOut); });
}

void X11PropertyTransfer::x11Event(const xcb_generic_event_t &event) {
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

void X11PropertyTransfer::selectionNotified(const xcb_selection_notify_event_t &event) {
    if (event.requestor != _window || event.selection != _clipboard)
        return;
    const bool isExpected = _state == State::Asked && event.target == _request.target;
    if (event.property == XCB_ATOM_NONE) {
        // A late refusal of an earlier request carries another time.
        if (isExpected && (event.time == _request.time || event.time == XCB_CURRENT_TIME))
            end(Outcome::Refused);
    } else if (isExpected && event.property == _property) {
        _state = State::Whole;
        readProperty(0);
    } else if (_properties.contains(event.property) &&
               (event.property != _property || _state == State::Idle)) {
        drain(event.property);
    }
}

void X11PropertyTransfer::propertyNotified(const xcb_property_notify_event_t &event) {
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

void X11PropertyTransfer::readProperty(quint32 offset) {
    const auto cookie = xcb_get_property(_connection->xcb(), 0, _window, _property, XCB_ATOM_ANY,
                                         offset / 4, chunkBytes / 4);
    _connection->awaitReply(cookie.sequence, this, [this, offset](const void *reply) {
        propertyArrived(static_cast<const xcb_get_property_reply_t *>(reply), offset);
    });
}

void X11PropertyTransfer::propertyArrived(const xcb_get_property_reply_t *reply, quint32 offset) {
    if (!reply || reply->type == XCB_ATOM_NONE) {
        end(Outcome::Refused);
        return;
    }
    waitFor(TargetTransfer::stepLimit);
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
void X11PropertyTransfer::beginPieces(const xcb_get_property_reply_t &reply) {
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

void X11PropertyTransfer::take(const xcb_get_property_reply_t &reply) {
    const QByteArrayView bytes(static_cast<const char *>(xcb_get_property_value(&reply)),
                               xcb_get_property_value_length(&reply));
    _received += bytes.size();
    if (_piece)
        _piece(bytes, reply.type);
    else
        _bytes.append(bytes);
}

// Throws away what an owner still sends there.
void X11PropertyTransfer::drain(xcb_atom_t property) {
    _drained.insert(property, drainedPieces);
    xcb_delete_property(_connection->xcb(), _window, property);
    _connection->flush();
}

} // namespace clipmule
