// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/foundation/Result.h"

#include <stdexcept>

namespace clipmule::kit {

/// Why there is no value; empty where there is one.
template <typename Value>
[[nodiscard]] QString reasonOf(const Result<Value> &result) {
    return result ? QString() : result.error().reason;
}

/// Raised by valueOf().
struct NoValue final : std::runtime_error {
    explicit NoValue(const QString &why)
        : std::runtime_error(why.toStdString())
        , reason(why) {}
    QString reason;
};

/// The value. Where there is none a test that does not expect that ends here, with the reason.
template <typename Value>
[[nodiscard]] Value valueOf(Result<Value> result) {
    if (!result)
        throw NoValue(result.error().reason);
    return *std::move(result);
}

} // namespace clipmule::kit
