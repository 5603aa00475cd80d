// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "model/ClipCapture.h"
#include "model/PictureEcho.h"
#include "platform/foundation/BackgroundWork.h"
#include "platform/foundation/RunLoop.h"

#include <functional>

namespace clipmule {

class PlatformException;
class SyncJournal;

/// Looks at the clipboard while phones are connected, at most twice a second, and tells of each
/// copy that they have not got yet. While no phone is connected, no program is asked for what it
/// copied.
///
/// A look that would find nothing new is not taken, and no timer runs for it: the first change
/// after half a second without any is looked at at once, and what changes within the half second
/// after a look is looked at at its end.
///
/// What takes no time is told in the look itself. Pictures and long texts are read in the
/// background and told when that is done, unless something newer was told, or another of them
/// copied, by then.
class ClipboardWatch {
public:
    static constexpr RunLoop::Seconds pollInterval{0.5};

    ClipboardWatch(const PasteboardServices &pasteboard, SyncJournal &journal);
    ~ClipboardWatch();
    Q_DISABLE_COPY_MOVE(ClipboardWatch)

    /// Whether any phone is there to get what is copied. Without one the looking ends; whenever the
    /// answer may be another, needMayHaveChanged() is to be called.
    std::function<bool()> isNeeded;
    /// A copy for the phones; false when it is refused, and may then be offered again.
    std::function<bool(ZRKClipmuleData &clip)> onCopy;

    /// Whether to look twice a second as long as it is needed, be there a change or not. Not at
    /// first.
    void setLooksByTimer(bool looksByTimer);

    /// Starts to look. What was copied before counts as known: it is not sent.
    void start();
    /// Does what start() does, unless it looks already.
    void startAgain();
    /// Nobody is asked for what is copied until start().
    void pause();
    void needMayHaveChanged() { scheduleCheck(); }

    /// Notes a clip that we put on the clipboard ourselves and that is not to be told of.
    void noteWritten(ZRKClipmuleData &clip);

private:
    void scheduleCheck();
    void checkForData();
    void lookForUnanswered();
    using Capture = std::shared_ptr<const ClipCapture>;
    void look();
    void readInBackground(const Capture &capture, quint64 sizeRead);
    void found(const ClipCapture &capture, const ClipCapture::Readings &readings,
               const PictureEcho &received, bool isOnClipboard);
    void failed(const PlatformException &exception);
    void lookWhyNotSent(const ZRKClipmuleData *clip, size_t hash);

    PasteboardServices _pasteboard;
    SyncJournal &_journal;
    qint64 _lastChangeCount = 0;
    qint64 _lastUnansweredCount = 0;
    size_t _lastHash = 0;
    PictureEcho _lastPicture; // the one received last
    int _written = 0;         // how often we wrote to the clipboard
    BackgroundWork _reading;
    bool _looksByTimer = false;
    bool _isAlive = false;
    RunLoop::Seconds _earliestCheck{0}; // half a second after the last
    RunLoop::Timer _check;
};

} // namespace clipmule
