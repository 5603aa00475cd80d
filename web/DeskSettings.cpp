// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "web/DeskSettings.h"

#include "platform/foundation/LocalNames.h"
#include "support/RegisteredPhones.h"

namespace clipmule {

namespace {

constexpr auto phonesKey = Settings::Key::ServerServices;

} // namespace

Result<void> DeskSettings::pair(const QString &service, const QString &name) {
    if (!_settings)
        return {};
    const auto stored = _settings->value(phonesKey);
    if (!RegisteredPhones::isList(stored))
        return failure(QStringLiteral("the stored list of phones is damaged"));
    return _settings->set(
        phonesKey,
        RegisteredPhones::changed(stored, LocalNames::serviceNamed(service), {.name = name}));
}

Result<void> DeskSettings::unpair(const QString &service) {
    if (!_settings)
        return {};
    const auto stored = _settings->value(phonesKey);
    const QString local = LocalNames::serviceNamed(service);
    if (!RegisteredPhones::phone(stored, local))
        return {};
    return _settings->set(phonesKey, RegisteredPhones::removed(stored, local));
}

bool DeskSettings::isSyncOn() const {
    return !_settings || _settings->isOn(Settings::Key::SyncEnabled);
}

} // namespace clipmule
