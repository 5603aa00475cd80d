// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/foundation/Date.h"

#include "platform/foundation/RunLoop.h"

#include <QTimeZone>

#include <cmath>
#include <limits>

namespace clipmule {

Date Date::now() {
    return RunLoop::current().wallClock();
}

QDateTime Date::toDateTime() const {
    const double milliseconds = std::floor((secondsSinceReference + unixTimeOfReference) * 1000.0);
    // QDateTime cannot hold the outermost values of its own millisecond count.
    constexpr double limit = double(std::numeric_limits<qint64>::max()) / 2;
    if (!(std::abs(milliseconds) < limit))
        return {};
    // Converted once more: a zone that happens to be UTC prints as "+00:00", UTC itself as "Z".
    return QDateTime::fromMSecsSinceEpoch(qint64(milliseconds), QTimeZone::utc()).toUTC();
}

} // namespace clipmule
