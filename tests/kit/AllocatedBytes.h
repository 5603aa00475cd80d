// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include <QtGlobal>

#include <malloc.h>

// Of the sanitizers, which stand in for the allocator; absent without them.
extern "C" size_t __sanitizer_get_current_allocated_bytes() __attribute__((weak));

namespace clipmule::kit {

/// How many bytes the allocator has given out and not taken back. Of small pieces that were freed
/// it keeps up to 236 kB for a thread, and counts them as given out.
inline qint64 allocatedBytes() {
    if (__sanitizer_get_current_allocated_bytes)
        return qint64(__sanitizer_get_current_allocated_bytes());
    const struct mallinfo2 info = ::mallinfo2();
    return qint64(info.uordblks + info.hblkhd);
}

} // namespace clipmule::kit
