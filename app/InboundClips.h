// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "model/ZRKClipmuleData.h"
#include "platform/foundation/BackgroundWork.h"
#include "platform/foundation/RunLoop.h"
#include "support/Settings.h"

#include <QString>

#include <deque>
#include <functional>
#include <memory>
#include <optional>

namespace clipmule {

class KeyboardEvents;
class SyncJournal;
class ZRKClipmuleData;

/// The clips that phones send for this desk: puts one after the other on the clipboard and pastes
/// it. A clip that comes alone is pasted at once, one with a long text when that has been made what
/// a clipboard holds, in the background; of those that come faster than they can be pasted the
/// newest wait.
class InboundClips {
public:
    /// The time between two pastes: the window in front fetches a clip only when its key stroke has
    /// arrived, and by then the next clip must not have taken its place.
    static constexpr RunLoop::Seconds pasteInterval{0.25};
    /// The time between two pastes while clips are passed over: a paste closes our menu, and a
    /// phone that sends without end must leave the user time to switch it off there.
    static constexpr RunLoop::Seconds pasteIntervalInFlood{3};
    /// The number of received clips that may wait for their turn; together they may be as large as
    /// the next constant says (in the unit of ZRKClipmuleData::size). Of more the newest stay. A
    /// person sends clips one by one.
    static constexpr size_t mostWaiting = 8;
    static constexpr quint64 largestWaiting = 64 * 1024 * 1024;
    /// The text of a larger clip is made in the background.
    static constexpr quint64 longText = 256 * 1024;

    InboundClips(const PasteboardServices &pasteboard, KeyboardEvents &keyboard,
                 SyncJournal &journal);

    /// Whether what the phone sends is pasted, or only put on the clipboard.
    std::function<PasteMode(const QString &phone)> pasteModeOf;
    /// Called before the key stroke; may be empty.
    std::function<void()> onPrepareToPaste;
    /// Called when the clip is on the clipboard.
    std::function<void(ZRKClipmuleData &clip)> onWritten;

    /// Takes a clip from a phone, which is named by its service.
    void receive(const QString &phone, std::shared_ptr<ZRKClipmuleData> clip);
    /// Drops what waits of a phone that is gone, which the journal tells.
    void forget(const QString &phone);
    void forgetAll();
    /// The paste key stroke, for the window in front. Where none can be made the user is told, once
    /// in the life of this object.
    void paste();

private:
    struct ReceivedClip {
        QString phone;
        std::shared_ptr<ZRKClipmuleData> clip;
    };
    // Of a long text, in the background.
    struct Made {
        QByteArray text;
        QList<size_t> stringHashes;
    };
    [[nodiscard]] bool tooManyWait() const;
    void applyNext();
    void prepare(ReceivedClip received);
    void apply(const ReceivedClip &received, std::optional<QByteArray> text);
    void finish(const ReceivedClip &received);

    PasteboardServices _pasteboard;
    KeyboardEvents &_keyboard;
    SyncJournal &_journal;
    // The clips that wait, oldest first. The timer may run while none does: it is then too soon for
    // another paste.
    std::deque<ReceivedClip> _waiting;
    std::optional<ReceivedClip> _prepared; // whose text is being made
    BackgroundWork _text;
    RunLoop::Timer _nextPaste;
    // A clip was passed over since the last paste.
    bool _clipsOvertaken = false;
    // That nothing can paste.
    bool _saidObstacle = false;
};

} // namespace clipmule
