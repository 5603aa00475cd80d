// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/archive/Coding.h"
#include "platform/foundation/ForeignUrl.h"

/// The forms of a record: an item, a clip, a clipboard. A record lists its fields once, for
/// whatever form it is given, which then writes or reads them; a form passes over what is not for
/// it.
namespace clipmule::RecordForms {

/// A URL, and the text it was made from. One that is not valid, or not any more, is read as none.
struct UrlText {
    std::optional<QUrl> url;
    QString text;
};

template <typename Value>
using Objects = QList<std::shared_ptr<Value>>;

using BytesByType = QMap<QString, QByteArray>;
/// Raises a PlatformException when it is anything but a dictionary of bytes.
[[nodiscard]] inline BytesByType bytesOf(const PropertyList &dictionary) {
    BytesByType bytesByType;
    for (const auto &[type, bytes] : dictionary.dictionary().asKeyValueRange())
        bytesByType.insert(type, bytes.data());
    return bytesByType;
}

/// What the four have in common: fields that are members of the record, and fields that it says by
/// one function and takes by another.
template <typename Form, bool isArchive>
struct Fields {
    template <typename Member>
    void both(const QString &key, Member &member) {
        both(
            key, [&] { return member; }, [&](auto value) { member = value; });
    }
    void both(const QString &key, auto say, auto take) {
        static_cast<Form *>(this)->field(key, say, take);
    }
    template <typename... Ways>
    void archived(const QString &key, Ways &&...ways) {
        if constexpr (isArchive)
            both(key, ways...);
    }
    /// Is in archives with keys alone.
    void keyed(const QString &key, auto &member) {
        if constexpr (isArchive) {
            if (static_cast<Form *>(this)->coder.allowsKeyedCoding())
                both(key, member);
        }
    }
    void inDictionary(const QString &key, auto say, auto take) {
        if constexpr (!isArchive)
            both(key, say, take);
    }
};

struct ArchiveWriter : Fields<ArchiveWriter, true> {
    explicit ArchiveWriter(Encoder &encoder)
        : coder(encoder) {}
    void field(const QString &key, auto say, auto) { write(say(), key); }
    void write(bool value, const QString &key) { coder.encodeBool(value, key); }
    void write(qint64 value, const QString &key) { coder.encodeInteger(value, key); }
    void write(const UrlText &url, const QString &key) {
        coder.encodeObject(url.url ? ArchiveValue(*url.url, url.text) : ArchiveValue(), key);
    }
    void write(const auto &value, const QString &key) { coder.encodeObject(value, key); }
    Encoder &coder;
};

struct ArchiveReader : Fields<ArchiveReader, true> {
    explicit ArchiveReader(Decoder &decoder)
        : coder(decoder) {}
    void field(const QString &key, auto say, auto take) {
        decltype(say()) value{};
        read(value, key);
        take(std::move(value));
    }
    void read(bool &value, const QString &key) { value = coder.decodeBool(key); }
    void read(qint64 &value, const QString &key) { value = coder.decodeInteger(key); }
    void read(std::optional<quint32> &value, const QString &key) {
        if (const auto number = coder.decodeNumber(key))
            value = quint32(number->unsignedValue());
    }
    void read(std::optional<QString> &value, const QString &key) {
        value = coder.decodeString(key);
    }
    void read(std::optional<Date> &value, const QString &key) { value = coder.decodeDate(key); }
    void read(UrlText &value, const QString &key) {
        const ArchiveValue url = coder.decodeObject(key);
        value = {url.url(), url.urlText()};
    }
    void read(PropertyList::Dictionary &value, const QString &key) {
        if (const auto list = coder.decodePropertyList(key))
            value = list->dictionary();
    }
    template <typename T>
    void read(Objects<T> &value, const QString &key) {
        value = coder.decodeObjectsOfClass<T>(key).value_or(Objects<T>());
    }
    Decoder &coder;
};

struct DictionaryWriter : Fields<DictionaryWriter, false> {
    void field(const QString &key, auto say, auto) { write(say(), key); }
    void write(const PropertyList &value, const QString &key) { dictionary.insert(key, value); }
    void write(const std::optional<BytesByType> &value, const QString &key) {
        if (!value)
            return;
        PropertyList::Dictionary entries;
        for (const auto &[type, bytes] : value->asKeyValueRange())
            entries.insert(type, bytes);
        dictionary.insert(key, entries);
    }
    template <typename T>
    void write(const std::optional<T> &value, const QString &key) {
        if (value)
            dictionary.insert(key, *value);
    }
    void write(const UrlText &url, const QString &key) {
        if (url.url)
            dictionary.insert(key, url.text);
    }
    template <typename T>
    void write(const Objects<T> &objects, const QString &key) {
        PropertyList::List list;
        list.reserve(objects.size());
        for (const auto &object : objects)
            list.append(object->toDictionary());
        dictionary.insert(key, list);
    }
    PropertyList::Dictionary dictionary;
};

/// What is of the wrong kind raises a PlatformException.
struct DictionaryReader : Fields<DictionaryReader, false> {
    explicit DictionaryReader(const PropertyList::Dictionary &source)
        : dictionary(source) {}
    void field(const QString &key, auto say, auto take) {
        decltype(say()) value{};
        if (const PropertyList *const found = find(dictionary, key))
            read(value, *found);
        take(std::move(value));
    }
    static void read(qint64 &value, const PropertyList &found) { value = found.integerValue(); }
    static void read(std::optional<QString> &value, const PropertyList &found) {
        value = found.string();
    }
    static void read(std::optional<Date> &value, const PropertyList &found) {
        value = found.date();
    }
    static void read(std::optional<QByteArray> &value, const PropertyList &found) {
        value = found.data();
    }
    static void read(std::optional<BytesByType> &value, const PropertyList &found) {
        value = bytesOf(found);
    }
    static void read(UrlText &value, const PropertyList &found) {
        value = {urlFromForeignText(found.string(), QUrl::StrictMode), found.string()};
    }
    template <typename T>
    static void read(Objects<T> &value, const PropertyList &found) {
        for (const PropertyList &object : found.list())
            value.append(T::initWithDictionary(object.dictionary()));
    }
    const PropertyList::Dictionary &dictionary;
};

} // namespace clipmule::RecordForms
