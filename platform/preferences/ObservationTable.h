// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/preferences/DistributedNotifications.h"

#include <QStringList>

#include <vector>

namespace clipmule {

/// Who observes which distributed notification in this process. A handler may end any observation,
/// its own included; an observation may outlive the table.
class ObservationTable final {
public:
    /// The observers of a name at one moment; those that have left since are passed over.
    using Observers = std::vector<std::weak_ptr<DistributedNotifications::Handler>>;

    /// The hooks tell when the first observer of a name came and when the last one left.
    explicit ObservationTable(std::function<void(const QString &name)> onFirst = nullptr,
                              std::function<void(const QString &name)> onLast = nullptr);
    ~ObservationTable();
    ObservationTable(const ObservationTable &) = delete;
    ObservationTable &operator=(const ObservationTable &) = delete;
    ObservationTable(ObservationTable &&) = delete;
    ObservationTable &operator=(ObservationTable &&) = delete;

    [[nodiscard]] std::unique_ptr<DistributedNotifications::Observation>
    observe(const QString &name, DistributedNotifications::Handler handler);
    [[nodiscard]] QStringList names() const;
    [[nodiscard]] Observers observers(const QString &name) const;
    static void deliver(const Observers &observers, const QString &object,
                        const PropertyList::Dictionary &userInfo);

private:
    struct State;
    class TableObservation;
    std::shared_ptr<State> _state;
};

} // namespace clipmule
