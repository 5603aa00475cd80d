// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "ui/Animation.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace clipmule {

namespace {

// So that a sum of small steps is not one frame short of its end.
constexpr RunLoop::Seconds tolerance{1e-6};

} // namespace

void Animation::start(RunLoop::Seconds duration, Step step, Stopped stopped) {
    interrupt();
    _startedAt = RunLoop::current().now();
    _duration = duration;
    _step = std::move(step);
    _stopped = std::move(stopped);
    scheduleNextFrame();
}

void Animation::scheduleNextFrame() {
    const RunLoop::Seconds elapsed = RunLoop::current().now() - _startedAt;
    // Frames are counted from the start, so that a late one does not delay the others.
    const RunLoop::Seconds next{(std::floor(elapsed.count() * framesPerSecond + 0.5) + 1) /
                                framesPerSecond};
    _timer = RunLoop::current().performAfter(
        std::max(std::min(next, _duration) - elapsed, RunLoop::Seconds(0)), [this] { frame(); });
}

void Animation::interrupt() {
    if (!_timer.isPending())
        return;
    _timer.cancel();
    if (const auto stopped = std::exchange(_stopped, {}))
        stopped(false);
}

void Animation::frame() {
    const RunLoop::Seconds elapsed = RunLoop::current().now() - _startedAt;
    if (elapsed + tolerance < _duration) {
        scheduleNextFrame();
        _step(elapsed / _duration);
        return;
    }
    _step(1);
    const Stopped stopped = std::exchange(_stopped, {});
    if (stopped)
        stopped(true);
}

} // namespace clipmule
