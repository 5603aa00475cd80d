// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/foundation/PropertyList.h"

#include <QJsonObject>

namespace clipmule {

// A property list as JSON that loses nothing: each value is an object with one entry, named after
// its kind. For people and scripts that look at what travels, and for tests.
//
//   {"string": "text"}  {"bool": true}  {"integer": "-1"}  {"real": "0.10000000000000001"}
//   {"date": "400000000.5"} (seconds from 2001-01-01T00:00:00Z)  {"data": "00ff"} (hexadecimal)
//   {"array": [value, …]}  {"dict": [[key, value], …]} (sorted by key)  {"uid": 7}
//
// Numbers are texts because JSON readers round; infinite reals are "inf" and "-inf", others "nan".

[[nodiscard]] QJsonObject typedJson(const PropertyList &value);

/// Nothing when the JSON is not of this form, or nested deeper than
/// PropertyListSerialization::maximumDepth.
[[nodiscard]] std::optional<PropertyList> propertyListFromTypedJson(const QJsonValue &json);

} // namespace clipmule
