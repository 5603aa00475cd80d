// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/pasteboard/PasteboardHistory.h"
#include "platform/pasteboard/PipeOffers.h"
#include "platform/pasteboard/PipeTransfer.h"
#include "platform/pasteboard/TargetSequence.h"
#include "platform/wayland/WaylandDataControl.h"

#include <memory>
#include <optional>

namespace clipmule {

/// The clipboard of a Wayland compositor that lets programs without a window control it. The other
/// selection, which a middle click pastes, stays untouched.
///
/// While watched, what others copy is fetched on its own, in pieces, and counted when it is
/// complete. An owner that quits and a clipboard manager that takes over are no copies
/// (PasteboardHistory.h); which client owns the clipboard is not told here, so a manager is known
/// by its moment and its contents. While nobody watches, no owner is asked for anything; every new
/// owner moves the count.
class WaylandPasteboard final : public Pasteboard {
public:
    explicit WaylandPasteboard(std::unique_ptr<WaylandDataControl> control,
                               FindPasteboardAudience audience = {});

    void setWatching(bool watching) override;
    [[nodiscard]] QString description() const override { return _control->name(); }
    void releaseContents() override;

    /// Whether contents are being fetched or are about to be.
    [[nodiscard]] bool isFetching() const;

protected:
    void publish() override;
    [[nodiscard]] bool ownsContents() const override { return _isOwning; }

private:
    void selectionChanged(const std::optional<QStringList> &targets);
    void ownerEnded();
    void ownerTook(const QStringList &targets);
    void fetched(const std::optional<PasteboardContents> &contents);
    void stopFetching();
    void forgetContents();

    FindPasteboardAudience _audience;
    std::unique_ptr<WaylandDataControl> _control;
    PipeTransfer _transfer;
    TargetSequence _sequence;
    PipeOffers _offers;
    RunLoop::Timer _settle;
    bool _watching = false;
    bool _hasOwner = false; // the clipboard: us or another
    bool _isOwning = false;
    bool _wasRead = false; // what we own, by anybody
    PasteboardHistory _history;
    PasteboardHistory::Taking _taking;      // of the newest owner
    std::optional<RunLoop::Seconds> _ended; // when the owner did, while there is no other
    std::optional<RunLoop::Seconds> _taken; // when we took the clipboard
};

} // namespace clipmule
