// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/pasteboard/FollowedPasteboard.h"
#include "platform/pasteboard/PipeOffers.h"
#include "platform/pasteboard/PipeTransfer.h"
#include "platform/wayland/WaylandDataControl.h"

#include <memory>
#include <optional>

namespace clipmule {

/// The clipboard of a compositor that lets programs without a window control it. The other
/// selection, which a middle click pastes, stays untouched.
///
/// Which client owns the clipboard is not told here, so a manager is known by its moment and its
/// contents.
class WaylandPasteboard final : public FollowedPasteboard {
public:
    /// Who comes to the front is offered what is for them so long after: not on the way through
    /// many windows, and not before it was heard that another program copies.
    static constexpr RunLoop::Seconds settling{0.05};

    explicit WaylandPasteboard(std::unique_ptr<WaylandDataControl> control,
                               FindPasteboardAudience audience = {});

    [[nodiscard]] QString description() const override { return _control->name(); }
    void audienceChanged() override;

protected:
    void publish() override;
    [[nodiscard]] bool ownsContents() const override { return _isOwning; }

private:
    void selectionChanged(const std::optional<QStringList> &targets);
    void disown();
    void own(PasteboardAudience audience);
    [[nodiscard]] PasteboardAudience audience() const {
        return _audience ? _audience() : PasteboardAudience::Unknown;
    }

    FindPasteboardAudience _audience;
    std::unique_ptr<WaylandDataControl> _control;
    PipeTransfer _transfer;
    PipeOffers _offers;
    QStringList _listed; // of our offers, when we last owned the clipboard
    RunLoop::Timer _relisting;
    bool _hasOwner = false; // the clipboard: us or another
    bool _isOwning = false;
    bool _wasRead = false; // what we own, by anybody
};

} // namespace clipmule
