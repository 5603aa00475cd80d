// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/foundation/RunLoop.h"

#include <functional>

namespace clipmule {

/// A value that changes over time, on the run loop; no timer exists while nothing moves. Destroying
/// it stops it silently. The callback that tells of the end may start it again or destroy it.
class Animation {
public:
    /// What a moving thing on a screen needs to look smooth.
    static constexpr double framesPerSecond = 60;

    /// Called with the progress from 0 to 1; the last call is with exactly 1.
    using Step = std::function<void(double progress)>;
    /// True when the end was reached, false when it was interrupted.
    using Stopped = std::function<void(bool finished)>;

    /// Interrupts what is in progress, then calls back from the run loop until the duration (more
    /// than 0) has passed.
    void start(RunLoop::Seconds duration, Step step, Stopped stopped = {});
    void interrupt();
    [[nodiscard]] bool isRunning() const { return _timer.isPending(); }

private:
    void scheduleNextFrame();
    void frame();

    RunLoop::Timer _timer;
    RunLoop::Seconds _startedAt{0};
    RunLoop::Seconds _duration{0};
    Step _step;
    Stopped _stopped;
};

} // namespace clipmule
