// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/propertylist/PropertyListXmlDate.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstdio>

namespace clipmule {

namespace {

constexpr qint64 secondsPerDay = 86400;
constexpr qint64 daysPerEra = 146097; // 400 years

struct Day {
    qint64 year;
    qint64 month;
    qint64 day;
};

constexpr qint64 floorDivide(qint64 dividend, qint64 divisor) {
    return dividend / divisor - (dividend % divisor < 0 ? 1 : 0);
}

// Years begin in March here, so that the leap day is the last of its year.

/// Days from 0000-03-01; month from 1 to 12.
constexpr qint64 dayNumber(const Day &date) {
    const qint64 year = date.month > 2 ? date.year : date.year - 1;
    const qint64 month = (date.month + 9) % 12; // from March
    const qint64 era = floorDivide(year, 400);
    const qint64 yearOfEra = year - era * 400;
    const qint64 dayOfYear = (153 * month + 2) / 5 + date.day - 1;
    return era * daysPerEra + yearOfEra * 365 + yearOfEra / 4 - yearOfEra / 100 + dayOfYear;
}

constexpr Day dayOfNumber(qint64 number) {
    const qint64 era = floorDivide(number, daysPerEra);
    const qint64 dayOfEra = number - era * daysPerEra;
    const qint64 yearOfEra =
        (dayOfEra - dayOfEra / 1460 + dayOfEra / 36524 - dayOfEra / (daysPerEra - 1)) / 365;
    const qint64 dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
    const qint64 month = (5 * dayOfYear + 2) / 153; // from March
    return {era * 400 + yearOfEra + (month >= 10 ? 1 : 0), month < 10 ? month + 3 : month - 9,
            dayOfYear - (153 * month + 2) / 5 + 1};
}

constexpr qint64 referenceDay = dayNumber({2001, 1, 1});
static_assert(dayOfNumber(referenceDay).year == 2001 && dayOfNumber(referenceDay).day == 1);

constexpr double earliest =
    double((dayNumber({-outermostXmlYear, 1, 1}) - referenceDay) * secondsPerDay);
constexpr double latest =
    double((dayNumber({outermostXmlYear + 1, 1, 1}) - referenceDay) * secondsPerDay - 1);

bool isDigit(char character) {
    return character >= '0' && character <= '9';
}

} // namespace

std::optional<Date> dateFromXml(QByteArrayView text) {
    const bool isNegative = text.startsWith('-');
    if (isNegative)
        text = text.sliced(1);
    const auto yearEnd = std::find_if_not(text.begin(), text.end(), isDigit);
    qint64 year = 0;
    const auto read = std::from_chars(text.begin(), yearEnd, year);
    if (read.ec != std::errc() || year > outermostXmlYear)
        return std::nullopt;

    const QByteArrayView rest = text.sliced(yearEnd - text.begin());
    constexpr QByteArrayView form = "-00-00T00:00:00Z";
    if (rest.size() != form.size())
        return std::nullopt;
    std::array<qint64, 5> fields{};
    size_t field = 0;
    for (qsizetype at = 0; at < form.size(); ++at) {
        if (form[at] != '0') {
            if (rest[at] != form[at])
                return std::nullopt;
            continue;
        }
        if (!isDigit(rest[at]) || !isDigit(rest[at + 1]))
            return std::nullopt;
        fields[field++] = (rest[at] - '0') * 10 + (rest[at + 1] - '0');
        ++at;
    }
    const auto [month, day, hour, minute, second] = fields;

    // Month 13 is January of the next year, month 0 December of the one before.
    const qint64 carriedYears = floorDivide(month - 1, 12);
    const Day first{(isNegative ? -year : year) + carriedYears, month - carriedYears * 12, 1};
    const qint64 days = dayNumber(first) + day - 1 - referenceDay;
    const auto seconds = double(((days * 24 + hour) * 60 + minute) * 60 + second);
    if (seconds < earliest || seconds > latest)
        return std::nullopt;
    return Date{seconds};
}

QByteArray xmlFromDate(Date date) {
    const double bounded = std::isnan(date.secondsSinceReference)
                               ? 0
                               : std::clamp(date.secondsSinceReference, earliest, latest);
    const qint64 seconds = qint64(std::floor(bounded));
    const qint64 days = floorDivide(seconds, secondsPerDay);
    const qint64 secondOfDay = seconds - days * secondsPerDay;
    const Day day = dayOfNumber(days + referenceDay);

    std::array<char, 40> text{};
    const int size = std::snprintf(
        text.data(), text.size(), "%04lld-%02lld-%02lldT%02lld:%02lld:%02lldZ", (long long)day.year,
        (long long)day.month, (long long)day.day, (long long)(secondOfDay / 3600),
        (long long)(secondOfDay / 60 % 60), (long long)(secondOfDay % 60));
    return QByteArray(text.data(), size);
}

} // namespace clipmule
