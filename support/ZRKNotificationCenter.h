// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/foundation/Object.h"
#include "platform/foundation/PropertyList.h"

#include <QList>
#include <QMap>

#include <functional>
#include <map>
#include <memory>
#include <type_traits>
#include <typeindex>

namespace clipmule {

// Notifications of the platform's default centre that this program posts itself.

/// The application is about to end; its object is the application.
inline const QString NSApplicationWillTerminateNotification =
    QStringLiteral("NSApplicationWillTerminateNotification");
/// A value of the program's own defaults has changed, here or in another program.
inline const QString NSUserDefaultsDidChangeNotification =
    QStringLiteral("NSUserDefaultsDidChangeNotification");
/// A pass over what a phone sent has found the header of an object frame; its object is the stream
/// handler.
inline const QString ZRKStreamDidReceiveData = QStringLiteral("ZRKStreamDidReceiveData");
/// A part of an object frame was written; its object is the stream handler.
inline const QString ZRKStreamDidSendData = QStringLiteral("ZRKStreamDidSendData");

/// What happened (the name), to whom (the object), and what there is to say about it.
struct Notification {
    QString name;
    /// May be null. Kept alive while the notification is delivered where the poster is shared.
    std::shared_ptr<const Object> object;
    PropertyList::Dictionary userInfo;
    /// An object that goes with the notification and is no property list: the clip that was
    /// inserted, for example. Null where the notification's name promises none.
    std::shared_ptr<const Object> attachment;
};

/// A pointer that owns nothing, for objects that are not shared or not shared yet.
[[nodiscard]] inline std::shared_ptr<const Object> unowned(const Object *object) {
    return {std::shared_ptr<const Object>(), object};
}

/// The name of an action, bound to the member function that carries it out. Compared and stored by
/// name; performed on an observer, which must be of the class that the selector was made for
/// (std::bad_cast otherwise).
class Selector {
public:
    using Action = std::function<void(Object &, const Notification &)>;

    /// No action at all.
    Selector() = default;
    Selector(QString name, Action action)
        : _name(std::move(name))
        , _action(std::move(action)) {}

    [[nodiscard]] const QString &name() const { return _name; }
    [[nodiscard]] bool isValid() const { return bool(_action); }
    void perform(Object &observer, const Notification &notification) const {
        _action(observer, notification);
    }
    friend bool operator==(const Selector &left, const Selector &right) {
        return left._name == right._name;
    }

private:
    QString _name;
    Action _action;
};

namespace detail {
template <typename Class, typename... Arguments>
Class *classOf(void (Class::*)(Arguments...));
} // namespace detail

/// selector<&Controller::defaultsDidChange>("defaultsDidChange"). The member function takes the
/// notification or nothing.
template <auto Method>
[[nodiscard]] Selector selector(const char *name) {
    using Class = std::remove_pointer_t<decltype(detail::classOf(Method))>;
    return Selector(
        QString::fromLatin1(name), [](Object &observer, const Notification &notification) {
            auto &target = dynamic_cast<Class &>(observer);
            if constexpr (std::is_invocable_v<decltype(Method), Class &, const Notification &>)
                (target.*Method)(notification);
            else
                (target.*Method)();
        });
}

/// One registration with a notification hub: who is told, by which action, about which sender.
class ZRKObserver final : public Object {
public:
    /// The observer is not owned and must leave the hub before it is destroyed. A null object
    /// stands for any sender; any other is kept alive by the record.
    ZRKObserver(Object *observer, Selector selector, std::shared_ptr<const Object> object);

    [[nodiscard]] Object *observer() const { return _observer; }
    [[nodiscard]] const Selector &selector() const { return _selector; }
    [[nodiscard]] const std::shared_ptr<const Object> &object() const { return _object; }
    [[nodiscard]] QString description() const override;

private:
    Object *_observer;
    Selector _selector;
    std::shared_ptr<const Object> _object;
};

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

    /// How many records there are, of all names.
    [[nodiscard]] qsizetype observerCount() const;

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
