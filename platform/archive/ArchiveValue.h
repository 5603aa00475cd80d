// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/foundation/PropertyList.h"

#include <QHash>
#include <QStringList>
#include <QUrl>

#include <concepts>
#include <memory>

namespace clipmule {

class Coding;

/// What stands in an archive where an object is expected: nil, a string, number, date or bytes, a
/// URL, an object of a class of ours, or a list or dictionary of these.
class ArchiveValue {
public:
    enum class Kind {
        Nil,
        Leaf,
        Url,
        Object,
        List,
        Dictionary,
        /// The object that stands for nothing inside lists and dictionaries.
        Null
    };
    struct NullObject {};
    using List = QList<ArchiveValue>;
    using Dictionary = QMap<QString, ArchiveValue>;

    ArchiveValue() = default;
    /// Lists and dictionaries are taken over element by element.
    ArchiveValue(const PropertyList &value);
    template <typename T>
    requires(!std::same_as<T, PropertyList> && std::constructible_from<PropertyList, T>)
        ArchiveValue(const T &value)
        : ArchiveValue(PropertyList(value)) {}
    ArchiveValue(QUrl url)
        : _value(Url{std::move(url), {}}) {}
    /// A URL that keeps the text it was made from.
    ArchiveValue(QUrl url, QString text)
        : _value(Url{std::move(url), std::move(text)}) {}
    ArchiveValue(NullObject null)
        : _value(null) {}
    ArchiveValue(List list)
        : _value(std::move(list)) {}
    ArchiveValue(Dictionary dictionary)
        : _value(std::move(dictionary)) {}
    /// A null pointer is nil.
    template <std::derived_from<Coding> T>
    ArchiveValue(const std::shared_ptr<T> &object) {
        if (object)
            _value = std::shared_ptr<Coding>(object);
    }
    /// An empty optional is nil.
    template <typename T>
    ArchiveValue(const std::optional<T> &value) {
        if (value)
            *this = ArchiveValue(*value);
    }
    template <typename T>
    requires(std::constructible_from<ArchiveValue, T> && !std::same_as<T, ArchiveValue> &&
             !std::same_as<T, PropertyList>) ArchiveValue(const QList<T> &values)
        : ArchiveValue(List(values.begin(), values.end())) {}
    template <typename T>
    requires(std::constructible_from<ArchiveValue, T> && !std::same_as<T, ArchiveValue> &&
             !std::same_as<T, PropertyList>) ArchiveValue(const QMap<QString, T> &entries)
        : _value(Dictionary()) {
        auto &dictionary = std::get<Dictionary>(_value);
        for (auto entry = entries.begin(); entry != entries.end(); ++entry)
            dictionary.insert(entry.key(), entry.value());
    }

    [[nodiscard]] Kind kind() const { return Kind(_value.index()); }
    [[nodiscard]] bool isNil() const { return kind() == Kind::Nil; }
    /// PropertyList (a leaf), QUrl, std::shared_ptr<Coding>, List, Dictionary; null when it is of
    /// another kind.
    template <typename T>
    [[nodiscard]] const T *as() const {
        if constexpr (std::same_as<T, QUrl>) {
            const auto *url = std::get_if<Url>(&_value);
            return url ? &url->url : nullptr;
        } else {
            return std::get_if<T>(&_value);
        }
    }
    /// The text that a URL was made from, else its encoded form. Empty for any other kind.
    [[nodiscard]] QString urlText() const;

    /// Lists and dictionaries are mutable unless said otherwise, which shows in the names of their
    /// classes and nowhere else.
    [[nodiscard]] ArchiveValue immutable() const {
        ArchiveValue copy = *this;
        copy._isMutable = false;
        return copy;
    }
    [[nodiscard]] bool isMutable() const { return _isMutable; }

    // What it holds, of one kind; nothing for nil. Any other kind raises a PlatformException named
    // "InvalidArchive".
    [[nodiscard]] std::optional<QString> string() const;
    [[nodiscard]] std::optional<QUrl> url() const;
    [[nodiscard]] std::optional<clipmule::Date> date() const;
    [[nodiscard]] std::optional<QByteArray> data() const;
    [[nodiscard]] std::optional<PropertyList> number() const;
    /// A leaf, or a list or dictionary of such.
    [[nodiscard]] std::optional<PropertyList> propertyList() const;
    template <typename T>
    [[nodiscard]] std::shared_ptr<T> objectOfClass() const {
        if (isNil())
            return nullptr;
        const auto *object = as<std::shared_ptr<Coding>>();
        auto result = object ? std::dynamic_pointer_cast<T>(*object) : nullptr;
        if (!result)
            raiseUnexpected(QStringLiteral("an object of another class"));
        return result;
    }
    template <typename T>
    [[nodiscard]] std::optional<QList<std::shared_ptr<T>>> objectsOfClass() const {
        if (isNil())
            return std::nullopt;
        const auto *list = as<List>();
        if (!list)
            raiseUnexpected(QStringLiteral("a list"));
        QList<std::shared_ptr<T>> objects;
        objects.reserve(list->size());
        for (const ArchiveValue &element : *list) {
            objects.append(element.objectOfClass<T>());
            if (!objects.last())
                element.raiseUnexpected(QStringLiteral("an object"));
        }
        return objects;
    }

private:
    struct Url {
        QUrl url;
        QString text;
    };

    [[noreturn]] void raiseUnexpected(const QString &expected) const;
    const PropertyList *leafOf(std::initializer_list<PropertyList::Kind> kinds,
                               const QString &expected) const;

    // The alternatives are in the order of Kind.
    std::variant<std::monostate, PropertyList, Url, std::shared_ptr<Coding>, List, Dictionary,
                 NullObject>
        _value;
    bool _isMutable = true;
};

} // namespace clipmule
