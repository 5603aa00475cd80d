// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "support/Notification.h"
#include "support/Selector.h"
#include "support/ZRKObserver.h"

#include <QList>
#include <QMap>

#include <functional>
#include <map>
#include <memory>
#include <typeindex>

namespace clipmule {

/// A notification hub inside the process. Each class of hub has one shared instance, made when it
/// is first asked for and, where releaseAfterLastObserverIsRemoved() says so, dropped with its last
/// observer. The hooks let a class of hub hold a system resource exactly while somebody listens.
///
/// Delivery is synchronous, in order of registration. An observer may add and remove observers,
/// itself included, and may destroy objects while it is being told: whoever was removed on the way
/// is not told any more, whoever was added is not told of this notification yet.
class ZRKNotificationCenter : public Object,
                              public std::enable_shared_from_this<ZRKNotificationCenter> {
public:
    ZRKNotificationCenter() = default;
    ~ZRKNotificationCenter() override;

    /// The shared instance of this class.
    [[nodiscard]] static std::shared_ptr<ZRKNotificationCenter> defaultCenter();
    /// The process-wide centre of the platform, through which the rest of the program speaks to
    /// itself: same mechanism, but it never goes away.
    [[nodiscard]] static ZRKNotificationCenter &platformDefault();

    /// The observer is not owned; it removes itself before it is destroyed. A null object means any
    /// sender. The name is required.
    void addObserver(Object *observer, const Selector &selector, const QString &name,
                     std::shared_ptr<const Object> object = nullptr);
    void addZRKObserver(std::shared_ptr<ZRKObserver> record, const QString &name);

    void postNotification(const Notification &notification);
    void postNotificationName(const QString &name, std::shared_ptr<const Object> object = nullptr,
                              const PropertyList::Dictionary &userInfo = {});

    /// Removes the records of a name whose observer is equal to this one and, where an object is
    /// given, whose object is equal to that.
    void removeObserver(const Object *observer, const QString &name,
                        const Object *object = nullptr);
    /// The same for every name.
    void removeObserver(const Object *observer);
    void removeZRKObserver(const std::shared_ptr<ZRKObserver> &record, const QString &name);

    [[nodiscard]] virtual bool releaseAfterLastObserverIsRemoved() const { return true; }

protected:
    // Called after the table has changed.
    virtual void didAddFirstObserver() {}
    virtual void didAddFirstObserverForName(const QString &) {}
    virtual void didRemoveLastObserverForName(const QString &) {}
    virtual void didRemoveLastObserver() {}

    /// The shared instance of a class of hub, made by `make` when there is none. For
    /// defaultCenter() of subclasses.
    template <typename Hub>
    [[nodiscard]] static std::shared_ptr<Hub>
    sharedInstance(const std::function<std::shared_ptr<Hub>()> &make) {
        auto &shared = notificationCenters()[std::type_index(typeid(Hub))];
        if (!shared)
            shared = make();
        return std::static_pointer_cast<Hub>(shared);
    }

private:
    [[nodiscard]] static std::map<std::type_index, std::shared_ptr<ZRKNotificationCenter>> &
    notificationCenters();

    QMap<QString, QList<std::shared_ptr<ZRKObserver>>> _notificationsDictionary;
};

} // namespace clipmule
