// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "tests/kit/ManualRunLoop.h"

namespace clipmule::kit {

/// Runs turns of the run loop, with the clock standing still, until nothing is due any more. False
/// when it never gets quiet.
inline bool settle(ManualRunLoop &runLoop) {
    constexpr int manyTurns = 100000;
    for (int turn = 0; turn < manyTurns; ++turn) {
        if (runLoop.pendingCount() == 0 || runLoop.timeToNext() > RunLoop::Seconds(0))
            return true;
        runLoop.runOnce();
    }
    return false;
}

} // namespace clipmule::kit
