// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/archive/Coding.h"

#include <QList>

namespace clipmule {

/// One field of a record, and how each form of the record writes and reads it: a form that it is no
/// part of has no functions here. The forms of a record are made from the list of its fields.
template <typename Record>
struct RecordField {
    QString key;
    /// The archive, which takes the fields in the order of the list.
    void (*encode)(Record &, Encoder &, const QString &key) = nullptr;
    void (*decode)(Record &, Decoder &, const QString &key) = nullptr;
    /// The dictionary. Nothing is written, and null is read, where the record has no such value.
    /// What is of the wrong kind raises a PlatformException.
    std::optional<PropertyList> (*write)(const Record &) = nullptr;
    void (*read)(Record &, const PropertyList *) = nullptr;

    /// A field of either form whose value is a text, or nothing.
    template <std::optional<QString> Record::*text>
    [[nodiscard]] static RecordField ofText(const QString &key) {
        return {.key = key,
                .encode = [](Record &record, Encoder &coder,
                             const QString &own) { coder.encodeObject(record.*text, own); },
                .decode = [](Record &record, Decoder &coder,
                             const QString &own) { record.*text = coder.decodeString(own); },
                .write =
                    [](const Record &record) {
                        return record.*text ? std::optional(PropertyList(*(record.*text)))
                                            : std::nullopt;
                    },
                .read =
                    [](Record &record, const PropertyList *value) {
                        record.*text = value ? std::optional(value->string()) : std::nullopt;
                    }};
    }
};

template <typename Record>
using RecordFields = QList<RecordField<Record>>;

template <typename Record>
void encodeFields(const RecordFields<Record> &fields, Record &record, Encoder &coder) {
    for (const auto &field : fields) {
        if (field.encode)
            field.encode(record, coder, field.key);
    }
}

template <typename Record>
void decodeFields(const RecordFields<Record> &fields, Record &record, Decoder &coder) {
    for (const auto &field : fields) {
        if (field.decode)
            field.decode(record, coder, field.key);
    }
}

template <typename Record>
[[nodiscard]] PropertyList::Dictionary dictionaryOf(const RecordFields<Record> &fields,
                                                    const Record &record) {
    PropertyList::Dictionary dictionary;
    for (const auto &field : fields) {
        if (const auto value = field.write ? field.write(record) : std::nullopt)
            dictionary.insert(field.key, *value);
    }
    return dictionary;
}

template <typename Record>
void readFields(const RecordFields<Record> &fields, Record &record,
                const PropertyList::Dictionary &dictionary) {
    for (const auto &field : fields) {
        if (field.read)
            field.read(record, find(dictionary, field.key));
    }
}

} // namespace clipmule
