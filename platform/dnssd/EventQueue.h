// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/foundation/Callbacks.h"

#include <deque>
#include <functional>
#include <memory>
#include <utility>

namespace clipmule::dnssd {

/// Holds back what a responder's library reports from inside our own calls, and delivers it in
/// order on a later turn of the run loop. Nothing is delivered after clear() or destruction; an
/// event may destroy the queue.
class EventQueue {
public:
    using Event = std::function<void()>;

    EventQueue() = default;
    ~EventQueue() = default;
    Q_DISABLE_COPY_MOVE(EventQueue)

    void post(Event event) {
        _events.push_back(std::move(event));
        if (!_turn.isPending())
            _turn = RunLoop::current().performAfter(RunLoop::Seconds(0), [this] { deliver(); });
    }
    void clear() {
        _events.clear();
        _underDelivery.clear();
        _turn.cancel();
    }

private:
    void deliver() {
        const std::weak_ptr<bool> alive = _alive;
        // What an event posts waits for the next turn, so that no chain of events holds up the
        // loop.
        _underDelivery = std::exchange(_events, {});
        while (!_underDelivery.empty()) {
            const Event event = std::move(_underDelivery.front());
            _underDelivery.pop_front();
            event();
            if (alive.expired())
                return;
        }
    }

    std::deque<Event> _events;
    std::deque<Event> _underDelivery;
    RunLoop::Timer _turn;
    std::shared_ptr<bool> _alive = std::make_shared<bool>(true);
};

} // namespace clipmule::dnssd
