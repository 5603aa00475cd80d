// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include <QObject>
#include <QThreadPool>

#include <atomic>
#include <functional>
#include <memory>
#include <optional>
#include <utility>

namespace clipmule {

/// What takes long and depends on nothing but its input, done on a thread of the toolkit's pool
/// while the run loop goes on. One piece of work at a time: a newer one takes the place of the one
/// under way, which is waited for on its thread and not heard of again.
class BackgroundWork final {
public:
    /// Set when nobody wants the result any more; work looks at it now and then.
    using Abandoned = std::atomic_bool;
    /// Does a piece of work, whole, whenever it likes, on the main thread.
    using StandIn = std::function<void(std::function<void()> work)>;

    BackgroundWork();
    /// Abandons what is under way and waits for its thread.
    ~BackgroundWork();
    BackgroundWork(const BackgroundWork &) = delete;
    BackgroundWork &operator=(const BackgroundWork &) = delete;

    /// Does the work, and calls back from the run loop with its result, never from inside this
    /// call. The work must raise nothing, and what it refers to must not change any more: hand over
    /// values. The callback may start another and may destroy this object.
    template <typename Result>
    void start(std::function<Result(const Abandoned &)> work, std::function<void(Result)> done) {
        const auto result = std::make_shared<std::optional<Result>>();
        begin([work = std::move(work),
               result](const Abandoned &isAbandoned) { result->emplace(work(isAbandoned)); },
              [done = std::move(done), result] { done(std::move(**result)); });
    }
    /// The work under way does not call back any more.
    void abandon();
    [[nodiscard]] bool isRunning() const { return bool(_job); }

    /// For tests, which decide when work is done. An empty function brings the threads back.
    static void setStandIn(StandIn standIn);

private:
    struct Job {
        std::atomic_bool isAbandoned = false;
        std::atomic_bool isDone = false;
        std::function<void()> done; // belongs to the thread of the run loop
    };
    // Gets an event when work is done; outlives the thread.
    class Doorbell final : public QObject {
    public:
        std::function<void()> onRing;

    protected:
        void customEvent(QEvent *) override { onRing(); }
    };
    class Task;
    void begin(std::function<void(const Abandoned &)> work, std::function<void()> done);
    void finish();

    Doorbell _doorbell;
    QThreadPool _thread;
    std::shared_ptr<Job> _job;
};

} // namespace clipmule
