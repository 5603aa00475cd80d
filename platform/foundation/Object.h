// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include <QString>

namespace clipmule {

/// The root of everything that observes a notification, is the object of one, or is held by
/// identity. It says no more than what the notification hub needs of both.
class Object {
public:
    Object() = default;
    virtual ~Object() = default;
    Object(const Object &) = delete;
    Object &operator=(const Object &) = delete;
    Object(Object &&) = delete;
    Object &operator=(Object &&) = delete;

    /// Equality by value where a class has one; identity otherwise.
    [[nodiscard]] virtual bool isEqual(const Object &other) const { return this == &other; }
    /// A text for log lines and bug reports; never the whole contents of a clip.
    [[nodiscard]] virtual QString description() const {
        return QStringLiteral("<object %1>").arg(quintptr(this), 0, 16);
    }
};

} // namespace clipmule
