// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/pasteboard/backends/wayland/WaylandPasteboard.h"

#include <utility>

namespace clipmule {

WaylandPasteboard::WaylandPasteboard(std::unique_ptr<WaylandDataControl> control,
                                     FindPasteboardAudience audience)
    : _audience(std::move(audience))
    , _control(std::move(control))
    , _transfer([this](const QString &target, const PipeTransfer::Opened &opened) {
        opened(_control->receive(target));
    })
    , _sequence(_transfer) {
    _control->onSelection = [this](const std::optional<QStringList> &targets,
                                   WaylandDataControl::Moment moment) {
        if (moment == WaylandDataControl::Moment::AtTheStart)
            _hasOwner = targets.has_value();
        else
            selectionChanged(targets);
    };
    _control->isWanted = [](const QString &type) { return PasteboardMarker::all.contains(type); };
    _control->onSend = [this](const QString &target, FileHandle pipe) {
        _wasRead = true;
        _offers.send(target, std::move(pipe));
    };
    _control->onCancelled = [this] { _isOwning = false; };
}

bool WaylandPasteboard::isFetching() const {
    return _settle.isPending() || _sequence.isReading();
}

void WaylandPasteboard::selectionChanged(const std::optional<QStringList> &targets) {
    // The compositor says both, in either order.
    _isOwning = false;
    const bool hadOwner = std::exchange(_hasOwner, targets.has_value());
    if (targets)
        ownerTook(*targets);
    else if (hadOwner)
        ownerEnded();
}

void WaylandPasteboard::ownerEnded() {
    // A copy that nobody had the time to read may still be had from a manager.
    _taking = {.isCopy = _taking.isCopy || (isFetching() && !_taking.mayBeTakeover())};
    stopFetching();
    forgetContents();
    _ended = RunLoop::current().now();
}

void WaylandPasteboard::ownerTook(const QStringList &targets) {
    const RunLoop::Seconds now = RunLoop::current().now();
    PasteboardHistory::Taking taking{
        .isCopy = _taking.isCopy,
        .followsAnEnd = _ended && now - *_ended < PasteboardHistory::takeoverTime,
        .isAnotherThanEnded = true,
        .hasReadUs = _wasRead && _taken && now - *_taken < PasteboardHistory::reowningTime};
    // After a while without an owner nobody takes over what was there before.
    if (_ended && !taking.followsAnEnd)
        _history.forgetLast();
    _ended.reset();
    _taken.reset();
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
    _settle = RunLoop::current().performAfter(PasteboardHistory::settleTime, [this, targets] {
        _sequence.start(targets, [this](const std::optional<PasteboardContents> &contents) {
            fetched(contents);
        });
    });
}

void WaylandPasteboard::fetched(const std::optional<PasteboardContents> &fetchedContents) {
    // Nothing is known of an owner that hangs; the last complete contents stay.
    if (fetchedContents) {
        const bool isCopy =
            !fetchedContents->isEmpty() && !_history.isTakeover(*fetchedContents, _taking, 0);
        setContents(*fetchedContents);
        _history.remember(*fetchedContents, 0);
        if (isCopy)
            moveChangeCount();
    } else {
        moveUnansweredCount();
    }
    _taking = {};
}

void WaylandPasteboard::stopFetching() {
    _settle.cancel();
    _sequence.abandon();
}

// Drops the contents and keeps their fingerprint.
void WaylandPasteboard::forgetContents() {
    _history.setLast(contents());
    setContents({});
}

void WaylandPasteboard::setWatching(bool watching) {
    _watching = watching;
    if (watching)
        return;
    if (isFetching()) {
        stopFetching();
        setContents({});
        _history.forgetLast();
        _taking = {};
        moveChangeCount();
    } else if (!_isOwning) {
        forgetContents();
    }
}

void WaylandPasteboard::publish() {
    stopFetching();
    _ended.reset();
    _taken = RunLoop::current().now();
    _taking = {};
    _wasRead = false;
    _offers.set(PasteboardOffers::offers(contents()));
    _isOwning =
        _control->own(_offers.targets(_audience ? _audience() : PasteboardAudience::Unknown));
    _hasOwner = _isOwning;
    if (!_isOwning)
        setContents({});
    _history.remember(contents(), 0);
}

void WaylandPasteboard::releaseContents() {
    const PasteboardContents before = contents();
    Pasteboard::releaseContents();
    if (contents().isEmpty())
        _history.setLast(before);
}

} // namespace clipmule
