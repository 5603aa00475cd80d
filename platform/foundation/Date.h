// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include <QDateTime>

#include <compare>

namespace clipmule {

/// A point in time as property lists and archives carry it: seconds from 2001-01-01T00:00:00Z,
/// with a fraction. Wider and finer than QDateTime, which is for showing it to people.
struct Date {
    /// 2001-01-01T00:00:00Z in seconds of the Unix clock.
    static constexpr double unixTimeOfReference = 978307200.0;

    double secondsSinceReference = 0;

    /// The wall clock of the current run loop (RunLoop::current()).
    [[nodiscard]] static Date now();
    /// The date in UTC, cut to milliseconds; invalid outside QDateTime's range.
    [[nodiscard]] QDateTime toDateTime() const;

    friend bool operator==(const Date &, const Date &) = default;
    // NOLINTNEXTLINE(modernize-use-nullptr): means what the compiler makes of it.
    friend auto operator<=>(const Date &, const Date &) = default;
};

} // namespace clipmule
