// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/foundation/Memory.h"

#include <malloc.h>

namespace clipmule {

void HeapTrimmer::clipPassed(quint64 size) {
    if (size > largestUntrimmed)
        _pending = RunLoop::current().performAfter(delay, [this] { _trim(); });
}

void trimHeapAfterClip(quint64 size) {
    static HeapTrimmer trimmer([] { ::malloc_trim(0); });
    trimmer.clipPassed(size);
}

} // namespace clipmule
