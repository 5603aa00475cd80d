// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/foundation/RunLoop.h"
#include "platform/pasteboard/PasteboardFingerprint.h"

#include <deque>
#include <optional>

namespace clipmule {

/// What was on the clipboard in this run of the program, by fingerprints. Tells what somebody
/// copies from what a clipboard manager brings back: it takes over what a quitting owner or we had
/// offered, or fills the gap that an owner has left with something older.
///
/// A manager that takes over is known by what it does as well as by the contents, so that a person
/// may copy the same again, or a part of it. What a password manager has marked is never a copy
/// when another program offers it without the mark, however much later.
class PasteboardHistory final {
public:
    /// A burst of owners (one quits, a manager follows) is one change.
    static constexpr RunLoop::Seconds settleTime{0.02};
    /// After so long without any change the next is no part of a burst, or its beginning: it is
    /// read at once. What follows is looked at half a second later in any case.
    static constexpr RunLoop::Seconds quietTime{0.5};
    /// How long after the end of an owner a manager may take over. Some are told of the end and
    /// need milliseconds, others look twice a second; nobody quits one program and copies in
    /// another in so short a time.
    static constexpr RunLoop::Seconds takeoverTime{0.75};
    /// How long after we took the clipboard a program that has read it may take it over. Managers
    /// that own everything anew do it as soon as they have read it.
    static constexpr RunLoop::Seconds reowningTime{1.0};
    /// Contents whose fingerprints are remembered, and as many of secrets. What managers bring back
    /// is the newest entry of their kind in histories of 10 to 25.
    static constexpr size_t mostRemembered = 64;

    /// An owner of the clipboard by a number that no other has while it exists; 0 where the desktop
    /// does not tell.
    using Owner = quint32;

    /// How an owner came to the clipboard: whether its contents may be those that were there
    /// before.
    struct Taking {
        bool isCopy = false; // certainly: something new has come in between
        bool followsAnEnd = false;
        bool isAnotherThanEnded = false;
        bool hasOwnedBefore = false;
        bool hasReadUs = false;
        bool isTheManagers = false;

        [[nodiscard]] bool mayBeTakeover() const {
            return !isCopy && (followsAnEnd || hasReadUs || isTheManagers);
        }
        [[nodiscard]] bool fillsAGap() const { return followsAnEnd && isAnotherThanEnded; }
    };

    /// The contents that were remembered last leave the clipboard, and may be taken over.
    void setLast();
    /// What was there last will not be taken over any more.
    void forgetLast() { _last.reset(); }
    /// Contents, and what they are known again by, which is made once: they may be large.
    struct Known {
        explicit Known(const PasteboardContents &known)
            : contents(known)
            , fingerprint(known) {}
        const PasteboardContents &contents;
        PasteboardFingerprint fingerprint;
    };
    /// The contents are on the clipboard now.
    void remember(const Known &known, Owner owner);
    /// The owner has gone, and its number may be given to another.
    void forgetOwner(Owner owner);

    /// Whether the contents were there before, and this is no copy of them.
    [[nodiscard]] bool isTakeover(const Known &known, const Taking &taking, Owner owner) const;

private:
    [[nodiscard]] bool isSecretWithoutItsMark(const Known &known, Owner owner) const;
    [[nodiscard]] bool hasBeenHere(const PasteboardFingerprint &contents) const;

    struct Secret {
        PasteboardFingerprint fingerprint;
        Owner owner; // that marked it; none once that has gone
    };
    // What was on the clipboard last, where it is not any more; nothing when it was never read.
    std::optional<PasteboardFingerprint> _last;
    std::deque<PasteboardFingerprint> _contents; // the newest last
    std::deque<Secret> _secrets;                 // the newest last
};

} // namespace clipmule
