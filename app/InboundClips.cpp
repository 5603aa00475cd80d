// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "app/InboundClips.h"

#include "app/SyncJournal.h"
#include "model/ZRKClipmuleData.h"
#include "platform/foundation/Log.h"
#include "platform/foundation/Memory.h"
#include "platform/foundation/PlatformException.h"
#include "platform/keyboard/KeyboardEvents.h"

#include <QCoreApplication>

#include <numeric>
#include <utility>

namespace clipmule {

InboundClips::InboundClips(const PasteboardServices &pasteboard, KeyboardEvents &keyboard,
                           SyncJournal &journal)
    : _pasteboard(pasteboard)
    , _keyboard(keyboard)
    , _journal(journal) {}

void InboundClips::receive(const QString &phone, std::shared_ptr<ZRKClipmuleData> clip) {
    if (!_nextPaste.isPending() && !_prepared) {
        prepare({phone, std::move(clip)});
        return;
    }
    _waiting.push_back({phone, std::move(clip)});
    while (tooManyWait()) {
        const QString overtaken = _waiting.front().phone;
        _waiting.pop_front();
        _clipsOvertaken = true;
        _journal.refuse({.direction = Refusal::Direction::FromPhone,
                         .reason = Refusal::Reason::Overtaken,
                         .phone = overtaken});
    }
}

bool InboundClips::tooManyWait() const {
    if (_waiting.size() > mostWaiting)
        return true;
    const quint64 size = std::accumulate(
        _waiting.begin(), _waiting.end(), quint64(0),
        [](quint64 sum, const ReceivedClip &one) { return sum + one.clip->size(); });
    return _waiting.size() > 1 && size > largestWaiting;
}

void InboundClips::forget(const QString &phone) {
    size_t count = std::erase_if(
        _waiting, [&](const ReceivedClip &received) { return received.phone == phone; });
    if (_prepared && _prepared->phone == phone) {
        _text.abandon();
        _prepared.reset();
        ++count;
        _nextPaste = RunLoop::current().performAfter(RunLoop::Seconds(0), [this] { applyNext(); });
    }
    if (count > 0)
        _journal.enter({.direction = Refusal::Direction::FromPhone,
                        .reason = Refusal::Reason::Disconnected,
                        .phone = phone,
                        .count = count});
}

void InboundClips::forgetAll() {
    while (!_waiting.empty())
        forget(QString(_waiting.front().phone));
    if (_prepared)
        forget(QString(_prepared->phone));
}

void InboundClips::applyNext() {
    if (_waiting.empty())
        return;
    ReceivedClip received = std::move(_waiting.front());
    _waiting.pop_front();
    prepare(std::move(received));
}

void InboundClips::prepare(ReceivedClip received) {
    const auto makeText = received.clip->writtenText();
    if (!makeText || received.clip->size() <= longText) {
        apply(received, {});
        return;
    }
    _prepared = std::move(received);
    _text.start<Made>(
        [makeText,
         makeHashes = _prepared->clip->stringHashes()](const BackgroundWork::Abandoned &) {
            return Made{makeText(), makeHashes()};
        },
        [this](const Made &made) {
            const auto prepared = *std::exchange(_prepared, {});
            prepared.clip->setStringHashes(made.stringHashes);
            apply(prepared, made.text);
        });
}

void InboundClips::apply(const ReceivedClip &received, std::optional<QByteArray> text) {
    try {
        if (!received.clip->writeToPasteboard(_pasteboard, std::move(text))) {
            // The clip itself has told the user.
            _journal.enter({.direction = Refusal::Direction::FromPhone,
                            .reason = Refusal::Reason::MixedKinds,
                            .kind = Refusal::Kind::Clip,
                            .phone = received.phone});
            applyNext();
            return;
        }
        finish(received);
    } catch (const PlatformException &exception) {
        qCWarning(logApp).noquote() << "ERROR DECODING DATA" << exception.what();
        _journal.refuse({.direction = Refusal::Direction::FromPhone,
                         .reason = Refusal::Reason::Failed,
                         .kind = kindOf(*received.clip),
                         .phone = received.phone,
                         .detail = exception.reason()});
    }
    trimHeapAfterClip(received.clip->size());
    // The interval begins now, not when the clip came: putting an image on the clipboard takes a
    // while.
    const bool isFlood = std::exchange(_clipsOvertaken, false);
    _nextPaste = RunLoop::current().performAfter(isFlood ? pasteIntervalInFlood : pasteInterval,
                                                 [this] { applyNext(); });
}

// What follows when a clip is on the clipboard.
void InboundClips::finish(const ReceivedClip &received) {
    onWritten(*received.clip);
    if (pasteModeOf(received.phone) == PasteMode::Paste)
        paste();
    else
        qCDebug(logApp, "put on the clipboard, not pasted: so the settings say");
    _journal.count(*received.clip, Settings::Key::DataReceived);
}

void InboundClips::paste() {
    if (onPrepareToPaste)
        onPrepareToPaste();
    _keyboard.paste();
    if (_keyboard.obstacle().isEmpty()) {
        qCDebug(logApp, "pasted");
        return;
    }
    qCDebug(logApp, "put on the clipboard; not every window here can be pasted into");
    // Said once: what follows is where this one is.
    if (std::exchange(_saidObstacle, true))
        return;
    _pasteboard.notice(
        _keyboard.description() == u"xwayland"
            ? QCoreApplication::translate(
                  "Clipmule", "What your phone sent is on the clipboard. On this desktop it is "
                              "pasted for you into X11 windows only: elsewhere press Ctrl+V.")
            : QCoreApplication::translate(
                  "Clipmule", "What your phone sent is on the clipboard. Nothing can paste it for "
                              "you on this desktop: press Ctrl+V."));
}

} // namespace clipmule
