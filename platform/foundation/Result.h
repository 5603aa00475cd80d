// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include <QString>

#include <tl/expected.hpp>

#include <utility>

namespace clipmule {

/// Why something at the program's border (a file, the wire, the bus, a command line) did not work.
struct Failure {
    /// A sentence for people, without the name of what failed; never empty.
    QString reason;

    bool operator==(const Failure &) const = default;
};

/// What a function at the program's border returns: the value, or why there is none.
template <typename Value>
using Result = tl::expected<Value, Failure>;

/// The unsuccessful Result of any kind: `return failure(tr("…"));`.
[[nodiscard]] inline tl::unexpected<Failure> failure(QString reason) {
    return tl::unexpected(Failure{std::move(reason)});
}

} // namespace clipmule
