// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/archive/SequentialArchiver.h"

#include "platform/archive/ExpansionAccount.h"
#include "platform/archive/TypedStream.h"
#include "platform/foundation/ForeignUrl.h"
#include "platform/foundation/Log.h"

#include <limits>
#include <unordered_map>

namespace clipmule {

namespace {

using TypedStream::ClassChain;
using Head = TypedStream::Reader::ObjectHead;

class SequentialEncoder final : public Encoder {
public:
    [[nodiscard]] bool allowsKeyedCoding() const override { return false; }

    void encodeObject(const ArchiveValue &value, const QString &) override {
        if (_depth >= SequentialArchiver::maximumDepth)
            throw PlatformException(QStringLiteral("InvalidArgument"),
                                    QStringLiteral("objects nested too deeply to archive"));
        ++_depth;
        _writer.writeTypes("@");
        write(value);
        --_depth;
    }
    void encodeBool(bool value, const QString &) override {
        _writer.writeTypes("c");
        _writer.writeByte(value ? 1 : 0);
    }
    void encodeInteger(qint64 value, const QString &) override {
        _writer.writeTypes("q");
        _writer.writeInteger(value);
    }
    void encodeReal(double value, const QString &) override {
        _writer.writeTypes("d");
        _writer.writeDouble(value);
    }
    void encodeBytes(const QByteArray &value, const QString &) override { writeBytes(value); }

    [[nodiscard]] QByteArray take() { return _writer.take(); }

private:
    static ClassChain chain(const QList<QByteArray> &names) {
        ClassChain classes;
        for (const QByteArray &name : names)
            classes.append({name, name.endsWith("String") ? 1 : 0});
        classes.append({"NSObject", 0});
        return classes;
    }

    static ClassChain chain(const ArchiveValue &container, const QByteArray &mutableName,
                            const QByteArray &name) {
        return container.isMutable() ? chain({mutableName, name}) : chain({name});
    }

    void write(const ArchiveValue &value) {
        switch (value.kind()) {
        case ArchiveValue::Kind::Nil:
            _writer.writeNil();
            return;
        case ArchiveValue::Kind::Leaf:
            writeLeaf(*value.as<PropertyList>());
            return;
        case ArchiveValue::Kind::Url:
            _writer.beginObject(chain({"NSURL"}));
            _writer.writeTypes("c");
            _writer.writeByte(0); // no base
            encodeObject(value.urlText(), {});
            break;
        case ArchiveValue::Kind::Object:
            writeObject(*value.as<std::shared_ptr<Coding>>());
            return;
        case ArchiveValue::Kind::List: {
            const auto &elements = *value.as<ArchiveValue::List>();
            _writer.beginObject(chain(value, "NSMutableArray", "NSArray"));
            writeCount(elements.size());
            for (const ArchiveValue &element : elements)
                encodeObject(element, {});
            break;
        }
        case ArchiveValue::Kind::Dictionary: {
            const auto &entries = *value.as<ArchiveValue::Dictionary>();
            _writer.beginObject(chain(value, "NSMutableDictionary", "NSDictionary"));
            writeCount(entries.size());
            for (const auto &[key, element] : entries.asKeyValueRange()) {
                encodeObject(key, {});
                encodeObject(element, {});
            }
            break;
        }
        case ArchiveValue::Kind::Null:
            _writer.beginObject(chain({"NSNull"}));
            break;
        }
        _writer.endObject();
    }

    void writeLeaf(const PropertyList &leaf) {
        using Kind = PropertyList::Kind;
        switch (leaf.kind()) {
        case Kind::String:
            _writer.beginObject(chain({"NSString"}));
            _writer.writeTypes("+");
            _writer.writeString(leaf.string().toUtf8());
            break;
        case Kind::Boolean:
            beginNumber("c");
            _writer.writeByte(leaf.boolean() ? 1 : 0);
            break;
        case Kind::Integer:
        case Kind::UnsignedInteger:
            writeIntegerObject(leaf);
            break;
        case Kind::Real:
            beginNumber("d");
            _writer.writeDouble(leaf.real());
            break;
        case Kind::Date:
            _writer.beginObject(chain({"NSDate"}));
            _writer.writeTypes("d");
            _writer.writeDouble(leaf.date().secondsSinceReference);
            break;
        case Kind::Data:
            _writer.beginObject(chain({"NSData"}));
            writeBytes(leaf.data());
            break;
        default:
            throw PlatformException(
                QStringLiteral("InvalidArgument"),
                QStringLiteral("%1 cannot be archived").arg(PropertyList::nameOfKind(leaf.kind())));
        }
        _writer.endObject();
    }

