// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "tests/kit/MemoryPreferencesDatabase.h"

namespace clipmule {

PropertyList::Dictionary MemoryPreferencesDatabase::copyMultiple(const QString &domain) {
    ++_readCount;
    return _domains.value(domain);
}

void MemoryPreferencesDatabase::setValue(const QString &domain, const QString &key,
                                         const std::optional<PropertyList> &value) {
    if (!_failure.isEmpty())
        return;
    if (value)
        _domains[domain].insert(key, *value);
    else
        _domains[domain].remove(key);
}

bool MemoryPreferencesDatabase::synchronize(const QString &domain) {
    _synchronized.append(domain);
    return !_failsToSynchronize;
}

} // namespace clipmule
