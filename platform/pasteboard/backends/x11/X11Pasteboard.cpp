// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/pasteboard/backends/x11/X11Pasteboard.h"

#include "platform/pasteboard/PasteboardOffers.h"

#include <algorithm>

#include <xcb/xfixes.h>

namespace clipmule {

bool hasX11PasteboardSupport(X11Connection &connection) {
    const xcb_query_extension_reply_t *extension =
        xcb_get_extension_data(connection.xcb(), &xcb_xfixes_id);
    if (!extension || !extension->present)
        return false;
    // A client has to tell which version it speaks before it may use any.
    return bool(connection.reply(xcb_xfixes_query_version_reply,
                                 xcb_xfixes_query_version(connection.xcb(), 1, 0)));
}

X11Pasteboard::X11Pasteboard(std::shared_ptr<X11Connection> connection,
                             FindPasteboardAudience audience, Whose whose)
    : FollowedPasteboard(_transfer)
    , _whose(whose)
    , _connection(std::move(connection))
    , _transfer(_connection)
    , _owner(_connection, std::move(audience))
    , _clipboard(_connection->atom("CLIPBOARD"))
    , _clipboardManager(_connection->atom("CLIPBOARD_MANAGER"))
    , _selectionEvent(
          quint8(xcb_get_extension_data(_connection->xcb(), &xcb_xfixes_id)->first_event +
                 XCB_XFIXES_SELECTION_NOTIFY)) {}

X11Pasteboard::~X11Pasteboard() {
    _connection->removeObserver(this);
}

void X11Pasteboard::start() {
    _connection->addObserver(this);
    xcb_xfixes_select_selection_input(_connection->xcb(), _owner.window(), _clipboard,
                                      XCB_XFIXES_SELECTION_EVENT_MASK_SET_SELECTION_OWNER |
                                          XCB_XFIXES_SELECTION_EVENT_MASK_SELECTION_WINDOW_DESTROY |
                                          XCB_XFIXES_SELECTION_EVENT_MASK_SELECTION_CLIENT_CLOSE);
    findTheOwner();
    _connection->flush();
}

// Looks for an owner at the start: a manager may own the clipboard since before.
void X11Pasteboard::findTheOwner() {
    const auto cookie = xcb_get_selection_owner(_connection->xcb(), _clipboard);
    _connection->awaitReply(cookie.sequence, this, [this](const void *memory) {
        const auto *reply = static_cast<const xcb_get_selection_owner_reply_t *>(memory);
        if (!reply)
            return;
        if (_whose == Whose::Servers)
            setAccessible(true);
        if (reply->owner != XCB_NONE)
            rememberOwner(reply->owner);
    });
}

void X11Pasteboard::rememberOwner(xcb_window_t owner) {
    _currentOwner = owner;
    if (_earlierOwners.contains(owner) || _earlierOwners.size() >= mostEarlierOwners)
        return;
    _earlierOwners.insert(owner);
    // The number of a window that has gone is given to another.
    const quint32 mask = XCB_EVENT_MASK_STRUCTURE_NOTIFY;
    xcb_change_window_attributes(_connection->xcb(), owner, XCB_CW_EVENT_MASK, &mask);
}

void X11Pasteboard::x11Event(const xcb_generic_event_t &event) {
    const int type = event.response_type & 0x7f;
    if (type == XCB_DESTROY_NOTIFY) {
        const auto &gone = reinterpret_cast<const xcb_destroy_notify_event_t &>(event);
        _earlierOwners.remove(gone.window);
        forgetOwner(gone.window);
    }
    if (type != _selectionEvent)
        return;
    const auto &notified = reinterpret_cast<const xcb_xfixes_selection_notify_event_t &>(event);
    if (notified.selection == _clipboard)
        ownerChanged(notified.subtype == XCB_XFIXES_SELECTION_EVENT_SET_SELECTION_OWNER
                         ? notified.owner
                         : XCB_NONE,
                     notified.selection_timestamp);
}

void X11Pasteboard::ownerChanged(xcb_window_t owner, xcb_timestamp_t time) {
    if (owner == _owner.window()) {
        // Anybody may name our window as the owner, at any time.
        _ownEventsToCome = std::max(0, _ownEventsToCome - 1);
        _owner.setTime(time);
        return;
    }
    if (_ownEventsToCome > 0)
        return;
    if (owner == XCB_NONE) {
        ownerEnded();
        _owner.disown();
    } else {
        taken(owner, time);
    }
}

void X11Pasteboard::taken(xcb_window_t owner, xcb_timestamp_t time) {
    const Newcomer newcomer{.owner = owner,
                            .isAnother = _connection->clientOf(owner) !=
                                         _connection->clientOf(_currentOwner),
                            .hasOwnedBefore = _earlierOwners.contains(owner),
                            .hasReadUs = _owner.wasReadBy(owner)};
    rememberOwner(owner);
    _owner.disown();
    ownerTook(newcomer, [this, time](Listed listed) { _transfer.list(time, std::move(listed)); });
    if (isFetching())
        askForTheManager(owner);
}

// The reply comes before anything that the owner is asked for, and before the one about the next
// owner.
void X11Pasteboard::askForTheManager(xcb_window_t owner) {
    const auto cookie = xcb_get_selection_owner(_connection->xcb(), _clipboardManager);
    _connection->awaitReply(cookie.sequence, this, [this, owner](const void *memory) {
        const auto *reply = static_cast<const xcb_get_selection_owner_reply_t *>(memory);
        setIsTheManagers(reply && reply->owner != XCB_NONE &&
                         _connection->clientOf(reply->owner) == _connection->clientOf(owner));
    });
}

void X11Pasteboard::publish() {
    if (_connection->isLost()) {
        setContents({});
        return;
    }
    ++_ownEventsToCome;
    _currentOwner = _owner.window();
    weTook(_currentOwner);
    _owner.own(PasteboardOffers::offers(contents()));
}

void X11Pasteboard::prepareToQuit(std::function<void()> done) {
    _owner.handOver(std::move(done));
}

void X11Pasteboard::x11ConnectionLost() {
    stopFetching();
    setContents({});
    setAccessible(false);
}

// What an X server says of a compositor's clipboard proves nothing.
void X11Pasteboard::ownerAnswered(bool hasAnswered) {
    if (_whose == Whose::Compositors)
        setAccessible(hasAnswered);
}

} // namespace clipmule
