// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "support/ApplicationDefaults.h"

namespace clipmule {

ApplicationDefaults::ApplicationDefaults(ZRKUserDefaults::Environment environment)
    : _environment(std::move(environment)) {}

ApplicationDefaults::~ApplicationDefaults() {
    _center->removeObserver(this);
}

void ApplicationDefaults::start() {
    if (_store)
        return;
    ZRKUserDefaults::Environment own = _environment;
    own.localCenter = _center.get();
    // The "Defaults" files of the bundles belong to the shared domain.
    const Bundle none{QString()};
    own.bundles =
        std::make_shared<ZRKUserDefaults::Bundles>(ZRKUserDefaults::Bundles{none, none, {}, {}});
    _center->addObserver(this, selector<&ApplicationDefaults::valueDidChange>("valueDidChange"),
                         ZRKUserDefaultsDidChangeNotification);
    _store = ZRKUserDefaults::initWithIdentifier(identifier(), own);
    _store->listenForChanges();
}

void ApplicationDefaults::reset() {
    if (_store)
        _store->reset();
}

std::optional<PropertyList> ApplicationDefaults::objectForKey(const QString &key) const {
    return _store ? _store->objectForKey(key) : std::nullopt;
}

bool ApplicationDefaults::boolForKey(const QString &key) const {
    return _store && _store->boolForKey(key);
}

void ApplicationDefaults::setObjectForKey(const std::optional<PropertyList> &value,
                                          const QString &key) {
    if (_store)
        _store->setObjectForKey(value, key);
}

void ApplicationDefaults::setBoolForKey(bool value, const QString &key) {
    setObjectForKey(std::optional<PropertyList>(std::in_place, value), key);
}

void ApplicationDefaults::removeObjectForKey(const QString &key) {
    setObjectForKey(std::nullopt, key);
}

bool ApplicationDefaults::synchronize() {
    return _store && _store->synchronize();
}

void ApplicationDefaults::valueDidChange() {
    ZRKNotificationCenter &center = _environment.localCenter
                                        ? *_environment.localCenter
                                        : ZRKNotificationCenter::platformDefault();
    center.postNotificationName(NSUserDefaultsDidChangeNotification, unowned(this));
}

} // namespace clipmule
