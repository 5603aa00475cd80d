// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "net/ServiceDictionary.h"

#include "platform/dnssd/NetService.h"
#include "platform/foundation/Log.h"

#include <QSet>
#include <QStringDecoder>

#include <algorithm>

namespace clipmule::ZRKNetServiceCategory {

namespace {

// The most bytes that the length of a resource record can say.
constexpr qsizetype largestRecord = 65535;
// The most bytes that the length byte of an entry can say.
constexpr qsizetype largestEntry = 255;

bool isKeyCharacter(char character) {
    return character >= 0x20 && character <= 0x7E && character != '=';
}

bool isKey(QByteArrayView bytes) {
    return !bytes.isEmpty() && std::all_of(bytes.begin(), bytes.end(), isKeyCharacter);
}

PropertyList textOrBytes(QByteArrayView bytes) {
    // A byte-order mark is text like any other.
    QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless |
                                                     QStringDecoder::Flag::ConvertInitialBom);
    const QString text = decoder(bytes);
    if (decoder.hasError())
        return PropertyList(bytes.toByteArray());
    return PropertyList(text);
}

std::optional<QByteArray> entryBytes(const QString &key, const PropertyList &value) {
    const QByteArray name = key.toUtf8();
    if (!isKey(name))
        return {};
    QByteArray entry = name + '=';
    if (value.isString())
        entry += value.string().toUtf8();
    else if (value.isData())
        entry += value.data();
    else
        return {};
    if (entry.size() > largestEntry)
        return {};
    return entry;
}

} // namespace

std::optional<ServiceDictionary>
serviceDictionaryFromTXTData(const std::optional<QByteArray> &record) {
    if (!record || record->isEmpty() || record->size() > largestRecord)
        return {};
    ServiceDictionary dictionary;
    QSet<QByteArray> keysInLowerCase;
    QByteArrayView rest(*record);
    while (!rest.isEmpty()) {
        const auto length = qsizetype(static_cast<unsigned char>(rest.front()));
        if (length >= rest.size())
            return ServiceDictionary();
        const QByteArrayView entry = rest.sliced(1, length);
        rest = rest.sliced(1 + length);
        const qsizetype equalsSign = entry.indexOf('=');
        const QByteArrayView key = equalsSign < 0 ? entry : entry.first(equalsSign);
        if (!isKey(key))
            continue;
        const QByteArray lower = key.toByteArray().toLower();
        if (keysInLowerCase.contains(lower))
            continue;
        keysInLowerCase.insert(lower);
        const QByteArrayView value =
            equalsSign < 0 ? QByteArrayView() : entry.sliced(equalsSign + 1);
        dictionary.insert(QString::fromLatin1(key), textOrBytes(value));
    }
    return dictionary;
}

std::optional<QByteArray> txtDataFromServiceDictionary(const ServiceDictionary &dictionary) {
    QList<QByteArray> entries;
    QHash<QByteArray, qsizetype> positions;
    for (auto it = dictionary.begin(); it != dictionary.end(); ++it) {
        const auto entry = entryBytes(it.key(), it.value());
        if (!entry)
            return {};
        const QByteArray lower = it.key().toLatin1().toLower();
        const auto earlier = positions.constFind(lower);
        if (earlier != positions.constEnd()) {
            entries[*earlier] = *entry;
        } else {
            positions.insert(lower, entries.size());
            entries.append(*entry);
        }
    }
    QByteArray record;
    for (const QByteArray &entry : entries) {
        record += char(entry.size());
        record += entry;
    }
    if (record.size() > largestRecord)
        return {};
    // A record must not be empty: an entry without bytes stands for none at all.
    return record.isEmpty() ? QByteArray(1, '\0') : record;
}

std::optional<ServiceDictionary> serviceDictionary(const NetService &service) {
    return serviceDictionaryFromTXTData(service.txtRecordData());
}

void setServiceDictionary(NetService &service, const ServiceDictionary &dictionary) {
    if (const auto record = txtDataFromServiceDictionary(dictionary))
        service.setTXTRecordData(*record);
    else
        qCWarning(logNet).noquote() << QStringLiteral("ERROR ENCODING TXT RECORD %1")
                                           .arg(cutForLog(PropertyList(dictionary).description()));
}

} // namespace clipmule::ZRKNetServiceCategory
