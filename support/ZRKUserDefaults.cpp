// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "support/ZRKUserDefaults.h"

#include "platform/foundation/Log.h"
#include "platform/foundation/PlatformException.h"
#include "platform/preferences/PreferencesDatabase.h"
#include "support/ZRKNotificationCenter.h"

#include <QFileInfo>
#include <QUuid>

#include <algorithm>
#include <cmath>
#include <limits>
#include <tuple>

namespace clipmule {

namespace {

const QString sharedIdentifierKey = QStringLiteral("ZendrikSharedPreferencesIdentifier");
const QString gUserDefaultsKey = QStringLiteral("gUserDefaultsKey");
const QString gUserDefaultsValue = QStringLiteral("gUserDefaultsValue");
const QString gUUIDDefaultsKey = QStringLiteral("gUUIDDefaultsKey");

struct Shared {
    ZRKUserDefaults::Environment environment;
    QString standardIdentifier;
    QMap<QString, std::shared_ptr<ZRKUserDefaults>> stores;
};

Shared &shared() {
    // Made first, so that it is there until the last store has left it.
    [[maybe_unused]] static const auto &center = ZRKNotificationCenter::platformDefault();
    static Shared instance;
    return instance;
}

float component(const PropertyList &value) {
    const auto number = float(value.doubleValue(0));
    return std::isnan(number) ? 0 : std::clamp(number, 0.0F, 1.0F);
}

// A damaged archive is no value.
template <typename Value>
std::optional<Value> valueOf(const Result<Value> &unarchived) {
    return unarchived ? std::optional(*unarchived) : std::nullopt;
}

} // namespace

void ZRKUserDefaults::setEnvironment(Environment environment) {
    // Moved out first: the stores leave the previous environment's services while they go.
    const auto dropped = std::exchange(shared().stores, {});
    shared().environment = std::move(environment);
    shared().standardIdentifier.clear();
}

std::shared_ptr<ZRKUserDefaults> ZRKUserDefaults::standardUserDefaults() {
    QString &identifier = shared().standardIdentifier;
    if (identifier.isEmpty()) {
        if (const auto &bundles = shared().environment.bundles)
            identifier = findSharedIdentifier(*bundles);
        else
            identifier = findSharedIdentifier({Bundle::mainBundle(), Bundle::mainBundle(),
                                               Bundle::allBundles(), Bundle::allFrameworks()});
    }
    return standardUserDefaultsForIdentifier(identifier);
}

std::shared_ptr<ZRKUserDefaults>
ZRKUserDefaults::standardUserDefaultsForIdentifier(const QString &identifier) {
    if (identifier.isEmpty())
        return nullptr;
    auto &store = shared().stores[identifier];
    if (!store)
        store = initWithIdentifier(identifier);
    return store;
}

std::shared_ptr<ZRKUserDefaults> ZRKUserDefaults::initWithIdentifier(const QString &identifier) {
    return initWithIdentifier(identifier, shared().environment);
}

std::shared_ptr<ZRKUserDefaults>
ZRKUserDefaults::initWithIdentifier(const QString &identifier, const Environment &environment) {
    auto store = std::make_shared<ZRKUserDefaults>(Key{}, identifier, environment);
    store->reset();
    ZRKNotificationCenter::platformDefault().addObserver(
        store.get(), selector<&ZRKUserDefaults::_synchronizeIfNeeded>("_synchronizeIfNeeded"),
        NSApplicationWillTerminateNotification, environment.application);
    return store;
}

std::shared_ptr<ZRKUserDefaults> ZRKUserDefaults::initWithoutFallbacks(const QString &identifier,
                                                                       Environment environment) {
    const Bundle none{QString()};
    environment.bundles = std::make_shared<Bundles>(Bundles{none, none, {}, {}});
    return initWithIdentifier(identifier, environment);
}

ZRKUserDefaults::ZRKUserDefaults(Key, QString identifier, Environment environment)
    : _uuid(QUuid::createUuid().toString(QUuid::WithoutBraces).toUpper())
    , _identifier(std::move(identifier))
    , _environment(std::move(environment)) {}

ZRKUserDefaults::~ZRKUserDefaults() {
    ZRKNotificationCenter::platformDefault().removeObserver(this);
    stopListening();
}

QString ZRKUserDefaults::findSharedIdentifier(const Bundles &bundles) {
    QList<Bundle> candidates{bundles.containingClass, _mainBundle(bundles)};
    candidates += bundles.all + bundles.frameworks;
    for (const Bundle &bundle : candidates) {
        QString identifier = bundle.infoText(sharedIdentifierKey);
        if (!identifier.isEmpty())
            return identifier;
    }
    return {};
}

Bundle ZRKUserDefaults::_mainBundle(const Bundles &bundles) {
    return QFileInfo(bundles.containingClass.path()).suffix() == u"framework"
               ? bundles.main
               : bundles.containingClass;
}

ZRKNotificationCenter &ZRKUserDefaults::localCenter() const {
    return _environment.localCenter ? *_environment.localCenter
                                    : ZRKNotificationCenter::platformDefault();
}

QString ZRKUserDefaults::distributedName() const {
    return ZRKUserDefaultsDidChangeNotification + u'.' + _identifier;
}

void ZRKUserDefaults::reset() {
    _defaults = _environment.database ? _environment.database->copyMultiple(_identifier)
                                      : PropertyList::Dictionary();
    _registeredDefaults.clear();
    const QList<Bundle> bundles = _environment.bundles
                                      ? _environment.bundles->all + _environment.bundles->frameworks
                                      : Bundle::allBundles() + Bundle::allFrameworks();
    for (const Bundle &bundle : bundles) {
        addDefaultsOf(bundle, QStringLiteral("English"));
        addDefaultsOf(bundle, QString());
    }
}

void ZRKUserDefaults::addDefaultsOf(const Bundle &bundle, const QString &localisation) {
    const auto defaults = bundle.propertyListResource(QStringLiteral("Defaults"),
                                                      QStringLiteral("xml"), localisation);
    if (const auto *values = defaults ? defaults->as<PropertyList::Dictionary>() : nullptr)
        registerDefaults(*values);
}

void ZRKUserDefaults::listenForChanges() {
    if (std::exchange(_listening, true) || !_environment.distributedNotifications)
        return;
    _observation = _environment.distributedNotifications->observe(
        distributedName(),
        [this](const QString &, const PropertyList::Dictionary &userInfo) {
            _defaultDidChange(userInfo);
        },
        [this] { readAgain(); });
}

void ZRKUserDefaults::stopListening() {
    _listening = false;
    _observation.reset();
}

std::optional<PropertyList> ZRKUserDefaults::objectForKey(const QString &key) const {
    const PropertyList *value = find(_defaults, key);
    if (!value)
        value = find(_registeredDefaults, key);
    return value ? std::optional(*value) : std::nullopt;
}

std::optional<PropertyList> ZRKUserDefaults::registeredObjectForKey(const QString &key) const {
    const PropertyList *const value = find(_registeredDefaults, key);
    return value ? std::optional(*value) : std::nullopt;
}

qint32 ZRKUserDefaults::integerForKey(const QString &key) const {
    const auto value = objectForKey(key);
    return value ? integer32(*value) : 0;
}

qint32 ZRKUserDefaults::integer32(const PropertyList &value) {
    const qint64 integer = value.integerValue(0);
    // Integers are cut to their low 32 bits; what has no bits to cut, a text or a real, is bounded.
    if (value.isString() || value.kind() == PropertyList::Kind::Real)
        return qint32(std::clamp<qint64>(integer, std::numeric_limits<qint32>::min(),
                                         std::numeric_limits<qint32>::max()));
    return qint32(quint32(quint64(integer)));
}

float ZRKUserDefaults::floatForKey(const QString &key) const {
    const auto value = objectForKey(key);
    return value ? float(value->doubleValue(0)) : 0;
}

bool ZRKUserDefaults::boolForKey(const QString &key) const {
    const auto value = objectForKey(key);
    return value && value->boolValue(false);
}

std::optional<ArchivedColor> ZRKUserDefaults::colorForKey(const QString &key) const {
    const auto value = objectForKey(key);
    if (!value)
        return std::nullopt;
    if (const auto *archive = value->as<QByteArray>())
        return valueOf(ColorArchive::unarchivedColor(*archive));
    if (const auto *parts = value->as<PropertyList::Dictionary>()) {
        const auto part = [parts](const char *name) {
            return component(parts->value(QString::fromLatin1(name)));
        };
        return ArchivedColor{part("Red"), part("Green"), part("Blue"), part("Alpha")};
    }
    if (const auto *text = value->as<QString>()) {
        const QStringList parts = text->split(u' ');
        if (parts.size() < 4)
            return std::nullopt;
        const auto part = [&parts](int index) { return component(parts[index]); };
        return ArchivedColor{part(0), part(1), part(2), part(3)};
    }
    return std::nullopt;
}

std::optional<ArchivedFont> ZRKUserDefaults::fontForKey(const QString &key) const {
    const auto value = objectForKey(key);
    const auto *archive = value ? value->as<QByteArray>() : nullptr;
    return archive ? valueOf(FontArchive::unarchivedFont(*archive)) : std::nullopt;
}

Selector ZRKUserDefaults::selectorForKey(const QString &key) const {
    const auto value = objectForKey(key);
    const auto *name = value ? value->as<QString>() : nullptr;
    return name ? Selector(*name, nullptr) : Selector();
}

Result<void> ZRKUserDefaults::setObjectForKey(const std::optional<PropertyList> &value,
                                              const QString &key) {
    // An observer may let go of this store.
    const auto self = weak_from_this().lock();
    auto written = _environment.database ? _environment.database->setValue(_identifier, key, value)
                                         : Result<void>();
    PropertyList::Dictionary userInfo{{gUserDefaultsKey, key}};
    if (value) {
        _defaults.insert(key, *value);
        // The id is left out with the value, so that a removal reaches the writer as well.
        userInfo.insert(gUserDefaultsValue, *value);
        userInfo.insert(gUUIDDefaultsKey, _uuid);
    } else {
        _defaults.remove(key);
    }
    _postLocalNotification(userInfo);
    if (_environment.distributedNotifications)
        _environment.distributedNotifications->post(distributedName(),
                                                    ZRKUserDefaultsDidChangeNotification, userInfo);
    _needsSync = true;
    _pendingSynchronize =
        RunLoop::current().performAfter(synchronizeDelay, [this] { _synchronizeIfNeeded(); });
    return written;
}

void ZRKUserDefaults::removeObjectForKey(const QString &key) {
    std::ignore = setObjectForKey(std::nullopt, key);
}

void ZRKUserDefaults::setIntegerForKey(qint64 value, const QString &key) {
    std::ignore = setObjectForKey(PropertyList(qint32(quint32(quint64(value)))), key);
}

void ZRKUserDefaults::setFloatForKey(float value, const QString &key) {
    std::ignore = setObjectForKey(PropertyList(value), key);
}

void ZRKUserDefaults::setBoolForKey(bool value, const QString &key) {
    std::ignore = setObjectForKey(PropertyList(value), key);
}

void ZRKUserDefaults::setColorForKey(const ArchivedColor &color, const QString &key) {
    std::ignore = setObjectForKey(PropertyList(ColorArchive::archivedData(color)), key);
}

void ZRKUserDefaults::setFontForKey(const ArchivedFont &font, const QString &key) {
    std::ignore = setObjectForKey(PropertyList(FontArchive::archivedData(font)), key);
}

void ZRKUserDefaults::setSelectorForKey(const Selector &selector, const QString &key) {
    std::ignore = setObjectForKey(PropertyList(selector.name()), key);
}

void ZRKUserDefaults::registerDefaults(const PropertyList::Dictionary &defaults) {
    for (const auto &[key, value] : defaults.asKeyValueRange())
        _registeredDefaults.insert(key, value);
}

PropertyList::Dictionary ZRKUserDefaults::dictionaryRepresentation() const {
    PropertyList::Dictionary result = _registeredDefaults;
    for (const auto &[key, value] : _defaults.asKeyValueRange())
        result.insert(key, value);
    return result;
}

Result<void> ZRKUserDefaults::synchronize() {
    _needsSync = false;
    return _environment.database ? _environment.database->synchronize(_identifier)
                                 : failure(QStringLiteral("there is no database"));
}

void ZRKUserDefaults::_synchronizeIfNeeded() {
    if (!_needsSync)
        return;
    if (const auto synchronized = synchronize(); !synchronized)
        qCWarning(logPreferences).noquote()
            << "a power failure may lose settings:" << synchronized.error().reason;
}

void ZRKUserDefaults::_defaultDidChange(const PropertyList::Dictionary &userInfo) {
    if (userInfo.value(gUUIDDefaultsKey) == PropertyList(_uuid))
        return;
    // Anybody can post; a change that names no key changes nothing.
    const auto *const key = find<QString>(userInfo, gUserDefaultsKey);
    if (!key)
        return;
    const PropertyList::Dictionary change = asStored(userInfo, *key);
    if (const PropertyList *const value = find(change, gUserDefaultsValue))
        _defaults.insert(*key, *value);
    else
        _defaults.remove(*key);
    // A flush of our own that was due is put off to the next write or the end of the program: the
    // value itself is in the database already.
    _pendingSynchronize.cancel();
    _pendingNotification = RunLoop::current().performAfter(
        remoteChangeDelay, [this, change] { _postLocalNotification(change); });
}

// Every program of the session can post, and only the user's files say what is set. Who changes a
// setting writes it first, so it is there by now, or a later value is.
PropertyList::Dictionary ZRKUserDefaults::asStored(PropertyList::Dictionary userInfo,
                                                   const QString &key) const {
    if (!_environment.database)
        return userInfo;
    const auto values = _environment.database->copyMultiple(_identifier);
    if (const PropertyList *const value = find(values, key)) {
        userInfo.insert(gUserDefaultsValue, *value);
    } else {
        userInfo.remove(gUserDefaultsValue);
        userInfo.remove(gUUIDDefaultsKey);
    }
    return userInfo;
}

// What was changed meanwhile was not heard of.
void ZRKUserDefaults::readAgain() {
    if (!_environment.database)
        return;
    // An observer may let go of this store.
    const auto self = weak_from_this().lock();
    const auto now = _environment.database->copyMultiple(_identifier);
    const auto before = std::exchange(_defaults, now);
    for (const auto &[key, value] : now.asKeyValueRange()) {
        if (const PropertyList *const old = find(before, key); !old || *old != value)
            _postLocalNotification({{gUserDefaultsKey, key}, {gUserDefaultsValue, value}});
    }
    for (const auto &[key, value] : before.asKeyValueRange()) {
        if (!find(now, key))
            _postLocalNotification({{gUserDefaultsKey, key}});
    }
}

void ZRKUserDefaults::_postLocalNotification(const PropertyList::Dictionary &userInfo) {
    std::shared_ptr<const Object> self = weak_from_this().lock();
    localCenter().postNotificationName(_environment.localName, std::move(self), userInfo);
}

QString ZRKUserDefaults::description() const {
    return QStringLiteral("%1 %2 defaults = %3, registeredDefaults = %4")
        .arg(Object::description(), _identifier, PropertyList(_defaults).description(),
             PropertyList(_registeredDefaults).description());
}

} // namespace clipmule
