// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/pasteboard/PasteboardHistory.h"
#include "platform/pasteboard/PasteboardTargets.h"
#include "platform/pasteboard/TargetTransfer.h"

#include <QMap>

#include <deque>
#include <functional>
#include <optional>

namespace clipmule {

/// Fetches what the clipboard's owner offers, target after target: of each meaning the best that is
/// answered. However long the owner takes, and however much it has, it comes to an end.
class TargetSequence final {
public:
    /// The first answer of an image: an image editor makes a PNG of a photo of 24 million pixels
    /// for the one request, in three to eight seconds. The waiting itself costs nothing.
    static constexpr RunLoop::Seconds imageStepLimit{12.0};
    /// The time for all targets together. What has arrived by then is what was copied.
    static constexpr RunLoop::Seconds totalLimit{25.0};
    /// Bytes of all targets together: an image of 64 MiB with its text and markup beside it. The
    /// largest clip that travels has 10 MB, but a photo is fetched whole to be reduced.
    static constexpr qint64 byteLimit = 96 * 1024 * 1024;
    /// Bytes of the targets that only desktops read: no more than the largest clip that travels.
    static constexpr qint64 nativeByteLimit = 10'000'000;

    /// Gets the contents; nothing when the owner did not answer at all.
    using Completion = std::function<void(std::optional<PasteboardContents>)>;

    /// The transfer must outlive it.
    explicit TargetSequence(TargetTransfer &transfer)
        : _transfer(transfer) {}

    /// Abandons a sequence that is under way, which is not heard of again, and starts another, of
    /// the targets in the owner's order. `limit` is the time for all of them.
    void start(const QStringList &targets, Completion completion,
               RunLoop::Seconds limit = totalLimit);
    void abandon();
    [[nodiscard]] bool isReading() const { return bool(_completion); }

private:
    using Outcome = TargetTransfer::Outcome;
    struct Fetch {
        PasteboardTargets::Request request;
        int position;      // in the owner's order
        int candidate = 0; // which of the request's targets is asked for
        [[nodiscard]] QString target() const { return request.targets.at(candidate); }
    };

    void fetchNext();
    void fetchEnded(Outcome outcome, const QByteArray &bytes);
    void received(const Fetch &fetch, const QByteArray &bytes);
    static void tooLarge(const Fetch &fetch);
    void mute(const Fetch &fetch);
    void totalTimedOut();
    void leaveOut(const Fetch &fetch);
    [[nodiscard]] std::optional<PasteboardContents> whatArrived() const;
    void finish(const std::optional<PasteboardContents> &contents);

    TargetTransfer &_transfer;
    Completion _completion;
    RunLoop::Timer _totalTimer;
    std::deque<Fetch> _fetches; // the first one is under way
    QMap<int, PasteboardTargets::Answer> _answers;
    std::optional<ClipboardText> _text; // that is arriving
    bool _isMute = false;               // for some target
    qint64 _bytes = 0;                  // of the answers so far
    qint64 _nativeBytes = 0;            // of these, of targets without a meaning
};

/// A clipboard that is followed from owner to owner, whatever carries it.
///
/// While watched, what others copy is fetched, and counted when it is complete: at once when it is
/// the first change for a while, else once the owner has settled. Two changes are no copies and do
/// not move the count: the owner quits, so that there are no contents, and a clipboard manager
/// takes over (PasteboardHistory.h). While nobody watches, no owner is asked for anything; every
/// new owner moves the count.
class FollowedPasteboard : public Pasteboard {
public:
    void setWatching(bool watching) override;
    void releaseContents() override;
    /// Whether contents are being fetched or are about to be.
    [[nodiscard]] bool isFetching() const {
        return _settle.isPending() || _isListing || _sequence.isReading();
    }

protected:
    using Owner = PasteboardHistory::Owner;
    /// Gets the targets that the newest owner offers, or nothing when it does not answer.
    using Listed = std::function<void(const std::optional<QStringList> &targets)>;
    /// Who takes the clipboard, as far as the desktop tells.
    struct Newcomer {
        Owner owner = 0;
        /// Than the one before, or before the gap.
        bool isAnother = true;
        bool hasOwnedBefore = false;
        /// What we offered last.
        bool hasReadUs = false;
    };

    /// The transfer, a member of the backend, asks the newest owner. Abandoned, it does not call
    /// back with a list of targets either.
    explicit FollowedPasteboard(TargetTransfer &transfer)
        : _sequence(transfer) {}

    /// Nobody owns the clipboard any more.
    void ownerEnded();
    /// Another owns it. `list` is called in another turn of the run loop, when it has settled, and
    /// calls back with what it offers, at once or later; not called when nobody watches or the next
    /// one comes.
    void ownerTook(const Newcomer &newcomer, std::function<void(Listed)> list);
    /// The newest owner is known to be the desktop's clipboard manager, or not to be it.
    void setIsTheManagers(bool isTheManagers) { _taking.isTheManagers = isTheManagers; }
    /// We own it, and have written the contents.
    void weTook(Owner us);
    /// Another owner was asked for what it offers, and has told it, or not.
    virtual void ownerAnswered(bool hasAnswered) { Q_UNUSED(hasAnswered) }
    void stopFetching();
    void forgetOwner(Owner owner) { _history.forgetOwner(owner); }

private:
    void fetch(const std::function<void(Listed)> &list, Owner owner);
    void fetched(const std::optional<PasteboardContents> &contents, Owner owner);
    void noteLast();
    void forgetContents();
    [[nodiscard]] RunLoop::Seconds timeToSettle();

    TargetSequence _sequence;
    RunLoop::Timer _settle;
    bool _isListing = false;
    bool _watching = false;
    PasteboardHistory _history;
    PasteboardHistory::Taking _taking;           // of the newest owner
    std::optional<RunLoop::Seconds> _ended;      // when the owner did, while there is no other
    std::optional<RunLoop::Seconds> _taken;      // when we took the clipboard
    std::optional<RunLoop::Seconds> _lastChange; // of the owner
};

} // namespace clipmule
