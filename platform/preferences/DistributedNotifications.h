// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/foundation/PropertyList.h"

#include <functional>
#include <memory>

namespace clipmule {

/// The most bytes of a notification's user info; a larger one is neither posted nor taken. Holds
/// every value that FilePreferencesDatabase takes, and the names around it.
inline constexpr qsizetype largestUserInfo = 8 * 1024 * 1024 + 64 * 1024;

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

/// Over the session bus: one signal a notification, which carries its name, its object and the
/// user info as one binary property list. Whoever is on the session bus is this user.
///
/// Without a bus notifications stay in this process, which is said once in the log where somebody
/// observes any; a bus that comes later is used. Connects at the first use. Names are printable
/// ASCII without spaces and quotes, at most 255 characters.
[[nodiscard]] std::unique_ptr<DistributedNotifications> makeDistributedNotifications();

} // namespace clipmule
