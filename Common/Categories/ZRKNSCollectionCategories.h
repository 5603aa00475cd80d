// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/foundation/PropertyList.h"

#include <QList>

#include <algorithm>
#include <concepts>
#include <memory>
#include <optional>

namespace clipmule {

/// What the platform's dictionaries can do beyond their own.
namespace ZRKNSDictionaryCategory {

/// Sum over the entries of the key's hash and the value's deep hash where it has one (lists and
/// dictionaries), else its hash. It wraps, and it does not depend on the order. 0 when empty.
[[nodiscard]] size_t deepHash(const PropertyList::Dictionary &dictionary);

/// The deep hash of a list or dictionary, the hash of any other value.
[[nodiscard]] size_t deepHashOfValue(const PropertyList &value);

} // namespace ZRKNSDictionaryCategory

/// What the platform's lists can do beyond their own.
namespace ZRKNSArrayCategory {

/// Sum of the elements' deep hashes where they have one (lists and dictionaries), else of their
/// hashes. It wraps, and it does not depend on the order. 0 for an empty list.
[[nodiscard]] size_t deepHash(const PropertyList::List &list);

/// The same for objects, which have a hash only. None of the pointers is null.
template <typename Element>
requires requires(const Element &element) {
    { element.hash() } -> std::convertible_to<size_t>;
}
[[nodiscard]] size_t deepHash(const QList<std::shared_ptr<Element>> &list) {
    size_t sum = 0;
    for (const auto &element : list)
        sum += element->hash();
    return sum;
}

template <typename Element>
[[nodiscard]] QList<Element> reversedArray(const QList<Element> &list) {
    return QList<Element>(list.crbegin(), list.crend());
}

/// The first element; nothing when the list is empty.
template <typename Element>
[[nodiscard]] std::optional<Element> firstObject(const QList<Element> &list) {
    if (list.isEmpty())
        return std::nullopt;
    return list.first();
}

template <typename Element>
void reverseArray(QList<Element> &list) {
    std::reverse(list.begin(), list.end());
}

} // namespace ZRKNSArrayCategory

} // namespace clipmule
