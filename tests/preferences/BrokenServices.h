// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/foundation/RunLoop.h"
#include "platform/preferences/DistributedNotifications.h"
#include "platform/preferences/PreferencesDatabase.h"

namespace clipmule::kit {

/// A database whose disk is full.
class FullDatabase final : public PreferencesDatabase {
public:
    [[nodiscard]] PropertyList::Dictionary copyMultiple(const QString &) override { return values; }
    Result<void> setValue(const QString &, const QString &,
                          const std::optional<PropertyList> &) override {
        return failure(QStringLiteral("no space"));
    }
    Result<void> synchronize(const QString &) override { return {}; }
    PropertyList::Dictionary values;
};

/// A session without a bus.
class LonelyNotifications final : public DistributedNotifications {
public:
    void post(const QString &, const QString &, const PropertyList::Dictionary &) override {}
    void whenDelivered(std::function<void(bool)> callback) override {
        RunLoop::current().performSoon([callback = std::move(callback)] { callback(false); });
    }
};

} // namespace clipmule::kit
