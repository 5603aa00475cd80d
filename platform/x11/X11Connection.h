// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include <QByteArray>
#include <QHash>
#include <QList>
#include <QObject>

#include <xcb/xcb.h>

#include <cstdlib>
#include <deque>
#include <functional>
#include <memory>

class QSocketNotifier;

namespace clipmule {

/// What xcb hands out is freed by us.
struct X11Free {
    void operator()(void *memory) const { std::free(memory); }
};
template <typename T>
using X11Pointer = std::unique_ptr<T, X11Free>;

/// Somebody who looks at every event of a connection.
class X11Observer {
public:
    X11Observer() = default;
    virtual ~X11Observer() = default;
    X11Observer(const X11Observer &) = delete;
    X11Observer &operator=(const X11Observer &) = delete;

    virtual void x11Event(const xcb_generic_event_t &event) = 0;
    /// The display server has gone. The connection may not be used any more.
    virtual void x11ConnectionLost() {}
};

/// A connection to the display server of our own, beside the toolkit's, read from the run loop.
///
/// No turn of the run loop serves more than a small number of events, so that a flood of them does
/// not hold up anybody else.
class X11Connection final {
    struct Opened {
        xcb_connection_t *connection;
        int screen;
    };

public:
    /// Null when there is no such display. An empty name stands for the one of $DISPLAY.
    [[nodiscard]] static std::shared_ptr<X11Connection> open(const QByteArray &display = {});
    /// Used by open().
    explicit X11Connection(const Opened &opened);
    ~X11Connection();
    X11Connection(const X11Connection &) = delete;
    X11Connection &operator=(const X11Connection &) = delete;

    /// Never null; after the loss requests are swallowed.
    [[nodiscard]] xcb_connection_t *xcb() const { return _connection; }
    [[nodiscard]] xcb_window_t root() const { return _root; }
    /// Whether a window was made by this connection.
    [[nodiscard]] bool isOurs(xcb_window_t window) const;
    /// Which client made a window, ours or another's: the same number for all of one client's.
    [[nodiscard]] quint32 clientOf(xcb_window_t window) const;
    [[nodiscard]] bool isLost() const { return _lost; }
    void whenLost(std::function<void()> callback) { _whenLost.push_back(std::move(callback)); }

    /// Observers are not owned. A removed one gets nothing any more, awaited replies included.
    void addObserver(X11Observer *observer);
    void removeObserver(X11Observer *observer);

    /// The atoms of names, in their order. One round trip for all that were not known yet.
    [[nodiscard]] QList<xcb_atom_t> atoms(const QList<QByteArray> &names);
    [[nodiscard]] xcb_atom_t atom(const QByteArray &name) { return atoms({name}).first(); }

    /// The same for names that come from elsewhere, from phones for one. The server never forgets a
    /// name, so of those that it does not know yet only mostNewNames are made known to it in the
    /// life of the connection; XCB_ATOM_NONE for the rest. Nothing is remembered here.
    [[nodiscard]] QList<xcb_atom_t> foreignAtoms(const QList<QByteArray> &names);
    static constexpr int mostNewNames = 256;

    /// An unmapped window of ours that is told of changes of its properties.
    [[nodiscard]] xcb_window_t createWindow();

    /// Calls back with the reply, or null when the server refused the request. The reply is the
    /// connection's. Not called when the observer was removed or the connection lost.
    void awaitReply(unsigned sequence, X11Observer *observer,
                    std::function<void(const void *reply)> callback);
    /// The observer is not called back with any reply that it awaits now.
    void dropReplies(const X11Observer *observer);

    /// Waits for a reply: one round trip to the server, never to another client. Null on refusal.
    template <typename Cookie, typename Reply>
    [[nodiscard]] X11Pointer<Reply>
    reply(Reply *(*function)(xcb_connection_t *, Cookie, xcb_generic_error_t **), Cookie cookie) {
        xcb_generic_error_t *error = nullptr;
        X11Pointer<Reply> reply(function(_connection, cookie, &error));
        std::free(error);
        // Events that came in meanwhile are in memory; the socket will not tell of them.
        processLater();
        return reply;
    }

    void flush();

private:
    void process();
    void processLater();
    bool serveReply();
    bool serveEvent();
    void lose();

    struct AwaitedReply {
        unsigned sequence;
        X11Observer *observer;
        std::function<void(const void *)> callback;
    };

    QObject _context; // what queued calls belong to
    xcb_connection_t *_connection;
    xcb_window_t _root = XCB_NONE;
    std::unique_ptr<QSocketNotifier> _notifier;
    QList<X11Observer *> _observers;
    std::deque<AwaitedReply> _awaited;
    QHash<QByteArray, xcb_atom_t> _atoms;
    int _newNames = 0;
    std::vector<std::function<void()>> _whenLost;
    bool _lost = false;
    bool _processingIsQueued = false;
};

} // namespace clipmule
