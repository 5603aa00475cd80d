// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "filters/HtmlEntityTable.h"

#include "platform/bundle/Bundle.h"

namespace clipmule {

HtmlEntityTable loadHtmlEntityTable() {
    HtmlEntityTable table;
    const auto resource = Bundle::mainBundle().propertyListResource(
        QStringLiteral("ZRKClipmuleHTMLEntities"), QStringLiteral("plist"));
    const auto *const entries = resource ? resource->as<PropertyList::Dictionary>() : nullptr;
    if (!entries)
        return table;
    table.reserve(entries->size());
    for (const auto &[key, value] : entries->asKeyValueRange()) {
        bool isNumber = false;
        const uint code = key.toUInt(&isNumber);
        if (isNumber && value.isString())
            table.insert(code, value.string());
    }
    return table;
}

} // namespace clipmule
