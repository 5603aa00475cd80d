// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/pasteboard/FollowedPasteboard.h"
#include "tests/kit/Await.h"
#include "tests/kit/ManualRunLoop.h"

#include <algorithm>

namespace clipmule::kit {

/// A new owner is noticed and asked: at once, or when it has settled.
[[nodiscard]] inline bool fetchBegins(const FollowedPasteboard &pasteboard,
                                      ManualRunLoop &runLoop) {
    if (!await([&] { return pasteboard.isFetching(); }))
        return false;
    runLoop.advance(std::min(runLoop.timeToNext(), PasteboardHistory::settleTime));
    return true;
}

/// Another application has taken the clipboard: everything until its contents are there.
[[nodiscard]] inline bool fetchEnds(const FollowedPasteboard &pasteboard, ManualRunLoop &runLoop) {
    return fetchBegins(pasteboard, runLoop) && await([&] { return !pasteboard.isFetching(); });
}

} // namespace clipmule::kit
