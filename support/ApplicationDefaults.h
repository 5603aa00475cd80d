// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "support/PlatformNotifications.h"
#include "support/ZRKUserDefaults.h"

namespace clipmule {

/// The agent's own defaults, as distinct from the shared domain. They lie beside it, in a domain
/// of their own, and other programs may change them: the command line's "disable" reaches a running
/// agent.
///
/// Each change, made here or elsewhere, posts NSUserDefaultsDidChangeNotification with this object,
/// and only that: underneath is a ZRKUserDefaults whose own notification goes to a centre that
/// nobody but this class hears, so that whoever observes both names is told once.
class ApplicationDefaults final : public Object {
public:
    /// The domain.
    static QString identifier() { return QStringLiteral("com.zendrik.ClipmuleSync"); }

    /// Works in the given environment; its centre (or the platform's) is where changes are
    /// announced.
    explicit ApplicationDefaults(ZRKUserDefaults::Environment environment);
    ~ApplicationDefaults() override;

    /// Reads the values, and hears other programs' changes from now on. Before it there are no
    /// values.
    void start();
    /// Reads the values again, and announces nothing.
    void reset();

    [[nodiscard]] std::optional<PropertyList> objectForKey(const QString &key) const;
    /// False when there is no such value.
    [[nodiscard]] bool boolForKey(const QString &key) const;
    /// No value removes the key. Nothing is written before start().
    void setObjectForKey(const std::optional<PropertyList> &value, const QString &key);
    void setBoolForKey(bool value, const QString &key);
    void removeObjectForKey(const QString &key);
    bool synchronize();

private:
    void valueDidChange();

    ZRKUserDefaults::Environment _environment;
    std::shared_ptr<ZRKNotificationCenter> _center = std::make_shared<ZRKNotificationCenter>();
    std::shared_ptr<ZRKUserDefaults> _store;
};

} // namespace clipmule
