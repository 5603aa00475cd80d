// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/foundation/RunLoop.h"

namespace clipmule {

// What a sender does so that a callback may do anything: replace itself, or let go of the sender.

/// Calls a copy of a callback when there is one: the callback may destroy the object that holds
/// it. The values must not live in that object.
template <typename... Parameters, typename... Values>
void callCopyOf(const std::function<void(Parameters...)> &callback, Values &&...values) {
    if (const std::function<void(Parameters...)> copy = callback)
        copy(std::forward<Values>(values)...);
}

/// Keeps an object alive until this turn of the run loop has ended, whoever lets go of it: for a
/// sender whose caller may not hold it.
template <typename Object>
void keepUntilNextTurn(std::shared_ptr<Object> object) {
    RunLoop::current().performSoon([object = std::move(object)] {});
}

} // namespace clipmule
