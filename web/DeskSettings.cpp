// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "web/DeskSettings.h"

#include "platform/foundation/LocalNames.h"
#include "support/RegisteredPhones.h"

namespace clipmule {

Result<void> DeskSettings::pair(const QString &service, const QString &name) {
    return _settings ? RegisteredPhones::change(*_settings, LocalNames::serviceNamed(service),
                                                {.name = name})
                     : Result<void>();
}

Result<void> DeskSettings::rename(const QString &service, const QString &name) {
    const bool isPaired =
        _settings && RegisteredPhones::phone(_settings->value(Settings::Key::ServerServices),
                                             LocalNames::serviceNamed(service));
    return isPaired ? pair(service, name) : Result<void>();
}

Result<void> DeskSettings::unpair(const QString &service) {
    return _settings ? RegisteredPhones::remove(*_settings, LocalNames::serviceNamed(service))
                     : Result<void>();
}

bool DeskSettings::isSyncOn() const {
    return !_settings || _settings->isOn(Settings::Key::SyncEnabled);
}

} // namespace clipmule
