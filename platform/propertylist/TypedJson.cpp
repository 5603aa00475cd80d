// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/propertylist/TypedJson.h"

#include "platform/propertylist/PropertyListSerialization.h"

#include <QJsonArray>

#include <array>
#include <charconv>
#include <cmath>
#include <limits>

namespace clipmule {

namespace {

QString textOfReal(double real) {
    if (std::isnan(real))
        return QStringLiteral("nan");
    std::array<char, 32> text{};
    const auto end =
        std::to_chars(text.begin(), text.end(), real, std::chars_format::general, 17).ptr;
    return QString::fromLatin1(text.begin(), end - text.begin());
}

/// The number that a text consists of; nothing when the text has anything else in it.
template <typename Number>
std::optional<Number> numberOfText(const QJsonValue &json) {
    const QByteArray text = json.toString().toLatin1();
    Number number{};
    const auto read = std::from_chars(text.begin(), text.end(), number);
    if (read.ec != std::errc() || read.ptr != text.end())
        return std::nullopt;
    return number;
}

template <typename Number>
std::optional<PropertyList> valueOfText(const QJsonValue &json) {
    const auto number = numberOfText<Number>(json);
    return number ? std::optional<PropertyList>(*number) : std::nullopt;
}

std::optional<PropertyList> read(const QJsonValue &json, int depth);

std::optional<PropertyList> readInteger(const QJsonValue &json) {
    const auto integer = valueOfText<qint64>(json);
    return integer ? integer : valueOfText<quint64>(json);
}

std::optional<PropertyList> readDate(const QJsonValue &json) {
    const auto seconds = numberOfText<double>(json);
    return seconds ? std::optional<PropertyList>(Date{*seconds}) : std::nullopt;
}

std::optional<PropertyList> readData(const QJsonValue &json) {
    const QByteArray digits = json.toString().toLatin1();
    const QByteArray data = QByteArray::fromHex(digits);
    return data.toHex() == digits ? std::optional<PropertyList>(data) : std::nullopt;
}

std::optional<PropertyList> readUid(const QJsonValue &json) {
    const double number = json.toDouble(-1);
    if (number < 0 || number > std::numeric_limits<quint32>::max() || number != std::floor(number))
        return std::nullopt;
    return PropertyList::Uid{quint32(number)};
}

std::optional<PropertyList> readArray(const QJsonArray &json, int depth) {
    PropertyList::List list;
    for (const QJsonValue &element : json) {
        const auto value = read(element, depth);
        if (!value)
            return std::nullopt;
        list.append(*value);
    }
    return list;
}

std::optional<PropertyList> readDictionary(const QJsonArray &json, int depth) {
    PropertyList::Dictionary dictionary;
    for (const QJsonValue &entry : json) {
        const QJsonArray pair = entry.toArray();
        const auto value =
            pair.size() == 2 && pair[0].isString() ? read(pair[1], depth) : std::nullopt;
        if (!value)
            return std::nullopt;
        dictionary.insert(pair[0].toString(), *value);
    }
    return dictionary;
}

std::optional<PropertyList> read(const QJsonValue &json, int depth) {
    const QJsonObject object = json.toObject();
    if (object.size() != 1)
        return std::nullopt;
    const QString kind = object.begin().key();
    const QJsonValue content = object.begin().value();
    if (kind == u"bool" && content.isBool())
        return content.toBool();
    if (kind == u"uid")
        return readUid(content);
    if (content.isString()) {
        if (kind == u"string")
            return content.toString();
        if (kind == u"integer")
            return readInteger(content);
        if (kind == u"real")
            return valueOfText<double>(content);
        if (kind == u"date")
            return readDate(content);
        if (kind == u"data")
            return readData(content);
    }
    if (content.isArray() && depth < PropertyListSerialization::maximumDepth) {
        if (kind == u"array")
            return readArray(content.toArray(), depth + 1);
        if (kind == u"dict")
            return readDictionary(content.toArray(), depth + 1);
    }
    return std::nullopt;
}

QJsonArray arrayOf(const PropertyList::List &list) {
    QJsonArray array;
    for (const PropertyList &element : list)
        array.append(typedJson(element));
    return array;
}

QJsonArray arrayOf(const PropertyList::Dictionary &dictionary) {
    QJsonArray array;
    for (const auto &[key, value] : dictionary.asKeyValueRange())
        array.append(QJsonArray{key, typedJson(value)});
    return array;
}

} // namespace

QJsonObject typedJson(const PropertyList &value) {
    switch (value.kind()) {
    case PropertyList::Kind::String:
        return {{QStringLiteral("string"), value.string()}};
    case PropertyList::Kind::Boolean:
        return {{QStringLiteral("bool"), value.boolean()}};
    case PropertyList::Kind::Integer:
        return {{QStringLiteral("integer"), QString::number(value.integerValue())}};
    case PropertyList::Kind::UnsignedInteger:
        return {{QStringLiteral("integer"), QString::number(value.unsignedValue())}};
    case PropertyList::Kind::Real:
        return {{QStringLiteral("real"), textOfReal(value.real())}};
    case PropertyList::Kind::Date:
        return {{QStringLiteral("date"), textOfReal(value.date().secondsSinceReference)}};
    case PropertyList::Kind::Data:
        return {{QStringLiteral("data"), QString::fromLatin1(value.data().toHex())}};
    case PropertyList::Kind::List:
        return {{QStringLiteral("array"), arrayOf(value.list())}};
    case PropertyList::Kind::Dictionary:
        return {{QStringLiteral("dict"), arrayOf(value.dictionary())}};
    case PropertyList::Kind::Uid:
        return {{QStringLiteral("uid"), qint64(value.uid().value)}};
    }
    Q_UNREACHABLE();
}

std::optional<PropertyList> propertyListFromTypedJson(const QJsonValue &json) {
    return read(json, 0);
}

} // namespace clipmule
