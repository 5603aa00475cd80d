// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/pasteboard/TargetTransfer.h"
#include "platform/x11/X11Connection.h"

#include <QSet>

#include <functional>
#include <memory>
#include <optional>

namespace clipmule {

/// Asks the owner of the CLIPBOARD selection what it offers, and for one target at a time, and
/// takes the answer, whole or in pieces. The owner is another program and may be slow, half dead or
/// hostile: every wait has its end, every size its limit, and a late answer is never taken for the
/// next one.
class X11TargetTransfer final : public TargetTransfer, private X11Observer {
public:
    /// Bytes of one request for a part of a property: what is in memory at once on top of the
    /// contents, and what one turn of the run loop copies.
    static constexpr quint32 chunkBytes = 256 * 1024;
    /// An abandoned transfer is followed for so many pieces more, thrown away, so that its owner
    /// comes to the end: a gigabyte from most toolkits. One that never ends is left to wait.
    static constexpr int drainedPieces = 4096;
    /// An owner that lists more targets than fit in here (four bytes each) is not asked for any:
    /// of a list that is cut off nobody knows whether the contents are marked as secret.
    static constexpr qint64 targetListBytes = 256 * 1024;

    /// Gets the names of the targets, in the owner's order, or nothing when the owner does not tell
    /// them in time or has too many.
    using Listed = std::function<void(const std::optional<QStringList> &targets)>;

    explicit X11TargetTransfer(std::shared_ptr<X11Connection> connection);
    ~X11TargetTransfer() override;

    /// Asks what the owner offers that took the selection at that time, as the server told;
    /// whatever is asked for after that is asked of this owner. Abandons what is under way.
    void list(xcb_timestamp_t time, Listed listed);
    void start(const Request &request, Ended ended, Piece piece = {}) override;
    /// Its owner is seen to the end.
    void abandon() override;
    [[nodiscard]] qint64 receivedBytes() const override { return _received; }

private:
    enum class State { Idle, Asked, Whole, Pieces };

    void x11Event(const xcb_generic_event_t &event) override;
    void x11ConnectionLost() override { abandon(); }

    void listEnded(Outcome outcome, const QByteArray &list);
    void askForNames(const QList<xcb_atom_t> &targets);
    void askForName(xcb_atom_t atom);
    void nameArrived();
    void forgetNames();
    [[nodiscard]] xcb_atom_t atomOf(const QString &target) const;

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
    QSet<xcb_atom_t> _markers;
    QHash<xcb_atom_t, QString> _names;
    xcb_timestamp_t _time = XCB_CURRENT_TIME;

    Listed _listed; // while the owner is asked what it offers
    QList<xcb_atom_t> _atoms;
    qsizetype _namesToCome = 0;

    // A late answer must not be taken for the next one, so every request has a property of its own;
    // names are never forgotten by the server, so they come round again.
    QList<xcb_atom_t> _properties;
    qsizetype _nextProperty = 0;
    // Left by abandoned transfers, and how many more pieces of each are thrown away.
    QHash<xcb_atom_t, int> _drained;

    State _state = State::Idle;
    Request _request;
    xcb_atom_t _target = XCB_ATOM_NONE;
    Ended _ended;
    Piece _piece;
    xcb_atom_t _property = XCB_ATOM_NONE;
    RunLoop::Timer _timer;
    qint64 _received = 0;
    QByteArray _bytes;
};

} // namespace clipmule
