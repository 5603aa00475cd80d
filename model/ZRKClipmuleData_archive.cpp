// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "model/ZRKClipmuleData.h"

namespace clipmule {

namespace {

const QString oidKey = QStringLiteral("oid");
const QString creationDateKey = QStringLiteral("creationDate");
const QString titleKey = QStringLiteral("title");
const QString itemsKey = QStringLiteral("items");
// The key of the origin in archives that note it for the clip instead of for each item.
const QString createdByKey = QStringLiteral("createdBy");

} // namespace

QStringList ZRKClipmuleData::archivedClassNames() const {
    return {QStringLiteral("ZRKClipmuleData"), QStringLiteral("NSObject")};
}

void ZRKClipmuleData::encodeWithCoder(Encoder &coder) {
    coder.encodeObject(oid(), oidKey);
    coder.encodeObject(_creationDate, creationDateKey);
    coder.encodeObject(_title, titleKey);
    coder.encodeObject(_items, itemsKey);
    _isDirty = false;
    _isSaved = true;
}

void ZRKClipmuleData::initWithCoder(Decoder &coder) {
    _isDirty = false;
    _oid = coder.decodeString(oidKey);
    _creationDate = coder.decodeDate(creationDateKey);
    _title = coder.decodeString(titleKey);
    const Items items = coder.decodeObjectsOfClass<ZRKClipmuleDataItem>(itemsKey).value_or(Items());
    for (const auto &item : items)
        append(item);
    if (coder.containsValueForKey(createdByKey)) {
        const bool isOfDesktop = coder.decodeInteger(createdByKey) != 0;
        for (const auto &item : items) {
            item->setCreatedBy(isOfDesktop ? ZRKClipmuleDataItem::createdByDesktop
                                           : ZRKClipmuleDataItem::createdByPhone);
        }
    }
    if (!_creationDate)
        _creationDate = Date::now();
    _isSaved = true;
}

} // namespace clipmule
