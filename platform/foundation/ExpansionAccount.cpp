// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/foundation/ExpansionAccount.h"

#include "platform/foundation/PlatformException.h"
#include "platform/foundation/PropertyListSerialization.h"

#include <algorithm>

namespace clipmule {

namespace {

[[noreturn]] void refuse(const QString &reason) {
    throw PlatformException(QStringLiteral("InvalidArchive"), reason);
}

} // namespace

ExpansionAccount::ExpansionAccount(qsizetype archiveSize, int maximumDepth)
    : _largestWeight(PropertyListSerialization::expandedValuesFloor +
                     PropertyListSerialization::expandedValuesPerByte * quint64(archiveSize))
    , _maximumDepth(maximumDepth) {}

void ExpansionAccount::begin(Measure &object) {
    if (_path.size() >= size_t(_maximumDepth))
        refuse(QStringLiteral("objects nested too deeply"));
    _path.push_back(&object);
}

void ExpansionAccount::addUnits(qsizetype units) {
    add(quint64(units));
}

void ExpansionAccount::addReference(const Measure &object) {
    if (_path.empty())
        return;
    add(object.weight);
    int &height = _path.back()->height;
    height = std::max(height, object.height + 1);
    if (height >= _maximumDepth)
        refuse(QStringLiteral("objects nested too deeply"));
}

void ExpansionAccount::add(quint64 weight) {
    quint64 &total = _path.back()->weight;
    total += weight;
    if (total > _largestWeight)
        refuse(QStringLiteral("shared objects expand to too many values"));
}

} // namespace clipmule
