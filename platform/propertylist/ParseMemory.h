// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/foundation/PropertyList.h"

#include <map>

namespace clipmule {

/// Thrown by the readers of property lists, and caught where they are called.
struct Refused {
    QString reason;
};

[[noreturn]] inline void refuse(const QString &reason) {
    throw Refused{reason};
}

/// What the reading of a property list may still allocate. A few bytes of a hostile list can stand
/// for a value of some hundred; the readers spend here, before they allocate, what each value takes
/// on the heap at its worst moment.
class ParseMemory {
public:
    // These are in bytes, upper bounds of what the containers allocate.
    /// For each element of a list that is made at its final size.
    static constexpr quint64 element = sizeof(PropertyList);
    /// For each element of a list that grows: when it moves, it is there one and a half times
    /// again.
    static constexpr quint64 growingElement = 3 * element;
    /// For a node of a tree: key, value, links and the allocator's own.
    static constexpr quint64 entry =
        sizeof(std::pair<QString, PropertyList>) + 4 * sizeof(void *) + 16;
    /// For any list or dictionary, and the head of any text or data that is not empty.
    static constexpr quint64 head = 64;

    ParseMemory(qsizetype inputSize, quint64 perByte, quint64 floor)
        : _left(floor + perByte * quint64(inputSize)) {}

    // Each throws Refused when it is more than is left.
    void spend(quint64 bytes) {
        if (bytes > _left)
            refuse(QStringLiteral("too many values for the size"));
        _left -= bytes;
    }
    [[nodiscard]] bool hasForData(quint64 bytes) const {
        return bytes == 0 || head + bytes <= _left;
    }
    void spendText(quint64 units) { spendData(units * sizeof(char16_t)); }
    void spendData(quint64 bytes) {
        if (bytes > 0)
            spend(head + bytes);
    }

private:
    quint64 _left;
};

} // namespace clipmule
