// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/foundation/RunLoop.h"
#include "platform/pasteboard/PasteboardFingerprint.h"
#include "platform/pasteboard/backends/x11/X11SelectionOwner.h"
#include "platform/pasteboard/backends/x11/X11SelectionReader.h"
#include "platform/x11/X11Connection.h"

#include <QSet>

#include <deque>
#include <optional>

namespace clipmule {

/// The CLIPBOARD selection of an X11 display.
///
/// While watched, what others copy is fetched on its own, in pieces, and counted when it is
/// complete. Two changes are no copies and do not move the count: the owner quits (there are no
/// contents then), and a clipboard manager takes over what a quitting owner or we had offered, or
/// fills the gap that the owner has left with something older.
///
/// A manager that takes over is known by what it does as well as by the contents, so that a person
/// may copy the same again, or a part of it: it follows the end of the owner at once, or it has
/// just read the contents from us, or it is the client that the desktop names its clipboard
/// manager. What fills a gap is older when it has been on the clipboard before, or when it is
/// offered by a window that had owned the clipboard before. What a password manager has marked is
/// never a copy when another program offers it without the mark, however much later.
///
/// While nobody watches, no owner is asked for anything; every new owner moves the count.
///
/// What we commit is served to other clients from the run loop; the reading calls answer from it
/// without asking the display.
class X11Pasteboard final : public Pasteboard, private X11Observer {
public:
    /// A burst of owners (one quits, a manager follows) is one change; the poll looks twice a
    /// second.
    static constexpr RunLoop::Seconds settleTime{0.02};
    /// How long after the end of an owner a manager may take over. Some are told of the end and
    /// need milliseconds, others look twice a second; nobody quits one program and copies in
    /// another in so short a time.
    static constexpr RunLoop::Seconds takeoverTime{0.75};
    /// How long after we took the clipboard a program that has read it may take it over. Managers
    /// that own everything anew do it as soon as they have read it.
    static constexpr RunLoop::Seconds reowningTime{1.0};
    /// Contents whose fingerprints are remembered, and as many of secrets. What managers bring back
    /// is the newest entry of their kind in histories of 10 to 25.
    static constexpr size_t mostRemembered = 64;
    /// Windows that are remembered as having owned the clipboard. A desktop has some tens.
    static constexpr qsizetype mostEarlierOwners = 256;

    /// The connection must have the XFixes extension: hasX11PasteboardSupport().
    explicit X11Pasteboard(std::shared_ptr<X11Connection> connection,
                           FindPasteboardAudience audience = {});
    ~X11Pasteboard() override;

    /// Begins to follow the selection.
    void start();

    void setWatching(bool watching) override;
    [[nodiscard]] QString description() const override { return QStringLiteral("x11"); }
    void releaseContents() override;
    void offerAsSelection() override { _owner.ownSelection(); }
    void prepareToQuit(std::function<void()> done) override;

    /// Whether contents are being fetched or are about to be.
    [[nodiscard]] bool isFetching() const;

protected:
    void publish() override;
    [[nodiscard]] bool ownsContents() const override { return _owner.isOwning(); }

private:
    // What is known of the newest owner: whether its contents may be those that were there before.
    struct Taking {
        bool isCopy = false; // certainly: something new has come in between
        bool followsAnEnd = false;
        bool isAnotherThanEnded = false;
        bool hasOwnedBefore = false;
        bool hasReadUs = false;
        bool isTheManagers = false;

        [[nodiscard]] bool mayBeTakeover() const {
            return !isCopy && (followsAnEnd || hasReadUs || isTheManagers);
        }
        [[nodiscard]] bool fillsAGap() const { return followsAnEnd && isAnotherThanEnded; }
    };

    void x11Event(const xcb_generic_event_t &event) override;
    void x11ConnectionLost() override;
    void ownerChanged(xcb_window_t owner, xcb_timestamp_t time);
    void ownerEnded();
    void ownerTook(xcb_window_t owner, xcb_timestamp_t time);
    void findTheOwner();
    void rememberOwner(xcb_window_t owner);
    void forgetOwner(xcb_window_t owner);
    void askForTheManager(xcb_window_t owner);
    void fetch(xcb_timestamp_t time);
    void fetched(const std::optional<PasteboardContents> &contents);
    [[nodiscard]] bool isTakeover(const PasteboardContents &fetched) const;
    [[nodiscard]] bool isSecretWithoutItsMark(const PasteboardContents &contents) const;
    void remember(const PasteboardContents &contents);
    void rememberSecret(const PasteboardContents &contents);
    [[nodiscard]] bool hasBeenHere(const PasteboardFingerprint &contents) const;
    void stopFetching();
    void forgetContents();

    std::shared_ptr<X11Connection> _connection;
    X11SelectionReader _reader;
    X11SelectionOwner _owner;
    xcb_atom_t _clipboard;
    xcb_atom_t _clipboardManager;
    quint8 _selectionEvent; // its number on this connection
    RunLoop::Timer _settle;
    bool _watching = false;
    // How many events of our own taking are still to come: until then, those about others are out
    // of date.
    int _ownEventsToCome = 0;
    Taking _taking;
    // The fingerprint of what was on the clipboard last, where it is not among the contents any
    // more; nothing when it was never read.
    std::optional<PasteboardFingerprint> _last;
    struct Secret {
        PasteboardFingerprint fingerprint;
        xcb_window_t owner; // that marked it; none once that has gone
    };
    std::deque<PasteboardFingerprint> _history; // the newest last
    std::deque<Secret> _secrets;                // the newest last
    xcb_window_t _currentOwner = XCB_NONE;      // or, while there is none, the one before
    QSet<xcb_window_t> _earlierOwners;          // that still exist
    std::optional<RunLoop::Seconds> _ended;     // when the owner did, while there is no other
    std::optional<RunLoop::Seconds> _taken;     // when we took the clipboard
};

/// Whether the display tells of changes of the clipboard at all.
[[nodiscard]] bool hasX11PasteboardSupport(X11Connection &connection);

} // namespace clipmule
