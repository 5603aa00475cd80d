// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/pasteboard/Pasteboard_x11.h"

#include "platform/pasteboard/PasteboardTypes.h"

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

PasteboardX11::PasteboardX11(std::shared_ptr<X11Connection> connection)
    : _connection(std::move(connection))
    , _reader(_connection)
    , _owner(_connection)
    , _clipboard(_connection->atom("CLIPBOARD"))
    , _selectionEvent(
          quint8(xcb_get_extension_data(_connection->xcb(), &xcb_xfixes_id)->first_event +
                 XCB_XFIXES_SELECTION_NOTIFY)) {}

PasteboardX11::~PasteboardX11() {
    _connection->removeObserver(this);
}

void PasteboardX11::start() {
    _connection->addObserver(this);
    xcb_xfixes_select_selection_input(_connection->xcb(), _owner.window(), _clipboard,
                                      XCB_XFIXES_SELECTION_EVENT_MASK_SET_SELECTION_OWNER |
                                          XCB_XFIXES_SELECTION_EVENT_MASK_SELECTION_WINDOW_DESTROY |
                                          XCB_XFIXES_SELECTION_EVENT_MASK_SELECTION_CLIENT_CLOSE);
    const auto cookie = xcb_get_selection_owner(_connection->xcb(), _clipboard);
    _connection->awaitReply(cookie.sequence, this, [this](const void *memory) {
        const auto *reply = static_cast<const xcb_get_selection_owner_reply_t *>(memory);
        if (reply && reply->owner != XCB_NONE && reply->owner != _owner.window() && !isFetching())
            fetch(XCB_CURRENT_TIME, Counting::Uncounted);
    });
}

bool PasteboardX11::isFetching() const {
    return _settle.isPending() || _reader.isReading();
}

void PasteboardX11::x11Event(const xcb_generic_event_t &event) {
    if ((event.response_type & 0x7f) != _selectionEvent)
        return;
    const auto &notified = reinterpret_cast<const xcb_xfixes_selection_notify_event_t &>(event);
    if (notified.selection == _clipboard)
        ownerChanged(notified.subtype == XCB_XFIXES_SELECTION_EVENT_SET_SELECTION_OWNER
                         ? notified.owner
                         : XCB_NONE,
                     notified.selection_timestamp);
}

void PasteboardX11::ownerChanged(xcb_window_t owner, xcb_timestamp_t time) {
    if (owner == _owner.window()) {
        --_ownEventsToCome;
        _owner.setTime(time);
        return;
    }
    if (_ownEventsToCome > 0)
        return;
    _owner.disown();
    _settle.cancel();
    _reader.abandon();
    if (owner == XCB_NONE) {
        if (!contents().isEmpty())
            _leftBehind = PasteboardFingerprint(contents());
        else if (!_released.isEmpty())
            _leftBehind = std::exchange(_released, {});
        setContents({});
        return;
    }
    if (!_watching) {
        _isStale = true;
        moveChangeCount();
        return;
    }
    _settle = RunLoop::current().performAfter(settleTime,
                                              [this, time] { fetch(time, Counting::Counted); });
}

void PasteboardX11::fetch(xcb_timestamp_t time, Counting counting) {
    _reader.start(time, [this, counting](const std::optional<PasteboardContents> &contents) {
        fetched(contents, counting);
    });
}

void PasteboardX11::fetched(const std::optional<PasteboardContents> &fetchedContents,
                            Counting counting) {
    // Of an owner that hangs nothing is known; the last complete contents stay.
    if (!fetchedContents)
        return;
    bool isTakeover = false;
    if (!_leftBehind.isEmpty())
        isTakeover = PasteboardFingerprint(*fetchedContents).isWithin(_leftBehind);
    _leftBehind = {};
    _released = {};
    _isStale = false;
    setContents(*fetchedContents);
    if (counting == Counting::Counted && !isTakeover && !fetchedContents->isEmpty())
        moveChangeCount();
}

void PasteboardX11::setWatching(bool watching) {
    _watching = watching;
    if (watching && _isStale && !_connection->isLost())
        fetch(XCB_CURRENT_TIME, Counting::Uncounted);
}

void PasteboardX11::publish() {
    if (_connection->isLost()) {
        setContents({});
        return;
    }
    _settle.cancel();
    _reader.abandon();
    _isStale = false;
    _released = {};
    _leftBehind = PasteboardFingerprint(contents());
    ++_ownEventsToCome;
    _owner.own(PasteboardTypes::offers(contents()));
}

void PasteboardX11::releaseContents() {
    const PasteboardContents before = contents();
    StagedPasteboard::releaseContents();
    if (before.isEmpty() || !contents().isEmpty())
        return;
    _released = PasteboardFingerprint(before);
    // Whoever begins to watch later finds them fetched again.
    _isStale = true;
}

void PasteboardX11::prepareToQuit(std::function<void()> done) {
    _owner.handOver(std::move(done));
}

void PasteboardX11::x11ConnectionLost() {
    _settle.cancel();
    _leftBehind = {};
    _released = {};
    setContents({});
}

} // namespace clipmule
