// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "preferences/SyncSettings.h"

namespace clipmule {

namespace {

QString keyOf(SyncSettings::Switch which) {
    switch (which) {
    case SyncSettings::Switch::SyncEnabled:
        return QStringLiteral("syncEnabled");
    case SyncSettings::Switch::ShowStatusItem:
        return QStringLiteral("showStatus");
    case SyncSettings::Switch::AutomaticUpdates:
        break;
    }
    return QStringLiteral("autoUpdateEnabled");
}

quint64 counter(const ZRKUserDefaults &store, const QString &key) {
    const auto value = store.objectForKey(key);
    return value && value->isNumber() ? value->unsignedValue() : 0;
}

} // namespace

SyncSettings::SyncSettings(PreferencesDatabase &database, SettingsStores stores)
    : _database(database)
    , _stores(std::move(stores)) {}

SyncSettings::~SyncSettings() {
    ZRKNotificationCenter::platformDefault().removeObserver(this);
}

void SyncSettings::start() {
    ZRKNotificationCenter::platformDefault().addObserver(
        this, selector<&SyncSettings::settingsDidChange>("settingsDidChange"),
        ZRKUserDefaultsDidChangeNotification);
}

void SyncSettings::settingsDidChange() {
    if (_change.isPending())
        return;
    _change = RunLoop::current().performAfter(RunLoop::Seconds(0), [this] {
        if (const auto tell = onChange)
            tell();
    });
}

bool SyncSettings::isOn(Switch which) const {
    const QString key = keyOf(which);
    // The agent syncs until it is told not to.
    if (which == Switch::SyncEnabled)
        return !_stores.agent->objectForKey(key) || _stores.agent->boolForKey(key);
    return _stores.shared->boolForKey(key);
}

bool SyncSettings::set(Switch which, bool on) {
    const auto &store = which == Switch::SyncEnabled ? _stores.agent : _stores.shared;
    store->setBoolForKey(on, keyOf(which));
    if (isWritten(_database, store->identifier(), keyOf(which), PropertyList(on)))
        return true;
    store->reset();
    settingsDidChange();
    return false;
}

SyncSettings::Statistics SyncSettings::statistics() const {
    return {.bytesSent = counter(*_stores.statistics, QStringLiteral("dataSent")),
            .bytesReceived = counter(*_stores.statistics, QStringLiteral("dataReceived")),
            .textItems = _stores.statistics->integerForKey(QStringLiteral("textItems")),
            .imageItems = _stores.statistics->integerForKey(QStringLiteral("imageItems"))};
}

} // namespace clipmule
