// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "tests/pasteboard/X11TestRequestor.h"

namespace clipmule::kit {

X11TestRequestor::X11TestRequestor()
    : X11TestRequestor(X11Connection::open()) {}

X11TestRequestor::X11TestRequestor(std::shared_ptr<X11Connection> connection)
    : _connection(std::move(connection))
    , _window(_connection->createWindow()) {
    _connection->addObserver(this);
}

X11TestRequestor::~X11TestRequestor() {
    _connection->removeObserver(this);
}

void X11TestRequestor::request(const QByteArray &target, int pieces) {
    _piecesWanted = pieces;
    ask(_connection->atom(target), XCB_CURRENT_TIME);
}

void X11TestRequestor::requestAt(const QByteArray &target, xcb_timestamp_t time) {
    ask(_connection->atom(target), time);
}

void X11TestRequestor::requestMultiple(const QList<QByteArray> &pairs) {
    const QList<xcb_atom_t> atoms = _connection->atoms(pairs);
    xcb_change_property(_connection->xcb(), XCB_PROP_MODE_REPLACE, _window,
                        _connection->atom("ANSWER"), _connection->atom("ATOM_PAIR"), 32,
                        quint32(atoms.size()), atoms.constData());
    ask(_connection->atom("MULTIPLE"), XCB_CURRENT_TIME);
}

void X11TestRequestor::ask(xcb_atom_t target, xcb_timestamp_t time) {
    _state = State::Waiting;
    _pieces = 0;
    _data.clear();
    xcb_convert_selection(_connection->xcb(), _window, _connection->atom(_selection), target,
                          _connection->atom("ANSWER"), time);
    _connection->flush();
}

void X11TestRequestor::die() {
    xcb_destroy_window(_connection->xcb(), _window);
    _window = _connection->createWindow();
    _connection->flush();
}

void X11TestRequestor::x11Event(const xcb_generic_event_t &event) {
    if ((event.response_type & 0x7f) == XCB_SELECTION_NOTIFY) {
        const auto &notified = reinterpret_cast<const xcb_selection_notify_event_t &>(event);
        if (notified.requestor != _window)
            return;
        if (notified.property == XCB_ATOM_NONE) {
            _state = State::Refused;
            return;
        }
        const QByteArray value = take(notified.property, true);
        if (nameOf(_type) == "INCR") {
            _state = State::Pieces;
        } else {
            _data = value;
            _state = State::Done;
        }
    } else if ((event.response_type & 0x7f) == XCB_PROPERTY_NOTIFY) {
        const auto &notified = reinterpret_cast<const xcb_property_notify_event_t &>(event);
        if (_state != State::Pieces || notified.state != XCB_PROPERTY_NEW_VALUE ||
            notified.window != _window || (_piecesWanted >= 0 && _pieces >= _piecesWanted))
            return;
        const QByteArray piece = take(notified.atom, true);
        if (piece.isEmpty()) {
            // The property of the announcement may be told of late.
            if (_type != XCB_ATOM_NONE)
                _state = State::Done;
            return;
        }
        ++_pieces;
        _data += piece;
    }
}

QByteArray X11TestRequestor::take(xcb_atom_t property, bool isDeleted) {
    const auto reply = _connection->reply(
        xcb_get_property_reply, xcb_get_property(_connection->xcb(), isDeleted ? 1 : 0, _window,
                                                 property, XCB_ATOM_ANY, 0, 0x1fffffff));
    if (!reply)
        return {};
    _type = reply->type;
    _format = reply->format;
    return QByteArray(static_cast<const char *>(xcb_get_property_value(reply.get())),
                      xcb_get_property_value_length(reply.get()));
}

QByteArray X11TestRequestor::type() {
    return nameOf(_type);
}

QByteArray X11TestRequestor::nameOf(xcb_atom_t atom) {
    const auto reply =
        _connection->reply(xcb_get_atom_name_reply, xcb_get_atom_name(_connection->xcb(), atom));
    return reply ? QByteArray(xcb_get_atom_name_name(reply.get()),
                              xcb_get_atom_name_name_length(reply.get()))
                 : QByteArray();
}

QStringList X11TestRequestor::names() {
    QStringList names;
    const auto *atoms = reinterpret_cast<const xcb_atom_t *>(_data.constData());
    for (qsizetype index = 0; index < _data.size() / 4; ++index)
        names.append(QString::fromLatin1(nameOf(atoms[index])));
    return names;
}

std::optional<QByteArray> X11TestRequestor::takePiece(const QByteArray &name) {
    const QByteArray piece = take(_connection->atom(name), true);
    return _type == XCB_ATOM_NONE ? std::nullopt : std::optional(piece);
}

QByteArray X11TestRequestor::property(const QByteArray &name) {
    return take(_connection->atom(name), false);
}

} // namespace clipmule::kit
