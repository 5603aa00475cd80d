// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/foundation/PlatformException.h"
#include "platform/propertylist/ParseMemory.h"
#include "platform/propertylist/PropertyListSerialization.h"

#include <QHash>
#include <QtEndian>

#include <algorithm>
#include <bit>
#include <deque>
#include <limits>
#include <map>
#include <utility>
#include <vector>

namespace clipmule {

namespace {

constexpr qsizetype headerSize = 8;
constexpr qsizetype trailerSize = 32;

quint64 bigEndian(const uchar *bytes, int width) {
    quint64 number = 0;
    for (int i = 0; i < width; ++i)
        number = number << 8 | bytes[i];
    return number;
}

bool fits(quint64 number, int width) {
    return width >= 8 || number < (quint64(1) << (8 * width));
}

/// The bytes of one object, ending at the latest where the offset table begins.
class Body {
public:
    Body(const uchar *begin, const uchar *end)
        : _begin(begin)
        , _at(begin)
        , _end(end) {}

    const uchar *take(quint64 count, quint64 unit = 1) {
        if (count > quint64(_end - _at) / unit)
            refuse(QStringLiteral("an object reaches into the offset table"));
        const uchar *taken = _at;
        _at += count * unit;
        return taken;
    }
    quint64 consumed() const { return quint64(_at - _begin); }

private:
    const uchar *_begin;
    const uchar *_at;
    const uchar *_end;
};

/// Decodes from the root, each object number once. What several containers hold is shared, so that
/// memory follows the size of the file and not that of the value as a tree.
class BinaryReader {
public:
    BinaryReader(QByteArrayView bytes, quint64 perByte)
        : _bytes(reinterpret_cast<const uchar *>(bytes.data()))
        , _size(bytes.size())
        , _largestWeight(PropertyListSerialization::expandedValuesFloor +
                         PropertyListSerialization::expandedValuesPerByte * quint64(bytes.size()))
        , _memory(bytes.size(), perByte, PropertyListSerialization::memoryFloor) {}

    PropertyList read() {
        const quint64 root = readTrailer();
        _memory.spend(_objectCount * sizeof(quint32));
        _states.assign(size_t(_objectCount), untouched);
        return std::move(_decoded[decode(root, 0)].value);
    }

private:
    struct Decoded {
        PropertyList value;
        /// What a walk over the value meets: values, and units of strings and bytes.
        quint64 weight = 0;
        /// Nested containers, this one included; 0 for a leaf.
        int height = 0;
    };

    /// Bytes of a decoded object with the allocator's share: the nodes of a deque hold ten.
    static constexpr quint64 memoryOfDecoded = sizeof(Decoded) + 8;

    static constexpr quint32 untouched = 0;
    static constexpr quint32 beingDecoded = 1;
    static constexpr quint32 firstDecoded = 2;

    quint64 readTrailer() {
        if (_size < headerSize + 1 + trailerSize)
            refuse(QStringLiteral("too short for a binary property list"));
        const uchar *trailer = _bytes + _size - trailerSize;
        _offsetWidth = trailer[6];
        _referenceWidth = trailer[7];
        _objectCount = bigEndian(trailer + 8, 8);
        const quint64 root = bigEndian(trailer + 16, 8);
        _tableOffset = bigEndian(trailer + 24, 8);

        if (_objectCount == 0 || root >= _objectCount)
            refuse(QStringLiteral("no root object"));
        if (_tableOffset < quint64(headerSize + 1) || _tableOffset >= quint64(_size - trailerSize))
            refuse(QStringLiteral("offset table outside the file"));
        if (_offsetWidth < 1 || _offsetWidth > 8 || _referenceWidth < 1 || _referenceWidth > 8)
            refuse(QStringLiteral("offsets or references of no width"));
        const quint64 tableSize = quint64(_size - trailerSize) - _tableOffset;
        if (_objectCount > tableSize / quint64(_offsetWidth) ||
            _objectCount * quint64(_offsetWidth) != tableSize)
            refuse(QStringLiteral("offset table does not fill the file"));
        if (_objectCount > std::numeric_limits<quint32>::max() - firstDecoded)
            refuse(QStringLiteral("too many objects"));
        if (!fits(_objectCount, _referenceWidth) || !fits(_tableOffset, _offsetWidth))
            refuse(QStringLiteral("offsets or references too narrow"));
        for (quint64 object = 0; object < _objectCount; ++object) {
            if (offsetOf(object) >= _tableOffset)
                refuse(QStringLiteral("an object outside the file"));
        }
        return root;
    }

