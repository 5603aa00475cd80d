// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/foundation/RunLoop.h"
#include "platform/pasteboard/TargetTransfer.h"
#include "platform/x11/X11Connection.h"

#include <functional>

namespace clipmule {

/// Asks the owner of the CLIPBOARD selection for one target at a time and takes the answer, whole
/// or in pieces. The owner is another program and may be slow, half dead or hostile: every wait has
/// its end, every size its limit, and a late answer is never taken for the next one.
class X11PropertyTransfer final : public X11Observer {
public:
    /// Bytes of one request for a part of a property: what is in memory at once on top of the
    /// contents, and what one turn of the run loop copies.
    static constexpr quint32 chunkBytes = 256 * 1024;
    /// An abandoned transfer is followed for so many pieces more, thrown away, so that its owner
    /// comes to the end: a gigabyte from most toolkits. One that never ends is left to wait.
    static constexpr int drainedPieces = 4096;

    struct Request {
        xcb_atom_t target = XCB_ATOM_NONE;
        /// When the owner took the selection, as the server told.
        xcb_timestamp_t time = XCB_CURRENT_TIME;
        /// An answer of more bytes is too large.
        qint64 mostBytes = 0;
        /// How long the first sign of life may take.
        RunLoop::Seconds patience = TargetTransfer::stepLimit;
    };
    using Outcome = TargetTransfer::Outcome;
    using Ended = TargetTransfer::Ended;
    /// Takes the bytes as they arrive, with the type that the owner gives them.
    using Piece = std::function<void(QByteArrayView bytes, xcb_atom_t type)>;

    explicit X11PropertyTransfer(std::shared_ptr<X11Connection> connection);
    ~X11PropertyTransfer() override;

    /// Abandons what is under way. With `piece` the bytes go there and are not kept.
    void start(const Request &request, Ended ended, Piece piece = {});
    /// Nothing more is heard of it. Its owner is seen to the end.
    void abandon();
    /// The bytes of the last answer so far, taken on the way or not.
    [[nodiscard]] qint64 receivedBytes() const { return _received; }

    void x11Event(const xcb_generic_event_t &event) override;
    void x11ConnectionLost() override { abandon(); }

private:
    enum class State { Idle, Asked, Whole, Pieces };

    void selectionNotified(const xcb_selection_notify_event_t &event);
    void propertyNotified(const xcb_property_notify_event_t &event);
    void readProperty(quint32 offset);
    void propertyArrived(const xcb_get_property_reply_t *reply, quint32 offset);
    void beginPieces(const xcb_get_property_reply_t &reply);
    void take(const xcb_get_property_reply_t &reply);
    void end(Outcome outcome);
    void drain(xcb_atom_t property);
    void waitFor(RunLoop::Seconds patience);

    std::shared_ptr<X11Connection> _connection;
    xcb_window_t _window;
    xcb_atom_t _clipboard;
    xcb_atom_t _incr;
    // A late answer must not be taken for the next one, so every request has a property of its own;
    // names are never forgotten by the server, so they come round again.
    QList<xcb_atom_t> _properties;
    qsizetype _nextProperty = 0;
    // Left by abandoned transfers, and how many more pieces of each are thrown away.
    QHash<xcb_atom_t, int> _drained;

    State _state = State::Idle;
    Request _request;
    Ended _ended;
    Piece _piece;
    xcb_atom_t _property = XCB_ATOM_NONE;
    RunLoop::Timer _timer;
    qint64 _received = 0;
    QByteArray _bytes;
};

} // namespace clipmule
