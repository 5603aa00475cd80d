// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/archive/Coding.h"

namespace clipmule::kit {

// The classes of the clipboard files, reduced to what their archives hold.

inline QString textOf(const ArchiveValue &value) {
    if (const auto *object = value.as<std::shared_ptr<Coding>>())
        return (*object)->archivedClassNames().value(0);
    if (const auto *list = value.as<ArchiveValue::List>()) {
        QStringList texts;
        for (const auto &element : *list)
            texts.append(textOf(element));
        return u'(' + texts.join(QStringLiteral(", ")) + u')';
    }
    if (const auto *dictionary = value.as<ArchiveValue::Dictionary>()) {
        QStringList texts;
        for (const auto &[key, element] : dictionary->asKeyValueRange())
            texts.append(key + QStringLiteral(": ") + textOf(element));
        return u'{' + texts.join(QStringLiteral(", ")) + u'}';
    }
    if (const auto *url = value.as<QUrl>())
        return u'<' + QString::fromLatin1(url->toEncoded()) + u'>';
    if (const auto *leaf = value.as<PropertyList>()) {
        if (const auto *date = leaf->as<Date>())
            return QString::number(date->secondsSinceReference, 'g', 17) + u's';
        return leaf->description();
    }
    return value.isNil() ? QStringLiteral("nil") : QStringLiteral("null");
}

struct ArchivedItem final : Coding {
    std::optional<QString> oid;
    std::optional<PropertyList> imageDataHash;
    std::optional<QString> string;
    std::optional<QUrl> url;
    bool hasImageData = false;
    bool hasNativeDictionary = false;
    std::optional<PropertyList> cacheDictionary;
    qint64 cacheVersion = 0;
    qint64 createdBy = 0;

    [[nodiscard]] QStringList archivedClassNames() const override {
        return {QStringLiteral("ZRKClipmuleDataItem"), QStringLiteral("NSObject")};
    }
    void encodeWithCoder(Encoder &coder) override {
        coder.encodeObject(oid, QStringLiteral("oid"));
        coder.encodeObject(imageDataHash, QStringLiteral("imageDataHash"));
        coder.encodeObject(string, QStringLiteral("string"));
        coder.encodeObject(url, QStringLiteral("url"));
        coder.encodeBool(hasImageData, QStringLiteral("hasImageData"));
        coder.encodeBool(hasNativeDictionary, QStringLiteral("hasNativeDictionary"));
        if (coder.allowsKeyedCoding())
            coder.encodeObject(cacheDictionary, QStringLiteral("cacheDictionary"));
        coder.encodeInteger(cacheVersion, QStringLiteral("cacheVersion"));
        coder.encodeInteger(createdBy, QStringLiteral("createdBy"));
    }
    void initWithCoder(Decoder &coder) override {
        oid = coder.decodeString(QStringLiteral("oid"));
        imageDataHash = coder.decodeNumber(QStringLiteral("imageDataHash"));
        string = coder.decodeString(QStringLiteral("string"));
        url = coder.decodeUrl(QStringLiteral("url"));
        hasImageData = coder.decodeBool(QStringLiteral("hasImageData"));
        hasNativeDictionary = coder.decodeBool(QStringLiteral("hasNativeDictionary"));
        if (coder.allowsKeyedCoding())
            cacheDictionary = coder.decodePropertyList(QStringLiteral("cacheDictionary"));
        cacheVersion = coder.decodeInteger(QStringLiteral("cacheVersion"));
        createdBy = coder.decodeInteger(QStringLiteral("createdBy"));
    }
    [[nodiscard]] QString text() const {
        return QStringLiteral("item %1 %2 %3 %4 image %5 native %6 cache %7 version %8 by %9")
            .arg(textOf(oid), textOf(imageDataHash), textOf(string), textOf(url))
            .arg(int(hasImageData))
            .arg(int(hasNativeDictionary))
            .arg(textOf(cacheDictionary))
            .arg(cacheVersion)
            .arg(createdBy);
    }
};

struct ArchivedClip final : Coding {
    std::optional<QString> oid;
    std::optional<Date> creationDate;
    std::optional<QString> title;
    std::optional<QList<std::shared_ptr<ArchivedItem>>> items;
    std::optional<qint64> createdBy;

