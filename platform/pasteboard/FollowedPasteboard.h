// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/foundation/RunLoop.h"
#include "platform/pasteboard/PasteboardHistory.h"

#include <functional>
#include <optional>

namespace clipmule {

/// A clipboard that is followed from owner to owner, whatever carries it.
///
/// While watched, what others copy is fetched once the owner has settled, and counted when it is
/// complete. Two changes are no copies and do not move the count: the owner quits, so that there
/// are no contents, and a clipboard manager takes over (PasteboardHistory.h). While nobody watches,
/// no owner is asked for anything; every new owner moves the count.
class FollowedPasteboard : public Pasteboard {
public:
    void setWatching(bool watching) override;
    void releaseContents() override;
    /// Whether contents are being fetched or are about to be.
    [[nodiscard]] bool isFetching() const { return _settle.isPending() || isReading(); }

protected:
    using Owner = PasteboardHistory::Owner;
    using Fetched = std::function<void(const std::optional<PasteboardContents> &contents)>;
    /// Who takes the clipboard, as far as the desktop tells.
    struct Newcomer {
        Owner owner = 0;
        /// Than the one before, or before the gap.
        bool isAnother = true;
        bool hasOwnedBefore = false;
        /// What we offered last.
        bool hasReadUs = false;
    };

    /// Whether the contents of the newest owner are being read.
    [[nodiscard]] virtual bool isReading() const = 0;
    virtual void abandonReading() = 0;

    /// Nobody owns the clipboard any more.
    void ownerEnded();
    /// Another owns it. `read` is called when it has settled, and calls back with what it offers,
    /// or nothing when it does not answer; not called when nobody watches or the next one comes.
    void ownerTook(const Newcomer &newcomer, std::function<void(Fetched)> read);
    /// The newest owner is known to be the desktop's clipboard manager, or not to be it.
    void setIsTheManagers(bool isTheManagers) { _taking.isTheManagers = isTheManagers; }
    /// We own it, and have written the contents.
    void weTook(Owner us);
    void stopFetching();
    void forgetOwner(Owner owner) { _history.forgetOwner(owner); }

private:
    void fetched(const std::optional<PasteboardContents> &contents, Owner owner);
    void forgetContents();

    RunLoop::Timer _settle;
    bool _watching = false;
    PasteboardHistory _history;
    PasteboardHistory::Taking _taking;      // of the newest owner
    std::optional<RunLoop::Seconds> _ended; // when the owner did, while there is no other
    std::optional<RunLoop::Seconds> _taken; // when we took the clipboard
};

} // namespace clipmule
