// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/foundation/Date.h"

#include <QByteArrayView>

#include <optional>

namespace clipmule {

// Dates as XML property lists carry them: "2013-09-04T15:06:40Z", always UTC, whole seconds, in the
// Gregorian calendar without a beginning or an end; a year before 0000 has a minus sign.

/// Years beyond are refused when read and written as this one: within, a double holds every second.
constexpr qint64 outermostXmlYear = 99'999'999;

/// Refused when it is not exactly of this form. The fields are not held to their ranges: the 32nd
/// of January is the first of February.
[[nodiscard]] std::optional<Date> dateFromXml(QByteArrayView text);

/// The fraction is dropped towards the past; not a number counts as 2001-01-01.
[[nodiscard]] QByteArray xmlFromDate(Date date);

} // namespace clipmule
