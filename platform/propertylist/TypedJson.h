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

/// What may be written out as JSON. A small foreign file may refer to one long text, or to one
/// list, from many places; as JSON each of them is there in full, and each value takes some three
/// hundred bytes of memory until it is printed.
class JsonBudget final {
public:
    /// Values that are shown at once: some 600 MB of memory. A clip of ten thousand items, whole,
    /// has a hundred thousand.
    static constexpr qint64 mostValues = qint64(1) << 21;
    /// UTF-16 units that may be shown beyond what the input itself holds: a history in which one
    /// long text stands in every clip is shown as well.
    static constexpr qint64 mostSharedUnits = qint64(32) << 20;

    /// `units` are UTF-16 units of texts and hexadecimal digits of bytes, in all.
    explicit JsonBudget(qint64 units, qint64 values = mostValues)
        : _units(units)
        , _values(values) {}
    /// For an input of so many bytes: base64 and hexadecimal digits take the most room.
    [[nodiscard]] static JsonBudget forInput(qint64 bytes) {
        return JsonBudget(mostSharedUnits + 4 * bytes);
    }

    // Both raise a PlatformException named "TooLarge" once the budget is used up.
    void take(qint64 units);
    /// Takes what the value needs with everything in it, each time that it is met.
    void take(const PropertyList &value);

private:
    qint64 _units;
    qint64 _values;
};

} // namespace clipmule
