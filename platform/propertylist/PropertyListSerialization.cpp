// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/propertylist/PropertyListSerialization.h"

#include "platform/propertylist/ParseMemory.h"
#include "platform/propertylist/PropertyListText.h"
#include "platform/propertylist/PropertyListXmlReader.h"

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

Result<PropertyList> PropertyListSerialization::parseXml(QByteArrayView bytes, quint64 perByte) {
    try {
        ParseMemory memory(bytes.size(), perByte, memoryFloor);
        const QByteArray text = utf8FromXml(bytes, memory);
        XmlReader reader(memory);
        reader.read(text, 0);
        return reader.takeValue();
    } catch (const Refused &refused) {
        return failure(refused.reason);
    }
}

PropertyListReader::PropertyListReader(qsizetype size)
    : _size(size)
    , _missing(size) {}

PropertyListReader::~PropertyListReader() = default;

void PropertyListReader::take(QByteArrayView bytes) {
    _missing -= bytes.size();
    // What is known to be refused need not be kept.
    if (_refused)
        return;
    if (_kept.isEmpty() && _reader)
        return read(bytes);
    // Room that is reserved, not touched.
    if (_isPlainXml == false)
        _kept.reserve(_size);
    _kept += bytes;
    // Twice as many, so that time stays in proportion however small the pieces are.
    if (_kept.size() < _enough && _missing > 0)
        return;
    if (!_isPlainXml)
        _isPlainXml = isPlainXml(_kept);
    if (_isPlainXml == true)
        read(std::exchange(_kept, {}));
    else
        _enough = 2 * _kept.size();
}

void PropertyListReader::read(QByteArrayView bytes) {
    if (!_reader) {
        _memory = std::make_unique<ParseMemory>(_size, PropertyListSerialization::memoryPerByte,
                                                PropertyListSerialization::memoryFloor);
        _reader = std::make_unique<XmlReader>(*_memory);
    }
    try {
        _kept = bytes.sliced(_reader->read(bytes, _missing)).toByteArray();
        _enough = 2 * _kept.size();
    } catch (const Refused &refused) {
        _refused = refused.reason;
    }
}

Result<PropertyList> PropertyListReader::finish() {
    if (_refused)
        return failure(*_refused);
    if (_reader)
        return _reader->takeValue();
    return PropertyListSerialization::parse(_kept);
}

} // namespace clipmule
