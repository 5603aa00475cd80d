// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "ui/Animation.h"

#include <algorithm>
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
    _timer = RunLoop::current().performEvery(
        std::min(RunLoop::Seconds(1 / framesPerSecond), duration), [this] { frame(); });
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
        _step(elapsed / _duration);
        return;
    }
    _timer.cancel();
    _step(1);
    const Stopped stopped = std::exchange(_stopped, {});
    if (stopped)
        stopped(true);
}

} // namespace clipmule
