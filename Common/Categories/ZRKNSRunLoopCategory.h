// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/foundation/RunLoop.h"

namespace clipmule {

/// Runs the current run loop from inside a piece of work. Whatever is due may happen meanwhile,
/// the destruction of the caller's objects included.
namespace ZRKNSRunLoopCategory {

/// One pass over what is due, without waiting.
void ping();

/// Runs until the given time from now has passed; not at all when it is not above zero.
void wait(RunLoop::Seconds duration);

} // namespace ZRKNSRunLoopCategory

} // namespace clipmule
