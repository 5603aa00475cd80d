// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "web/PageClip.h"

#include "platform/foundation/ForeignUrl.h"
#include "platform/images/ImageCodec.h"

#include <QJsonDocument>

#include <algorithm>
#include <cmath>

namespace clipmule::PageClip {

namespace {

// What is kept with an item beside its content.
const QString relayKey = QStringLiteral("relay");
const QString originKey = QStringLiteral("from");
const QString pictureTypeKey = QStringLiteral("type");
const QString pictureSizeKey = QStringLiteral("size");
const QString pictureWidthKey = QStringLiteral("width");
const QString pictureHeightKey = QStringLiteral("height");

// What a page opens on a tap. Anything else is shown as the text that it is.
bool isLink(const QUrl &url) {
    static const QStringList schemes{QStringLiteral("http"), QStringLiteral("https"),
                                     QStringLiteral("mailto"), QStringLiteral("tel")};
    const bool leadsSomewhere = url.scheme().startsWith(QStringLiteral("http"))
                                    ? !url.host().isEmpty()
                                    : !url.path().isEmpty();
    return url.isValid() && schemes.contains(url.scheme()) && leadsSomewhere;
}

// At most so many bytes of UTF-8, at a whole character.
QString beginningOf(const QString &text, qsizetype bytes) {
    QString beginning = text.first(std::min(text.size(), bytes));
    while (beginning.toUtf8().size() > bytes)
        beginning.chop(std::max<qsizetype>((beginning.toUtf8().size() - bytes) / 3, 1));
    if (beginning.size() < text.size() && !beginning.isEmpty() &&
        beginning.back().isHighSurrogate())
        beginning.chop(1);
    return beginning;
}

void describePicture(ZRKClipmuleDataItem &item, const QByteArray &bytes) {
    const auto description = ImageCodec::describe(bytes);
    const QString type = ImageCodec::typeOf(bytes);
    item.setPersistentCacheValueForKey(PropertyList(type), pictureTypeKey);
    item.setPersistentCacheValueForKey(PropertyList(qint64(bytes.size())), pictureSizeKey);
    if (description && description->size.isValid()) {
        item.setPersistentCacheValueForKey(PropertyList(qint64(description->size.width())),
                                           pictureWidthKey);
        item.setPersistentCacheValueForKey(PropertyList(qint64(description->size.height())),
                                           pictureHeightKey);
    }
}

qint64 number(const ZRKClipmuleDataItem &item, const QString &key) {
    const auto value = item.persistentCacheValueForKey(key);
    return value ? value->integerValue(0) : 0;
}

std::shared_ptr<ZRKClipmuleDataItem> pictureItem(const ZRKClipmuleData &clip) {
    const auto &items = clip.items();
    const auto found = std::find_if(items.begin(), items.end(),
                                    [](const auto &item) { return item->hasImageData(); });
    return found == items.end() ? nullptr : *found;
}

// The first one that a page opens.
QString linkOf(const ZRKClipmuleData &clip) {
    for (const auto &item : clip.items()) {
        if (item->url() && isLink(*item->url()))
            return item->urlText();
    }
    return {};
}

// Milliseconds of the Unix clock. The date comes from elsewhere and may be none.
qint64 timeOf(const ZRKClipmuleData &clip) {
    const double now = Date::now().secondsSinceReference;
    double seconds = clip.creationDate().value_or(Date{now}).secondsSinceReference;
    if (!(std::abs(seconds) < 1e11) || seconds > now)
        seconds = now;
    return std::llround((seconds + Date::unixTimeOfReference) * 1000.0);
}

qsizetype jsonSize(const QJsonObject &object) {
    return QJsonDocument(object).toJson(QJsonDocument::Compact).size();
}

} // namespace

std::shared_ptr<ZRKClipmuleData> reduced(const ZRKClipmuleData &clip) {
    ZRKClipmuleData::Items items;
    bool hasPicture = false;
    for (const auto &item : clip.items()) {
        const auto kept = std::make_shared<ZRKClipmuleDataItem>();
        kept->setCreatedBy(item->createdBy());
        kept->setString(item->string());
        if (item->url())
            kept->setURL(*item->url());
        const auto picture = hasPicture ? std::nullopt : item->imageData();
        if (picture && !ImageCodec::typeOf(*picture).isEmpty()) {
            kept->setImageData(picture);
            describePicture(*kept, *picture);
            hasPicture = true;
        }
        if (kept->hasString() || kept->hasURL() || kept->hasImageData())
            items.append(kept);
    }
    if (items.isEmpty())
        return nullptr;
    auto result = ZRKClipmuleData::initWithItems(items);
    result->setTitle(clip.title());
    result->setCreationDate(clip.creationDate());
    return result;
}

QString textOf(const ZRKClipmuleData &clip) {
    QStringList texts;
    for (const auto &item : clip.items()) {
        if (item->hasString())
            texts.append(*item->string());
        else if (item->hasURL())
            texts.append(item->urlText());
    }
    return texts.join(u'\n');
}

std::optional<QByteArray> pictureOf(const ZRKClipmuleData &clip) {
    const auto item = pictureItem(clip);
    return item ? item->imageData() : std::nullopt;
}

void setOrigin(ZRKClipmuleData &clip, const QString &from) {
    clip.firstItem()->setPersistentCacheValueForKey(PropertyList(from), originKey);
}

void setForOtherPhones(ZRKClipmuleData &clip, bool isFor) {
    clip.firstItem()->setPersistentCacheValueForKey(PropertyList(isFor), relayKey);
}

bool isForOtherPhones(const ZRKClipmuleData &clip) {
    const auto value = clip.firstItem()->persistentCacheValueForKey(relayKey);
    return value && value->boolValue(false);
}

QJsonObject described(const ZRKClipmuleData &clip) {
    const QString text = textOf(clip);
    const auto picture = pictureItem(clip);
    const QString link = linkOf(clip);
    QJsonObject object{{QStringLiteral("id"), clip.oid()},
                       {QStringLiteral("at"), timeOf(clip)},
                       {QStringLiteral("length"), text.size()}};
    const auto origin = clip.firstItem()->persistentCacheValueForKey(originKey);
    object.insert(QStringLiteral("from"), origin ? origin->string(QString()) : QString());
    QString kind = QStringLiteral("text");
    if (picture) {
        kind = QStringLiteral("picture");
        object.insert(
            QStringLiteral("picture"),
            QJsonObject{{QStringLiteral("type"), picture->persistentCacheValueForKey(pictureTypeKey)
                                                     .value_or(PropertyList(QString()))
                                                     .string(QString())},
                        {QStringLiteral("size"), number(*picture, pictureSizeKey)},
                        {QStringLiteral("width"), number(*picture, pictureWidthKey)},
                        {QStringLiteral("height"), number(*picture, pictureHeightKey)}});
    } else if (!link.isEmpty() && link.toUtf8().size() <= longestLink) {
        kind = QStringLiteral("link");
    } else if (text.isEmpty()) {
        kind = QStringLiteral("other");
    }
    object.insert(QStringLiteral("kind"), kind);
    if (kind == QStringLiteral("link"))
        object.insert(QStringLiteral("url"), link);
    if (clip.title())
        object.insert(QStringLiteral("title"), beginningOf(*clip.title(), longestTitle));
    // A control character takes six bytes in JSON: then the page gets less of the text.
    for (qsizetype bytes = largestInline; !text.isEmpty() && bytes > 0; bytes /= 2) {
        object.insert(QStringLiteral("text"), beginningOf(text, bytes));
        if (jsonSize(object) <= largestDescription)
            break;
    }
    return object;
}

std::shared_ptr<ZRKClipmuleData> ofText(const QString &text) {
    const QString trimmed = text.trimmed();
    const QUrl url = urlFromForeignText(trimmed, QUrl::StrictMode);
    const bool hasBlank = std::any_of(trimmed.begin(), trimmed.end(),
                                      [](QChar character) { return character.isSpace(); });
    if (hasBlank || !isLink(url))
        return ZRKClipmuleData::initWithString(text);
    const auto item = std::make_shared<ZRKClipmuleDataItem>();
    item->setURL(url);
    return ZRKClipmuleData::initWithItems({item});
}

std::shared_ptr<ZRKClipmuleData> ofPicture(const QByteArray &bytes) {
    return ImageCodec::describe(bytes) ? ZRKClipmuleData::initWithImageData(bytes) : nullptr;
}

} // namespace clipmule::PageClip
