// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "tests/pasteboard/X11TestOwner.h"

#include <algorithm>

namespace clipmule::kit {

X11TestOwner::X11TestOwner()
    : _connection(X11Connection::open())
    , _window(_connection->createWindow()) {
    _connection->addObserver(this);
}

X11TestOwner::~X11TestOwner() {
    _connection->removeObserver(this);
}

void X11TestOwner::own(const QList<Answer> &answers, xcb_window_t window, xcb_timestamp_t time) {
    _answers = answers;
    xcb_set_selection_owner(_connection->xcb(), window == XCB_NONE ? _window : window,
                            _connection->atom("CLIPBOARD"), time);
    roundTrip();
}

void X11TestOwner::quit() {
    xcb_destroy_window(_connection->xcb(), _window);
    _window = _connection->createWindow();
    roundTrip();
}

void X11TestOwner::roundTrip() {
    (void)_connection->reply(xcb_get_input_focus_reply, xcb_get_input_focus(_connection->xcb()));
}

void X11TestOwner::answerLate() {
    const auto unanswered = std::exchange(_unanswered, {});
    for (const xcb_selection_request_event_t &request : unanswered)
        answer(request);
}

void X11TestOwner::x11Event(const xcb_generic_event_t &event) {
    if ((event.response_type & 0x7f) == XCB_SELECTION_REQUEST) {
        const auto &request = reinterpret_cast<const xcb_selection_request_event_t &>(event);
        _timeAsked = request.time;
        if (_isMute)
            _unanswered.append(request);
        else
            answer(request);
    } else if ((event.response_type & 0x7f) == XCB_PROPERTY_NOTIFY) {
        const auto &notified = reinterpret_cast<const xcb_property_notify_event_t &>(event);
        if (_isTransferring && notified.state == XCB_PROPERTY_DELETE &&
            notified.window == _transfer.requestor && notified.atom == _transfer.property)
            sendPiece();
    }
}

void X11TestOwner::answer(const xcb_selection_request_event_t &request) {
    xcb_connection_t *xcb = _connection->xcb();
    const auto replace = [&](const QByteArray &type, int format, qsizetype count,
                             const void *data) {
        xcb_change_property(xcb, XCB_PROP_MODE_REPLACE, request.requestor, request.property,
                            _connection->atom(type), quint8(format), quint32(count), data);
    };
    if (request.target == _connection->atom("TARGETS")) {
        ++_requests["TARGETS"];
        if (_refusesTargets) {
            notify(request, XCB_ATOM_NONE);
            return;
        }
        QList<QByteArray> names{"TARGETS", "TIMESTAMP"};
        for (const Answer &answer : std::as_const(_answers))
            names.append(answer.target);
        const QList<xcb_atom_t> atoms = _connection->atoms(names);
        replace("ATOM", 32, atoms.size(), atoms.constData());
        notify(request, request.property);
        return;
    }
    for (const Answer &answer : std::as_const(_answers)) {
        if (_connection->atom(answer.target) != request.target)
            continue;
        ++_requests[answer.target];
        if (answer.isMute) {
            _unanswered.append(request);
        } else if (answer.isRefused) {
            notify(request, XCB_ATOM_NONE);
        } else if (answer.pieceBytes > 0) {
            _isTransferring = true;
            _transfer = request;
            _transferred = answer;
            _offset = 0;
            _piecesSent = 0;
            const quint32 mask = XCB_EVENT_MASK_PROPERTY_CHANGE;
            xcb_change_window_attributes(xcb, request.requestor, XCB_CW_EVENT_MASK, &mask);
            const quint32 announced =
                quint32(answer.announced < 0 ? answer.data.size() : answer.announced);
            replace("INCR", 32, 1, &announced);
            notify(request, request.property);
        } else {
            replace(answer.type.isEmpty() ? answer.target : answer.type, answer.format,
                    answer.data.size() * 8 / answer.format, answer.data.constData());
            notify(request, request.property);
        }
        return;
    }
    notify(request, XCB_ATOM_NONE);
}

void X11TestOwner::sendPiece() {
    if (_transferred.pieces >= 0 && _piecesSent >= _transferred.pieces)
        return;
    const qsizetype size = std::min(_transferred.pieceBytes, _transferred.data.size() - _offset);
    const QByteArray &type = _transferred.type.isEmpty() ? _transferred.target : _transferred.type;
    xcb_change_property(_connection->xcb(), XCB_PROP_MODE_REPLACE, _transfer.requestor,
                        _transfer.property, _connection->atom(type), 8, quint32(size),
                        _transferred.data.constData() + _offset);
    _connection->flush();
    _offset += size;
    ++_piecesSent;
    if (size == 0)
        _isTransferring = false;
}

void X11TestOwner::notify(const xcb_selection_request_event_t &request, xcb_atom_t property) {
    union {
        xcb_selection_notify_event_t event;
        char bytes[32];
    } answer{};
    answer.event.response_type = XCB_SELECTION_NOTIFY;
    answer.event.time = request.time;
    answer.event.requestor = request.requestor;
    answer.event.selection = request.selection;
    answer.event.target = request.target;
    answer.event.property = property;
    xcb_send_event(_connection->xcb(), 0, request.requestor, 0, answer.bytes);
    _connection->flush();
}

} // namespace clipmule::kit
