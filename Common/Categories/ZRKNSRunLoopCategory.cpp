// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "Common/Categories/ZRKNSRunLoopCategory.h"

namespace clipmule::ZRKNSRunLoopCategory {

void ping() {
    RunLoop::current().runOnce();
}

void wait(RunLoop::Seconds duration) {
    if (duration.count() > 0)
        RunLoop::current().runFor(duration);
}

} // namespace clipmule::ZRKNSRunLoopCategory
