// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/archive/ArchiveValue.h"

#include "platform/archive/Coding.h"
#include "platform/archive/ExpansionAccount.h"

#include <algorithm>

namespace clipmule {

ArchiveValue::ArchiveValue(const PropertyList &value) {
    if (const auto *elements = value.as<PropertyList::List>()) {
        _value = List(elements->begin(), elements->end());
    } else if (const auto *entries = value.as<PropertyList::Dictionary>()) {
        Dictionary dictionary;
        for (const auto &[key, element] : entries->asKeyValueRange())
            dictionary.insert(key, element);
        _value = std::move(dictionary);
    } else {
        _value = value;
    }
}

void ArchiveValue::raiseUnexpected(const QString &expected) const {
    const auto found = [this] {
        switch (kind()) {
        case Kind::Nil:
            return QStringLiteral("nil");
        case Kind::Leaf:
            return PropertyList::nameOfKind(as<PropertyList>()->kind());
        case Kind::Url:
            return QStringLiteral("a URL");
        case Kind::Object:
            return (*as<std::shared_ptr<Coding>>())->archivedClassNames().value(0);
        case Kind::List:
            return QStringLiteral("a list");
        case Kind::Dictionary:
            return QStringLiteral("a dictionary");
        case Kind::Null:
            return QStringLiteral("a null object");
        }
        Q_UNREACHABLE();
    };
    refuseArchive(QStringLiteral("the archive holds %1 instead of %2").arg(found(), expected));
}

const PropertyList *ArchiveValue::leafOf(std::initializer_list<PropertyList::Kind> kinds,
                                         const QString &expected) const {
    if (isNil())
        return nullptr;
    const auto *leaf = as<PropertyList>();
    if (!leaf || std::find(kinds.begin(), kinds.end(), leaf->kind()) == kinds.end())
        raiseUnexpected(expected);
    return leaf;
}

std::optional<QString> ArchiveValue::string() const {
    const auto *leaf = leafOf({PropertyList::Kind::String}, QStringLiteral("a string"));
    return leaf ? std::optional(leaf->string()) : std::nullopt;
}

std::optional<clipmule::Date> ArchiveValue::date() const {
    const auto *leaf = leafOf({PropertyList::Kind::Date}, QStringLiteral("a date"));
    return leaf ? std::optional(leaf->date()) : std::nullopt;
}

std::optional<QByteArray> ArchiveValue::data() const {
    const auto *leaf = leafOf({PropertyList::Kind::Data}, QStringLiteral("data"));
    return leaf ? std::optional(leaf->data()) : std::nullopt;
}

std::optional<PropertyList> ArchiveValue::number() const {
    using LeafKind = PropertyList::Kind;
    const auto *leaf =
        leafOf({LeafKind::Boolean, LeafKind::Integer, LeafKind::UnsignedInteger, LeafKind::Real},
               QStringLiteral("a number"));
    return leaf ? std::optional(*leaf) : std::nullopt;
}

std::optional<QUrl> ArchiveValue::url() const {
    if (isNil())
        return std::nullopt;
    const auto *url = as<QUrl>();
    if (!url)
        raiseUnexpected(QStringLiteral("a URL"));
    return *url;
}

QString ArchiveValue::urlText() const {
    const auto *url = std::get_if<Url>(&_value);
    if (!url)
        return {};
    return url->text.isEmpty() ? QString::fromLatin1(url->url.toEncoded()) : url->text;
}

std::optional<PropertyList> ArchiveValue::propertyList() const {
    const auto convert = [](const ArchiveValue &value, const auto &self) -> PropertyList {
        if (const auto *leaf = value.as<PropertyList>())
            return *leaf;
        if (const auto *elements = value.as<List>()) {
            PropertyList::List list;
            list.reserve(elements->size());
            for (const ArchiveValue &element : *elements)
                list.append(self(element, self));
            return list;
        }
        const auto *entries = value.as<Dictionary>();
        if (!entries)
            value.raiseUnexpected(QStringLiteral("a property-list value"));
        PropertyList::Dictionary dictionary;
        for (const auto &[key, element] : entries->asKeyValueRange())
            dictionary.insert(key, self(element, self));
        return dictionary;
    };
    return isNil() ? std::nullopt : std::optional(convert(*this, convert));
}

} // namespace clipmule
