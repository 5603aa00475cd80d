// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "preferences/SettingsStores.h"

#include "platform/foundation/PlatformException.h"
#include "platform/preferences/PreferencesDatabase.h"
#include "platform/propertylist/PropertyListSerialization.h"
#include "support/ApplicationDefaults.h"

namespace clipmule {

namespace {

// A file holds dates in whole seconds, and no lone surrogates.
std::optional<PropertyList> asFilesCarryIt(const PropertyList &value) {
    try {
        const auto read =
            PropertyListSerialization::parseXml(PropertyListSerialization::xml(value));
        return read ? std::optional(*read) : std::nullopt;
    } catch (const PlatformException &) {
        return std::nullopt;
    }
}

} // namespace

std::shared_ptr<ZRKUserDefaults>
SettingsStores::openPlain(const QString &identifier,
                          const ZRKUserDefaults::Environment &environment) {
    ZRKUserDefaults::Environment plain = environment;
    const Bundle none{QString()};
    plain.bundles =
        std::make_shared<ZRKUserDefaults::Bundles>(ZRKUserDefaults::Bundles{none, none, {}, {}});
    return ZRKUserDefaults::initWithIdentifier(identifier, plain);
}

std::optional<SettingsStores>
SettingsStores::open(const ZRKUserDefaults::Environment &environment) {
    ZRKUserDefaults::setEnvironment(environment);
    SettingsStores stores;
    stores.shared = ZRKUserDefaults::standardUserDefaults();
    if (!stores.shared)
        return std::nullopt;
    stores.agent = openPlain(ApplicationDefaults::identifier(), environment);
    stores.statistics = openPlain(statisticsIdentifier(), environment);
    stores.own = openPlain(ownIdentifier(), environment);
    for (const auto &store : {stores.shared, stores.agent, stores.statistics})
        store->listenForChanges();
    return stores;
}

void SettingsStores::reload() const {
    for (const auto &store : {shared, agent, statistics})
        store->reset();
}

bool isWritten(PreferencesDatabase &database, const QString &domain, const QString &key,
               const std::optional<PropertyList> &value) {
    const auto written = database.copyMultiple(domain);
    const PropertyList *const present = find(written, key);
    if (!present || !value)
        return !present && !value;
    return *present == *value || *present == asFilesCarryIt(*value);
}

} // namespace clipmule
