// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/archive/TypedStream.h"

#include "platform/archive/ExpansionAccount.h"
#include "platform/foundation/Log.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>

namespace clipmule::TypedStream {

namespace {

constexpr quint8 streamVersion = 4;
constexpr qint32 systemVersion = 1000;
const QByteArray littleEndianSignature = "streamtyped";
const QByteArray bigEndianSignature = "typedstream";

// The words that are no integer of one byte.
constexpr quint8 twoBytes = 0x81;
constexpr quint8 fourBytes = 0x82;
constexpr quint8 realBits = 0x83;
constexpr quint8 newItem = 0x84;
constexpr quint8 nilItem = 0x85;
constexpr quint8 endOfObject = 0x86;
constexpr quint8 lastWord = 0x91;

/// The integer that stands for the first number of a row.
constexpr qint32 firstReference = -110;

[[noreturn]] void refuse(const QString &reason) {
    refuseArchive(QStringLiteral("old archive: ") + reason);
}

} // namespace

Writer::Writer() {
    writeByte(streamVersion);
    writeString(littleEndianSignature);
    writeInteger(systemVersion);
}

void Writer::append(quint64 bits, int width) {
    for (int i = 0; i < width; ++i)
        _bytes += char(bits >> (8 * i));
}

void Writer::writeTypes(const QByteArray &types) {
    writeSharedString(types);
}

void Writer::writeByte(quint8 value) {
    append(value, 1);
}

void Writer::writeInteger(qint64 value) {
    if (value >= firstReference && value <= 127) {
        append(quint64(value), 1);
    } else if (value >= -32767 && value <= 32767) {
        append(twoBytes, 1);
        append(quint64(value), 2);
    } else if (value >= std::numeric_limits<qint32>::min() &&
               value <= std::numeric_limits<qint32>::max()) {
        append(fourBytes, 1);
        append(quint64(value), 4);
    } else {
        throw PlatformException(QStringLiteral("InvalidArgument"),
                                QStringLiteral("%1 does not fit into an old archive").arg(value));
    }
}

// Whole numbers go out as integers, which also makes -0 a 0.
void Writer::writeWhole(double value, int width, quint64 bits) {
    if (value == std::floor(value) && std::fabs(value) < 2147483648.0) {
        writeInteger(qint64(value));
        return;
    }
    append(realBits, 1);
    append(bits, width);
}

void Writer::writeFloat(float value) {
    writeWhole(double(value), 4, std::bit_cast<quint32>(value));
}

void Writer::writeDouble(double value) {
    writeWhole(value, 8, std::bit_cast<quint64>(value));
}

void Writer::writeBytes(const QByteArray &bytes) {
    _bytes += bytes;
}

void Writer::writeString(const std::optional<QByteArray> &text) {
    if (!text) {
        writeNil();
        return;
    }
    writeInteger(text->size());
    _bytes += *text;
}

void Writer::writeSharedString(const QByteArray &text) {
    const auto found = _strings.constFind(text);
    if (found != _strings.constEnd()) {
        writeReference(*found);
        return;
    }
    _strings.insert(text, quint32(_strings.size()));
    append(newItem, 1);
    writeString(text);
}

void Writer::writeCString(const QByteArray &text) {
    const auto found = _cStrings.constFind(text);
    if (found != _cStrings.constEnd()) {
        writeReference(*found);
        return;
    }
    _cStrings.insert(text, _nextNumber++);
    append(newItem, 1);
    writeSharedString(text);
}

void Writer::writeNil() {
    append(nilItem, 1);
}

quint32 Writer::beginObject(const ClassChain &classes) {
    const quint32 number = _nextNumber++;
    append(newItem, 1);
    writeClass(classes);
    return number;
}

void Writer::writeClass(const ClassChain &classes) {
    for (const ClassVersion &known : classes) {
        const auto found = _classes.constFind(known.name);
        if (found != _classes.constEnd()) {
            writeReference(*found);
            return;
        }
        _classes.insert(known.name, _nextNumber++);
        append(newItem, 1);
        writeSharedString(known.name);
        writeInteger(known.version);
    }
    writeNil();
}

void Writer::endObject() {
    append(endOfObject, 1);
}

void Writer::writeReference(quint32 number) {
    writeInteger(qint64(number) + firstReference);
}

Reader::Reader(QByteArrayView bytes)
    : _bytes(bytes) {
    const quint8 version = readByte();
    if (version != streamVersion)
        refuse(QStringLiteral("version %1, where only %2 can be read")
                   .arg(version)
                   .arg(streamVersion));
    const auto signature = readString();
    if (signature == bigEndianSignature)
        _isBigEndian = true;
    else if (signature != littleEndianSignature)
        refuse(QStringLiteral("another signature"));
    if (readInteger() != systemVersion)
        refuse(QStringLiteral("of another system"));
}

quint8 Reader::peek() const {
    if (_at >= _bytes.size())
        refuse(QStringLiteral("cut off"));
    return quint8(_bytes[_at]);
}

quint64 Reader::readBits(int width) {
    if (width > _bytes.size() - _at)
        refuse(QStringLiteral("cut off"));
    quint64 bits = 0;
    for (int i = 0; i < width; ++i) {
        const quint64 byte = quint8(_bytes[_at + i]);
        bits |= byte << (8 * (_isBigEndian ? width - 1 - i : i));
    }
    _at += width;
    return bits;
}

quint8 Reader::readByte() {
    return quint8(readBits(1));
}

qint32 Reader::readInteger() {
    const quint8 word = readByte();
    if (word == twoBytes)
        return qint16(readBits(2));
    if (word == fourBytes)
        return qint32(readBits(4));
    if (word >= 0x80 && word <= lastWord)
        refuse(QStringLiteral("word %1 in the place of an integer").arg(word, 0, 16));
    return qint8(word);
}

bool Reader::readRealMark() {
    if (peek() != realBits)
        return false;
    ++_at;
    return true;
}

float Reader::readFloat() {
    return readRealMark() ? std::bit_cast<float>(quint32(readBits(4))) : float(readInteger());
}

double Reader::readDouble() {
    return readRealMark() ? std::bit_cast<double>(readBits(8)) : double(readInteger());
}

QByteArray Reader::readBytes(qsizetype count) {
    if (count < 0 || count > _bytes.size() - _at)
        refuse(QStringLiteral("a length of %1").arg(count));
    const QByteArray bytes = _bytes.sliced(_at, count).toByteArray();
    _at += count;
    return bytes;
}

std::optional<QByteArray> Reader::readString() {
    if (peek() == nilItem) {
        ++_at;
        return std::nullopt;
    }
    return readBytes(readInteger());
}

QByteArray Reader::readSharedString() {
    if (peek() != newItem) {
        const qint64 number = qint64(readInteger()) - firstReference;
        if (number < 0 || number >= qint64(_strings.size()))
            refuse(QStringLiteral("a reference to no string"));
        return _strings[size_t(number)];
    }
    ++_at;
    const auto text = readString();
    if (!text)
        refuse(QStringLiteral("a string is missing"));
    _strings.push_back(*text);
    return *text;
}

QByteArray Reader::readTypes() {
    return readSharedString();
}

void Reader::expectTypes(const QByteArray &types) {
    const QByteArray found = readTypes();
    if (found != types)
        refuse(
            QStringLiteral("types \"%1\" instead of \"%2\"")
                .arg(cutForLog(QString::fromLatin1(found)), cutForLog(QString::fromLatin1(types))));
}

quint32 Reader::add(Entry::Kind kind) {
    _entries.emplace_back().kind = kind;
    return quint32(_entries.size() - 1);
}

quint32 Reader::readReference(Entry::Kind kind) {
    const qint64 number = qint64(readInteger()) - firstReference;
    if (number < 0 || number >= qint64(_entries.size()) || _entries[size_t(number)].kind != kind)
        refuse(QStringLiteral("a reference to nothing of its kind"));
    return quint32(number);
}

std::optional<QByteArray> Reader::readCString() {
    if (peek() == nilItem) {
        ++_at;
        return std::nullopt;
    }
    if (peek() != newItem)
        return _entries[readReference(Entry::Kind::CString)].text;
    ++_at;
    const quint32 number = add(Entry::Kind::CString);
    return _entries[number].text = readSharedString();
}

ClassChain Reader::readClass() {
    // New classes come one after the other, each followed by its superclass.
    std::vector<quint32> newClasses;
    while (peek() == newItem) {
        ++_at;
        if (qsizetype(newClasses.size()) >= longestClassChain)
            refuse(QStringLiteral("too many superclasses"));
        const quint32 number = add(Entry::Kind::Class);
        newClasses.push_back(number);
        _entries[number].text = readSharedString();
        _entries[number].version = readInteger();
    }
    std::optional<quint32> superclass;
    qsizetype length = 0;
    if (peek() == nilItem) {
        ++_at;
    } else {
        superclass = readReference(Entry::Kind::Class);
        length = _entries[*superclass].chainLength;
        if (length == 0)
            refuse(QStringLiteral("a class that is its own superclass"));
    }
    for (auto number = newClasses.rbegin(); number != newClasses.rend(); ++number) {
        _entries[*number].superclass = superclass;
        _entries[*number].chainLength = ++length;
        superclass = *number;
    }
    if (length == 0 || length > longestClassChain)
        refuse(QStringLiteral("an object without a class, or too many superclasses"));
    ClassChain chain;
    for (; superclass; superclass = _entries[*superclass].superclass)
        chain.append({_entries[*superclass].text, _entries[*superclass].version});
    return chain;
}

Reader::ObjectHead Reader::readObjectHead() {
    switch (peek()) {
    case nilItem:
        ++_at;
        return {};
    case newItem: {
        ++_at;
        const quint32 number = add(Entry::Kind::Object);
        return {ObjectHead::Kind::New, number, readClass()};
    }
    default:
        return {ObjectHead::Kind::Reference, readReference(Entry::Kind::Object), {}};
    }
}

void Reader::readObjectEnd() {
    if (readByte() != endOfObject)
        refuse(QStringLiteral("an object that does not end"));
}

} // namespace clipmule::TypedStream
