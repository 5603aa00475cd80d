// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/archive/SequentialArchiver.h"

#include "platform/archive/TypedStream.h"
#include "platform/foundation/PlatformException.h"

#include <limits>
#include <unordered_map>

namespace clipmule {

namespace {

using TypedStream::ClassChain;

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

} // namespace

QByteArray SequentialArchiver::archivedData(const ArchiveValue &root) {
    SequentialEncoder encoder;
    encoder.encodeObject(root, {});
    return encoder.take();
}

} // namespace clipmule
