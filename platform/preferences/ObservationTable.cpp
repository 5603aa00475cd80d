// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/preferences/ObservationTable.h"

#include <algorithm>

namespace clipmule {

struct ObservationTable::State {
    std::function<void(const QString &)> onFirst;
    std::function<void(const QString &)> onLast;
    // A name without observers has no entry.
    QMap<QString, Observers> observers;
};

class ObservationTable::TableObservation final : public DistributedNotifications::Observation {
public:
    TableObservation(std::weak_ptr<State> state, QString name,
                     std::shared_ptr<DistributedNotifications::Handler> handler)
        : _state(std::move(state))
        , _name(std::move(name))
        , _handler(std::move(handler)) {}

    ~TableObservation() override {
        const auto state = _state.lock();
        if (!state)
            return;
        Observers &observers = state->observers[_name];
        std::erase_if(observers,
                      [this](const auto &observer) { return observer.lock() == _handler; });
        if (!observers.empty())
            return;
        state->observers.remove(_name);
        if (state->onLast)
            state->onLast(_name);
    }

private:
    std::weak_ptr<State> _state;
    QString _name;
    std::shared_ptr<DistributedNotifications::Handler> _handler;
};

ObservationTable::ObservationTable(std::function<void(const QString &)> onFirst,
                                   std::function<void(const QString &)> onLast)
    : _state(std::make_shared<State>()) {
    _state->onFirst = std::move(onFirst);
    _state->onLast = std::move(onLast);
}

ObservationTable::~ObservationTable() = default;

std::unique_ptr<DistributedNotifications::Observation>
ObservationTable::observe(const QString &name, DistributedNotifications::Handler handler) {
    auto shared = std::make_shared<DistributedNotifications::Handler>(std::move(handler));
    Observers &observers = _state->observers[name];
    observers.push_back(shared);
    const bool isFirst = observers.size() == 1;
    auto observation = std::make_unique<TableObservation>(_state, name, std::move(shared));
    if (isFirst && _state->onFirst)
        _state->onFirst(name);
    return observation;
}

QStringList ObservationTable::names() const {
    return _state->observers.keys();
}

ObservationTable::Observers ObservationTable::observers(const QString &name) const {
    return _state->observers.value(name);
}

void ObservationTable::deliver(const Observers &observers, const QString &object,
                               const PropertyList::Dictionary &userInfo) {
    for (const auto &observer : observers) {
        // Held while it runs: it may end its own observation.
        if (const auto handler = observer.lock())
            (*handler)(object, userInfo);
    }
}

} // namespace clipmule
