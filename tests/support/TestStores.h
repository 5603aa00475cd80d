// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "support/ZRKUserDefaults.h"
#include "tests/kit/MemoryDistributedNotifications.h"
#include "tests/kit/MemoryPreferencesDatabase.h"

namespace clipmule::kit {

/// What all processes of one user share.
struct UserSession {
    MemoryPreferencesDatabase database;
    std::shared_ptr<MemoryDistributedNotifications::Hub> hub =
        std::make_shared<MemoryDistributedNotifications::Hub>();
};

/// Writes down the local notifications of one process.
class ChangeLog final : public Object {
public:
    void changed(const Notification &notification) {
        notifications.append(notification);
        if (const auto action = then)
            action();
    }
    QList<Notification> notifications;
    std::function<void()> then;
};

/// One process, as far as preferences go: its end of the notifications, its own centre, its
/// bundles.
struct Process {
    explicit Process(UserSession &session)
        : distributed(session.hub)
        , bundles(std::make_shared<ZRKUserDefaults::Bundles>(
              ZRKUserDefaults::Bundles{Bundle(QString()), Bundle(QString()), {}, {}})) {
        environment.database = &session.database;
        environment.distributedNotifications = &distributed;
        environment.localCenter = center.get();
        environment.bundles = bundles;
        observe(ZRKUserDefaultsDidChangeNotification);
    }
    ~Process() { center->removeObserver(&changes); }

    void observe(const QString &name) {
        center->addObserver(&changes, selector<&ChangeLog::changed>("changed"), name);
    }
    [[nodiscard]] std::shared_ptr<ZRKUserDefaults> open(const QString &identifier) const {
        return ZRKUserDefaults::initWithIdentifier(identifier, environment);
    }

    MemoryDistributedNotifications distributed;
    std::shared_ptr<ZRKNotificationCenter> center = std::make_shared<ZRKNotificationCenter>();
    std::shared_ptr<ZRKUserDefaults::Bundles> bundles;
    ZRKUserDefaults::Environment environment;
    ChangeLog changes;
};

} // namespace clipmule::kit
