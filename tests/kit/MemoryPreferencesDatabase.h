// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/preferences/PreferencesDatabase.h"

#include <QStringList>

namespace clipmule::kit {

/// Preferences that last as long as this object. Two stores on one object see each other's values
/// as two processes do.
class MemoryPreferencesDatabase final : public PreferencesDatabase {
public:
    [[nodiscard]] PropertyList::Dictionary copyMultiple(const QString &domain) override;
    Result<void> setValue(const QString &domain, const QString &key,
                          const std::optional<PropertyList> &value) override;
    Result<void> synchronize(const QString &domain) override;

    /// The domains synchronised so far, in order.
    [[nodiscard]] const QStringList &synchronized() const { return _synchronized; }
    void forgetSynchronized() { _synchronized.clear(); }
    /// Makes the synchronisations to come fail.
    void setFailsToSynchronize(bool fails) { _failsToSynchronize = fails; }
    /// Makes the writes to come change nothing, for this reason; with an empty one they succeed
    /// again.
    void setFailsToWrite(const QString &reason) { _failure = reason; }
    /// How often a domain was read as a whole.
    [[nodiscard]] int readCount() const { return _readCount; }

private:
    QMap<QString, PropertyList::Dictionary> _domains;
    QStringList _synchronized;
    QString _failure;
    int _readCount = 0;
    bool _failsToSynchronize = false;
};

} // namespace clipmule::kit
