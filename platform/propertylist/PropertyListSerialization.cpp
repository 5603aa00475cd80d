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

Result<PropertyList> PropertyListSerialization::parse(QByteArrayView bytes, quint64 perByte,
                                                      Format *form) {
    if (bytes.isEmpty())
        return failure(QStringLiteral("Cannot parse a NULL or zero-length data"));
    // The forms are tried in this order, whatever the bytes look like: the word "bplist00" is a
    // string, and "<c0de>" is data. When all refuse, the error of the form that the bytes seem to
    // be is the useful one.
    const bool hasBinaryMagic = bytes.startsWith("bplist0");
    QString meant;
    using Parse = Result<PropertyList> (*)(QByteArrayView, quint64);
    constexpr std::pair<Format, Parse> forms[] = {
        {Format::Binary, parseBinary}, {Format::Xml, parseXml}, {Format::OpenStep, parseOpenStep}};
    for (const auto &[tried, parseForm] : forms) {
        if (tried == Format::Binary && !hasBinaryMagic)
            continue;
        Result<PropertyList> read = parseForm(bytes, perByte);
        if (read) {
            if (form)
                *form = tried;
            return read;
        }
        if (meant.isEmpty() && (tried != Format::Xml || startsAsMarkup(bytes)))
            meant = read.error().reason;
    }
    return failure(meant);
}

} // namespace clipmule
