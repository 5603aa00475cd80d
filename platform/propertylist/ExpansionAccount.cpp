// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/propertylist/ExpansionAccount.h"

#include "platform/foundation/PlatformException.h"
#include "platform/propertylist/PropertyListSerialization.h"

#include <algorithm>

namespace clipmule {

namespace {

[[noreturn]] void refuse(const QString &reason) {
    throw PlatformException(QStringLiteral("InvalidArchive"), reason);
}

} // namespace

ExpansionAccount::ExpansionAccount(qsizetype archiveSize, int maximumDepth)
    : _largestWeight(largestWeight(archiveSize))
    , _maximumDepth(maximumDepth) {}

quint64 ExpansionAccount::largestWeight(qsizetype archiveSize) {
    return PropertyListSerialization::expandedValuesFloor +
           PropertyListSerialization::expandedValuesPerByte * quint64(archiveSize);
}

void ExpansionAccount::begin(Measure &object) {
    if (_path.size() >= size_t(_maximumDepth))
        refuse(QStringLiteral("objects nested too deeply"));
    _path.push_back(&object);
}

void ExpansionAccount::addReference(const Measure &object) {
    if (_path.empty())
        return;
    quint64 &total = _path.back()->weight;
    total += object.weight;
    if (total > _largestWeight)
        refuse(QStringLiteral("shared objects expand to too many values"));
    int &height = _path.back()->height;
    height = std::max(height, object.height + 1);
    if (height >= _maximumDepth)
        refuse(QStringLiteral("objects nested too deeply"));
}

} // namespace clipmule
