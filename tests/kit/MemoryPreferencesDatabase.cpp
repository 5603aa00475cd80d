// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "tests/kit/MemoryPreferencesDatabase.h"

namespace clipmule::kit {

PropertyList::Dictionary MemoryPreferencesDatabase::copyMultiple(const QString &domain) {
    ++_readCount;
    return _domains.value(domain);
}

Result<void> MemoryPreferencesDatabase::setValue(const QString &domain, const QString &key,
                                                 const std::optional<PropertyList> &value) {
    if (!_failure.isEmpty())
        return failure(_failure);
    if (value)
        _domains[domain].insert(key, *value);
    else
        _domains[domain].remove(key);
    return {};
}

Result<void> MemoryPreferencesDatabase::synchronize(const QString &domain) {
    _synchronized.append(domain);
    return _failsToSynchronize ? failure(QStringLiteral("the disk is gone")) : Result<void>();
}

} // namespace clipmule::kit
