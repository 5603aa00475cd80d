// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "model/ZRKClipmuleClipboard.h"
#include "platform/archive/KeyedArchiver.h"
#include "tests/kit/Results.h"

namespace clipmule::kit {

template <typename T>
std::function<std::shared_ptr<Coding>()> make() {
    return [] { return std::make_shared<T>(); };
}

inline const CodingClasses classes{
    {QStringLiteral("ZRKClipmuleClipboard"), make<ZRKClipmuleClipboard>()},
    {QStringLiteral("ZRKClipmuleData"), make<ZRKClipmuleData>()},
    {QStringLiteral("ZRKClipmuleDataItem"), make<ZRKClipmuleDataItem>()}};

/// What comes back is kept by the store, where one is given.
template <typename T>
std::shared_ptr<T> archivedAndBack(const std::shared_ptr<T> &object,
                                   const std::shared_ptr<ClipboardStore> &store = nullptr) {
    const auto back = kit::valueOf(KeyedUnarchiver::unarchivedObject(
                                       KeyedArchiver::archivedData(object), classes))
                          .template objectOfClass<T>();
    back->setStore(store);
    return back;
}

} // namespace clipmule::kit
