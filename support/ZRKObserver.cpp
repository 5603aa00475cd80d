// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "support/ZRKObserver.h"

namespace clipmule {

namespace {

QString describe(const Object *object) {
    return object ? object->description() : QStringLiteral("(null)");
}

} // namespace

ZRKObserver::ZRKObserver(Object *observer, Selector selector, std::shared_ptr<const Object> object)
    : _observer(observer)
    , _selector(std::move(selector))
    , _object(std::move(object)) {}

QString ZRKObserver::description() const {
    return QStringLiteral("observer = %1, object = %2, selector = %3")
        .arg(describe(_observer), describe(_object.get()), _selector.name());
}

} // namespace clipmule
