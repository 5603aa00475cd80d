// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/pasteboard/FollowedPasteboard.h"
#include "platform/pasteboard/backends/x11/X11SelectionOwner.h"
#include "platform/pasteboard/backends/x11/X11TargetTransfer.h"
#include "platform/x11/X11Connection.h"

#include <QSet>

namespace clipmule {

/// The CLIPBOARD selection of an X11 display.
///
/// While watched, what others copy is fetched on its own, in pieces, and counted when it is
/// complete. Two changes are no copies and do not move the count: the owner quits (there are no
/// contents then), and a clipboard manager takes over what a quitting owner or we had offered, or
/// fills the gap that the owner has left with something older.
///
/// A manager that takes over (PasteboardHistory.h) follows the end of the owner at once, or it has
/// just read the contents from us, or it is the client that the desktop names its clipboard
/// manager. What fills a gap is older when it is offered by a window that had owned the clipboard
/// before.
///
/// While nobody watches, no owner is asked for anything; every new owner moves the count.
///
/// What we commit is served to other clients from the run loop; the reading calls answer from it
/// without asking the display.
class X11Pasteboard final : public FollowedPasteboard, private X11Observer {
public:
    /// Windows that are remembered as having owned the clipboard. A desktop has some tens.
    static constexpr qsizetype mostEarlierOwners = 256;

    /// Whose clipboard it is: the X server's, or that of a compositor, of which the X server shows
    /// what it is let.
    enum class Whose { Servers, Compositors };

    /// The connection must have the XFixes extension: hasX11PasteboardSupport().
    explicit X11Pasteboard(std::shared_ptr<X11Connection> connection,
                           FindPasteboardAudience audience = {}, Whose whose = Whose::Servers);
    ~X11Pasteboard() override;

    /// Begins to follow the selection.
    void start();

    [[nodiscard]] QString description() const override {
        return _whose == Whose::Servers ? QStringLiteral("x11") : QStringLiteral("xwayland");
    }
    void offerAsSelection() override { _owner.ownSelection(); }
    void prepareToQuit(std::function<void()> done) override;

protected:
    void publish() override;
    [[nodiscard]] bool ownsContents() const override { return _owner.isOwning(); }
    void ownerAnswered(bool hasAnswered) override;

private:
    void x11Event(const xcb_generic_event_t &event) override;
    void x11ConnectionLost() override;
    void ownerChanged(xcb_window_t owner, xcb_timestamp_t time);
    void taken(xcb_window_t owner, xcb_timestamp_t time);
    void findTheOwner();
    void rememberOwner(xcb_window_t owner);
    void askForTheManager(xcb_window_t owner);

    const Whose _whose;
    std::shared_ptr<X11Connection> _connection;
    X11TargetTransfer _transfer;
    X11SelectionOwner _owner;
    xcb_atom_t _clipboard;
    xcb_atom_t _clipboardManager;
    quint8 _selectionEvent; // its number on this connection
    // How many events of our own taking are still to come: until then, those about others are out
    // of date.
    int _ownEventsToCome = 0;
    xcb_window_t _currentOwner = XCB_NONE; // or, while there is none, the one before
    QSet<xcb_window_t> _earlierOwners;     // that still exist
};

/// Whether the display tells of changes of the clipboard at all.
[[nodiscard]] bool hasX11PasteboardSupport(X11Connection &connection);

} // namespace clipmule
