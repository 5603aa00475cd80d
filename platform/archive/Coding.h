// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/archive/ArchiveValue.h"

#include <functional>

namespace clipmule {

class Decoder;
class Encoder;

/// An object that writes itself into an archive and fills itself from one. It travels by identity:
/// an archive holds it once, however often it is referred to, and it may refer to itself.
class Coding {
public:
    Coding() = default;
    virtual ~Coding() = default;
    Q_DISABLE_COPY_MOVE(Coding)

    /// The name of the class in archives, then those of its superclasses, "NSObject" the last.
    [[nodiscard]] virtual QStringList archivedClassNames() const = 0;
    /// Every key at most once.
    virtual void encodeWithCoder(Encoder &coder) = 0;
    /// Fills a bare object. A value of the wrong kind raises a PlatformException. In a cycle, an
    /// object that is asked for may still be filled.
    virtual void initWithCoder(Decoder &coder) = 0;
};

/// The classes that an archive may hold, by name: makes a bare object, to be filled by
/// initWithCoder().
using CodingClasses = QHash<QString, std::function<std::shared_ptr<Coding>()>>;

/// Takes the values of one object. An archive without keys ("sequential") stores the same values in
/// the order of the calls.
class Encoder {
public:
    Encoder() = default;
    virtual ~Encoder() = default;
    Q_DISABLE_COPY_MOVE(Encoder)

    [[nodiscard]] virtual bool allowsKeyedCoding() const = 0;
    virtual void encodeObject(const ArchiveValue &value, const QString &key) = 0;
    virtual void encodeBool(bool value, const QString &key) = 0;
    /// A machine word.
    virtual void encodeInteger(qint64 value, const QString &key) = 0;
    virtual void encodeReal(double value, const QString &key) = 0;
    virtual void encodeBytes(const QByteArray &value, const QString &key) = 0;
};

/// Gives the values of one object back. Everything raises a PlatformException named
/// "InvalidArchive" when the archive holds something else.
class Decoder {
public:
    Decoder() = default;
    virtual ~Decoder() = default;
    Q_DISABLE_COPY_MOVE(Decoder)

    [[nodiscard]] virtual bool allowsKeyedCoding() const = 0;
    /// Also true for a value that is nil. Always false in an archive without keys.
    [[nodiscard]] virtual bool containsValueForKey(const QString &key) const = 0;
    // A missing key is nil, false, 0, or no bytes.
    [[nodiscard]] virtual ArchiveValue decodeObject(const QString &key) = 0;
    [[nodiscard]] virtual bool decodeBool(const QString &key) = 0;
    [[nodiscard]] virtual qint64 decodeInteger(const QString &key) = 0;
    [[nodiscard]] virtual double decodeReal(const QString &key) = 0;
    [[nodiscard]] virtual QByteArray decodeBytes(const QString &key) = 0;

    // decodeObject() for one kind; nothing for nil.
    [[nodiscard]] std::optional<QString> decodeString(const QString &key) {
        return decodeObject(key).string();
    }
    [[nodiscard]] std::optional<QUrl> decodeUrl(const QString &key) {
        return decodeObject(key).url();
    }
    [[nodiscard]] std::optional<Date> decodeDate(const QString &key) {
        return decodeObject(key).date();
    }
    [[nodiscard]] std::optional<QByteArray> decodeData(const QString &key) {
        return decodeObject(key).data();
    }
    /// A number object: an integer, a real or a boolean.
    [[nodiscard]] std::optional<PropertyList> decodeNumber(const QString &key) {
        return decodeObject(key).number();
    }
    /// Lists and dictionaries of property-list values.
    [[nodiscard]] std::optional<PropertyList> decodePropertyList(const QString &key) {
        return decodeObject(key).propertyList();
    }
    /// An object of the class; null for nil.
    template <typename T>
    [[nodiscard]] std::shared_ptr<T> decodeObjectOfClass(const QString &key) {
        return decodeObject(key).template objectOfClass<T>();
    }
    /// A list whose elements are all of the class.
    template <typename T>
    [[nodiscard]] std::optional<QList<std::shared_ptr<T>>>
    decodeObjectsOfClass(const QString &key) {
        return decodeObject(key).template objectsOfClass<T>();
    }
};

} // namespace clipmule
