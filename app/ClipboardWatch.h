// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "model/PictureEcho.h"
#include "model/ZRKClipmuleData.h"
#include "platform/foundation/RunLoop.h"

#include <functional>
#include <vector>

namespace clipmule {

class SyncJournal;
class ZRKClipmuleData;

/// Looks at the clipboard again and again while phones are connected, and tells of each copy that
/// they have not got yet. While no phone is connected, no program is asked for what it copied.
class ClipboardWatch {
public:
    static constexpr RunLoop::Seconds pollInterval{0.5};

    ClipboardWatch(const PasteboardServices &pasteboard, SyncJournal &journal);

    /// Whether any phone is there to get what is copied. Without one the looking ends.
    std::function<bool()> isNeeded;
    /// A copy for the phones; false when it is refused, and may then be offered again.
    std::function<bool(ZRKClipmuleData &clip)> onCopy;

    /// Starts to look. What was copied before counts as known: it is not sent.
    void start();
    /// Does what start() does, unless it looks already.
    void startAgain();
    /// Nobody is asked for what is copied until start().
    void pause();

    /// One look; the next follows by itself as long as it is needed.
    void checkForData();
    /// Notes a clip that we put on the clipboard ourselves and that is not to be told of.
    void noteWritten(ZRKClipmuleData &clip);

private:
    void scheduleCheck();
    void lookForUnanswered();
    void look();
    void lookWhyNotSent(const ZRKClipmuleData *clip, size_t hash);

    PasteboardServices _pasteboard;
    SyncJournal &_journal;
    qint64 _lastChangeCount = 0;
    qint64 _lastUnansweredCount = 0;
    size_t _lastHash = 0;
    PictureEcho _lastPicture; // the one received last
    // More than one for a moment after a second phone has opened; the next check cancels the rest.
    std::vector<RunLoop::Timer> _pendingChecks;
};

} // namespace clipmule
