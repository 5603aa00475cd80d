// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/x11/X11Connection.h"

#include "platform/foundation/Log.h"

#include <QPointer>
#include <QSocketNotifier>

#include <xcb/xcbext.h>

namespace clipmule {

namespace {
// Each event costs some ten microseconds, the largest (a quarter of a megabyte of a property) some
// hundred: far below the 50 ms that nobody may hold the run loop for.
constexpr int eventsPerTurn = 32;
} // namespace

std::shared_ptr<X11Connection> X11Connection::open(const QByteArray &display) {
    int screen = 0;
    xcb_connection_t *connection =
        xcb_connect(display.isEmpty() ? nullptr : display.constData(), &screen);
    if (xcb_connection_has_error(connection)) {
        xcb_disconnect(connection);
        return nullptr;
    }
    return std::make_shared<X11Connection>(Opened{connection, screen});
}

X11Connection::X11Connection(const Opened &opened)
    : _connection(opened.connection) {
    xcb_screen_iterator_t screens = xcb_setup_roots_iterator(xcb_get_setup(_connection));
    for (int index = 0; index < opened.screen && screens.rem > 1; ++index)
        xcb_screen_next(&screens);
    if (screens.rem > 0)
        _root = screens.data->root;
    _notifier = std::make_unique<QSocketNotifier>(xcb_get_file_descriptor(_connection),
                                                  QSocketNotifier::Read);
    QObject::connect(_notifier.get(), &QSocketNotifier::activated, &_context,
                     [this] { process(); });
}

X11Connection::~X11Connection() {
    _notifier.reset();
    xcb_disconnect(_connection);
}

void X11Connection::addObserver(X11Observer *observer) {
    _observers.append(observer);
}

void X11Connection::removeObserver(X11Observer *observer) {
    _observers.removeAll(observer);
    dropReplies(observer);
}

void X11Connection::dropReplies(const X11Observer *observer) {
    for (AwaitedReply &awaited : _awaited) {
        // The place stays: the reply is still to be taken from xcb, in its order.
        if (awaited.observer == observer)
            awaited.callback = nullptr;
    }
}

QList<xcb_atom_t> X11Connection::atoms(const QList<QByteArray> &names) {
    QHash<QByteArray, xcb_intern_atom_cookie_t> asked;
    for (const QByteArray &name : names) {
        if (!_atoms.contains(name) && !asked.contains(name))
            asked.insert(name,
                         xcb_intern_atom(_connection, 0, quint16(name.size()), name.constData()));
    }
    for (auto it = asked.cbegin(); it != asked.cend(); ++it) {
        if (const auto interned = reply(xcb_intern_atom_reply, it.value()))
            _atoms.insert(it.key(), interned->atom);
    }
    QList<xcb_atom_t> atoms;
    for (const QByteArray &name : names)
        atoms.append(_atoms.value(name, XCB_ATOM_NONE));
    return atoms;
}

QList<xcb_atom_t> X11Connection::foreignAtoms(const QList<QByteArray> &names) {
    const auto ask = [this](const QByteArray &name, bool onlyIfKnown) {
        return xcb_intern_atom(_connection, onlyIfKnown, quint16(name.size()), name.constData());
    };
    QList<xcb_intern_atom_cookie_t> asked;
    for (const QByteArray &name : names)
        asked.append(ask(name, true));
    QList<xcb_atom_t> atoms;
    for (const xcb_intern_atom_cookie_t cookie : std::as_const(asked)) {
        const auto known = reply(xcb_intern_atom_reply, cookie);
        atoms.append(known ? known->atom : xcb_atom_t(XCB_ATOM_NONE));
    }
    for (qsizetype index = 0; index < names.size() && _newNames < mostNewNames; ++index) {
        if (atoms.at(index) != XCB_ATOM_NONE)
            continue;
        if (const auto made = reply(xcb_intern_atom_reply, ask(names.at(index), false)))
            atoms[index] = made->atom;
        if (++_newNames == mostNewNames)
            qCWarning(logX11,
                      "phones have named %d kinds of contents that this desktop does not "
                      "know; further ones are left out",
                      mostNewNames);
    }
    return atoms;
}

xcb_window_t X11Connection::createWindow() {
    const xcb_window_t window = xcb_generate_id(_connection);
    const quint32 mask = XCB_EVENT_MASK_PROPERTY_CHANGE;
    xcb_create_window(_connection, 0, window, _root, -1, -1, 1, 1, 0, XCB_WINDOW_CLASS_INPUT_ONLY,
                      XCB_COPY_FROM_PARENT, XCB_CW_EVENT_MASK, &mask);
    return window;
}

bool X11Connection::isOurs(xcb_window_t window) const {
    return clientOf(window) == xcb_get_setup(_connection)->resource_id_base;
}

quint32 X11Connection::clientOf(xcb_window_t window) const {
    return window & ~xcb_get_setup(_connection)->resource_id_mask;
}

void X11Connection::awaitReply(unsigned sequence, X11Observer *observer,
                               std::function<void(const void *)> callback) {
    _awaited.push_back({sequence, observer, std::move(callback)});
    flush();
}

void X11Connection::flush() {
    if (_lost)
        return;
    xcb_flush(_connection);
    // Flushing may have read as well.
    processLater();
}

void X11Connection::processLater() {
    if (_processingIsQueued || _lost)
        return;
    _processingIsQueued = true;
    QMetaObject::invokeMethod(
        &_context,
        [this] {
            _processingIsQueued = false;
            process();
        },
        Qt::QueuedConnection);
}

bool X11Connection::serveReply() {
    if (_awaited.empty())
        return false;
    void *memory = nullptr;
    xcb_generic_error_t *error = nullptr;
    if (!xcb_poll_for_reply(_connection, _awaited.front().sequence, &memory, &error))
        return false;
    const X11Pointer<void> reply(memory);
    std::free(error);
    const AwaitedReply awaited = std::move(_awaited.front());
    _awaited.pop_front();
    if (awaited.callback)
        awaited.callback(reply.get());
    return true;
}

bool X11Connection::serveEvent() {
    const X11Pointer<xcb_generic_event_t> event(xcb_poll_for_event(_connection));
    if (!event)
        return false;
    // Errors of requests without a reply: mostly that another client's window has gone.
    if (event->response_type == 0)
        return true;
    const QList<X11Observer *> observers = _observers;
    for (X11Observer *observer : observers) {
        if (_observers.contains(observer))
            observer->x11Event(*event);
    }
    return true;
}

void X11Connection::process() {
    if (_lost)
        return;
    // A callback may release the last reference to this.
    const QPointer<QObject> alive(&_context);
    bool isFlushed = false;
    for (int served = 0; served < eventsPerTurn; ++served) {
        // Looking for an event reads the socket; whatever it read besides must be looked at after
        // that, since the socket will not tell of it again.
        bool anything = serveEvent();
        if (!alive)
            return;
        anything = serveReply() || anything;
        if (!alive)
            return;
        if (xcb_connection_has_error(_connection)) {
            lose();
            return;
        }
        if (anything) {
            isFlushed = false;
        } else if (isFlushed) {
            return;
        } else {
            // Writing may read as well, so it is looked at once more.
            xcb_flush(_connection);
            isFlushed = true;
        }
    }
    processLater();
}

void X11Connection::lose() {
    _lost = true;
    _notifier->setEnabled(false);
    _awaited.clear();
    qCWarning(logX11, "the X11 display server has gone");
    const QPointer<QObject> alive(&_context);
    const QList<X11Observer *> observers = _observers;
    for (X11Observer *observer : observers) {
        if (!alive)
            return;
        if (_observers.contains(observer))
            observer->x11ConnectionLost();
    }
    if (!alive)
        return;
    const auto callbacks = std::move(_whenLost);
    for (const auto &callback : callbacks)
        callback();
}

} // namespace clipmule
