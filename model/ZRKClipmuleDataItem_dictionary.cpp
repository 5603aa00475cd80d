// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "model/ZRKClipmuleDataItem.h"

#include "platform/foundation/ForeignUrl.h"
#include "platform/foundation/PlatformException.h"

namespace clipmule {

namespace {

const QString oidKey = QStringLiteral("oid");
const QString stringKey = QStringLiteral("string");
const QString urlKey = QStringLiteral("url");
const QString createdByKey = QStringLiteral("createdBy");
const QString nativeDictionaryKey = QStringLiteral("nativeDictionary");
const QString imageDataKey = QStringLiteral("imageData");

ZRKClipmuleDataItem::NativeDictionary
representationsOf(const PropertyList::Dictionary &dictionary) {
    ZRKClipmuleDataItem::NativeDictionary representations;
    for (const auto &[type, bytes] : dictionary.asKeyValueRange())
        representations.insert(type, bytes.data());
    return representations;
}

} // namespace

PropertyList::Dictionary ZRKClipmuleDataItem::toDictionary() const {
    PropertyList::Dictionary dictionary{{oidKey, oid()}, {createdByKey, createdBy()}};
    if (_string)
        dictionary.insert(stringKey, *_string);
    if (_url)
        dictionary.insert(urlKey, urlText());
    if (const std::optional<NativeDictionary> native = nativeDictionary()) {
        PropertyList::Dictionary representations;
        for (const auto &[type, bytes] : native->asKeyValueRange())
            representations.insert(type, bytes);
        dictionary.insert(nativeDictionaryKey, representations);
    }
    if (const std::optional<QByteArray> image = imageData())
        dictionary.insert(imageDataKey, *image);
    return dictionary;
}

std::shared_ptr<ZRKClipmuleDataItem>
ZRKClipmuleDataItem::initWithDictionary(const PropertyList::Dictionary &dictionary) {
    const PropertyList *const native = find(dictionary, nativeDictionaryKey);
    if (native && native->dictionary().size() > mostRepresentations) {
        throw PlatformException(
            QStringLiteral("InvalidArgument"),
            QStringLiteral("an item of %1 native representations; at most %2 are accepted")
                .arg(native->dictionary().size())
                .arg(mostRepresentations));
    }
    return fromDictionary(dictionary);
}

std::shared_ptr<ZRKClipmuleDataItem>
ZRKClipmuleDataItem::fromDictionary(const PropertyList::Dictionary &dictionary) {
    std::optional<NativeDictionary> native;
    if (const PropertyList *representations = find(dictionary, nativeDictionaryKey))
        native = representationsOf(representations->dictionary());
    auto item = initWithNativeDictionary(std::move(native));
    if (const PropertyList *oid = find(dictionary, oidKey))
        item->_oid = oid->string();
    if (const PropertyList *string = find(dictionary, stringKey))
        item->_string = string->string();
    const PropertyList *const createdBy = find(dictionary, createdByKey);
    item->_createdBy = createdBy ? createdBy->integerValue() : 0;
    if (const PropertyList *text = find(dictionary, urlKey)) {
        const QUrl url = urlFromForeignText(text->string(), QUrl::StrictMode);
        if (url.isValid()) {
            item->_url = url;
            item->_urlText = text->string();
        }
    }
    const PropertyList *const image = find(dictionary, imageDataKey);
    item->setImageData(image ? std::optional(image->data()) : std::nullopt);
    return item;
}

} // namespace clipmule
