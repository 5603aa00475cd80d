// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/foundation/PropertyList.h"

#include <functional>
#include <memory>

namespace clipmule {

/// Notifications between the processes of one user session, by name. A poster that also observes
/// receives its own, always from the run loop and never from inside post().
class DistributedNotifications {
public:
    using Handler =
        std::function<void(const QString &object, const PropertyList::Dictionary &userInfo)>;

    /// Keeps the handler registered; destroying it ends that.
    class Observation {
    public:
        Observation() = default;
        virtual ~Observation() = default;
        Observation(const Observation &) = delete;
        Observation &operator=(const Observation &) = delete;
    };

    DistributedNotifications() = default;
    virtual ~DistributedNotifications() = default;
    DistributedNotifications(const DistributedNotifications &) = delete;
    DistributedNotifications &operator=(const DistributedNotifications &) = delete;

    virtual void post(const QString &name, const QString &object,
                      const PropertyList::Dictionary &userInfo) = 0;
    [[nodiscard]] virtual std::unique_ptr<Observation> observe(const QString &name,
                                                               Handler handler) = 0;
    /// For a program that is about to exit: calls back once from the run loop, with true as soon as
    /// everything posted so far is out of this process's hands, or with false when there is nobody
    /// to give it to. Within two seconds.
    virtual void whenDelivered(std::function<void(bool delivered)> callback);
};

} // namespace clipmule
