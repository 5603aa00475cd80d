// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "Common/Categories/ZRKNSCollectionCategories.h"

namespace clipmule::ZRKNSArrayCategory {

size_t deepHash(const PropertyList::List &list) {
    size_t sum = 0;
    for (const PropertyList &element : list)
        sum += ZRKNSDictionaryCategory::deepHashOfValue(element);
    return sum;
}

} // namespace clipmule::ZRKNSArrayCategory

namespace clipmule::ZRKNSDictionaryCategory {

size_t deepHash(const PropertyList::Dictionary &dictionary) {
    size_t sum = 0;
    for (const auto &[key, value] : dictionary.asKeyValueRange())
        sum += PropertyList(key).hash() + deepHashOfValue(value);
    return sum;
}

size_t deepHashOfValue(const PropertyList &value) {
    if (const auto *list = value.as<PropertyList::List>())
        return ZRKNSArrayCategory::deepHash(*list);
    if (const auto *dictionary = value.as<PropertyList::Dictionary>())
        return deepHash(*dictionary);
    return value.hash();
}

} // namespace clipmule::ZRKNSDictionaryCategory
