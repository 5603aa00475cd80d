// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/desktop/ApplicationTable.h"

#include "platform/desktop/Log.h"
#include "platform/foundation/PropertyListSerialization.h"

#include <QFile>

namespace clipmule {

ApplicationTable ApplicationTable::read(const QString &path) {
    ApplicationTable table;
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        qCWarning(logDesktop).noquote()
            << "the table of applications cannot be read:" << path << file.errorString();
        return table;
    }
    const PropertyListSerialization::Parsed parsed =
        PropertyListSerialization::parse(file.readAll());
    const auto *parts = parsed.value ? parsed.value->as<PropertyList::Dictionary>() : nullptr;
    if (!parts) {
        qCWarning(logDesktop).noquote()
            << "the table of applications cannot be read:" << path << parsed.error;
        return table;
    }
    for (auto part = parts->cbegin(); part != parts->cend(); ++part) {
        const auto *names = part->as<PropertyList::List>();
        if (!names)
            continue;
        for (const PropertyList &name : *names) {
            if (const auto *text = name.as<QString>())
                table._parts.insert(text->toLower(), part.key());
        }
    }
    return table;
}

std::optional<QString> ApplicationTable::partOf(const QString &name) const {
    const auto part = _parts.constFind(name.toLower());
    return part == _parts.cend() ? std::nullopt : std::optional<QString>(*part);
}

} // namespace clipmule