    void beginNumber(const QByteArray &type) {
        _writer.beginObject(chain({"NSNumber", "NSValue"}));
        _writer.writeTypes("*");
        _writer.writeCString(type);
        _writer.writeTypes(type);
    }

    // An unsigned number uses the bytes of the signed one of the same width.
    void writeIntegerObject(const PropertyList &number) {
        const quint64 value = number.unsignedValue();
        if (number.kind() == PropertyList::Kind::Integer && number.integerValue() >= 0 &&
            value > quint64(std::numeric_limits<qint32>::max()) &&
            value <= std::numeric_limits<quint32>::max()) {
            beginNumber("I");
            _writer.writeInteger(qint32(quint32(value)));
            return;
        }
        if (number.kind() == PropertyList::Kind::UnsignedInteger)
            throw PlatformException(
                QStringLiteral("InvalidArgument"),
                QStringLiteral("%1 does not fit into an old archive").arg(value));
        beginNumber("i");
        _writer.writeInteger(number.integerValue());
    }

    void writeObject(const std::shared_ptr<Coding> &object) {
        const auto known = _numbersOfObjects.find(object);
        if (known != _numbersOfObjects.end()) {
            _writer.writeReference(known->second);
            return;
        }
        ClassChain classes;
        for (const QString &name : object->archivedClassNames())
            classes.append({name.toUtf8(), 0});
        _numbersOfObjects.emplace(object, _writer.beginObject(classes));
        object->encodeWithCoder(*this);
        _writer.endObject();
    }

    void writeCount(qsizetype count) {
        _writer.writeTypes("i");
        _writer.writeInteger(count);
    }

    void writeBytes(const QByteArray &bytes) {
        writeCount(bytes.size());
        _writer.writeTypes('[' + QByteArray::number(bytes.size()) + "c]");
        _writer.writeBytes(bytes);
    }

    TypedStream::Writer _writer;
    /// Holds the objects, so that no address is used twice.
    std::unordered_map<std::shared_ptr<Coding>, quint32> _numbersOfObjects;
    int _depth = 0;
};

[[noreturn]] void refuse(const QString &reason) {
    refuseArchive(QStringLiteral("old archive: ") + reason);
}

[[noreturn]] void refuseVersion(const QString &className, qint32 version) {
    refuse(QStringLiteral("%1 of version %2").arg(cutForLog(className), QString::number(version)));
}

class SequentialDecoder final : public Decoder {
public:
    SequentialDecoder(QByteArrayView archive, const CodingClasses &classes)
        : _reader(archive)
        , _classes(classes)
        , _account(archive.size(), SequentialUnarchiver::maximumDepth) {}

    [[nodiscard]] bool allowsKeyedCoding() const override { return false; }
    [[nodiscard]] bool containsValueForKey(const QString &) const override { return false; }
    [[nodiscard]] ArchiveValue decodeObject(const QString &) override {
        _reader.expectTypes("@");
        return readValue();
    }
    [[nodiscard]] bool decodeBool(const QString &) override {
        return readNumber(_reader.readTypes()).boolValue();
    }
    [[nodiscard]] qint64 decodeInteger(const QString &) override {
        return readNumber(_reader.readTypes()).integerValue();
    }
    [[nodiscard]] double decodeReal(const QString &) override {
        return readNumber(_reader.readTypes()).doubleValue();
    }
    [[nodiscard]] QByteArray decodeBytes(const QString &) override { return readBytes(); }

private:
    struct Entry {
        bool isBeingDecoded = true;
        ArchiveValue value;
        ExpansionAccount::Measure measure;
    };

    ArchiveValue readValue() {
        const Head head = _reader.readObjectHead();
        if (head.kind == Head::Kind::Nil)
            return {};
        Entry &entry = _entries[head.number];
        if (head.kind == Head::Kind::Reference) {
            // An object of ours exists before it is filled; a list or dictionary does not.
            if (entry.isBeingDecoded && entry.value.isNil())
                refuse(QStringLiteral("a list or dictionary contains itself"));
            if (entry.isBeingDecoded)
                return entry.value;
        } else {
            _account.begin(entry.measure);
            readContents(head, entry);
            _reader.readObjectEnd();
            _account.end();
            entry.isBeingDecoded = false;
        }
        _account.addReference(entry.measure);
        return entry.value;
    }