    quint64 offsetOf(quint64 object) const {
        return bigEndian(_bytes + _tableOffset + object * quint64(_offsetWidth), _offsetWidth);
    }

    /// Decodes an object and returns its place in _decoded. `depth` is the number of containers
    /// around the object.
    size_t decode(quint64 object, int depth) {
        quint32 &state = _states[size_t(object)];
        if (state == beingDecoded)
            refuse(QStringLiteral("an object contains itself"));
        if (state >= firstDecoded)
            return state - firstDecoded;
        state = beingDecoded;
        _memory.spend(memoryOfDecoded);
        const quint64 offset = offsetOf(object);
        if (offset < quint64(headerSize))
            refuse(QStringLiteral("an object inside the header"));
        Body body(_bytes + offset, _bytes + _tableOffset);
        _decoded.push_back(decodeBody(body, depth));
        state = quint32(_decoded.size() - 1) + firstDecoded;
        return _decoded.size() - 1;
    }

    Decoded decodeBody(Body &body, int depth) {
        const uchar marker = *body.take(1);
        const int low = marker & 0x0F;
        switch (marker >> 4) {
        case 0x0:
            if (marker == 0x08 || marker == 0x09)
                return scalar(body, marker == 0x09);
            break;
        case 0x1:
            return leaf(body, integer(body, low));
        case 0x2:
            if (low == 2)
                return scalar(body, std::bit_cast<float>(qFromBigEndian<quint32>(body.take(4))));
            if (low == 3)
                return scalar(body, real(body));
            break;
        case 0x3:
            if (low == 3)
                return scalar(body, Date{real(body)});
            break;
        case 0x4: {
            const quint64 count = readCount(body, low);
            const auto *data = reinterpret_cast<const char *>(body.take(count));
            _memory.spendData(count);
            return leaf(body, PropertyList(QByteArray(data, qsizetype(count))), count);
        }
        case 0x5: {
            // Bytes above 7F are read as Latin-1, the only reading that loses nothing.
            const quint64 count = readCount(body, low);
            const auto *text = reinterpret_cast<const char *>(body.take(count));
            _memory.spendText(count);
            return leaf(body, PropertyList(QString::fromLatin1(text, qsizetype(count))), count);
        }
        case 0x6: {
            const quint64 count = readCount(body, low);
            const uchar *units = body.take(count, 2);
            _memory.spendText(count);
            QString text(qsizetype(count), Qt::Uninitialized);
            qFromBigEndian<char16_t>(units, qsizetype(count), text.data());
            return leaf(body, PropertyList(std::move(text)), count);
        }
        case 0x8:
            return leaf(body, uid(body, low));
        case 0xA:
            return list(body, low, depth + 1);
        case 0xD:
            return dictionary(body, low, depth + 1);
        }
        refuse(QStringLiteral("unknown object type %1").arg(marker, 2, 16, QLatin1Char('0')));
    }

    // Made in place: of a move, g++ with sanitizers warns that it may read the variant's strings.
    template <typename T>
    Decoded scalar(const Body &body, T value) {
        spend(body.consumed());
        return {PropertyList(value), 1, 0};
    }

    Decoded leaf(const Body &body, PropertyList value, quint64 units = 0) {
        spend(body.consumed());
        return {std::move(value), 1 + units, 0};
    }

    static PropertyList integer(Body &body, int low) {
        if (low > 4)
            refuse(QStringLiteral("an integer of more than 16 bytes"));
        const int width = 1 << low;
        const uchar *bytes = body.take(quint64(width));
        if (width == 16)
            return bigEndian(bytes + 8, 8);
        if (width == 8)
            return qint64(bigEndian(bytes, 8));
        return bigEndian(bytes, width);
    }

    static double real(Body &body) {
        return std::bit_cast<double>(qFromBigEndian<quint64>(body.take(8)));
    }

    static PropertyList uid(Body &body, int low) {
        const int width = low + 1;
        const uchar *bytes = body.take(quint64(width));
        const int superfluous = std::max(0, width - 8);
        const quint64 value = bigEndian(bytes + superfluous, width - superfluous);
        const bool isZeroPadded =
            std::all_of(bytes, bytes + superfluous, [](uchar byte) { return byte == 0; });
        if (!isZeroPadded || value > std::numeric_limits<quint32>::max())
            refuse(QStringLiteral("an archive reference of more than 32 bits"));
        return PropertyList::Uid{quint32(value)};
    }

