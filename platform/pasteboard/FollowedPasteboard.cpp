// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/pasteboard/FollowedPasteboard.h"

#include <utility>

namespace clipmule {

void FollowedPasteboard::ownerEnded() {
    // A copy that nobody had the time to read may still be had from a manager.
    _taking = {.isCopy = _taking.isCopy || (isFetching() && !_taking.mayBeTakeover())};
    stopFetching();
    forgetContents();
    _ended = RunLoop::current().now();
}

void FollowedPasteboard::ownerTook(const Newcomer &newcomer, std::function<void(Fetched)> read) {
    const RunLoop::Seconds now = RunLoop::current().now();
    PasteboardHistory::Taking taking{.isCopy = _taking.isCopy,
                                     .followsAnEnd =
                                         _ended && now - *_ended < PasteboardHistory::takeoverTime,
                                     .isAnotherThanEnded = newcomer.isAnother,
                                     .hasOwnedBefore = newcomer.hasOwnedBefore,
                                     .hasReadUs = newcomer.hasReadUs && _taken &&
                                                  now - *_taken < PasteboardHistory::reowningTime};
    // After a while without an owner nobody takes over what was there before.
    if (_ended && !taking.followsAnEnd)
        _history.forgetLast();
    _ended.reset();
    if (isFetching()) {
        taking.isCopy = !_taking.mayBeTakeover();
        taking.hasReadUs = taking.hasReadUs || _taking.hasReadUs;
    }
    _taking = taking;
    stopFetching();
    _history.setLast(contents());
    if (!_watching) {
        setContents({});
        _history.forgetLast();
        moveChangeCount();
        return;
    }
    _settle = RunLoop::current().performAfter(
        PasteboardHistory::settleTime, [this, owner = newcomer.owner, read = std::move(read)] {
            read([this, owner](const std::optional<PasteboardContents> &contents) {
                fetched(contents, owner);
            });
        });
}

void FollowedPasteboard::fetched(const std::optional<PasteboardContents> &fetchedContents,
                                 Owner owner) {
    // Nothing is known of an owner that hangs; the last complete contents stay.
    if (fetchedContents) {
        const bool isCopy =
            !fetchedContents->isEmpty() && !_history.isTakeover(*fetchedContents, _taking, owner);
        setContents(*fetchedContents);
        _history.remember(*fetchedContents, owner);
        if (isCopy)
            moveChangeCount();
    } else {
        moveUnansweredCount();
    }
    _taking = {};
}

void FollowedPasteboard::weTook(Owner us) {
    stopFetching();
    _ended.reset();
    _taken = RunLoop::current().now();
    _taking = {};
    _history.remember(contents(), us);
}

void FollowedPasteboard::stopFetching() {
    _settle.cancel();
    abandonReading();
}

// Drops the contents and keeps their fingerprint.
void FollowedPasteboard::forgetContents() {
    _history.setLast(contents());
    setContents({});
}

void FollowedPasteboard::setWatching(bool watching) {
    _watching = watching;
    if (watching)
        return;
    if (isFetching()) {
        stopFetching();
        setContents({});
        _history.forgetLast();
        _taking = {};
        moveChangeCount();
    } else if (!ownsContents()) {
        forgetContents();
    }
}

void FollowedPasteboard::releaseContents() {
    const PasteboardContents before = contents();
    Pasteboard::releaseContents();
    if (contents().isEmpty())
        _history.setLast(before);
}

} // namespace clipmule
