// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/foundation/PropertyList.h"

namespace clipmule {

/// What the platform's dictionaries can do beyond their own.
namespace ZRKNSDictionaryCategory {

/// Sum over the entries of the key's hash and the value's deep hash where it has one (lists and
/// dictionaries), else its hash. It wraps, and it does not depend on the order. 0 when empty.
[[nodiscard]] size_t deepHash(const PropertyList::Dictionary &dictionary);

/// The deep hash of a list or dictionary, the hash of any other value.
[[nodiscard]] size_t deepHashOfValue(const PropertyList &value);

} // namespace ZRKNSDictionaryCategory

} // namespace clipmule
