// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "tools/ArchiveJson.h"

#include "platform/archive/KeyedUnarchiver.h"
#include "platform/foundation/PlatformException.h"
#include "platform/propertylist/TypedJson.h"

#include <QJsonArray>

#include <vector>

namespace clipmule {

namespace {

[[noreturn]] void refuse(const QString &reason) {
    throw PlatformException(QStringLiteral("InvalidArchive"), reason);
}

/// Shows each object once, in full where it is met first.
class ArchiveWalk {
public:
    ArchiveWalk(const PropertyList::List &objects, JsonBudget &budget)
        : _objects(objects)
        , _budget(budget)
        , _wasShown(size_t(objects.size())) {}

    QJsonObject value(const PropertyList &value, int depth) {
        if (depth >= KeyedUnarchiver::maximumDepth)
            refuse(QStringLiteral("objects nested too deeply"));
        const auto *reference = value.as<PropertyList::Uid>();
        if (reference)
            return object(reference->value, depth);
        if (const auto *list = value.as<PropertyList::List>()) {
            _budget.take(0);
            QJsonArray elements;
            for (const PropertyList &element : *list)
                elements.append(this->value(element, depth + 1));
            return {{QStringLiteral("array"), elements}};
        }
        _budget.take(value);
        return typedJson(value);
    }

private:
    const PropertyList &at(quint32 number) const {
        if (number >= quint32(_objects.size()))
            refuse(QStringLiteral("a reference to no object"));
        return _objects[number];
    }

    QJsonObject object(quint32 number, int depth) {
        const PropertyList &object = at(number);
        const auto *record = object.as<PropertyList::Dictionary>();
        if (number != 0 && !record) {
            _budget.take(object);
            return typedJson(object);
        }
        _budget.take(0);
        if (number == 0)
            return {{QStringLiteral("nil"), true}};
        if (_wasShown[number])
            return {{QStringLiteral("reference"), qint64(number)}};
        _wasShown[number] = true;
        QJsonArray values;
        for (const auto &[key, element] : record->asKeyValueRange()) {
            if (key == u"$class")
                continue;
            _budget.take(key.size());
            values.append(QJsonArray{key, value(element, depth + 1)});
        }
        return {{QStringLiteral("object"), qint64(number)},
                {QStringLiteral("class"), className(*record)},
                {QStringLiteral("values"), values}};
    }

    QString className(const PropertyList::Dictionary &record) const {
        const auto *value = find(record, QStringLiteral("$class"));
        const auto *reference = value ? value->as<PropertyList::Uid>() : nullptr;
        if (!reference)
            refuse(QStringLiteral("an object without a class"));
        const auto *described = at(reference->value).as<PropertyList::Dictionary>();
        const auto *name = described ? find(*described, QStringLiteral("$classname")) : nullptr;
        if (!name || !name->isString())
            refuse(QStringLiteral("a class without a name"));
        return name->string();
    }

    const PropertyList::List &_objects;
    JsonBudget &_budget;
    std::vector<bool> _wasShown;
};

} // namespace

bool isKeyedArchive(const PropertyList &value) {
    const auto *dictionary = value.as<PropertyList::Dictionary>();
    const auto *archiver = dictionary ? find(*dictionary, QStringLiteral("$archiver")) : nullptr;
    return archiver && *archiver == PropertyList(QStringLiteral("NSKeyedArchiver"));
}

QJsonObject archiveJson(const PropertyList &archive, JsonBudget budget) {
    if (!isKeyedArchive(archive))
        refuse(QStringLiteral("not a keyed archive"));
    const auto *objects = archive.find(QStringLiteral("$objects"));
    const auto *top = archive.find(QStringLiteral("$top"));
    if (!objects || !objects->isList() || !top || !top->isDictionary())
        refuse(QStringLiteral("a keyed archive without objects"));
    ArchiveWalk walk(objects->list(), budget);
    QJsonObject json;
    for (const auto &[key, value] : top->dictionary().asKeyValueRange())
        json.insert(key, walk.value(value, 0));
    return json;
}

QJsonObject valueJson(const ArchiveValue &value, JsonBudget &budget) {
    if (const auto *leaf = value.as<PropertyList>())
        budget.take(*leaf);
    else
        budget.take(value.urlText().size());
    switch (value.kind()) {
    case ArchiveValue::Kind::Nil:
    case ArchiveValue::Kind::Object:
        return {{QStringLiteral("nil"), true}};
    case ArchiveValue::Kind::Null:
        return {{QStringLiteral("null"), true}};
    case ArchiveValue::Kind::Leaf:
        return typedJson(*value.as<PropertyList>());
    case ArchiveValue::Kind::Url:
        return {{QStringLiteral("url"), value.urlText()}};
    case ArchiveValue::Kind::List: {
        QJsonArray elements;
        for (const ArchiveValue &element : *value.as<ArchiveValue::List>())
            elements.append(valueJson(element, budget));
        return {{QStringLiteral("array"), elements}};
    }
    case ArchiveValue::Kind::Dictionary: {
        QJsonArray entries;
        for (const auto &[key, element] : value.as<ArchiveValue::Dictionary>()->asKeyValueRange()) {
            budget.take(key.size());
            entries.append(QJsonArray{key, valueJson(element, budget)});
        }
        return {{QStringLiteral("dict"), entries}};
    }
    }
    Q_UNREACHABLE();
}

} // namespace clipmule
