// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/foundation/RunLoop.h"

#include <functional>
#include <malloc.h>

namespace clipmule {

/// Gives the memory that clips took back to the system, a while after the last of them: the
/// allocator would keep some forty megabytes of it otherwise, for a program that idles all day.
class HeapTrimmer final {
public:
    /// The size, in bytes, of the largest clip that leaves too little behind to be worth a trim: on
    /// its way a text takes ten times its size, and the allocator keeps 128 KiB in any case.
    static constexpr quint64 largestUntrimmed = 20'000;
    /// How long after a clip the heap is trimmed: by then the clip has left the queues.
    static constexpr RunLoop::Seconds delay{3.0};

    explicit HeapTrimmer(std::function<void()> trim)
        : _trim(std::move(trim)) {}

    /// To be called after a clip of this size, in bytes, was sent or received.
    void clipPassed(quint64 size) {
        if (size > largestUntrimmed)
            _pending = RunLoop::current().performAfter(delay, [this] { _trim(); });
    }

private:
    std::function<void()> _trim;
    RunLoop::Timer _pending;
};

/// Lets all threads share one heap, before there are any. Each would have its own otherwise, of
/// which the system gets nothing back at its end: a worker of pictures kept up to 30 MB.
inline void shareOneHeap() {
    ::mallopt(M_ARENA_MAX, 1);
}

/// Does for this process's heap what clipPassed() does.
inline void trimHeapAfterClip(quint64 size) {
    static HeapTrimmer trimmer([] { ::malloc_trim(0); });
    trimmer.clipPassed(size);
}

} // namespace clipmule