    void readContents(const Head &head, Entry &entry) {
        const auto name = QString::fromUtf8(head.classes.first().name);
        const qint32 version = head.classes.first().version;
        if (const auto known = _classes.constFind(name); known != _classes.constEnd()) {
            if (version != 0)
                refuseVersion(name, version);
            const auto object = (*known)();
            entry.value = object;
            object->initWithCoder(*this);
            return;
        }
        if (version != (name == u"NSString" || name == u"NSMutableString" ? 1 : 0))
            refuseVersion(name, version);
        entry.value = readStandardObject(name);
    }

    ArchiveValue readStandardObject(const QString &name) {
        if (name == u"NSString" || name == u"NSMutableString")
            return readString();
        if (name == u"NSNumber" || name == u"NSValue")
            return readNumberObject();
        if (name == u"NSDate") {
            _reader.expectTypes("d");
            return Date{_reader.readDouble()};
        }
        if (name == u"NSData" || name == u"NSMutableData")
            return readBytes();
        if (name == u"NSURL")
            return readUrl();
        if (name == u"NSMutableArray")
            return readList();
        if (name == u"NSArray")
            return readList().immutable();
        if (name == u"NSMutableDictionary")
            return readDictionary();
        if (name == u"NSDictionary")
            return readDictionary().immutable();
        if (name == u"NSNull")
            return ArchiveValue::NullObject();
        refuse(QStringLiteral("unknown class %1").arg(cutForLog(name)));
    }

    ArchiveValue readString() {
        _reader.expectTypes("+");
        const auto text = _reader.readString();
        if (!text)
            refuse(QStringLiteral("a string object without text"));
        return QString::fromUtf8(*text);
    }

    ArchiveValue readNumberObject() {
        _reader.expectTypes("*");
        const auto type = _reader.readCString();
        if (!type)
            refuse(QStringLiteral("a number without a type"));
        _reader.expectTypes(*type);
        return readNumber(*type);
    }

    /// The value of a group of one number.
    PropertyList readNumber(const QByteArray &type) {
        if (type == "c" || type == "B")
            return qint8(_reader.readByte());
        if (type == "C")
            return _reader.readByte();
        if (type == "s" || type == "i" || type == "l" || type == "q")
            return _reader.readInteger();
        if (type == "S")
            return quint16(_reader.readInteger());
        if (type == "I" || type == "L" || type == "Q")
            return quint32(_reader.readInteger());
        if (type == "f")
            return _reader.readFloat();
        if (type == "d")
            return _reader.readDouble();
        refuse(QStringLiteral("a number of type \"%1\"").arg(cutForLog(QString::fromLatin1(type))));
    }

    QByteArray readBytes() {
        _reader.expectTypes("i");
        const qint32 count = _reader.readInteger();
        _reader.expectTypes('[' + QByteArray::number(count) + "c]");
        return _reader.readBytes(count);
    }

    ArchiveValue readUrl() {
        _reader.expectTypes("c");
        const bool hasBase = _reader.readByte() != 0;
        const auto base = hasBase ? decodeUrl({}) : std::nullopt;
        const auto text = decodeString({});
        if (!text)
            refuse(QStringLiteral("a URL object without text"));
        if (base)
            return urlFromForeignText(*text, *base);
        return {urlFromForeignText(*text), *text};
    }

    // A count proves nothing about what follows, so nothing is reserved for it.
    qint32 readCount() {
        _reader.expectTypes("i");
        const qint32 count = _reader.readInteger();
        if (count < 0)
            refuse(QStringLiteral("a list or dictionary of %1 elements").arg(count));
        return count;
    }

    ArchiveValue readList() {
        ArchiveValue::List elements;
        for (qint32 left = readCount(); left > 0; --left)
            elements.append(decodeObject({}));
        return elements;
    }

    ArchiveValue readDictionary() {
        ArchiveValue::Dictionary entries;
        for (qint32 left = readCount(); left > 0; --left) {
            const auto key = decodeString({});
            if (!key)
                refuse(QStringLiteral("a dictionary key that is nil"));
            entries.insert(*key, decodeObject({}));
        }
        return entries;
    }

    TypedStream::Reader _reader;
    const CodingClasses &_classes;
    ExpansionAccount _account;
    /// The objects by number; the map keeps its elements where they are.
    std::unordered_map<quint32, Entry> _entries;
};

} // namespace

QByteArray SequentialArchiver::archivedData(const ArchiveValue &root) {
    SequentialEncoder encoder;
    encoder.encodeObject(root, {});
    return encoder.take();
}

Result<ArchiveValue> SequentialUnarchiver::unarchivedObject(QByteArrayView archive,
                                                            const CodingClasses &classes) {
    return resultOfReading([&] { return SequentialDecoder(archive, classes).decodeObject({}); });
}

} // namespace clipmule