    static quint64 readCount(Body &body, int low) {
        if (low != 15)
            return quint64(low);
        const uchar marker = *body.take(1);
        if (marker >> 4 != 1)
            refuse(QStringLiteral("a count that is no integer"));
        const PropertyList count = integer(body, marker & 0x0F);
        if (count.kind() == PropertyList::Kind::Integer && count.integerValue() < 0)
            refuse(QStringLiteral("a negative count"));
        return count.unsignedValue(); // may be more than any file holds, as the caller will find
    }

    Decoded list(Body &body, int low, int depth) {
        const quint64 count = readCount(body, low);
        const uchar *references = beginContainer(body, count, depth);
        Decoded result{PropertyList(), 1, 1};
        PropertyList::List elements;
        _memory.spend(ParseMemory::head + count * ParseMemory::element);
        elements.reserve(qsizetype(count));
        for (quint64 i = 0; i < count; ++i) {
            const Decoded &element = child(result, references, i, depth);
            elements.append(element.value);
        }
        result.value = std::move(elements);
        return result;
    }

    Decoded dictionary(Body &body, int low, int depth) {
        const quint64 count = readCount(body, low);
        if (count > quint64(_size))
            refuse(QStringLiteral("an object reaches into the offset table"));
        const uchar *references = beginContainer(body, 2 * count, depth);
        Decoded result{PropertyList(), 1, 1};
        _memory.spend(ParseMemory::head + count * ParseMemory::entry);
        std::map<QString, PropertyList> entries;
        for (quint64 i = 0; i < count; ++i) {
            const Decoded &decodedKey = child(result, references, i, depth);
            const auto *found = decodedKey.value.as<QString>();
            if (!found)
                refuse(QStringLiteral("a dictionary key that is no string"));
            const QString key = *found;
            const Decoded &value = child(result, references, count + i, depth);
            // Nearly always sorted. Implementations differ on a repeated key; the platform's reader
            // keeps the first.
            entries.try_emplace(entries.end(), key, value.value);
        }
        result.value = PropertyList::Dictionary(std::move(entries));
        return result;
    }

    const uchar *beginContainer(Body &body, quint64 references, int depth) {
        if (depth > PropertyListSerialization::maximumDepth)
            refuse(QStringLiteral("nested too deeply"));
        const uchar *begin = body.take(references, quint64(_referenceWidth));
        spend(body.consumed());
        return begin;
    }

    /// Decodes a child and adds its measures to those of its container. The result stays valid
    /// until the next call.
    const Decoded &child(Decoded &container, const uchar *references, quint64 index, int depth) {
        const quint64 object =
            bigEndian(references + index * quint64(_referenceWidth), _referenceWidth);
        if (object >= _objectCount)
            refuse(QStringLiteral("a reference to no object"));
        const Decoded &decoded = _decoded[decode(object, depth)];
        const quint64 weight = container.weight + decoded.weight;
        if (weight > _largestWeight)
            refuse(QStringLiteral("shared objects expand to too many values"));
        container.weight = weight;
        container.height = std::max(container.height, decoded.height + 1);
        if (container.height > PropertyListSerialization::maximumDepth)
            refuse(QStringLiteral("nested too deeply"));
        return decoded;
    }

    // Objects that a writer made lie side by side. Where they overlap, a small file could hold many
    // long ones, and decoding would cost the square of its size.
    void spend(quint64 bytes) {
        _spent += bytes;
        if (_spent > _tableOffset - quint64(headerSize))
            refuse(QStringLiteral("objects overlap"));
    }

