// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/foundation/Object.h"

#include <functional>
#include <type_traits>

namespace clipmule {

struct Notification;

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
template <typename Method>
struct ClassOf;
template <typename Class, typename... Arguments>
struct ClassOf<void (Class::*)(Arguments...)> {
    using Type = Class;
};
} // namespace detail

/// selector<&Controller::defaultsDidChange>("defaultsDidChange"). The member function takes the
/// notification or nothing.
template <auto Method>
[[nodiscard]] Selector selector(const char *name) {
    using Class = typename detail::ClassOf<decltype(Method)>::Type;
    return Selector(
        QString::fromLatin1(name), [](Object &observer, const Notification &notification) {
            auto &target = dynamic_cast<Class &>(observer);
            if constexpr (std::is_invocable_v<decltype(Method), Class &, const Notification &>)
                (target.*Method)(notification);
            else
                (target.*Method)();
        });
}

} // namespace clipmule
