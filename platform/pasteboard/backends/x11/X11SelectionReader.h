// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/pasteboard/PasteboardTargets.h"
#include "platform/pasteboard/backends/x11/X11PropertyTransfer.h"

#include <QSet>

#include <deque>
#include <functional>
#include <memory>
#include <optional>

namespace clipmule {

/// Fetches what the owner of the CLIPBOARD selection offers, target after target: first their list,
/// then of each meaning the best that is answered. However long the owner takes, and however much
/// it has, it comes to an end.
class X11SelectionReader final : private X11Observer {
public:
    /// The first answer of an image: an image editor makes a PNG of a photo of 24 million pixels
    /// for the one request, in three to eight seconds. The waiting itself costs nothing.
    static constexpr RunLoop::Seconds imageStepLimit{12.0};
    /// The time for all targets together. What has arrived by then is what was copied.
    static constexpr RunLoop::Seconds totalLimit{25.0};
    /// An owner that lists more targets than fit in here (four bytes each) is not asked for any:
    /// of a list that is cut off nobody knows whether the contents are marked as secret.
    static constexpr qint64 targetListBytes = 256 * 1024;
    /// Bytes of all targets together: an image of 64 MiB with its text and markup beside it. The
    /// largest clip that travels has 10 MB, but a photo is fetched whole to be reduced.
    static constexpr qint64 byteLimit = 96 * 1024 * 1024;
    /// Bytes of the targets that only desktops read: no more than the largest clip that travels.
    static constexpr qint64 nativeByteLimit = 10'000'000;

    /// Gets the contents; nothing when the owner did not answer at all.
    using Completion = std::function<void(std::optional<PasteboardContents>)>;

    explicit X11SelectionReader(std::shared_ptr<X11Connection> connection);
    ~X11SelectionReader() override;

    /// Abandons a reading that is under way, which is not heard of again, and starts another.
    /// `time` is when the owner took the selection, as the server told.
    void start(xcb_timestamp_t time, Completion completion);
    void abandon();
    [[nodiscard]] bool isReading() const { return bool(_completion); }

private:
    using Outcome = X11PropertyTransfer::Outcome;
    struct Fetch {
        PasteboardTargets::Request request;
        int position;      // in the owner's order
        int candidate = 0; // which of the request's targets is asked for
        [[nodiscard]] QString target() const { return request.targets.at(candidate); }
    };

    void x11Event(const xcb_generic_event_t &) override {}
    void x11ConnectionLost() override { abandon(); }

    void targetsEnded(Outcome outcome, const QByteArray &list);
    void askForNames(const QList<xcb_atom_t> &targets);
    void askForName(xcb_atom_t atom);
    void nameArrived();
    void forgetNames();
    void fetchNext();
    void fetchEnded(Outcome outcome, const QByteArray &bytes);
    void received(const Fetch &fetch, const QByteArray &bytes);
    void tooLarge(const Fetch &fetch) const;
    void mute(const Fetch &fetch);
    void totalTimedOut();
    void leaveOut(const Fetch &fetch);
    [[nodiscard]] std::optional<PasteboardContents> whatArrived() const;
    void finish(const std::optional<PasteboardContents> &contents);

    std::shared_ptr<X11Connection> _connection;
    X11PropertyTransfer _transfer;
    xcb_atom_t _targetsAtom;
    xcb_atom_t _utf8String;
    xcb_atom_t _compoundText;
    QSet<xcb_atom_t> _markers;
    QHash<xcb_atom_t, QString> _names;

    Completion _completion;
    xcb_timestamp_t _time = XCB_CURRENT_TIME;
    RunLoop::Timer _totalTimer;
    QList<xcb_atom_t> _atoms;
    qsizetype _namesToCome = 0;
    std::deque<Fetch> _fetches; // the first one is under way
    QMap<int, PasteboardTargets::Answer> _answers;
    std::optional<ClipboardText> _text; // that is arriving
    bool _isMute = false;               // for some target
    qint64 _bytes = 0;                  // of the answers so far
    qint64 _nativeBytes = 0;            // of these, of targets without a meaning
};

} // namespace clipmule
