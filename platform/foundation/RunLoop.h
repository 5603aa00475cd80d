// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/foundation/Date.h"

#include <chrono>
#include <functional>
#include <memory>

namespace clipmule {

/// Time, for the whole program: no other class makes a timer, reads the clock for scheduling, or
/// sleeps. QtRunLoop is the real one; tests install a ManualRunLoop, which owns the clock as well.
///
/// Everything runs on the thread whose run loop it is. A callback may cancel or replace its own
/// timer and may destroy the timer's owner.
class RunLoop {
public:
    using Seconds = std::chrono::duration<double>;
    using Callback = std::function<void()>;

    /// Handle of one request. Destroying or assigning it cancels the request, so that a member
    /// variable of this type is "perform later, cancel the pending one first".
    class Timer {
    public:
        Timer() = default;
        ~Timer() { cancel(); }
        Timer(Timer &&other) noexcept = default;
        Timer &operator=(Timer &&other) noexcept;
        Timer(const Timer &) = delete;
        Timer &operator=(const Timer &) = delete;

        /// Nothing happens when it has fired (one-shot) or was cancelled.
        void cancel();
        /// False once a one-shot timer's callback has begun.
        [[nodiscard]] bool isPending() const;

    private:
        friend class RunLoop;
        struct Request;
        std::shared_ptr<Request> _request;
    };

    /// Makes a run loop the current one of this thread for its own lifetime, then restores the
    /// previous one. The run loop is not owned.
    class Installation {
    public:
        explicit Installation(RunLoop &runLoop);
        ~Installation();
        Installation(const Installation &) = delete;
        Installation &operator=(const Installation &) = delete;
        Installation(Installation &&) = delete;
        Installation &operator=(Installation &&) = delete;

    private:
        RunLoop *_previous;
    };

    RunLoop() = default;
    virtual ~RunLoop();
    RunLoop(const RunLoop &) = delete;
    RunLoop &operator=(const RunLoop &) = delete;
    RunLoop(RunLoop &&) = delete;
    RunLoop &operator=(RunLoop &&) = delete;

    /// The run loop installed on this thread; it is a programming error to have none.
    [[nodiscard]] static RunLoop &current();

    /// Calls back once, after the given time (0 or more), never from inside this call.
    [[nodiscard]] Timer performAfter(Seconds delay, Callback callback);
    /// Calls back every so often (more than 0) until the handle is cancelled or destroyed. Late
    /// beats are skipped, not made up for.
    [[nodiscard]] Timer performEvery(Seconds interval, Callback callback);
    /// Does what performAfter does with no delay, without a handle: for work that must outlive its
    /// requester, like releasing objects after a callback has returned.
    void performSoon(Callback callback);

    /// Monotonic time since an arbitrary origin.
    [[nodiscard]] virtual Seconds now() const = 0;
    /// The date of today's clock.
    [[nodiscard]] virtual Date wallClock() const = 0;
    /// One pass over what is due, without waiting.
    virtual void runOnce() = 0;
    /// Runs until the given time from now has passed.
    virtual void runFor(Seconds duration) = 0;
    /// Blocks the thread without running anything: the one deliberate pause of the program.
    virtual void pause(Seconds duration) = 0;

protected:
    using Identifier = quint64;
    /// Schedules one call. Zero is not an identifier.
    virtual Identifier schedule(Seconds delay, bool repeats, Callback callback) = 0;
    virtual void unschedule(Identifier identifier) = 0;

private:
    Timer makeTimer(Seconds delay, bool repeats, Callback callback);
    std::shared_ptr<RunLoop *> _self = std::make_shared<RunLoop *>(this);
};

} // namespace clipmule
