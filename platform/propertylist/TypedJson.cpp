// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/propertylist/TypedJson.h"

#include "platform/foundation/PlatformException.h"

#include <QJsonArray>

#include <array>
#include <charconv>
#include <cmath>

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
