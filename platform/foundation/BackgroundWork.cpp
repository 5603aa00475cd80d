// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/foundation/BackgroundWork.h"

namespace clipmule {

namespace {

BackgroundWork::StandIn &standInForThreads() {
    static BackgroundWork::StandIn standIn;
    return standIn;
}

} // namespace

BackgroundWork::BackgroundWork() {
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
            finish(job);
        });
        return;
    }
    _thread.start([this, job = _job, work = std::move(work)] {
        if (job->isAbandoned)
            return;
        work(job->isAbandoned);
        QMetaObject::invokeMethod(
            &_context, [this, job] { finish(job); }, Qt::QueuedConnection);
    });
}

void BackgroundWork::abandon() {
    if (const auto job = std::exchange(_job, nullptr)) {
        job->isAbandoned = true;
        job->done = nullptr;
        // What has not begun is not kept, nor is its input.
        _thread.clear();
    }
}

void BackgroundWork::finish(const std::shared_ptr<Job> &job) {
    if (job != _job)
        return;
    _job = nullptr;
    const auto done = std::move(job->done);
    done();
}

} // namespace clipmule
