// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include <QtGlobal>

#include <vector>

namespace clipmule {

/// Measures what the objects of an archive would be as a tree. An archive stores an object once,
/// however often it is referred to; comparing, hashing or destroying what was decoded follows every
/// reference. The limit is that of PropertyListSerialization, and one for the depth.
class ExpansionAccount {
public:
    /// Of one object, to be kept as long as the object may be referred to.
    struct Measure {
        /// Objects, units of strings and bytes that a walk meets.
        quint64 weight = 1;
        /// Levels below this one.
        int height = 0;
    };

    ExpansionAccount(qsizetype archiveSize, int maximumDepth);

    // Raise a PlatformException named "InvalidArchive" when a limit is passed.
    /// The object's contents follow, until the matching end().
    void begin(Measure &object);
    void end() { _path.pop_back(); }
    /// The object that was begun last has so many units or bytes.
    void addUnits(qsizetype units);
    /// The object that was begun last refers to this one. Nothing outside of any object.
    void addReference(const Measure &object);

private:
    void add(quint64 weight);

    quint64 _largestWeight;
    int _maximumDepth;
    /// The objects that were begun, the innermost last.
    std::vector<Measure *> _path;
};

} // namespace clipmule
