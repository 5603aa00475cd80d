// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "filters/ZRKClipmuleTextFilter.h"

#include "platform/foundation/Log.h"
#include "platform/foundation/PlatformException.h"

namespace clipmule {

bool ZRKClipmuleTextFilter::validForClipmuleDataItem(ZRKClipmuleDataItem &item) const {
    return item.hasString() && !item.hasImageData();
}

std::shared_ptr<ZRKClipmuleDataItem> ZRKClipmuleTextFilter::filterClipmuleDataItem(
    const std::shared_ptr<ZRKClipmuleDataItem> &item) const {
    auto filtered = std::make_shared<ZRKClipmuleDataItem>();
    try {
        filtered->setString(filterString(item->string()));
    } catch (const PlatformException &exception) {
        qCWarning(logFilters).noquote()
            << "EXCEPTION FILTERING" << item->description() << exception.reason();
        filtered->setClipmuleDataItem(*item);
    }
    return filtered;
}

QString ZRKClipmuleTextFilter::className() const {
    return QStringLiteral("ZRKClipmuleTextFilter");
}

std::optional<QString>
ZRKClipmuleTextFilter::filterString(const std::optional<QString> &text) const {
    return text;
}

} // namespace clipmule
