// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "model/ClipboardStore.h"
#include "model/ZRKClipmuleClipboard.h"

namespace clipmule {

namespace {

const QString oidKey = QStringLiteral("oid");
const QString titleKey = QStringLiteral("title");
const QString iconNameKey = QStringLiteral("iconName");
const QString countKey = QStringLiteral("count");

} // namespace

QStringList ZRKClipmuleClipboard::archivedClassNames() const {
    return {QStringLiteral("ZRKClipmuleClipboard"), QStringLiteral("NSObject")};
}

void ZRKClipmuleClipboard::encodeWithCoder(Encoder &coder) {
    if (coder.allowsKeyedCoding())
        coder.encodeObject(oid(), oidKey);
    else
        coder.encodeObject(_oid, oidKey);
    coder.encodeObject(title(), titleKey);
    coder.encodeObject(iconName(), iconNameKey);
    coder.encodeObject(quint32(_count), countKey);
    // Clips that were never loaded are in their file as they are.
    const bool areClipsSaved = !_items || !(_itemsDirty || isAnyLoadedClipDirty()) ||
                               ClipboardStore::shared().save(*_items, itemsPath());
    _isDirty = false;
    _itemsDirty = !areClipsSaved;
}

void ZRKClipmuleClipboard::initWithCoder(Decoder &coder) {
    _isDirty = false;
    _oid = coder.decodeString(oidKey);
    _title = coder.decodeString(titleKey);
    _iconName = coder.decodeString(iconNameKey);
    const std::optional<PropertyList> count = coder.decodeNumber(countKey);
    _count = count ? quint32(count->unsignedValue()) : quint64(items().size());
}

} // namespace clipmule
