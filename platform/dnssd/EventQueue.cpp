// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/dnssd/EventQueue.h"

#include <utility>

namespace clipmule::dnssd {

void EventQueue::post(Event event) {
    _events.push_back(std::move(event));
    if (!_turn.isPending())
        _turn = RunLoop::current().performAfter(RunLoop::Seconds(0), [this] { deliver(); });
}

void EventQueue::clear() {
    _events.clear();
    _underDelivery.clear();
    _turn.cancel();
}

void EventQueue::deliver() {
    const std::weak_ptr<bool> alive = _alive;
    // What an event posts waits for the next turn, so that no chain of events holds up the loop.
    _underDelivery = std::exchange(_events, {});
    while (!_underDelivery.empty()) {
        const Event event = std::move(_underDelivery.front());
        _underDelivery.pop_front();
        event();
        if (alive.expired())
            return;
    }
}

} // namespace clipmule::dnssd
