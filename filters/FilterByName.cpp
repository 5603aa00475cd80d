// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "filters/FilterByName.h"

#include <algorithm>

namespace clipmule::FilterByName {

std::shared_ptr<ZRKClipmuleFilter> find(const ZRKClipmuleFilter::List &filters,
                                        const QString &name) {
    const auto found = std::find_if(filters.begin(), filters.end(), [&name](const auto &filter) {
        return filter->title().compare(name, Qt::CaseInsensitive) == 0 ||
               filter->className() == name;
    });
    return found == filters.end() ? nullptr : *found;
}

QString set(ZRKClipmuleFilter &filter, const QString &setting) {
    const qsizetype equals = setting.indexOf(u'=');
    if (equals < 0)
        return QStringLiteral("“%1”: expected NAME=VALUE").arg(setting);
    const QString name = setting.first(equals);
    const auto &options = filter.options();
    const auto found = std::find_if(options.begin(), options.end(), [&name](const auto &option) {
        return option->name().value_or(QString()) == name;
    });
    if (found == options.end())
        return QStringLiteral("“%1” has no option “%2”").arg(filter.title(), name);
    (*found)->setValue(PropertyList(setting.sliced(equals + 1)));
    return {};
}

} // namespace clipmule::FilterByName
