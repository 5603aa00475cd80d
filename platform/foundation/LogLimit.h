// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/foundation/RunLoop.h"

#include <functional>
#include <utility>

namespace clipmule {

/// Limits the log lines that one peer can cause: two megabytes of damaged frames made nineteen of
/// log. The first lines of a minute are written, the others counted, and how many they were is said
/// at the end of the minute, or of the limit.
class LogLimit final {
public:
    /// Enough to see what kind of trouble it is.
    static constexpr int linesPerInterval = 10;
    static constexpr RunLoop::Seconds interval{60.0};

    /// The function writes a line about so many others that were left out; it is never given 0.
    explicit LogLimit(std::function<void(int leftOut)> summary)
        : _summary(std::move(summary)) {}
    ~LogLimit() { sum(); }
    Q_DISABLE_COPY_MOVE(LogLimit)

    /// Whether one more line may be written. It counts either way.
    [[nodiscard]] bool allows() {
        if (!_end.isPending())
            _end = RunLoop::current().performAfter(interval, [this] { sum(); });
        return ++_lines <= linesPerInterval;
    }

private:
    void sum() {
        const int leftOut = std::exchange(_lines, 0) - linesPerInterval;
        if (leftOut > 0)
            _summary(leftOut);
    }

    std::function<void(int)> _summary;
    int _lines = 0;
    RunLoop::Timer _end;
};

} // namespace clipmule
