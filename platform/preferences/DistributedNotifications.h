// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/foundation/PropertyList.h"

#include <QStringList>

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
    /// Keeps a handler registered; destroying it ends that. May outlive the notifications.
    class Observation;

    DistributedNotifications();
    virtual ~DistributedNotifications();
    DistributedNotifications(const DistributedNotifications &) = delete;
    DistributedNotifications &operator=(const DistributedNotifications &) = delete;

    /// A handler may end any observation, its own included. `missed` is called from the run loop
    /// when some notifications may not have arrived, and those to come will; it may be empty.
    [[nodiscard]] std::unique_ptr<Observation> observe(const QString &name, Handler handler,
                                                       std::function<void()> missed = {});
    virtual void post(const QString &name, const QString &object,
                      const PropertyList::Dictionary &userInfo) = 0;
    /// For a program that is about to exit: calls back once from the run loop, with true as soon as
    /// everything posted so far is out of this process's hands, or with false when there is nobody
    /// to give it to. Within two seconds.
    virtual void whenDelivered(std::function<void(bool delivered)> callback);

protected:
    /// Called when the first observer of a name came and when the last one left.
    virtual void didBeginToObserve(const QString &) {}
    virtual void didEndToObserve(const QString &) {}
    /// The names that have observers.
    [[nodiscard]] QStringList observedNames() const;
    /// What tells the observers that a name has now; those that have left by then are passed over.
    [[nodiscard]] std::function<void()> delivery(const QString &name, const QString &object,
                                                 const PropertyList::Dictionary &userInfo) const;
    /// Tells all observers that they may have missed some.
    void tellMissed() const;

private:
    struct Observer;
    struct State;
    std::shared_ptr<State> _state;
};

class DistributedNotifications::Observation final {
public:
    Observation(std::weak_ptr<State> state, QString name, std::shared_ptr<Observer> observer);
    ~Observation();
    Observation(const Observation &) = delete;
    Observation &operator=(const Observation &) = delete;

private:
    std::weak_ptr<State> _state;
    QString _name;
    std::shared_ptr<Observer> _observer;
};

/// Over the session bus: one signal a notification, which carries its name, its object and the
/// user info as one binary property list. Whoever is on the session bus is this user.
///
/// Without a bus notifications stay in this process, which is said once in the log where somebody
/// observes any; a bus that comes later is used, and observers are told that they may have missed
/// some. Connects at the first use. Names are printable ASCII without spaces and quotes, at most
/// 255 characters.
[[nodiscard]] std::unique_ptr<DistributedNotifications> makeDistributedNotifications();

} // namespace clipmule
