// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/foundation/RunLoop.h"

#include <map>
#include <utility>

namespace clipmule::kit {

/// A run loop whose clock stands still until a test advances it. What falls due on the way is
/// fired in order of its time, then of its scheduling, with the clock at that very time.
class ManualRunLoop final : public RunLoop {
public:
    [[nodiscard]] Seconds now() const override { return _now; }
    [[nodiscard]] Date wallClock() const override;
    /// Fires what is due at this moment.
    void runOnce() override { advance(Seconds(0)); }
    void runFor(Seconds duration) override { advance(duration); }
    /// The clock moves, nothing fires: as the real thread would sleep.
    void pause(Seconds duration) override;

    void advance(Seconds duration);
    void advance(double seconds) { advance(Seconds(seconds)); }
    /// How many requests are pending.
    [[nodiscard]] int pendingCount() const { return int(_requests.size()); }
    /// How long until the next one; negative when there is none.
    [[nodiscard]] Seconds timeToNext() const;
    /// The sum of all pauses so far.
    [[nodiscard]] Seconds paused() const { return _paused; }
    void setWallClock(Date date) {
        _wallClockAtStart = {date.secondsSinceReference - _now.count()};
    }

protected:
    Identifier schedule(Seconds delay, bool repeats, Callback callback) override;
    void unschedule(Identifier identifier) override;

private:
    struct Request {
        Seconds due;
        Seconds interval; // 0 for a one-shot request
        std::shared_ptr<Callback> callback;
    };
    // A real clock's value, so that a sum of small steps does not meet a deadline by rounding.
    Seconds _now{1000};
    Seconds _paused{0};
    Date _wallClockAtStart{400000000.0 - 1000.0};
    Identifier _nextIdentifier = 1;
    std::map<Identifier, Request> _requests;
};

} // namespace clipmule::kit
