// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "tests/kit/ManualRunLoop.h"

namespace clipmule::kit {

namespace {
// Sums of decimal fractions of a second differ in the last bits; a timer due "now" is due.
constexpr RunLoop::Seconds tolerance{1e-6};
} // namespace

Date ManualRunLoop::wallClock() const {
    return {_wallClockAtStart.secondsSinceReference + _now.count()};
}

void ManualRunLoop::pause(Seconds duration) {
    _now += duration;
    _paused += duration;
}

RunLoop::Seconds ManualRunLoop::timeToNext() const {
    if (_requests.empty())
        return Seconds(-1);
    Seconds next = _requests.begin()->second.due;
    for (const auto &[identifier, request] : _requests)
        next = std::min(next, request.due);
    return std::max(next - _now, Seconds(0));
}

void ManualRunLoop::advance(Seconds duration) {
    const Seconds end = _now + duration;
    // Requests made by a callback for this very moment wait for the next advance, as a real run
    // loop serves them in its next turn.
    const Identifier newest = duration > Seconds(0) ? ~Identifier(0) : _nextIdentifier;
    for (;;) {
        auto next = _requests.end();
        for (auto it = _requests.begin(); it != _requests.end(); ++it) {
            if (it->first >= newest || it->second.due > end + tolerance)
                continue;
            if (next == _requests.end() || it->second.due < next->second.due)
                next = it;
        }
        if (next == _requests.end())
            break;
        _now = std::max(_now, std::min(next->second.due, end));
        const std::shared_ptr<Callback> callback = next->second.callback;
        if (next->second.interval > Seconds(0))
            next->second.due += next->second.interval;
        else
            _requests.erase(next);
        (*callback)();
    }
    _now = std::max(_now, end);
}

RunLoop::Identifier ManualRunLoop::schedule(Seconds delay, bool repeats, Callback callback) {
    const Identifier identifier = _nextIdentifier++;
    _requests.emplace(identifier,
                      Request{_now + std::max(delay, Seconds(0)), repeats ? delay : Seconds(0),
                              std::make_shared<Callback>(std::move(callback))});
    return identifier;
}

void ManualRunLoop::unschedule(Identifier identifier) {
    // Moved out first: destroying the callback may cancel further requests.
    const auto node = _requests.extract(identifier);
}

} // namespace clipmule::kit
