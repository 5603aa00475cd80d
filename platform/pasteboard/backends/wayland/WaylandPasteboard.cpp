// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/pasteboard/backends/wayland/WaylandPasteboard.h"

#include <utility>

namespace clipmule {

WaylandPasteboard::WaylandPasteboard(std::unique_ptr<WaylandDataControl> control,
                                     FindPasteboardAudience audience)
    : FollowedPasteboard(_transfer)
    , _audience(std::move(audience))
    , _control(std::move(control))
    , _transfer([this](const QString &target, const PipeTransfer::Opened &opened) {
        _control->receive(target, opened);
    }) {
    _control->onSelection = [this](const std::optional<QStringList> &targets,
                                   WaylandDataControl::Moment moment) {
        if (moment == WaylandDataControl::Moment::AtTheStart)
            _hasOwner = targets.has_value();
        else
            selectionChanged(targets);
    };
    _control->isWanted = [](const QString &type) { return PasteboardMarker::all.contains(type); };
    _control->onSend = [this](const QString &target, FileHandle pipe,
                              WaylandDataControl::Closed closed) {
        _wasRead = true;
        _offers.send(target, std::move(pipe), std::move(closed));
    };
    _control->onCancelled = [this] { disown(); };
    _control->onAccess = [this](bool isGiven) { setAccessible(isGiven); };
}

void WaylandPasteboard::selectionChanged(const std::optional<QStringList> &targets) {
    // The compositor says both, in either order.
    disown();
    const bool hadOwner = std::exchange(_hasOwner, targets.has_value());
    if (targets)
        ownerTook({.hasReadUs = std::exchange(_wasRead, false)},
                  [targets](const Listed &listed) { listed(targets); });
    else if (hadOwner)
        ownerEnded();
}

void WaylandPasteboard::disown() {
    _isOwning = false;
    _offers.retire();
}

void WaylandPasteboard::publish() {
    _wasRead = false;
    _offers.set(PasteboardOffers::offers(contents()));
    own(audience());
    _hasOwner = _isOwning;
    if (!_isOwning)
        setContents({});
    weTook(0);
}

void WaylandPasteboard::own(PasteboardAudience audience) {
    _listed = _offers.targets(audience);
    _isOwning = _control->own(_listed);
}

// Who goes from an editor to a file manager pastes the picture's file there. On the way nobody is
// in front for a moment.
void WaylandPasteboard::audienceChanged() {
    _relisting = RunLoop::current().performAfter(settling, [this] {
        const PasteboardAudience now = audience();
        if (_isOwning && now != PasteboardAudience::Unknown && _offers.targets(now) != _listed)
            own(now);
    });
}

} // namespace clipmule
