// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "filters/ZRKClipmuleFilter.h"

#include "filters/FilterClasses.h"
#include "platform/bundle/Bundle.h"
#include "platform/foundation/Log.h"
#include "platform/foundation/PlatformException.h"

#include <QCoreApplication>

#include <algorithm>

namespace clipmule {

namespace {

QString localised(const char *text) {
    return QCoreApplication::translate("Clipmule", text);
}

void sortByTitle(ZRKClipmuleFilter::List &filters) {
    std::stable_sort(filters.begin(), filters.end(),
                     [](const auto &left, const auto &right) { return left->compare(*right) < 0; });
}

QStringList installedClassNames() {
    QStringList names;
    const Bundle bundle = Bundle::mainBundle();
    const PropertyList *const filters = find(bundle.infoDictionary(), QStringLiteral("filters"));
    const auto *const list = filters ? filters->as<PropertyList::List>() : nullptr;
    if (!list)
        return names;
    for (const PropertyList &name : *list) {
        if (name.isString())
            names.append(name.string());
    }
    return names;
}

} // namespace

const ZRKClipmuleFilter::List &ZRKClipmuleFilter::allFilters() {
    static const List filters = filtersOfClasses(installedClassNames());
    return filters;
}

ZRKClipmuleFilter::List ZRKClipmuleFilter::filtersOfClasses(const QStringList &classNames) {
    List filters;
    for (const QString &name : classNames) {
        if (auto filter = makeFilterOfClass(name))
            filters.append(std::move(filter));
    }
    return filters;
}

ZRKClipmuleFilter::List ZRKClipmuleFilter::filtersForClipmuleDataItem(ZRKClipmuleDataItem &item) {
    List valid;
    std::copy_if(allFilters().begin(), allFilters().end(), std::back_inserter(valid),
                 [&item](const auto &filter) { return filter->validForClipmuleDataItem(item); });
    sortByTitle(valid);
    return valid;
}

ZRKClipmuleFilter::List ZRKClipmuleFilter::filtersForClipmuleData(ZRKClipmuleData &clip) {
    const auto &items = clip.items();
    if (items.isEmpty())
        return {};
    List common = filtersForClipmuleDataItem(*items.first());
    for (const auto &item : items.sliced(1)) {
        erase_if(common,
                 [&item](const auto &filter) { return !filter->validForClipmuleDataItem(*item); });
    }
    return common;
}

bool ZRKClipmuleFilter::validForClipmuleDataItem(ZRKClipmuleDataItem &) const {
    return false;
}

std::shared_ptr<ZRKClipmuleDataItem>
ZRKClipmuleFilter::filterClipmuleDataItem(const std::shared_ptr<ZRKClipmuleDataItem> &item) const {
    return item;
}

QString ZRKClipmuleFilter::title() const {
    return _title ? localised(_title) : QString();
}

std::shared_ptr<ZRKClipmuleFilterOption> ZRKClipmuleFilter::optionNamed(const QString &name) const {
    const auto found = std::find_if(_options.begin(), _options.end(),
                                    [&name](const auto &option) { return option->name() == name; });
    return found == _options.end() ? nullptr : *found;
}

void ZRKClipmuleFilter::resetOptions() {
    for (const auto &option : std::as_const(_options))
        option->reset();
}

int ZRKClipmuleFilter::compare(const ZRKClipmuleFilter &other) const {
    return QString::compare(title(), other.title());
}

void ZRKClipmuleFilter::addTextOption(const std::optional<QString> &name, const char *placeholder) {
    auto option = std::make_shared<ZRKClipmuleFilterOption>();
    option->setName(name);
    option->setPlaceholder(localised(placeholder));
    option->setType(ZRKClipmuleFilterOption::textFieldType);
    option->reset();
    _options.append(std::move(option));
}

QString ZRKClipmuleFilter::textOfOption(const QString &name) const {
    const auto option = optionNamed(name);
    return option ? option->text() : QString();
}

bool ZRKClipmuleTextFilter::validForClipmuleDataItem(ZRKClipmuleDataItem &item) const {
    return item.hasString() && !item.hasImageData();
}

std::shared_ptr<ZRKClipmuleDataItem> ZRKClipmuleTextFilter::filterClipmuleDataItem(
    const std::shared_ptr<ZRKClipmuleDataItem> &item) const {
    auto result = std::make_shared<ZRKClipmuleDataItem>();
    try {
        result->setString(filterString(item->string()));
    } catch (const PlatformException &exception) {
        qCWarning(logFilters).noquote()
            << "EXCEPTION FILTERING" << item->description() << exception.reason();
        result->setClipmuleDataItem(*item);
    }
    return result;
}

std::optional<QString>
ZRKClipmuleTextFilter::filterString(const std::optional<QString> &text) const {
    return text ? std::optional(filtered(*text)) : std::nullopt;
}

} // namespace clipmule
