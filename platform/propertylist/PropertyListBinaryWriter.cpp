// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/foundation/PlatformException.h"
#include "platform/propertylist/PropertyListSerialization.h"

#include <QHash>

#include <algorithm>
#include <bit>
#include <limits>
#include <utility>
#include <vector>

namespace clipmule {

namespace {

constexpr quint64 headerSize = 8;

/// The smallest of the widths 1, 2, 4 and 8 whose numbers reach beyond the given one.
int widthAbove(quint64 number) {
    for (const int width : {1, 2, 4}) {
        if (number < (quint64(1) << (8 * width)))
            return width;
    }
    return 8;
}

int integerWidth(const PropertyList &value) {
    if (value.kind() == PropertyList::Kind::UnsignedInteger)
        return 16;
    const qint64 number = *value.as<qint64>();
    return number < 0 ? 8 : widthAbove(quint64(number));
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
            headerSize + _size + _references.size() * quint64(_referenceWidth);
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

QByteArray PropertyListSerialization::binary(const PropertyList &value) {
    return BinaryWriter().write(value);
}

} // namespace clipmule
