// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/foundation/RunLoop.h"
#include "platform/pasteboard/ClipboardText.h"
#include "platform/pasteboard/PasteboardOffers.h"
#include "platform/x11/X11Connection.h"

#include <QSet>

#include <deque>
#include <functional>
#include <memory>
#include <optional>

namespace clipmule {

/// Fetches what the owner of the CLIPBOARD selection offers, piece by piece from the run loop. The
/// owner is another program and may be slow, half dead or hostile: every wait has its end, every
/// size its limit, and nothing is waited for on the spot.
class X11SelectionReader final : public X11Observer {
public:
    /// A target that has not been answered for so long is given up, and the next one is asked for.
    static constexpr RunLoop::Seconds stepLimit{5.0};
    /// The same for an image: an image editor makes a PNG of a photo of 24 million pixels for the
    /// one request, in three to eight seconds. The waiting itself costs nothing.
    static constexpr RunLoop::Seconds imageStepLimit{12.0};
    /// The time for all steps together. What has arrived by then is what was copied.
    static constexpr RunLoop::Seconds totalLimit{25.0};
    /// An owner that lists more targets than fit in here (four bytes each) is not asked for any:
    /// of a list that is cut off nobody knows whether the contents are marked as secret.
    static constexpr qint64 targetListBytes = 256 * 1024;
    /// Bytes of all targets together: an image of 64 MiB with its text and markup beside it. The
    /// largest clip that travels has 10 MB, but a photo is fetched whole to be reduced.
    static constexpr qint64 byteLimit = 96 * 1024 * 1024;
    /// Bytes of the targets that only desktops read: no more than the largest clip that travels.
    static constexpr qint64 nativeByteLimit = 10'000'000;
    /// Bytes of one request for a part of a property: what is in memory at once on top of the
    /// contents, and what one turn of the run loop copies.
    static constexpr quint32 chunkBytes = 256 * 1024;
    /// An abandoned transfer is followed for so many pieces more, thrown away, so that its owner
    /// comes to the end: a gigabyte from most toolkits. One that never ends is left to wait.
    static constexpr int drainedPieces = 4096;

    /// Gets the contents; nothing when the owner did not answer at all.
    using Completion = std::function<void(std::optional<PasteboardContents>)>;

    explicit X11SelectionReader(std::shared_ptr<X11Connection> connection);
    ~X11SelectionReader() override;

    /// Abandons a reading that is under way, which is not heard of again, and starts another.
    /// `time` is when the owner took the selection, as the server told.
    void start(xcb_timestamp_t time, Completion completion);
    void abandon();
    [[nodiscard]] bool isReading() const { return bool(_completion); }

    void x11Event(const xcb_generic_event_t &event) override;
    void x11ConnectionLost() override;

private:
    enum class Step { Idle, Conversion, Property, Increment };
    struct Fetch {
        PasteboardTypes::Request request;
        int position;      // in the owner's order
        int candidate = 0; // which of the request's targets is asked for
    };

    void targetsArrived(const QList<xcb_atom_t> &atoms);
    void forgetNames();
    void namesArrived();
    void fetchNext();
    void fetchCandidate();

    void convert(xcb_atom_t target);
    void readProperty(quint32 offset);
    void propertyArrived(const xcb_get_property_reply_t *reply, quint32 offset);
    void selectionNotified(const xcb_selection_notify_event_t &event);
    void propertyNotified(const xcb_property_notify_event_t &event);
    bool append(const xcb_get_property_reply_t &reply);

    void targetDone();
    void targetRefused();
    void targetTooLarge();
    void stepTimedOut();
    void totalTimedOut();
    void leaveOut(const Fetch &fetch);
    void finish(bool complete);
    [[nodiscard]] qint64 spaceLeft() const;
    void drain(xcb_atom_t property);
    void waitForStep(RunLoop::Seconds limit = stepLimit);

    std::shared_ptr<X11Connection> _connection;
    xcb_window_t _window;
    xcb_atom_t _clipboard;
    xcb_atom_t _incr;
    xcb_atom_t _targetsAtom;
    xcb_atom_t _utf8String;
    xcb_atom_t _compoundText;
    QSet<xcb_atom_t> _markers;
    QHash<xcb_atom_t, QString> _names;

    Completion _completion;
    // Which reading a reply belongs to: those of an abandoned one are dropped.
    quint64 _reading = 0;
    xcb_timestamp_t _time = XCB_CURRENT_TIME;
    RunLoop::Timer _stepTimer;
    RunLoop::Timer _totalTimer;

    Step _step = Step::Idle;
    bool _isReadingTargets = false;
    xcb_atom_t _target = XCB_ATOM_NONE;
    // A late answer must not be taken for the next one, so every request has a property of its own;
    // names are never forgotten by the server, so they come round again.
    QList<xcb_atom_t> _properties;
    qsizetype _nextProperty = 0;
    xcb_atom_t _property = XCB_ATOM_NONE;
    // Left by abandoned transfers, and how many more pieces of each are thrown away so that the
    // owner comes to its end.
    QHash<xcb_atom_t, int> _drained;

    QList<xcb_atom_t> _atoms;
    qsizetype _namesToCome = 0;
    std::deque<Fetch> _fetches;
    QMap<int, PasteboardTypes::Answer> _answers;
    bool _isMute = false;    // for some target
    qint64 _bytes = 0;       // of the answers so far
    qint64 _nativeBytes = 0; // of these, of targets without a meaning

    qint64 _targetBytes = 0; // of the target that is arriving
    QByteArray _data;
    std::unique_ptr<ClipboardText> _text; // in place of _data, for text
};

} // namespace clipmule
