// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/foundation/LogLimit.h"

namespace clipmule {

bool LogLimit::allows() {
    if (!_end.isPending())
        _end = RunLoop::current().performAfter(interval, [this] { sum(); });
    return ++_lines <= linesPerInterval;
}

void LogLimit::sum() {
    const int leftOut = std::exchange(_lines, 0) - linesPerInterval;
    if (leftOut > 0)
        _summary(leftOut);
}

} // namespace clipmule
