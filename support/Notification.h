// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/foundation/Object.h"
#include "platform/foundation/PropertyList.h"

#include <memory>

namespace clipmule {

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

} // namespace clipmule
