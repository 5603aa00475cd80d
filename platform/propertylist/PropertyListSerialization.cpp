// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/propertylist/PropertyListSerialization.h"

#include <algorithm>

namespace clipmule {

namespace {

bool startsAsMarkup(QByteArrayView bytes) {
    const auto first = std::find_if_not(bytes.begin(), bytes.end(), [](char byte) {
        return byte == ' ' || (byte >= '\t' && byte <= '\r');
    });
    return first != bytes.end() && *first == '<';
}

} // namespace

PropertyListSerialization::Parsed PropertyListSerialization::parse(QByteArrayView bytes,
                                                                   quint64 perByte) {
    if (bytes.isEmpty()) {
        Parsed refused;
        refused.error = QStringLiteral("Cannot parse a NULL or zero-length data");
        return refused;
    }
    // The forms are tried in this order, whatever the bytes look like: the word "bplist00" is a
    // string, and "<c0de>" is data. When all refuse, the error of the form that the bytes seem to
    // be is the useful one.
    Parsed binary;
    const bool hasBinaryMagic = bytes.startsWith("bplist0");
    if (hasBinaryMagic) {
        binary = parseBinary(bytes, perByte);
        if (binary.value)
            return binary;
    }
    Parsed xml = parseXml(bytes, perByte);
    if (xml.value)
        return xml;
    Parsed openStep = parseOpenStep(bytes, perByte);
    if (openStep.value)
        return openStep;
    if (hasBinaryMagic)
        return binary;
    return startsAsMarkup(bytes) ? xml : openStep;
}

} // namespace clipmule
