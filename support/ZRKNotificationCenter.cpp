// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "support/ZRKNotificationCenter.h"

#include "platform/foundation/PlatformException.h"

#include <algorithm>
#include <numeric>

namespace clipmule {

namespace {

class PlatformDefaultCenter final : public ZRKNotificationCenter {
public:
    [[nodiscard]] bool releaseAfterLastObserverIsRemoved() const override { return false; }
};

QString describe(const Object *object) {
    return object ? object->description() : QStringLiteral("(null)");
}

// The pointers are compared first, so that an observer that leaves from its destructor is found
// without asking a half-destroyed object.
bool isSame(const Object *own, const Object *given) {
    return own == given || (own && given && own->isEqual(*given));
}

} // namespace

ZRKObserver::ZRKObserver(Object *observer, Selector selector, std::shared_ptr<const Object> object)
    : _observer(observer)
    , _selector(std::move(selector))
    , _object(std::move(object)) {}

QString ZRKObserver::description() const {
    return QStringLiteral("observer = %1, object = %2, selector = %3")
        .arg(describe(_observer), describe(_object.get()), _selector.name());
}

ZRKNotificationCenter::~ZRKNotificationCenter() = default;

std::shared_ptr<ZRKNotificationCenter> ZRKNotificationCenter::defaultCenter() {
    return sharedInstance<ZRKNotificationCenter>(
        [] { return std::make_shared<ZRKNotificationCenter>(); });
}

ZRKNotificationCenter &ZRKNotificationCenter::platformDefault() {
    static const auto center = std::make_shared<PlatformDefaultCenter>();
    return *center;
}

std::map<std::type_index, std::shared_ptr<ZRKNotificationCenter>> &
ZRKNotificationCenter::notificationCenters() {
    static std::map<std::type_index, std::shared_ptr<ZRKNotificationCenter>> centers;
    return centers;
}

void ZRKNotificationCenter::addObserver(Object *observer, const Selector &selector,
                                        const QString &name, std::shared_ptr<const Object> object) {
    addZRKObserver(std::make_shared<ZRKObserver>(observer, selector, std::move(object)), name);
}

void ZRKNotificationCenter::addZRKObserver(std::shared_ptr<ZRKObserver> record,
                                           const QString &name) {
    if (name.isEmpty())
        throw PlatformException(QStringLiteral("InvalidArgument"),
                                QStringLiteral("an observer needs the name of a notification"));
    const auto self = weak_from_this().lock();
    const bool wasEmpty = _notificationsDictionary.isEmpty();
    _notificationsDictionary[name].append(std::move(record));
    if (wasEmpty)
        didAddFirstObserver();
    // Looked up anew: the hook may have changed the table.
    const auto records = _notificationsDictionary.constFind(name);
    if (records != _notificationsDictionary.constEnd() && records->size() == 1)
        didAddFirstObserverForName(name);
}

// Observers and hooks may change or end the table while it is walked: the copies are deliberate.
// NOLINTBEGIN(performance-unnecessary-copy-initialization)
void ZRKNotificationCenter::postNotification(const Notification &notification) {
    const auto found = _notificationsDictionary.constFind(notification.name);
    if (found == _notificationsDictionary.constEnd())
        return;
    // An observer may drop the last reference to this hub, and to the notification with it.
    const auto self = weak_from_this().lock();
    const Notification delivered = notification;
    const QList<std::shared_ptr<ZRKObserver>> records = *found;
    for (const std::shared_ptr<ZRKObserver> &record : records) {
        const auto current = _notificationsDictionary.constFind(delivered.name);
        if (current == _notificationsDictionary.constEnd())
            return;
        // As long as nobody came or went the list is still the shared one, and needs no search.
        if (current->constData() != records.constData() && !current->contains(record))
            continue;
        if (record->object() && record->object() != delivered.object)
            continue;
        if (record->observer())
            record->selector().perform(*record->observer(), delivered);
    }
}

void ZRKNotificationCenter::postNotificationName(const QString &name,
                                                 std::shared_ptr<const Object> object,
                                                 const PropertyList::Dictionary &userInfo) {
    postNotification({name, std::move(object), userInfo, nullptr});
}

void ZRKNotificationCenter::removeObserver(const Object *observer, const QString &name,
                                           const Object *object) {
    const auto self = weak_from_this().lock();
    const QList<std::shared_ptr<ZRKObserver>> records = _notificationsDictionary.value(name);
    for (auto record = records.crbegin(); record != records.crend(); ++record) {
        if (observer && isSame((*record)->observer(), observer) &&
            (!object || isSame((*record)->object().get(), object)))
            removeZRKObserver(*record, name);
    }
}

void ZRKNotificationCenter::removeObserver(const Object *observer) {
    const auto self = weak_from_this().lock();
    const QStringList names = _notificationsDictionary.keys();
    for (const QString &name : names)
        removeObserver(observer, name, nullptr);
}

void ZRKNotificationCenter::removeZRKObserver(const std::shared_ptr<ZRKObserver> &record,
                                              const QString &name) {
    // The reference may be to the table's own entry.
    const std::shared_ptr<ZRKObserver> removed = record;
    const auto records = _notificationsDictionary.find(name);
    if (records == _notificationsDictionary.end() || records->removeAll(removed) == 0)
        return;
    const auto self = weak_from_this().lock();
    if (records->isEmpty()) {
        const QString lastName = name;
        _notificationsDictionary.erase(records);
        didRemoveLastObserverForName(lastName);
    }
    if (!_notificationsDictionary.isEmpty())
        return;
    didRemoveLastObserver();
    if (!releaseAfterLastObserverIsRemoved() || !_notificationsDictionary.isEmpty())
        return;
    auto &centers = notificationCenters();
    const auto own = std::find_if(centers.begin(), centers.end(),
                                  [this](const auto &entry) { return entry.second.get() == this; });
    if (own != centers.end())
        centers.erase(own);
}
// NOLINTEND(performance-unnecessary-copy-initialization)

qsizetype ZRKNotificationCenter::observerCount() const {
    return std::accumulate(_notificationsDictionary.cbegin(), _notificationsDictionary.cend(),
                           qsizetype(0),
                           [](qsizetype sum, const auto &records) { return sum + records.size(); });
}

} // namespace clipmule
