// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/x11/X11Connection.h"

#include <QByteArray>
#include <QHash>
#include <QList>

namespace clipmule::kit {

/// Another application that owns the clipboard, well-behaved or not, on a connection of its own. It
/// runs on the test's own event loop: code that waited for it on the spot would wait for ever.
class X11TestOwner final : public X11Observer {
public:
    struct Answer {
        QByteArray target;
        QByteArray data;
        /// The type that is answered; empty: the target.
        QByteArray type = {};
        int format = 8;
        /// Nothing is ever answered.
        bool isMute = false;
        bool isRefused = false;
        /// In pieces of so many bytes; 0: at once.
        qsizetype pieceBytes = 0;
        /// How many pieces come before the owner falls silent; -1: all, and the end.
        int pieces = -1;
        /// The size announced for pieces; -1: the true one.
        qint64 announced = -1;
    };

    X11TestOwner();
    ~X11TestOwner() override;

    /// Takes the clipboard with these contents; the server knows it on return. Another window of
    /// the same client may be the owner.
    void own(const QList<Answer> &answers, xcb_window_t window = XCB_NONE,
             xcb_timestamp_t time = XCB_CURRENT_TIME);
    /// Falls silent altogether, TARGETS included, or comes back.
    void setMute(bool mute) { _isMute = mute; }
    void refuseTargets() { _refusesTargets = true; }
    /// Gives the clipboard up, as a program that quits.
    void quit();
    /// Answers what it was asked while it was mute.
    void answerLate();
    [[nodiscard]] qsizetype unansweredCount() const { return _unanswered.size(); }

    [[nodiscard]] int requestCount(const QByteArray &target) const {
        return _requests.value(target);
    }
    /// The time for which it was last asked.
    [[nodiscard]] xcb_timestamp_t timeAsked() const { return _timeAsked; }
    [[nodiscard]] int piecesSent() const { return _piecesSent; }
    [[nodiscard]] bool isTransferring() const { return _isTransferring; }
    [[nodiscard]] xcb_window_t window() const { return _window; }
    [[nodiscard]] X11Connection &connection() { return *_connection; }
    [[nodiscard]] const std::shared_ptr<X11Connection> &sharedConnection() { return _connection; }

    void x11Event(const xcb_generic_event_t &event) override;

private:
    void answer(const xcb_selection_request_event_t &request);
    void sendPiece();
    void roundTrip();
    void notify(const xcb_selection_request_event_t &request, xcb_atom_t property);

    std::shared_ptr<X11Connection> _connection;
    xcb_window_t _window;
    QList<Answer> _answers;
    bool _isMute = false;
    bool _refusesTargets = false;
    QHash<QByteArray, int> _requests;
    xcb_timestamp_t _timeAsked = XCB_CURRENT_TIME;
    QList<xcb_selection_request_event_t> _unanswered;

    bool _isTransferring = false;
    xcb_selection_request_event_t _transfer{};
    Answer _transferred;
    qsizetype _offset = 0;
    int _piecesSent = 0;
};

} // namespace clipmule::kit
