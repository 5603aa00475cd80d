// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/dnssd/EventQueue.h"

namespace clipmule::dnssd {

void EventQueue::post(Event event) {
    _events.push_back(std::move(event));
    if (!_turn.isPending())
        _turn = RunLoop::current().performAfter(RunLoop::Seconds(0), [this] { deliver(); });
}

void EventQueue::clear() {
    _events.clear();
    _turn.cancel();
}

void EventQueue::deliver() {
    const std::weak_ptr<bool> alive = _alive;
    // What an event posts waits for the next turn, so that no chain of events holds up the loop.
    for (auto count = _events.size(); count > 0 && !_events.empty(); --count) {
        const Event event = std::move(_events.front());
        _events.pop_front();
        event();
        if (alive.expired())
            return;
    }
    if (!_events.empty() && !_turn.isPending())
        _turn = RunLoop::current().performAfter(RunLoop::Seconds(0), [this] { deliver(); });
}

} // namespace clipmule::dnssd
