// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "preferences/SyncSettings.h"

#include "platform/preferences/PreferencesDatabase.h"
#include "support/Settings.h"

namespace clipmule {

namespace {

using Settings::Key;

Key keyOf(SyncSettings::Switch which) {
    switch (which) {
    case SyncSettings::Switch::SyncEnabled:
        return Key::SyncEnabled;
    case SyncSettings::Switch::ShowStatusItem:
        return Key::ShowStatus;
    case SyncSettings::Switch::AutomaticUpdates:
        break;
    }
    return Key::AutoUpdateEnabled;
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
    return Settings::truth(which == Switch::SyncEnabled ? *_stores.agent : *_stores.shared,
                           keyOf(which));
}

bool SyncSettings::set(Switch which, bool on) {
    return write(which == Switch::SyncEnabled ? _stores.agent : _stores.shared,
                 Settings::nameOf(keyOf(which)), PropertyList(on));
}

PasteMode SyncSettings::pasteMode() const {
    return Settings::pasteMode(*_stores.shared);
}

bool SyncSettings::setPasteMode(PasteMode mode) {
    return write(_stores.shared, Settings::nameOf(Key::PasteMode),
                 PropertyList(Settings::wordFor(mode)));
}

bool SyncSettings::write(const std::shared_ptr<ZRKUserDefaults> &store, const QString &key,
                         const PropertyList &value) {
    store->setObjectForKey(value, key);
    if (isWritten(_database, store->identifier(), key, value))
        return true;
    _failure = _database.failure();
    store->reset();
    settingsDidChange();
    return false;
}

SyncSettings::Statistics SyncSettings::statistics() const {
    return {.bytesSent = Settings::count(*_stores.statistics, Key::DataSent),
            .bytesReceived = Settings::count(*_stores.statistics, Key::DataReceived),
            .textItems = Settings::count32(*_stores.statistics, Key::TextItems),
            .imageItems = Settings::count32(*_stores.statistics, Key::ImageItems)};
}

} // namespace clipmule
