// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/x11/X11Connection.h"
#include "tests/kit/Await.h"

#include <QByteArray>
#include <QStringList>

#include <optional>

namespace clipmule::kit {

/// Another application that pastes, on a connection of its own and the test's own event loop.
class X11TestRequestor final : public X11Observer {
public:
    X11TestRequestor();
    /// As a part of another application, over its connection.
    explicit X11TestRequestor(std::shared_ptr<X11Connection> connection);
    ~X11TestRequestor() override;

    /// Asks for a target. Pieces are taken up to the given number, then no more; -1 takes all.
    void request(const QByteArray &target, int pieces = -1);
    /// The same at an earlier time of the server.
    void requestAt(const QByteArray &target, xcb_timestamp_t time);
    /// From here on asks the owner of another selection.
    void setSelection(const QByteArray &selection) { _selection = selection; }
    /// Asks for several at once: pairs of a target and the property for it.
    void requestMultiple(const QList<QByteArray> &pairs);
    /// Dies: the window goes, with what was under way.
    void die();

    [[nodiscard]] xcb_window_t window() const { return _window; }
    /// Answered, completely.
    [[nodiscard]] bool isDone() const { return _state == State::Done; }
    [[nodiscard]] bool isRefused() const { return _state == State::Refused; }
    [[nodiscard]] const QByteArray &data() const { return _data; }
    /// The name of the type that was answered.
    [[nodiscard]] QByteArray type();
    [[nodiscard]] int format() const { return _format; }
    [[nodiscard]] int piecesTaken() const { return _pieces; }
    /// The answer as names of atoms.
    [[nodiscard]] QStringList names();
    /// What is in a property of the window.
    [[nodiscard]] QByteArray property(const QByteArray &name);
    /// Takes the next piece of what is announced in a property; nothing until it is there.
    [[nodiscard]] std::optional<QByteArray> takePiece(const QByteArray &name);

    void x11Event(const xcb_generic_event_t &event) override;

private:
    enum class State { Waiting, Pieces, Done, Refused };

    void ask(xcb_atom_t target, xcb_timestamp_t time);
    QByteArray take(xcb_atom_t property, bool isDeleted);
    QByteArray nameOf(xcb_atom_t atom);

    std::shared_ptr<X11Connection> _connection;
    xcb_window_t _window;
    QByteArray _selection = "CLIPBOARD";
    State _state = State::Waiting;
    int _piecesWanted = -1;
    int _pieces = 0;
    xcb_atom_t _type = XCB_ATOM_NONE;
    int _format = 0;
    QByteArray _data;
};

/// Waits for the answer; one in pieces is whole.
inline bool answered(const X11TestRequestor &requestor) {
    return await([&] { return requestor.isDone() || requestor.isRefused(); });
}

} // namespace clipmule::kit
