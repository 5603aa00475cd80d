// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/foundation/PlatformException.h"
#include "platform/propertylist/PropertyListSerialization.h"

#include <algorithm>
#include <vector>

namespace clipmule {

/// Raises the exception of everything that reads archives, which does not leave this room.
[[noreturn]] inline void refuseArchive(const QString &reason) {
    throw PlatformException(QStringLiteral("InvalidArchive"), reason);
}

/// What a reader of archives answers: the value, or the reason of what was raised while it was
/// read, here or by an object that was to take its values.
template <typename Read>
[[nodiscard]] auto resultOfReading(Read read) -> Result<decltype(read())> {
    try {
        return read();
    } catch (const PlatformException &exception) {
        return failure(exception.reason());
    }
}

/// Measures what the objects of an archive would be as a tree. An archive stores an object once,
/// however often it is referred to; comparing, hashing or destroying what was decoded follows every
/// reference. The limit is that of PropertyListSerialization, and one for the depth.
///
/// A text or a block of bytes counts as one object, whatever its length: all who refer to it share
/// it in memory, too, and a history in which one long text stands in every clip is an ordinary one.
class ExpansionAccount {
public:
    /// The measure of one object, to be kept as long as the object may be referred to.
    struct Measure {
        /// Objects that a walk meets.
        quint64 weight = 1;
        /// Levels below this one.
        int height = 0;
    };

    ExpansionAccount(qsizetype archiveSize, int maximumDepth)
        : _largestWeight(largestWeight(archiveSize))
        , _maximumDepth(maximumDepth) {}
    /// The largest weight, in objects, that an archive of so many bytes may have.
    [[nodiscard]] static quint64 largestWeight(qsizetype archiveSize) {
        return PropertyListSerialization::expandedValuesFloor +
               PropertyListSerialization::expandedValuesPerByte * quint64(archiveSize);
    }

    // Raise a PlatformException named "InvalidArchive" when a limit is passed.
    /// The object's contents follow, until the matching end().
    void begin(Measure &object) {
        refuseAbove(int(_path.size()) + 1);
        _path.push_back(&object);
    }
    void end() { _path.pop_back(); }
    /// The object that was begun last refers to this one. Does nothing outside of any object.
    void addReference(const Measure &object) {
        if (_path.empty())
            return;
        Measure &holder = *_path.back();
        holder.weight += object.weight;
        if (holder.weight > _largestWeight)
            refuseArchive(QStringLiteral("shared objects expand to too many values"));
        holder.height = std::max(holder.height, object.height + 1);
        refuseAbove(holder.height + 1);
    }

private:
    void refuseAbove(int depth) const {
        if (depth > _maximumDepth)
            refuseArchive(QStringLiteral("objects nested too deeply"));
    }

    quint64 _largestWeight;
    int _maximumDepth;
    /// The objects that were begun, the innermost last.
    std::vector<Measure *> _path;
};

} // namespace clipmule
