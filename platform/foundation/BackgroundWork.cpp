// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/foundation/BackgroundWork.h"

#include <QCoreApplication>
#include <QRunnable>

namespace clipmule {

namespace {

BackgroundWork::StandIn &standInForThreads() {
    static BackgroundWork::StandIn standIn;
    return standIn;
}

} // namespace

// A thread sanitizer does not know the toolkit's locks. By the atomics, each looked at before
// anything else, it sees that input and result are handed over.
class BackgroundWork::Task final : public QRunnable {
public:
    Task(std::shared_ptr<Job> job, std::function<void(const Abandoned &)> work, QObject &doorbell)
        : _job(std::move(job))
        , _work(std::move(work))
        , _doorbell(doorbell) {
        _isReady = true;
    }
    void run() override {
        if (!_isReady || _job->isAbandoned)
            return;
        _work(_job->isAbandoned);
        _job->isDone = true;
        QCoreApplication::postEvent(&_doorbell, std::make_unique<QEvent>(QEvent::User).release());
    }

private:
    std::atomic_bool _isReady = false;
    std::shared_ptr<Job> _job;
    std::function<void(const Abandoned &)> _work;
    QObject &_doorbell;
};

BackgroundWork::BackgroundWork() {
    _doorbell.onRing = [this] { finish(); };
    // What was abandoned is waited for by the next one, not by the run loop: so there is never the
    // memory of two at a time.
    _thread.setMaxThreadCount(1);
}

BackgroundWork::~BackgroundWork() {
    abandon();
    _thread.waitForDone();
}

void BackgroundWork::setStandIn(StandIn standIn) {
    standInForThreads() = std::move(standIn);
}

void BackgroundWork::begin(std::function<void(const Abandoned &)> work,
                           std::function<void()> done) {
    abandon();
    _job = std::make_shared<Job>();
    _job->done = std::move(done);
    if (const StandIn &standIn = standInForThreads()) {
        standIn([this, job = _job, work = std::move(work)] {
            if (job->isAbandoned)
                return;
            work(job->isAbandoned);
            job->isDone = true;
            finish();
        });
        return;
    }
    _thread.start(std::make_unique<Task>(_job, std::move(work), _doorbell).release());
}

void BackgroundWork::abandon() {
    if (const auto job = std::exchange(_job, nullptr)) {
        job->isAbandoned = true;
        job->done = nullptr;
        // What has not begun is not kept, nor is its input.
        _thread.clear();
    }
}

// Rung for one that was abandoned meanwhile, too.
void BackgroundWork::finish() {
    if (!_job || !_job->isDone)
        return;
    const auto done = std::move(std::exchange(_job, nullptr)->done);
    done();
}

} // namespace clipmule
