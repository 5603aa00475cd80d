// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "Common/Categories/ZRKNSArrayCategory.h"

#include "Common/Categories/ZRKNSDictionaryCategory.h"

namespace clipmule::ZRKNSArrayCategory {

size_t deepHash(const PropertyList::List &list) {
    size_t sum = 0;
    for (const PropertyList &element : list)
        sum += ZRKNSDictionaryCategory::deepHashOfValue(element);
    return sum;
}

} // namespace clipmule::ZRKNSArrayCategory