    [[nodiscard]] QStringList archivedClassNames() const override {
        return {QStringLiteral("ZRKClipmuleData"), QStringLiteral("NSObject")};
    }
    void encodeWithCoder(Encoder &coder) override {
        coder.encodeObject(oid, QStringLiteral("oid"));
        coder.encodeObject(creationDate, QStringLiteral("creationDate"));
        coder.encodeObject(title, QStringLiteral("title"));
        coder.encodeObject(items, QStringLiteral("items"));
    }
    void initWithCoder(Decoder &coder) override {
        oid = coder.decodeString(QStringLiteral("oid"));
        creationDate = coder.decodeDate(QStringLiteral("creationDate"));
        title = coder.decodeString(QStringLiteral("title"));
        items = coder.decodeObjectsOfClass<ArchivedItem>(QStringLiteral("items"));
        if (coder.containsValueForKey(QStringLiteral("createdBy")))
            createdBy = coder.decodeInteger(QStringLiteral("createdBy"));
    }
    [[nodiscard]] QString text() const {
        QString result =
            QStringLiteral("clip %1 %2 %3").arg(textOf(oid), textOf(creationDate), textOf(title));
        if (createdBy)
            result += QStringLiteral(" by %1").arg(*createdBy);
        for (const auto &item : items.value_or(QList<std::shared_ptr<ArchivedItem>>()))
            result += QStringLiteral("\n  ") + item->text();
        return result;
    }
};

struct ArchivedClipboard final : Coding {
    std::optional<QString> oid;
    std::optional<QString> title;
    std::optional<QString> iconName;
    std::optional<PropertyList> count;

    [[nodiscard]] QStringList archivedClassNames() const override {
        return {QStringLiteral("ZRKClipmuleClipboard"), QStringLiteral("NSObject")};
    }
    void encodeWithCoder(Encoder &coder) override {
        coder.encodeObject(oid, QStringLiteral("oid"));
        coder.encodeObject(title, QStringLiteral("title"));
        coder.encodeObject(iconName, QStringLiteral("iconName"));
        coder.encodeObject(count, QStringLiteral("count"));
    }
    void initWithCoder(Decoder &coder) override {
        oid = coder.decodeString(QStringLiteral("oid"));
        title = coder.decodeString(QStringLiteral("title"));
        iconName = coder.decodeString(QStringLiteral("iconName"));
        count = coder.decodeNumber(QStringLiteral("count"));
    }
    [[nodiscard]] QString text() const {
        return QStringLiteral("clipboard %1 %2 %3 %4")
            .arg(textOf(oid), textOf(title), textOf(iconName), textOf(count));
    }
};

inline CodingClasses archivedClasses() {
    return {
        {QStringLiteral("ZRKClipmuleDataItem"), [] { return std::make_shared<ArchivedItem>(); }},
        {QStringLiteral("ZRKClipmuleData"), [] { return std::make_shared<ArchivedClip>(); }},
        {QStringLiteral("ZRKClipmuleClipboard"),
         [] { return std::make_shared<ArchivedClipboard>(); }}};
}

/// The root of an archive, one line an object.
inline QString describe(const ArchiveValue &root) {
    if (const auto *list = root.as<ArchiveValue::List>()) {
        QStringList lines;
        for (const auto &element : *list)
            lines.append(describe(element));
        return lines.join(u'\n');
    }
    const auto *object = root.as<std::shared_ptr<Coding>>();
    if (const auto *item = object ? dynamic_cast<ArchivedItem *>(object->get()) : nullptr)
        return item->text();
    if (const auto *clip = object ? dynamic_cast<ArchivedClip *>(object->get()) : nullptr)
        return clip->text();
    if (const auto *board = object ? dynamic_cast<ArchivedClipboard *>(object->get()) : nullptr)
        return board->text();
    return textOf(root);
}

} // namespace clipmule::kit
