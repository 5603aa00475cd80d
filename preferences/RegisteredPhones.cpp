// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "preferences/RegisteredPhones.h"

#include <algorithm>

namespace clipmule::RegisteredPhones {

namespace {

const QString serviceEntry = QStringLiteral("serverService");
const QString nameEntry = QStringLiteral("serverName");

PropertyList::List entries(const std::optional<PropertyList> &stored) {
    const auto *list = stored ? stored->as<PropertyList::List>() : nullptr;
    return list ? *list : PropertyList::List();
}

QString textUnder(const PropertyList &entry, const QString &key) {
    const auto *dictionary = entry.as<PropertyList::Dictionary>();
    const PropertyList *value = dictionary ? find(*dictionary, key) : nullptr;
    const QString *text = value ? value->as<QString>() : nullptr;
    return text ? *text : QString();
}

} // namespace

QString key() {
    return QStringLiteral("serverServices");
}

bool isList(const std::optional<PropertyList> &stored) {
    return !stored || stored->isList();
}

QList<Phone> phones(const std::optional<PropertyList> &stored) {
    QList<Phone> result;
    for (const PropertyList &entry : entries(stored)) {
        const QString service = textUnder(entry, serviceEntry);
        if (!service.isEmpty())
            result.append({service, textUnder(entry, nameEntry)});
    }
    return result;
}

PropertyList added(const std::optional<PropertyList> &stored, const QString &service,
                   const std::optional<QString> &name) {
    PropertyList::List list = entries(stored);
    const auto present =
        std::find_if(list.begin(), list.end(), [&service](const PropertyList &entry) {
            return textUnder(entry, serviceEntry) == service;
        });
    if (present == list.end())
        list.append(
            PropertyList::Dictionary{{serviceEntry, service}, {nameEntry, name.value_or(service)}});
    else if (name)
        present->dictionary().insert(nameEntry, *name);
    return list;
}

PropertyList removed(const std::optional<PropertyList> &stored, const QString &service) {
    PropertyList::List list = entries(stored);
    list.removeIf([&service](const PropertyList &entry) {
        return textUnder(entry, serviceEntry) == service;
    });
    return list;
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
