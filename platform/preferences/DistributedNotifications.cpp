// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/preferences/DistributedNotifications.h"

#include "platform/foundation/RunLoop.h"

#include <QMap>

#include <vector>

namespace clipmule {

struct DistributedNotifications::Observer {
    Handler handler;
    std::function<void()> missed;
};

struct DistributedNotifications::State {
    DistributedNotifications &owner;
    // A name without observers has no entry.
    QMap<QString, std::vector<std::weak_ptr<Observer>>> observers = {};
};

DistributedNotifications::Observation::Observation(std::weak_ptr<State> state, QString name,
                                                   std::shared_ptr<Observer> observer)
    : _state(std::move(state))
    , _name(std::move(name))
    , _observer(std::move(observer)) {}

DistributedNotifications::Observation::~Observation() {
    const auto state = _state.lock();
    if (!state)
        return;
    auto &observers = state->observers[_name];
    std::erase_if(observers, [this](const auto &each) { return each.lock() == _observer; });
    if (!observers.empty())
        return;
    state->observers.remove(_name);
    state->owner.didEndToObserve(_name);
}

DistributedNotifications::DistributedNotifications()
    : _state(std::make_shared<State>(State{*this})) {}

DistributedNotifications::~DistributedNotifications() = default;

std::unique_ptr<DistributedNotifications::Observation>
DistributedNotifications::observe(const QString &name, Handler handler,
                                  std::function<void()> missed) {
    auto observer = std::make_shared<Observer>(Observer{std::move(handler), std::move(missed)});
    auto &observers = _state->observers[name];
    observers.push_back(observer);
    const bool isFirst = observers.size() == 1;
    auto observation = std::make_unique<Observation>(_state, name, std::move(observer));
    if (isFirst)
        didBeginToObserve(name);
    return observation;
}

void DistributedNotifications::whenDelivered(std::function<void(bool delivered)> callback) {
    RunLoop::current().performSoon([callback = std::move(callback)] { callback(true); });
}

QStringList DistributedNotifications::observedNames() const {
    return _state->observers.keys();
}

std::function<void()>
DistributedNotifications::delivery(const QString &name, const QString &object,
                                   const PropertyList::Dictionary &userInfo) const {
    return [observers = _state->observers.value(name), object, userInfo] {
        for (const auto &each : observers) {
            // Held while it runs: it may end its own observation.
            if (const auto observer = each.lock())
                observer->handler(object, userInfo);
        }
    };
}

void DistributedNotifications::tellMissed() const {
    // A copy, since an observer may end any observation.
    const auto all = _state->observers;
    for (const auto &observers : all) {
        for (const auto &each : observers) {
            if (const auto observer = each.lock(); observer && observer->missed)
                observer->missed();
        }
    }
}

} // namespace clipmule
