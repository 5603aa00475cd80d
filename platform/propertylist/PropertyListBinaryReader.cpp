// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/propertylist/ParseMemory.h"
#include "platform/propertylist/PropertyListSerialization.h"

#include <QtEndian>

#include <algorithm>
#include <bit>
#include <deque>
#include <limits>
#include <vector>

namespace clipmule {

namespace {

constexpr qsizetype headerSize = 8;
constexpr qsizetype trailerSize = 32;

struct Refused {
    QString reason;
};

[[noreturn]] void refuse(const QString &reason) {
    throw Refused{reason};
}

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
        afford(_memory.spend(_objectCount * sizeof(quint32)));
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

    /// Refuses the list when _memory has answered that a value cannot be paid for.
    static void afford(bool isAffordable) {
        if (!isAffordable)
            refuse(QStringLiteral("too many values for the size"));
    }

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
        afford(_memory.spend(memoryOfDecoded));
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
                return scalar(body, single(body));
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
            afford(_memory.spendData(count));
            return leaf(body, PropertyList(QByteArray(data, qsizetype(count))), count);
        }
        case 0x5: {
            // Bytes above 7F are read as Latin-1, the only reading that loses nothing.
            const quint64 count = readCount(body, low);
            const auto *text = reinterpret_cast<const char *>(body.take(count));
            afford(_memory.spendText(count));
            return leaf(body, PropertyList(QString::fromLatin1(text, qsizetype(count))), count);
        }
        case 0x6: {
            const quint64 count = readCount(body, low);
            const uchar *units = body.take(count, 2);
            afford(_memory.spendText(count));
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
        default:
            break;
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

    static double single(Body &body) {
        return double(std::bit_cast<float>(qFromBigEndian<quint32>(body.take(4))));
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
        if (const auto *large = count.as<quint64>())
            return *large; // more than any file holds, as the caller will find
        if (*count.as<qint64>() < 0)
            refuse(QStringLiteral("a negative count"));
        return quint64(*count.as<qint64>());
    }

    Decoded list(Body &body, int low, int depth) {
        const quint64 count = readCount(body, low);
        const uchar *references = beginContainer(body, count, depth);
        Decoded result{PropertyList(), 1, 1};
        PropertyList::List elements;
        afford(_memory.spend(ParseMemory::head + count * ParseMemory::element));
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
        afford(_memory.spend(ParseMemory::head + count * ParseMemory::entry));
        PropertyList::Dictionary entries;
        for (quint64 i = 0; i < count; ++i) {
            const Decoded &decodedKey = child(result, references, i, depth);
            const auto *found = decodedKey.value.as<QString>();
            if (!found)
                refuse(QStringLiteral("a dictionary key that is no string"));
            const QString key = *found;
            const Decoded &value = child(result, references, count + i, depth);
            // Implementations differ on a repeated key; the platform's reader keeps the first.
            const auto place = entries.lowerBound(key);
            if (place == entries.end() || place.key() != key)
                entries.insert(place, key, value.value);
        }
        result.value = std::move(entries);
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

} // namespace

PropertyListSerialization::Parsed PropertyListSerialization::parseBinary(QByteArrayView bytes,
                                                                         quint64 perByte) {
    Parsed parsed;
    parsed.format = Format::Binary;
    try {
        // The platform reads any version character after "bplist0".
        if (!bytes.startsWith("bplist0") || bytes.size() < headerSize)
            refuse(QStringLiteral("not a binary property list"));
        parsed.value = BinaryReader(bytes, perByte).read();
    } catch (const Refused &refused) {
        parsed.error = QStringLiteral("binary property list: %1").arg(refused.reason);
    }
    return parsed;
}

} // namespace clipmule