    const uchar *_bytes;
    qsizetype _size;
    quint64 _largestWeight;
    int _offsetWidth = 0;
    int _referenceWidth = 0;
    quint64 _objectCount = 0;
    quint64 _tableOffset = 0;
    quint64 _spent = 0;
    /// The state of each object, by number: one of the constants, or the place in _decoded +
    /// firstDecoded.
    std::vector<quint32> _states;
    /// The decoded objects; a deque grows without moving them.
    std::deque<Decoded> _decoded;
    ParseMemory _memory;
};

/// The smallest of the widths 1, 2, 4 and 8 whose numbers reach beyond the given one.
int widthAbove(quint64 number) {
    return fits(number, 1) ? 1 : fits(number, 2) ? 2 : fits(number, 4) ? 4 : 8;
}

int integerWidth(const PropertyList &value) {
    const auto *number = value.as<qint64>(); // else a large unsigned one
    return !number ? 16 : *number < 0 ? 8 : widthAbove(quint64(*number));
}

bool isAscii(const QString &text) {
    return std::all_of(text.begin(), text.end(), [](QChar unit) { return unit.unicode() < 0x80; });
}

/// Bytes of a marker and, for counts of 15 and more, of the count object.
quint64 markerSize(qsizetype count) {
    return count < 15 ? 1 : 2 + quint64(widthAbove(quint64(count)));
}

/// First numbers every object, depth first, a dictionary's keys before its values; then writes them
/// in that order, when the widths of references and offsets are known.
class BinaryWriter {
public:
    QByteArray write(const PropertyList &root) {
        number(root, 0);
        _referenceWidth = widthAbove(_objects.size());
        const quint64 tableOffset =
            quint64(headerSize) + _size + _references.size() * quint64(_referenceWidth);
        const int offsetWidth = widthAbove(tableOffset);

        _bytes.reserve(qsizetype(tableOffset + _objects.size() * quint64(offsetWidth) + 32));
        _bytes += "bplist00";
        std::vector<quint64> offsets;
        offsets.reserve(_objects.size());
        for (const Object &object : _objects) {
            offsets.push_back(quint64(_bytes.size()));
            writeObject(object);
        }
        for (const quint64 offset : offsets)
            writeNumber(offset, offsetWidth);
        _bytes.append(6, '\0'); // five unused bytes and the sort version
        writeNumber(quint64(offsetWidth), 1);
        writeNumber(quint64(_referenceWidth), 1);
        writeNumber(_objects.size(), 8);
        writeNumber(0, 8); // the root
        writeNumber(tableOffset, 8);
        return std::move(_bytes);
    }

private:
    using Kind = PropertyList::Kind;

    /// A string (which may be a key), or any other value. A container's references begin at its
    /// place in _references.
    struct Object {
        const QString *string = nullptr;
        const PropertyList *value = nullptr;
        size_t firstReference = 0;
    };

    quint32 add(const Object &object, quint64 size) {
        if (_objects.size() >= std::numeric_limits<quint32>::max())
            throw PlatformException(QStringLiteral("InvalidArgument"),
                                    QStringLiteral("too many values for a binary property list"));
        _objects.push_back(object);
        _size += size;
        return quint32(_objects.size() - 1);
    }

    template <typename Key>
    quint32 addOnce(QHash<Key, quint32> &known, const Key &key, const Object &object,
                    quint64 size) {
        const auto found = known.constFind(key);
        if (found != known.constEnd())
            return *found;
        const quint32 result = add(object, size);
        known.insert(key, result);
        return result;
    }

    // Equal strings, numbers, dates and data are stored once. Numbers are told apart by their bits,
    // so that -0.0 keeps its sign and 1 does not become 1.0.
    quint32 numberString(const QString &text) {
        const quint64 units = quint64(text.size()) * (isAscii(text) ? 1 : 2);
        return addOnce(_strings, text, {&text}, markerSize(text.size()) + units);
    }

    quint32 numberBits(const PropertyList &value, quint64 bits, quint64 size) {
        return addOnce(_numbers, {int(value.kind()), bits}, {nullptr, &value}, size);
    }

    quint32 number(const PropertyList &value, int depth) {
        switch (value.kind()) {
        case Kind::String:
            return numberString(value.string());
        case Kind::Boolean:
            return add({nullptr, &value}, 1);
        case Kind::Integer:
        case Kind::UnsignedInteger:
            return numberBits(value, value.unsignedValue(), 1 + quint64(integerWidth(value)));
        case Kind::Real:
            return numberBits(value, std::bit_cast<quint64>(value.real()), 9);
        case Kind::Date:
            return numberBits(value, std::bit_cast<quint64>(value.date().secondsSinceReference), 9);
        case Kind::Data:
            return addOnce(_data, value.data(), {nullptr, &value},
                           markerSize(value.data().size()) + quint64(value.data().size()));
        case Kind::Uid:
            return add({nullptr, &value}, 1 + quint64(widthAbove(value.uid().value)));
        case Kind::List: {
            const auto &elements = value.list();
            const auto [result, place] =
                beginContainer(value, elements.size(), elements.size(), depth);
            for (qsizetype i = 0; i < elements.size(); ++i)
                _references[place + size_t(i)] = number(elements[i], depth + 1);
            return result;
        }
        case Kind::Dictionary: {
            const auto &entries = value.dictionary();
            const auto [result, begin] =
                beginContainer(value, entries.size(), 2 * entries.size(), depth);
            size_t place = begin;
            for (auto entry = entries.keyBegin(); entry != entries.keyEnd(); ++entry)
                _references[place++] = numberString(*entry);
            for (const PropertyList &element : entries)
                _references[place++] = number(element, depth + 1);
            return result;
        }
        }
        Q_UNREACHABLE();
    }

