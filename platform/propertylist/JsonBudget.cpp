// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/propertylist/JsonBudget.h"

#include "platform/foundation/PlatformException.h"

namespace clipmule {

void JsonBudget::take(qint64 units) {
    _units -= units;
    if (--_values < 0 || _units < 0)
        throw PlatformException(QStringLiteral("TooLarge"),
                                QStringLiteral("too large to be shown with all that it refers to"));
}

void JsonBudget::take(const PropertyList &value) {
    if (const auto *text = value.as<QString>()) {
        take(text->size());
    } else if (const auto *bytes = value.as<QByteArray>()) {
        take(2 * bytes->size());
    } else if (const auto *list = value.as<PropertyList::List>()) {
        take(0);
        for (const PropertyList &element : *list)
            take(element);
    } else if (const auto *dictionary = value.as<PropertyList::Dictionary>()) {
        take(0);
        for (const auto &[key, element] : dictionary->asKeyValueRange()) {
            take(key.size());
            take(element);
        }
    } else {
        take(0);
    }
}

} // namespace clipmule
