// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "model/ClipboardStore.h"
#include "model/ZRKClipmuleClipboard.h"
#include "platform/foundation/RunLoop.h"

#include <memory>

namespace clipmule {

/// The latest clips that came for one browser, newest first: in a folder of its own, or only in
/// memory.
class BrowserClips final {
public:
    using Clip = std::shared_ptr<ZRKClipmuleData>;

    static constexpr qsizetype mostClips = 50;
    /// Of all clips together, two a UTF-16 unit of a text and those of the pictures.
    static constexpr qint64 mostBytes = 50'000'000;

    /// An empty folder keeps nothing on disk.
    explicit BrowserClips(const QString &folder);
    /// Saves what changed.
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
    /// What is in the files need not be in memory any more, in a while.
    void letMemoryGo();

    [[nodiscard]] static qint64 sizeOf(const ZRKClipmuleData &clip);

private:
    std::shared_ptr<ClipboardStore> _store;
    std::shared_ptr<ZRKClipmuleClipboard> _board;
    RunLoop::Timer _memoryTimer;
};

} // namespace clipmule
