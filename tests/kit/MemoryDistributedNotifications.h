// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/preferences/DistributedNotifications.h"

#include <QList>

namespace clipmule::kit {

/// Notifications between "processes" that are one. The endpoints made with the same hub hear each
/// other, from RunLoop::current(): advance a manual run loop by 0 to see it.
class MemoryDistributedNotifications final : public DistributedNotifications {
public:
    using Hub = QList<MemoryDistributedNotifications *>;
    struct Posted {
        QString name;
        QString object;
        PropertyList::Dictionary userInfo;
    };

    /// Alone on a hub of its own.
    MemoryDistributedNotifications();
    explicit MemoryDistributedNotifications(std::shared_ptr<Hub> hub);
    ~MemoryDistributedNotifications() override;

    void post(const QString &name, const QString &object,
              const PropertyList::Dictionary &userInfo) override;
    /// As when the bus comes back: whoever observes here may have missed something.
    void comeBack() { tellMissed(); }

    /// What was posted here, in order.
    [[nodiscard]] const QList<Posted> &posted() const { return _posted; }
    void forgetPosted() { _posted.clear(); }

private:
    std::shared_ptr<Hub> _hub;
    QList<Posted> _posted;
};

} // namespace clipmule::kit
