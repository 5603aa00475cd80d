// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "model/ClipboardStore.h"
#include "model/ZRKClipmuleClipboard.h"
#include "platform/foundation/RunLoop.h"

#include <memory>

namespace clipmule {

/// The latest clips that came for one browser, newest first, and those of its own that wait for a
/// desk: in a folder of its own. Without a folder the former are in memory, and none can wait.
///
/// What a call changed is in the files when it returns, so that nothing is lost with the process. A
/// disk that is full then is tried again every few seconds.
class BrowserClips final {
public:
    using Clip = std::shared_ptr<ZRKClipmuleData>;

    static constexpr qsizetype mostClips = 50;
    /// Of all clips together, two a UTF-16 unit of a text and those of the pictures.
    static constexpr qint64 mostBytes = 50'000'000;

    /// An empty folder keeps nothing on disk.
    explicit BrowserClips(const QString &folder);
    ~BrowserClips();
    Q_DISABLE_COPY_MOVE(BrowserClips)

    [[nodiscard]] const ZRKClipmuleClipboard::Clips &all() const;
    /// Null when there is none.
    [[nodiscard]] Clip withId(const QString &id) const;
    /// Keeps it as the newest; answers the ids of those that had to go for it.
    [[nodiscard]] QStringList keep(const Clip &clip);
    /// False when there is none.
    bool remove(const QString &id);
    void removeAll();
    /// All but what waits.
    void removeReceived();

    /// What waits, oldest first.
    [[nodiscard]] ZRKClipmuleClipboard::Clips waiting() const;
    /// It waits last, also for another run of the program. False when it cannot be kept so.
    [[nodiscard]] bool addWaiting(const Clip &clip);
    /// It waits no longer.
    void removeWaiting(const Clip &clip);

    /// What is in the files need not be in memory any more, in a while.
    void letMemoryGo();

    [[nodiscard]] static qint64 sizeOf(const ZRKClipmuleData &clip);

private:
    void save();

    std::shared_ptr<ClipboardStore> _store;
    std::shared_ptr<ZRKClipmuleClipboard> _board;
    // Null without a folder.
    std::shared_ptr<ZRKClipmuleClipboard> _waiting;
    RunLoop::Timer _memoryTimer;
    RunLoop::Timer _retryTimer;
};

} // namespace clipmule
