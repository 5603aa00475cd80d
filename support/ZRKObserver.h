// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "support/Notification.h"
#include "support/Selector.h"

namespace clipmule {

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

} // namespace clipmule
