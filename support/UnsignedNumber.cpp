// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "support/UnsignedNumber.h"

namespace clipmule {

bool UnsignedNumber::isEqual(const Object &other) const {
    const auto *number = dynamic_cast<const UnsignedNumber *>(&other);
    return number && number->_value == _value;
}

} // namespace clipmule
