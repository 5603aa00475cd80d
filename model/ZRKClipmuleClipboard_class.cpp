// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "model/ClipboardStore.h"
#include "model/ZRKClipmuleClipboard.h"
#include "platform/foundation/PlatformException.h"

namespace clipmule {

namespace {

std::weak_ptr<ClipboardStore> &programsStore() {
    static std::weak_ptr<ClipboardStore> store;
    return store;
}

std::shared_ptr<ClipboardStore> handedOver() {
    if (auto store = programsStore().lock())
        return store;
    throw PlatformException(QStringLiteral("InternalInconsistency"),
                            QStringLiteral("no store was handed over"));
}

} // namespace

void ZRKClipmuleClipboard::handOver(const std::shared_ptr<ClipboardStore> &store) {
    programsStore() = store;
}

QString ZRKClipmuleClipboard::dataPath() {
    return handedOver()->dataPath();
}

std::shared_ptr<ZRKClipmuleClipboard> ZRKClipmuleClipboard::mainClipboard() {
    return handedOver()->mainClipboard();
}

ZRKClipmuleClipboard::Clipboards ZRKClipmuleClipboard::customClipboards() {
    return handedOver()->customClipboards();
}

std::shared_ptr<ZRKClipmuleClipboard> ZRKClipmuleClipboard::clipboardWithOID(const QString &oid) {
    return handedOver()->clipboardWithOID(oid);
}

std::shared_ptr<ZRKClipmuleData>
ZRKClipmuleClipboard::storedClipmuleDataWithOID(const QString &oid) {
    return handedOver()->clipmuleDataWithOID(oid);
}

void ZRKClipmuleClipboard::insertCustomClipboardAtIndex(
    const std::shared_ptr<ZRKClipmuleClipboard> &clipboard, qsizetype index) {
    handedOver()->insertCustomClipboardAtIndex(clipboard, index);
}

void ZRKClipmuleClipboard::removeCustomClipboard(
    const std::shared_ptr<ZRKClipmuleClipboard> &clipboard) {
    handedOver()->removeCustomClipboard(clipboard);
}

void ZRKClipmuleClipboard::moveClipboardAtIndexToIndex(qsizetype from, qsizetype to) {
    handedOver()->moveClipboardAtIndexToIndex(from, to);
}

void ZRKClipmuleClipboard::saveIfNeeded() {
    handedOver()->saveIfNeeded();
}

} // namespace clipmule
