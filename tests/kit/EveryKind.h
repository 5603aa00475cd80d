// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/foundation/PropertyList.h"

#include <limits>

namespace clipmule::kit {

/// One value of every kind that a property list knows, and those at the ends of each: what a file,
/// the bus or a command line may hold where something else is expected.
struct NamedValue {
    const char *name;
    PropertyList value;
};

inline QList<NamedValue> everyKind() {
    using List = PropertyList::List;
    using Dictionary = PropertyList::Dictionary;
    constexpr double infinity = std::numeric_limits<double>::infinity();
    return {
        {"true", true},
        {"false", false},
        {"zero", 0},
        {"one", 1},
        {"negative", -5},
        {"smallest integer", std::numeric_limits<qint64>::min()},
        {"largest integer", std::numeric_limits<qint64>::max()},
        {"largest unsigned", std::numeric_limits<quint64>::max()},
        {"real", 1.5},
        {"negative real", -0.5},
        {"huge real", 1e300},
        {"infinity", infinity},
        {"negative infinity", -infinity},
        {"no number", std::numeric_limits<double>::quiet_NaN()},
        {"empty text", QString()},
        {"text", QStringLiteral("maybe")},
        {"text of digits", QStringLiteral("12 apples")},
        {"text of yes", QStringLiteral("YES")},
        {"text of no", QStringLiteral("NO")},
        {"lone surrogate", QString(QChar(0xd800))},
        {"empty data", QByteArray()},
        {"data", QByteArray("\x01\x00\xff", 3)},
        {"date", Date{1.0}},
        {"endless date", Date{infinity}},
        {"empty list", List()},
        {"list", List{7, QStringLiteral("text"), List(), Dictionary()}},
        {"empty dictionary", Dictionary()},
        {"dictionary", Dictionary{{QStringLiteral("serverService"), 7}}},
        {"list of broken phones", List{Dictionary{{QStringLiteral("serverService"), List()}},
                                       Dictionary{{QStringLiteral("serverName"), Dictionary()},
                                                  {QStringLiteral("pasteMode"), 3},
                                                  {QStringLiteral("address"), false}}}},
        {"reference", PropertyList::Uid{3}},
    };
}

} // namespace clipmule::kit
