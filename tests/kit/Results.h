// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/foundation/Result.h"

namespace clipmule::kit {

/// Why there is no value; empty where there is one.
template <typename Value>
[[nodiscard]] QString reasonOf(const Result<Value> &result) {
    return result ? QString() : result.error().reason;
}

} // namespace clipmule::kit
