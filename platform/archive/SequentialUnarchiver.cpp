// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/archive/SequentialUnarchiver.h"

#include "platform/archive/TypedStream.h"
#include "platform/foundation/ForeignUrl.h"
#include "platform/foundation/Log.h"
#include "platform/foundation/PlatformException.h"
#include "platform/propertylist/ExpansionAccount.h"

#include <unordered_map>

namespace clipmule {

namespace {

using Head = TypedStream::Reader::ObjectHead;

[[noreturn]] void refuse(const QString &reason) {
    throw PlatformException(QStringLiteral("InvalidArchive"),
                            QStringLiteral("old archive: ") + reason);
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

ArchiveValue SequentialUnarchiver::unarchivedObject(QByteArrayView archive,
                                                    const CodingClasses &classes) {
    return SequentialDecoder(archive, classes).decodeObject({});
}

} // namespace clipmule
