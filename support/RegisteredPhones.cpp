// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "support/RegisteredPhones.h"

#include <QCoreApplication>
#include <QSet>

#include <algorithm>

namespace clipmule::RegisteredPhones {

namespace {

const QString serviceEntry = QStringLiteral("serverService");
const QString nameEntry = QStringLiteral("serverName");
const QString pasteModeEntry = QStringLiteral("pasteMode");
const QString addressEntry = QStringLiteral("address");

PropertyList::List entries(const std::optional<PropertyList> &stored) {
    return stored ? stored->list({}) : PropertyList::List();
}

const PropertyList *under(const PropertyList &entry, const QString &key) {
    const auto *dictionary = entry.as<PropertyList::Dictionary>();
    return dictionary ? find(*dictionary, key) : nullptr;
}

QString textUnder(const PropertyList &entry, const QString &key) {
    const PropertyList *const value = under(entry, key);
    return value ? value->string({}) : QString();
}

Phone phoneOf(const PropertyList &entry) {
    const PropertyList *const mode = under(entry, pasteModeEntry);
    return {.service = textUnder(entry, serviceEntry),
            .name = textUnder(entry, nameEntry),
            .pasteMode = mode ? Settings::pasteModeFrom(*mode) : std::nullopt,
            .address = textUnder(entry, addressEntry)};
}

auto isOf(const QString &service) {
    return
        [&service](const PropertyList &entry) { return textUnder(entry, serviceEntry) == service; };
}

void apply(const Change &change, PropertyList::Dictionary &entry) {
    if (change.name)
        entry.insert(nameEntry, *change.name);
    if (change.pasteMode && *change.pasteMode)
        entry.insert(pasteModeEntry, Settings::wordFor(**change.pasteMode));
    else if (change.pasteMode)
        entry.remove(pasteModeEntry);
    if (change.address && !change.address->isEmpty())
        entry.insert(addressEntry, *change.address);
    else if (change.address)
        entry.remove(addressEntry);
}

} // namespace

QString key() {
    return Settings::nameOf(Settings::Key::ServerServices);
}

bool isList(const std::optional<PropertyList> &stored) {
    return !stored || stored->isList();
}

QList<Phone> phones(const std::optional<PropertyList> &stored) {
    Settings::reportKind(Settings::setting(Settings::Key::ServerServices), stored, isList(stored));
    QList<Phone> result;
    QSet<QString> services;
    for (const PropertyList &entry : entries(stored)) {
        if (result.size() == mostPhones)
            break;
        Phone phone = phoneOf(entry);
        if (phone.service.isEmpty() || services.contains(phone.service))
            continue;
        services.insert(phone.service);
        result.append(std::move(phone));
    }
    return result;
}

std::optional<Phone> phone(const std::optional<PropertyList> &stored, const QString &service) {
    for (const Phone &each : phones(stored)) {
        if (each.service == service)
            return each;
    }
    return std::nullopt;
}

QStringList displayNames(const std::optional<PropertyList> &stored) {
    QStringList result;
    for (const PropertyList &entry : entries(stored)) {
        const PropertyList *const name = under(entry, nameEntry);
        if (name && name->isString() && result.size() < mostPhones)
            result.append(name->string());
    }
    return result;
}

PropertyList changed(const std::optional<PropertyList> &stored, const QString &service,
                     const Change &change) {
    PropertyList::List list = entries(stored);
    const auto present = std::find_if(list.begin(), list.end(), isOf(service));
    if (present != list.end()) {
        apply(change, present->dictionary());
        return list;
    }
    PropertyList::Dictionary entry{{serviceEntry, service},
                                   {nameEntry, LocalNames::ownName(service)}};
    apply(change, entry);
    list.append(std::move(entry));
    return list;
}

PropertyList removed(const std::optional<PropertyList> &stored, const QString &service) {
    PropertyList::List list = entries(stored);
    list.removeIf(isOf(service));
    return list;
}

Result<void> check(const PropertyList &value) {
    const auto *const list = value.as<PropertyList::List>();
    if (!list)
        return failure(QStringLiteral("%1 is a list of phones; \"pair\" adds one").arg(key()));
    if (list->size() > mostPhones)
        return failure(QStringLiteral("%1 holds at most %2 phones").arg(key()).arg(mostPhones));
    for (const PropertyList &entry : *list) {
        if (textUnder(entry, serviceEntry).isEmpty())
            return failure(QStringLiteral("an entry of %1 is a dictionary with a text under \"%2\"")
                               .arg(key(), serviceEntry));
        for (const QString &text : {nameEntry, addressEntry}) {
            if (const PropertyList *const other = under(entry, text); other && !other->isString())
                return failure(
                    QStringLiteral("\"%1\" of an entry of %2 is a text").arg(text, key()));
        }
        if (const PropertyList *const mode = under(entry, pasteModeEntry);
            mode && !Settings::pasteModeFrom(*mode))
            return failure(
                QStringLiteral("\"%1\" of an entry of %2 is %3")
                    .arg(pasteModeEntry, key(),
                         Settings::describeKind(Settings::setting(Settings::Key::PasteMode))));
    }
    return {};
}

Result<void> store(SettingsStores &stores, const PropertyList &list) {
    if (!isList(stores.value(Settings::Key::ServerServices)))
        return failure(QCoreApplication::translate(
            "ClipmuleSync", "The stored list of phones is damaged. Nothing was changed."));
    return stores.set(Settings::Key::ServerServices, list).map_error([](const Failure &error) {
        return Failure{SettingsStores::notWritten(error)};
    });
}

Result<void> change(SettingsStores &stores, const QString &service, const Change &change) {
    const auto stored = stores.value(Settings::Key::ServerServices);
    if (isList(stored) && phones(stored).size() >= mostPhones && !phone(stored, service))
        return failure(QCoreApplication::translate("ClipmuleSync", "%1 phones are paired already.")
                           .arg(mostPhones));
    return store(stores, changed(stored, service, change));
}

Result<void> remove(SettingsStores &stores, const QString &service) {
    const auto stored = stores.value(Settings::Key::ServerServices);
    return entriesOf(stored, service).isEmpty() ? Result<void>()
                                                : store(stores, removed(stored, service));
}

QList<Entry> entriesOf(const std::optional<PropertyList> &stored, const QString &service) {
    QList<Entry> result;
    const PropertyList::List list = entries(stored);
    for (qsizetype i = 0; i < list.size(); ++i) {
        if (textUnder(list[i], serviceEntry) == service)
            result.append({i, list[i]});
    }
    return result;
}

PropertyList restored(const std::optional<PropertyList> &stored, const QList<Entry> &entriesBack) {
    PropertyList::List list = entries(stored);
    for (const Entry &entry : entriesBack)
        list.insert(std::min(entry.index, list.size()), entry.value);
    return list;
}

} // namespace clipmule::RegisteredPhones
