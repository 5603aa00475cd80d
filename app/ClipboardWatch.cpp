// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "app/ClipboardWatch.h"

#include "app/SyncJournal.h"
#include "platform/foundation/Log.h"
#include "platform/foundation/Memory.h"
#include "platform/foundation/PlatformException.h"
#include "platform/pasteboard/Pasteboard.h"

#include <algorithm>
#include <utility>

namespace clipmule {

ClipboardWatch::ClipboardWatch(const PasteboardServices &pasteboard, SyncJournal &journal)
    : _pasteboard(pasteboard)
    , _journal(journal) {
    _pasteboard.pasteboard.onChange = [this] { scheduleCheck(); };
}

ClipboardWatch::~ClipboardWatch() {
    _pasteboard.pasteboard.onChange = nullptr;
}

void ClipboardWatch::setLooksByTimer(bool looksByTimer) {
    _looksByTimer = looksByTimer;
    scheduleCheck();
}

void ClipboardWatch::start() {
    _pasteboard.pasteboard.setWatching(true);
    _lastChangeCount = _pasteboard.pasteboard.changeCount();
    _lastUnansweredCount = _pasteboard.pasteboard.unansweredCount();
    // A second phone's coming does not put off what is looked at for the first.
    if (!std::exchange(_isAlive, true))
        _earliestCheck = RunLoop::current().now() + pollInterval;
    scheduleCheck();
}

void ClipboardWatch::startAgain() {
    if (_isAlive)
        scheduleCheck();
    else
        start();
}

void ClipboardWatch::pause() {
    _isAlive = false;
    _check.cancel();
    _pasteboard.pasteboard.setWatching(false);
}

// One check is pending when it would find something or end the watch, else none.
void ClipboardWatch::scheduleCheck() {
    const Pasteboard &pasteboard = _pasteboard.pasteboard;
    const bool isWorthIt =
        _isAlive && (_looksByTimer || pasteboard.changeCount() != _lastChangeCount ||
                     pasteboard.unansweredCount() != _lastUnansweredCount || !isNeeded());
    if (!isWorthIt)
        _check.cancel();
    else if (!_check.isPending())
        _check = RunLoop::current().performAfter(
            std::max(_earliestCheck - RunLoop::current().now(), RunLoop::Seconds(0)),
            [this] { checkForData(); });
}

void ClipboardWatch::checkForData() {
    if (!isNeeded()) {
        // Nobody reads from here on what is copied.
        pause();
        return;
    }
    lookForUnanswered();
    const qint64 changeCount = _pasteboard.pasteboard.changeCount();
    if (changeCount != _lastChangeCount) {
        look();
        // The count is kept after a refusal, too, so that the same contents are looked at only
        // once.
        _lastChangeCount = changeCount;
    }
    _earliestCheck = RunLoop::current().now() + pollInterval;
    _check.cancel();
    scheduleCheck();
}

void ClipboardWatch::look() {
    quint64 sizeRead = 0;
    try {
        sizeRead = quint64(_pasteboard.pasteboard.contents().size());
        const Capture capture = ClipCapture::begin(_pasteboard);
        if (!capture)
            lookWhyNotSent(nullptr, 0);
        else if (capture->takesLong())
            readInBackground(capture, sizeRead);
        else
            found(*capture, {}, {}, true);
    } catch (const PlatformException &exception) {
        failed(exception);
    }
    _pasteboard.pasteboard.releaseContents();
    // Sent or refused, the clip was in memory, with what was made of it.
    trimHeapAfterClip(sizeRead);
}

void ClipboardWatch::readInBackground(const Capture &capture, quint64 sizeRead) {
    _reading.start<ClipCapture::Readings>(
        [capture, received = _lastPicture](const BackgroundWork::Abandoned &isAbandoned) {
            return capture->read(received, isAbandoned);
        },
        [this, capture, sizeRead, received = _lastPicture,
         written = _written](const ClipCapture::Readings &readings) {
            try {
                found(*capture, readings, received, written == _written);
            } catch (const PlatformException &exception) {
                failed(exception);
            }
            trimHeapAfterClip(sizeRead);
        });
}

// What we wrote since then is what must not come back, not a copy from before.
void ClipboardWatch::found(const ClipCapture &capture, const ClipCapture::Readings &readings,
                           const PictureEcho &received, bool isOnClipboard) {
    const auto clip = capture.clip(readings);
    const size_t hash = clip->contentHash();
    const bool isKnown =
        hash != 0 && (hash == _lastHash || (readings.isReceived && received.isIn(*clip)));
    if (hash == 0 || isKnown)
        lookWhyNotSent(clip.get(), hash);
    const bool isTold = hash != 0 && !isKnown && onCopy(*clip);
    if (isTold && isOnClipboard) {
        _lastHash = hash;
        _lastPicture = PictureEcho();
    }
    // What is not ready by now would come after what is newer.
    if (isTold || isKnown)
        _reading.abandon();
}

void ClipboardWatch::failed(const PlatformException &exception) {
    qCWarning(logApp).noquote() << "ERROR CREATING DATA" << exception.what();
    _journal.refuse({.direction = Refusal::Direction::CopiedHere,
                     .reason = Refusal::Reason::Failed,
                     .detail = exception.reason()});
}

// A copy that its owner does not hand over is told in the journal only: a program that hangs may
// have copied long ago.
void ClipboardWatch::lookForUnanswered() {
    const qint64 count = _pasteboard.pasteboard.unansweredCount();
    if (std::exchange(_lastUnansweredCount, count) != count)
        _journal.enter({.direction = Refusal::Direction::CopiedHere,
                        .reason = Refusal::Reason::Failed,
                        .detail = QStringLiteral("the program that copied it does not answer")});
}

// A copy that is the last clip again is no refusal. One that gave no clip, or a clip that holds
// nothing, is.
void ClipboardWatch::lookWhyNotSent(const ZRKClipmuleData *clip, size_t hash) {
    if (!clip && ClipCapture::isSecret(_pasteboard.pasteboard))
        _journal.refuse(
            {.direction = Refusal::Direction::CopiedHere, .reason = Refusal::Reason::Secret});
    else if (clip && hash == 0)
        _journal.refuse(
            {.direction = Refusal::Direction::CopiedHere, .reason = Refusal::Reason::NoContent});
    else if (clip)
        qCDebug(logApp, "copied here: the last clip again, which is not sent twice");
}

void ClipboardWatch::noteWritten(ZRKClipmuleData &clip) {
    _lastChangeCount = _pasteboard.pasteboard.changeCount();
    _lastHash = clip.contentHash();
    _lastPicture = PictureEcho(clip);
    ++_written;
    scheduleCheck();
}

} // namespace clipmule
