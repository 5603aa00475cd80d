// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/foundation/Date.h"

#include <QByteArray>
#include <QList>
#include <QMap>
#include <QString>

#include <optional>
#include <variant>

namespace clipmule {

/// A property-list value: one closed sum type, cheap to copy (its large parts are shared), compared
/// by value. There is no null: a value that may be missing is a std::optional or a pointer.
///
/// An integer is held signed where it fits and unsigned above that, so equal numbers are equal
/// values. 1, 1.0 and true are three different values.
class PropertyList {
public:
    using List = QList<PropertyList>;
    /// Sorted by the UTF-16 units of the keys, as it is written.
    using Dictionary = QMap<QString, PropertyList>;
    /// A reference inside a keyed archive.
    struct Uid {
        quint32 value = 0;
        friend bool operator==(const Uid &, const Uid &) = default;
    };
    enum class Kind {
        String,
        Boolean,
        Integer,
        UnsignedInteger,
        Real,
        Date,
        Data,
        List,
        Dictionary,
        Uid
    };

    /// An empty dictionary.
    PropertyList()
        : _value(Dictionary()) {}
    PropertyList(QString string)
        : _value(std::move(string)) {}
    PropertyList(QByteArray data)
        : _value(std::move(data)) {}
    PropertyList(List list)
        : _value(std::move(list)) {}
    PropertyList(Dictionary dictionary)
        : _value(std::move(dictionary)) {}
    PropertyList(clipmule::Date date)
        : _value(date) {}
    PropertyList(Uid uid)
        : _value(uid) {}
    // Exact types only, so that a pointer or a character never becomes a number or a truth value.
    template <std::same_as<bool> T>
    PropertyList(T boolean)
        : _value(boolean) {}
    template <std::floating_point T>
    PropertyList(T real)
        : _value(double(real)) {}
    template <typename T>
    requires(std::signed_integral<T> && !std::same_as<T, char>) PropertyList(T integer)
        : _value(qint64(integer)) {}
    template <typename T>
    requires(std::unsigned_integral<T> && !std::same_as<T, bool> && !std::same_as<T, char16_t>)
        PropertyList(T integer)
        : _value(fromUnsigned(integer)) {}

    [[nodiscard]] Kind kind() const { return Kind(_value.index()); }
    [[nodiscard]] bool isString() const { return kind() == Kind::String; }
    [[nodiscard]] bool isData() const { return kind() == Kind::Data; }
    [[nodiscard]] bool isDate() const { return kind() == Kind::Date; }
    [[nodiscard]] bool isList() const { return kind() == Kind::List; }
    [[nodiscard]] bool isDictionary() const { return kind() == Kind::Dictionary; }
    /// Integer, unsigned integer, real or boolean.
    [[nodiscard]] bool isNumber() const;

    // Checked access: a PlatformException named "InvalidArgument" when it is of another kind.
    [[nodiscard]] const QString &string() const;
    [[nodiscard]] const QByteArray &data() const;
    [[nodiscard]] clipmule::Date date() const;
    [[nodiscard]] const List &list() const;
    [[nodiscard]] const Dictionary &dictionary() const;
    [[nodiscard]] List &list();
    [[nodiscard]] Dictionary &dictionary();
    [[nodiscard]] bool boolean() const;
    [[nodiscard]] double real() const;
    [[nodiscard]] Uid uid() const;

    // The same with what is answered for any other kind.
    [[nodiscard]] QString string(const QString &otherwise) const;
    [[nodiscard]] List list(const List &otherwise) const;
    [[nodiscard]] Dictionary dictionary(const Dictionary &otherwise) const;

    // Access to an exact kind: null when it is of another.
    template <typename T>
    [[nodiscard]] const T *as() const {
        return std::get_if<T>(&_value);
    }

    // Numbers as the platform's number and string objects answer them: any number converts, a
    // string is read from its start ("12 apples" is 12, "YES" and "true" are true), any other kind
    // raises a PlatformException named "InvalidArgument".
    /// Truncated towards zero; wraps where it does not fit.
    [[nodiscard]] qint64 integerValue() const;
    [[nodiscard]] quint64 unsignedValue() const;
    [[nodiscard]] double doubleValue() const;
    [[nodiscard]] bool boolValue() const;
    // The same with what is answered for any other kind.
    [[nodiscard]] qint64 integerValue(qint64 otherwise) const;
    [[nodiscard]] double doubleValue(double otherwise) const;
    [[nodiscard]] bool boolValue(bool otherwise) const;

    /// The value under a key; null when the key is missing. InvalidArgument when this is no
    /// dictionary.
    [[nodiscard]] const PropertyList *find(const QString &key) const;

    /// Equal values have equal hashes within one run of the program.
    [[nodiscard]] size_t hash() const;

    /// The structure, for log lines: strings and bytes are cut to 64 units, lists and dictionaries
    /// to 16 entries and 4 levels.
    [[nodiscard]] QString description() const;
    /// "a string", "a dictionary" … for error texts.
    [[nodiscard]] static QString nameOfKind(Kind kind);

    friend bool operator==(const PropertyList &left, const PropertyList &right);

private:
    // The alternatives are in the order of Kind.
    using Value = std::variant<QString, bool, qint64, quint64, double, clipmule::Date, QByteArray,
                               List, Dictionary, Uid>;
    static Value fromUnsigned(quint64 integer);
    void describe(QString &text, int level) const;

    Value _value;
};

/// The value under a key of a dictionary; null when the key is missing.
[[nodiscard]] const PropertyList *find(const PropertyList::Dictionary &dictionary,
                                       const QString &key);
/// The same for a value of that exact kind; null also when it is of another.
template <typename T>
[[nodiscard]] const T *find(const PropertyList::Dictionary &dictionary, const QString &key) {
    const PropertyList *const value = find(dictionary, key);
    return value ? value->as<T>() : nullptr;
}

} // namespace clipmule
