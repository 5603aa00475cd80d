// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/pasteboard/TargetSequence.h"
#include "platform/pasteboard/backends/x11/X11PropertyTransfer.h"

#include <QSet>

#include <memory>

namespace clipmule {

/// Fetches what the owner of the CLIPBOARD selection offers: first the list of its targets, then
/// what the sequence of targets asks for. However long the owner takes, and however much it has, it
/// comes to an end.
class X11SelectionReader final : private X11Observer {
public:
    /// An owner that lists more targets than fit in here (four bytes each) is not asked for any:
    /// of a list that is cut off nobody knows whether the contents are marked as secret.
    static constexpr qint64 targetListBytes = 256 * 1024;

    using Completion = TargetSequence::Completion;

    explicit X11SelectionReader(std::shared_ptr<X11Connection> connection);
    ~X11SelectionReader() override;

    /// Abandons a reading that is under way, which is not heard of again, and starts another.
    /// `time` is when the owner took the selection, as the server told.
    void start(xcb_timestamp_t time, Completion completion);
    void abandon();
    [[nodiscard]] bool isReading() const { return _completion || _sequence.isReading(); }

private:
    using Outcome = X11PropertyTransfer::Outcome;

    // A target by its name.
    class ByName final : public TargetTransfer {
    public:
        explicit ByName(X11SelectionReader &reader)
            : _reader(reader) {}
        void start(const Request &request, Ended ended, Piece piece) override;
        void abandon() override { _reader._transfer.abandon(); }
        [[nodiscard]] qint64 receivedBytes() const override {
            return _reader._transfer.receivedBytes();
        }

    private:
        X11SelectionReader &_reader;
    };

    void x11Event(const xcb_generic_event_t &) override {}
    void x11ConnectionLost() override { abandon(); }

    void targetsEnded(Outcome outcome, const QByteArray &list);
    void askForNames(const QList<xcb_atom_t> &targets);
    void askForName(xcb_atom_t atom);
    void nameArrived();
    void forgetNames();
    void giveUp();

    std::shared_ptr<X11Connection> _connection;
    X11PropertyTransfer _transfer;
    ByName _byName;
    TargetSequence _sequence;
    xcb_atom_t _targetsAtom;
    xcb_atom_t _utf8String;
    xcb_atom_t _compoundText;
    QSet<xcb_atom_t> _markers;
    QHash<xcb_atom_t, QString> _names;

    Completion _completion; // until the sequence has it
    xcb_timestamp_t _time = XCB_CURRENT_TIME;
    RunLoop::Seconds _started{};
    QList<xcb_atom_t> _atoms;
    qsizetype _namesToCome = 0;
};

} // namespace clipmule