    std::pair<quint32, size_t> beginContainer(const PropertyList &value, qsizetype count,
                                              qsizetype references, int depth) {
        if (depth >= PropertyListSerialization::maximumDepth)
            throw PlatformException(QStringLiteral("InvalidArgument"),
                                    QStringLiteral("a property list nested too deeply to write"));
        const size_t place = _references.size();
        _references.resize(place + size_t(references));
        return {add({nullptr, &value, place}, markerSize(count)), place};
    }

    void writeNumber(quint64 number, int width) {
        for (int shift = 8 * (width - 1); shift >= 0; shift -= 8)
            _bytes += char(number >> shift);
    }

    void writeMarker(int type, qsizetype count) {
        if (count < 15) {
            _bytes += char(type | int(count));
            return;
        }
        const int width = widthAbove(quint64(count));
        _bytes += char(type | 15);
        _bytes += char(0x10 | std::countr_zero(unsigned(width)));
        writeNumber(quint64(count), width);
    }

    void writeString(const QString &text) {
        if (isAscii(text)) {
            writeMarker(0x50, text.size());
            _bytes += text.toLatin1();
            return;
        }
        writeMarker(0x60, text.size());
        for (const QChar unit : text)
            writeNumber(unit.unicode(), 2);
    }

    void writeReferences(size_t first, qsizetype count) {
        for (qsizetype i = 0; i < count; ++i)
            writeNumber(_references[first + size_t(i)], _referenceWidth);
    }

    void writeObject(const Object &object) {
        if (object.string) {
            writeString(*object.string);
            return;
        }
        const PropertyList &value = *object.value;
        switch (value.kind()) {
        case Kind::String:
            Q_UNREACHABLE();
        case Kind::Boolean:
            _bytes += value.boolean() ? '\x09' : '\x08';
            return;
        case Kind::Integer:
        case Kind::UnsignedInteger: {
            const int width = integerWidth(value);
            _bytes += char(0x10 | std::countr_zero(unsigned(width)));
            if (width == 16)
                writeNumber(0, 8);
            writeNumber(value.unsignedValue(), std::min(width, 8));
            return;
        }
        case Kind::Real:
            _bytes += '\x23';
            writeNumber(std::bit_cast<quint64>(value.real()), 8);
            return;
        case Kind::Date:
            _bytes += '\x33';
            writeNumber(std::bit_cast<quint64>(value.date().secondsSinceReference), 8);
            return;
        case Kind::Data:
            writeMarker(0x40, value.data().size());
            _bytes += value.data();
            return;
        case Kind::Uid: {
            const int width = widthAbove(value.uid().value);
            _bytes += char(0x80 | (width - 1));
            writeNumber(value.uid().value, width);
            return;
        }
        case Kind::List:
            writeMarker(0xA0, value.list().size());
            writeReferences(object.firstReference, value.list().size());
            return;
        case Kind::Dictionary:
            writeMarker(0xD0, value.dictionary().size());
            writeReferences(object.firstReference, 2 * value.dictionary().size());
            return;
        }
    }

    std::vector<Object> _objects;
    std::vector<quint32> _references;
    QHash<QString, quint32> _strings;
    QHash<QByteArray, quint32> _data;
    QHash<std::pair<int, quint64>, quint32> _numbers;
    /// Bytes of all objects, without the references.
    quint64 _size = 0;
    int _referenceWidth = 0;
    QByteArray _bytes;
};

} // namespace

Result<PropertyList> PropertyListSerialization::parseBinary(QByteArrayView bytes, quint64 perByte) {
    try {
        // The platform reads any version character after "bplist0".
        if (!bytes.startsWith("bplist0") || bytes.size() < headerSize)
            refuse(QStringLiteral("not a binary property list"));
        return BinaryReader(bytes, perByte).read();
    } catch (const Refused &refused) {
        return failure(QStringLiteral("binary property list: ") + refused.reason);
    }
}

QByteArray PropertyListSerialization::binary(const PropertyList &value) {
    return BinaryWriter().write(value);
}

} // namespace clipmule
