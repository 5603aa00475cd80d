// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/foundation/RunLoop.h"
#include "platform/pasteboard/PasteboardFingerprint.h"
#include "platform/pasteboard/StagedPasteboard.h"
#include "platform/pasteboard/X11SelectionOwner.h"
#include "platform/pasteboard/X11SelectionReader.h"
#include "platform/x11/X11Connection.h"

namespace clipmule {

/// The CLIPBOARD selection of an X11 display.
///
/// What others copy is fetched on its own, in pieces, and counted when it is complete. Two changes
/// are no copies and do not move the count: the owner quits (there are no contents then), and a
/// clipboard manager takes over what a quitting owner or we had offered.
///
/// What we commit is served to other clients from the run loop; the reading calls answer from it
/// without asking the display.
class PasteboardX11 final : public StagedPasteboard, private X11Observer {
public:
    /// A burst of owners (one quits, a manager follows) is one change; the poll looks twice a
    /// second.
    static constexpr RunLoop::Seconds settleTime{0.02};

    /// The connection must have the XFixes extension: hasX11PasteboardSupport().
    explicit PasteboardX11(std::shared_ptr<X11Connection> connection);
    ~PasteboardX11() override;

    /// Begins to follow the selection and fetches what is there already, uncounted.
    void start();

    void setWatching(bool watching) override;
    void releaseContents() override;
    void prepareToQuit(std::function<void()> done) override;

    /// Whether contents are being fetched or are about to be.
    [[nodiscard]] bool isFetching() const;

protected:
    void publish() override;
    [[nodiscard]] bool ownsContents() const override { return _owner.isOwning(); }

private:
    enum class Counting { Counted, Uncounted };

    void x11Event(const xcb_generic_event_t &event) override;
    void x11ConnectionLost() override;
    void ownerChanged(xcb_window_t owner, xcb_timestamp_t time);
    void fetch(xcb_timestamp_t time, Counting counting);
    void fetched(const std::optional<PasteboardContents> &contents, Counting counting);

    std::shared_ptr<X11Connection> _connection;
    X11SelectionReader _reader;
    X11SelectionOwner _owner;
    xcb_atom_t _clipboard;
    quint8 _selectionEvent; // its number on this connection
    RunLoop::Timer _settle;
    bool _watching = true;
    bool _isStale = false; // changed while nobody was watching
    // Events of our own taking that are still to come: older ones of others say nothing any more.
    int _ownEventsToCome = 0;
    // What a clipboard manager may take over: the contents of an owner that quit, or our own.
    PasteboardFingerprint _leftBehind;
    PasteboardFingerprint _released; // of the contents that were let go
};

/// Whether the display tells of changes of the clipboard at all.
[[nodiscard]] bool hasX11PasteboardSupport(X11Connection &connection);

} // namespace clipmule
