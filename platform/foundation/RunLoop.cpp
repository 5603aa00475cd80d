// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/foundation/RunLoop.h"

#include <utility>

namespace clipmule {

namespace {
thread_local RunLoop *currentRunLoop = nullptr;
} // namespace

struct RunLoop::Timer::Request {
    // Null once the run loop is gone, so that a handle may outlive it.
    std::weak_ptr<RunLoop *> runLoop;
    Identifier identifier = 0;
    Callback callback;
    bool pending = true;
};

RunLoop::Timer &RunLoop::Timer::operator=(Timer &&other) noexcept {
    if (this != &other) {
        cancel();
        _request = std::move(other._request);
    }
    return *this;
}

void RunLoop::Timer::cancel() {
    // Moved out first: unscheduling may destroy the callback, and that this handle's owner.
    const std::shared_ptr<Request> request = std::move(_request);
    _request.reset();
    if (!request || !std::exchange(request->pending, false))
        return;
    if (const auto runLoop = request->runLoop.lock())
        (*runLoop)->unschedule(request->identifier);
}

bool RunLoop::Timer::isPending() const {
    return _request && _request->pending;
}

RunLoop::Installation::Installation(RunLoop &runLoop)
    : _previous(std::exchange(currentRunLoop, &runLoop)) {}

RunLoop::Installation::~Installation() {
    currentRunLoop = _previous;
}

RunLoop::~RunLoop() = default;

RunLoop &RunLoop::current() {
    if (!currentRunLoop)
        qFatal("no run loop is installed on this thread");
    return *currentRunLoop;
}

RunLoop::Timer RunLoop::performAfter(Seconds delay, Callback callback) {
    return makeTimer(delay, false, std::move(callback));
}

RunLoop::Timer RunLoop::performEvery(Seconds interval, Callback callback) {
    return makeTimer(interval, true, std::move(callback));
}

void RunLoop::performSoon(Callback callback) {
    schedule(Seconds(0), false, std::move(callback));
}

RunLoop::Timer RunLoop::makeTimer(Seconds delay, bool repeats, Callback callback) {
    Timer timer;
    timer._request = std::make_shared<Timer::Request>();
    timer._request->runLoop = _self;
    timer._request->callback = std::move(callback);
    // The scheduled call owns the request: a callback that destroys its own handle stays alive
    // until it returns.
    timer._request->identifier = schedule(delay, repeats, [request = timer._request, repeats] {
        if (!request->pending)
            return;
        if (!repeats)
            request->pending = false;
        request->callback();
    });
    return timer;
}

} // namespace clipmule
