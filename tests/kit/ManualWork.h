// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/foundation/BackgroundWork.h"
#include "platform/foundation/RunLoop.h"

#include <deque>

namespace clipmule::kit {

/// Stands in for the threads that background work is done on, for its own lifetime: work is done in
/// the next turn of the run loop or, once it is held, when the test says so.
class ManualWork final {
public:
    ManualWork() {
        BackgroundWork::setStandIn([this](std::function<void()> work) {
            ++_started;
            if (_isHeld)
                _waiting.push_back(std::move(work));
            else
                RunLoop::current().performSoon(std::move(work));
        });
    }
    ~ManualWork() { BackgroundWork::setStandIn({}); }
    Q_DISABLE_COPY_MOVE(ManualWork)

    /// From now on work waits for doNext().
    void hold() { _isHeld = true; }
    /// Does the oldest piece of work that waits, as far as anybody still wants it.
    void doNext() {
        const auto work = std::move(_waiting.front());
        _waiting.pop_front();
        work();
    }
    [[nodiscard]] int waiting() const { return int(_waiting.size()); }
    /// How many pieces were started in all.
    [[nodiscard]] int started() const { return _started; }

private:
    bool _isHeld = false;
    int _started = 0;
    std::deque<std::function<void()>> _waiting;
};

} // namespace clipmule::kit
