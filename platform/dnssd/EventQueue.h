// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/foundation/Callbacks.h"

#include <deque>
#include <functional>
#include <memory>

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

    void post(Event event);
    void clear();

private:
    void deliver();

    std::deque<Event> _events;
    std::deque<Event> _underDelivery;
    RunLoop::Timer _turn;
    std::shared_ptr<bool> _alive = std::make_shared<bool>(true);
};

} // namespace clipmule::dnssd
