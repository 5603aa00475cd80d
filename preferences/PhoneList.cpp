// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "preferences/PhoneList.h"

#include "platform/foundation/Callbacks.h"
#include "preferences/PanelTexts.h"

#include <algorithm>
#include <tuple>

namespace clipmule {

namespace {

const QString phoneType = QStringLiteral("_clipmule-s2._tcp");
// The key, in the program's own domain, for when each registered phone was on the network, by
// service name.
const QString phonesSeenKey = QStringLiteral("phonesSeen");

} // namespace

const AgentStatus::Phone *phoneIn(const std::optional<AgentStatus> &status,
                                  const QString &service) {
    if (!status)
        return nullptr;
    const auto found =
        std::find_if(status->phones.begin(), status->phones.end(),
                     [&service](const auto &phone) { return phone.service == service; });
    return found == status->phones.end() ? nullptr : &*found;
}

PhoneList::PhoneList(dnssd::Backend &dnssd, SettingsStores &stores)
    : _dnssd(dnssd)
    , _stores(stores) {}

PhoneList::~PhoneList() {
    ZRKNotificationCenter::platformDefault().removeObserver(this);
}

void PhoneList::start() {
    if (const auto memory = _stores.own().objectForKey(phonesSeenKey)) {
        const auto dates = memory->dictionary({});
        for (const auto &[service, date] : dates.asKeyValueRange()) {
            if (date.isDate())
                _seen.insert(service, date.date());
        }
    }
    ZRKNotificationCenter::platformDefault().addObserver(
        this, selector<&PhoneList::changed>("changed"), ZRKUserDefaultsDidChangeNotification,
        unowned(&_stores.of(Settings::Domain::Shared)));
    _browser = std::make_unique<NetServiceBrowser>(_dnssd);
    _browser->onFound = [this](const auto &service) { found(service); };
    _browser->onRemoved = [this](const auto &service) { lost(service->name()); };
    _browser->searchForServicesOfTypeInDomain(phoneType, QStringLiteral("local."));
    changed();
}

void PhoneList::stop() {
    if (!_browser)
        return;
    forgetRemovals();
    _browser->stop();
    _browser.reset();
    for (const auto &[service, netService] : std::exchange(_onNetwork, {})) {
        netService->stop();
        _seen.insert(service, Date::now());
    }
    writeMemory();
    _change.cancel();
    ZRKNotificationCenter::platformDefault().removeObserver(this);
}

void PhoneList::setAgentStatus(const std::optional<AgentStatus> &status) {
    if (_agentStatus == status)
        return;
    _agentStatus = status;
    changed();
}

void PhoneList::found(const std::shared_ptr<NetService> &service) {
    const QString name = service->name();
    if (_onNetwork.contains(name) || _onNetwork.size() == mostOnNetwork)
        return;
    _onNetwork.emplace(name, service);
    service->onTxtRecord = [this](NetService &, const QByteArray &) { changed(); };
    service->startMonitoring();
    rememberSeen(name);
    changed();
}

void PhoneList::lost(const QString &service) {
    const auto known = _onNetwork.find(service);
    if (known == _onNetwork.end())
        return;
    known->second->stop();
    _onNetwork.erase(known);
    rememberSeen(service);
    changed();
}

void PhoneList::changed() {
    if (_change.isPending())
        return;
    _change = RunLoop::current().performAfter(RunLoop::Seconds(0), [this] {
        if (const auto tell = onChange)
            tell();
    });
}

std::optional<PropertyList> PhoneList::stored() const {
    return _stores.value(Settings::Key::ServerServices);
}

QList<PhoneList::Phone> PhoneList::registered() const {
    QList<Phone> result;
    for (const auto &phone : RegisteredPhones::phones(stored()))
        result.append(describe(phone, true));
    return result;
}

QList<PhoneList::Phone> PhoneList::available() const {
    QStringList known;
    for (const auto &phone : RegisteredPhones::phones(stored()))
        known.append(phone.service);
    QList<Phone> result;
    for (const auto &[service, netService] : _onNetwork) {
        if (!known.contains(service))
            result.append(describe({.service = service, .name = {}}, false));
    }
    std::stable_sort(result.begin(), result.end(), [](const Phone &left, const Phone &right) {
        return QString::localeAwareCompare(left.name.toCaseFolded(), right.name.toCaseFolded()) < 0;
    });
    return result;
}

PhoneList::Phone PhoneList::describe(const RegisteredPhones::Phone &stored,
                                     bool isRegistered) const {
    const QString &service = stored.service;
    Phone phone;
    phone.service = service;
    phone.name = ShownText::onOneLine(stored.shownName());
    phone.isRegistered = isRegistered;
    phone.pasteMode = stored.pasteMode;
    phone.address = ShownText::onOneLine(stored.address);
    const AgentStatus::Phone *const told = phoneIn(_agentStatus, service);
    const auto known = _onNetwork.find(service);
    phone.presence = told ? told->state : Presence::NotSeen;
    if (phone.presence == Presence::NotSeen && known != _onNetwork.end())
        phone.presence = Presence::Seen;
    phone.lastSeen = rememberedDate(service);
    if (told && phone.presence == Presence::Seen)
        phone.lastError = ShownText::onOneLine(told->lastError);
    if (known != _onNetwork.end())
        phone.details =
            ZRKNetServiceCategory::serviceDictionary(*known->second).value_or(ServiceDictionary());
    return phone;
}

std::optional<Date> PhoneList::rememberedDate(const QString &service) const {
    const auto own = _seen.constFind(service);
    const AgentStatus::Phone *const told = phoneIn(_agentStatus, service);
    return std::max(own == _seen.constEnd() ? std::nullopt : std::optional(*own),
                    told ? told->lastSeen : std::nullopt);
}

bool PhoneList::missesPhones() const {
    // What is on this computer says nothing about the network.
    QList<Phone> paired = registered();
    const bool nonePaired = paired.isEmpty();
    paired.removeIf([](const Phone &phone) { return phone.isLocal(); });
    const bool seesPaired = std::any_of(paired.begin(), paired.end(), [](const Phone &phone) {
        return phone.presence != Presence::NotSeen;
    });
    const bool seesOthers =
        std::any_of(_onNetwork.begin(), _onNetwork.end(),
                    [](const auto &entry) { return !LocalNames::isLocal(entry.first); });
    if (seesOthers || seesPaired)
        return false;
    return !paired.isEmpty() || (nonePaired && _seen.isEmpty());
}

Result<void> PhoneList::change(const QString &service, const RegisteredPhones::Change &change) {
    if (auto written = RegisteredPhones::change(_stores, service, change); !written)
        return written;
    _removals.removeIf([&service](const Removal &removal) { return removal.service == service; });
    writeMemory();
    return {};
}

Result<void> PhoneList::rename(const QString &service, const QString &name) {
    const QString plain = name.trimmed();
    return RegisteredPhones::change(
        _stores, service, {.name = plain.isEmpty() ? LocalNames::ownName(service) : plain});
}

Result<void> PhoneList::remove(const QString &service) {
    const auto before = stored();
    const auto entries = RegisteredPhones::entriesOf(before, service);
    if (entries.isEmpty())
        return {};
    if (auto written = RegisteredPhones::remove(_stores, service); !written)
        return written;
    const auto phone = RegisteredPhones::phone(before, service);
    _removals.append(
        {service, ShownText::onOneLine(phone ? phone->shownName() : service), entries});
    changed();
    return {};
}

Result<void> PhoneList::undoRemoval() {
    if (_removals.isEmpty())
        return {};
    const Removal removal = _removals.last();
    const auto now = stored();
    if (RegisteredPhones::entriesOf(now, removal.service).isEmpty()) {
        if (auto written =
                RegisteredPhones::store(_stores, RegisteredPhones::restored(now, removal.entries));
            !written)
            return written;
    }
    _removals.removeLast();
    changed();
    return {};
}

std::optional<QString> PhoneList::undoableRemoval() const {
    return _removals.isEmpty() ? std::nullopt : std::optional(_removals.last().name);
}

void PhoneList::forgetRemovals() {
    if (_removals.isEmpty())
        return;
    for (const Removal &removal : std::exchange(_removals, {}))
        callCopyOf(onForgotten, removal.service);
    changed();
}

void PhoneList::rememberSeen(const QString &service) {
    _seen.insert(service, Date::now());
    writeMemory();
}

// Only registered phones are remembered: others in the network are nobody's business.
void PhoneList::writeMemory() {
    PropertyList::Dictionary dates;
    for (const auto &phone : RegisteredPhones::phones(stored())) {
        const auto seen = _seen.constFind(phone.service);
        if (seen != _seen.constEnd())
            dates.insert(phone.service, PropertyList(*seen));
    }
    const PropertyList memory(dates);
    if (_stores.own().objectForKey(phonesSeenKey).value_or(PropertyList()) != memory)
        std::ignore = _stores.own().setObjectForKey(memory, phonesSeenKey);
}

} // namespace clipmule
