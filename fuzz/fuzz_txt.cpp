// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "net/ServiceDictionary.h"

#include <algorithm>
#include <cstdlib>
#include <iostream>

using namespace clipmule;
using namespace clipmule::ZRKNetServiceCategory;

namespace {

[[noreturn]] void fail(const char *what) {
    std::cerr << what << '\n';
    std::abort();
}

QByteArray bytesOf(const PropertyList &value) {
    return value.isString() ? value.string().toUtf8() : value.data();
}

/// What is read can be written and read again, unless an entry or the record gets too long by the
/// equals sign that it did not have before.
void checkReading(const QByteArray &record) {
    const auto dictionary = serviceDictionaryFromTXTData(record);
    if (bool(dictionary) != (!record.isEmpty() && record.size() <= 65535))
        fail("read or refused by its length");
    if (!dictionary)
        return;
    qsizetype length = 0;
    bool fits = true;
    for (auto it = dictionary->begin(); it != dictionary->end(); ++it) {
        const qsizetype entry = it.key().size() + 1 + bytesOf(it.value()).size();
        fits = fits && entry <= 255;
        length += 1 + entry;
    }
    fits = fits && length <= 65535;
    const auto written = txtDataFromServiceDictionary(*dictionary);
    if (bool(written) != fits)
        fail("written or refused");
    if (written && serviceDictionaryFromTXTData(written) != dictionary)
        fail("changed");
}

/// What is written says the same when it is read.
void checkWriting(const QByteArray &bytes) {
    ServiceDictionary dictionary;
    for (const QByteArray &pair : bytes.split('\n')) {
        const qsizetype middle = pair.indexOf(':');
        const QString key = QString::fromUtf8(middle < 0 ? pair : pair.first(middle));
        const QByteArray value = middle < 0 ? QByteArray() : pair.sliced(middle + 1);
        dictionary.insert(key, value.startsWith('"') ? PropertyList(QString::fromUtf8(value))
                                                     : PropertyList(value));
    }
    const auto written = txtDataFromServiceDictionary(dictionary);
    if (!written)
        return;
    const auto read = serviceDictionaryFromTXTData(written);
    if (!read || read->isEmpty())
        fail("own record refused");
    for (auto it = read->begin(); it != read->end(); ++it) {
        const PropertyList *const given = find(dictionary, it.key());
        if (!given || bytesOf(*given) != bytesOf(it.value()))
            fail("another value");
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    const QByteArray bytes(reinterpret_cast<const char *>(data), qsizetype(size));
    checkReading(bytes);
    checkWriting(bytes);
    return 0;
}
