// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/archive/KeyedUnarchiver.h"

#include "platform/foundation/ForeignUrl.h"
#include "platform/foundation/Log.h"
#include "platform/foundation/PlatformException.h"
#include "platform/foundation/RegularFile.h"
#include "platform/propertylist/ExpansionAccount.h"
#include "platform/propertylist/PropertyListSerialization.h"

#include <vector>

namespace clipmule {

namespace {

[[noreturn]] void refuse(const QString &reason) {
    throw PlatformException(QStringLiteral("InvalidArchive"), reason);
}

const PropertyList::Dictionary *dictionaryUnder(const PropertyList::Dictionary &dictionary,
                                                const QString &key) {
    const auto *value = find(dictionary, key);
    return value ? value->as<PropertyList::Dictionary>() : nullptr;
}

class Unarchive {
public:
    Unarchive(PropertyList::List objects, const CodingClasses &classes, qsizetype size)
        : _objects(std::move(objects))
        , _classes(classes)
        , _account(size, KeyedUnarchiver::maximumDepth)
        , _decoded(size_t(_objects.size())) {}

    ArchiveValue decode(quint32 number);
    ArchiveValue decodeReference(const PropertyList &value) {
        const auto *reference = value.as<PropertyList::Uid>();
        if (!reference)
            refuse(QStringLiteral("%1 in the place of an object")
                       .arg(PropertyList::nameOfKind(value.kind())));
        return decode(reference->value);
    }

private:
    enum class State { Untouched, BeingDecoded, Decoded };
    struct Entry {
        State state = State::Untouched;
        ArchiveValue value;
        ExpansionAccount::Measure measure;
    };

    ArchiveValue decodeRecord(const PropertyList::Dictionary &record, Entry &entry);
    QString className(const PropertyList::Dictionary &record) const;
    ArchiveValue decodeList(const PropertyList::Dictionary &record);
    ArchiveValue decodeDictionary(const PropertyList::Dictionary &record);
    ArchiveValue decodeUrl(const PropertyList::Dictionary &record);
    static ArchiveValue decodeString(const PropertyList::Dictionary &record);
    static ArchiveValue decodeDate(const PropertyList::Dictionary &record);
    static ArchiveValue decodeNumber(const PropertyList::Dictionary &record);
    ArchiveValue decodeData(const PropertyList::Dictionary &record);

    const PropertyList::List _objects;
    const CodingClasses &_classes;
    ExpansionAccount _account;
    std::vector<Entry> _decoded;
};

/// The coder of one object: answers from its record.
class RecordDecoder final : public Decoder {
public:
    RecordDecoder(Unarchive &archive, const PropertyList::Dictionary &record)
        : _archive(archive)
        , _record(record) {}

    [[nodiscard]] bool allowsKeyedCoding() const override { return true; }
    [[nodiscard]] bool containsValueForKey(const QString &key) const override {
        return value(key) != nullptr;
    }
    [[nodiscard]] ArchiveValue decodeObject(const QString &key) override {
        const auto *stored = value(key);
        return stored ? _archive.decodeReference(*stored) : ArchiveValue();
    }
    [[nodiscard]] bool decodeBool(const QString &key) override {
        const auto *stored = number(key);
        return stored && stored->boolValue();
    }
    [[nodiscard]] qint64 decodeInteger(const QString &key) override {
        const auto *stored = number(key);
        return stored ? stored->integerValue() : 0;
    }
    [[nodiscard]] double decodeReal(const QString &key) override {
        const auto *stored = number(key);
        return stored ? stored->doubleValue() : 0;
    }
    [[nodiscard]] QByteArray decodeBytes(const QString &key) override {
        const auto *stored = value(key);
        if (!stored)
            return {};
        if (!stored->isData())
            refuse(unexpected(key, *stored));
        return stored->data();
    }

private:
    [[nodiscard]] const PropertyList *value(const QString &key) const {
        return find(_record, key.startsWith(u'$') ? u'$' + key : key);
    }
    // Writers differ on whether a truth value is stored as a number.
    [[nodiscard]] const PropertyList *number(const QString &key) const {
        const auto *stored = value(key);
        if (stored && !stored->isNumber())
            refuse(unexpected(key, *stored));
        return stored;
    }
    static QString unexpected(const QString &key, const PropertyList &found) {
        return QStringLiteral("%1 under \"%2\"")
            .arg(PropertyList::nameOfKind(found.kind()), cutForLog(key));
    }

    Unarchive &_archive;
    const PropertyList::Dictionary &_record;
};

ArchiveValue Unarchive::decode(quint32 number) {
    if (number >= quint32(_objects.size()))
        refuse(QStringLiteral("a reference to no object"));
    if (number == 0)
        return {};
    Entry &entry = _decoded[number];
    if (entry.state == State::BeingDecoded) {
        // An object of ours exists before it is filled; a list or dictionary does not.
        if (entry.value.isNil())
            refuse(QStringLiteral("a list or dictionary contains itself"));
        return entry.value;
    }
    if (entry.state == State::Untouched) {
        entry.state = State::BeingDecoded;
        _account.begin(entry.measure);
        const PropertyList &object = _objects[number];
        if (const auto *record = object.as<PropertyList::Dictionary>()) {
            entry.value = decodeRecord(*record, entry);
        } else if (const auto *text = object.as<QString>()) {
            if (*text != u"$null")
                entry.value = object;
        } else if (object.isData() || object.isNumber() || object.isDate()) {
            entry.value = object;
        } else {
            refuse(QStringLiteral("%1 among the objects")
                       .arg(PropertyList::nameOfKind(object.kind())));
        }
        _account.end();
        entry.state = State::Decoded;
    }
    _account.addReference(entry.measure);
    return entry.value;
}

QString Unarchive::className(const PropertyList::Dictionary &record) const {
    const auto *value = find(record, QStringLiteral("$class"));
    const auto *reference = value ? value->as<PropertyList::Uid>() : nullptr;
    if (!reference)
        refuse(QStringLiteral("an object without a class"));
    const auto *described =
        reference->value < quint32(_objects.size())
            ? _objects[qsizetype(reference->value)].as<PropertyList::Dictionary>()
            : nullptr;
    const auto *name = described ? find(*described, QStringLiteral("$classname")) : nullptr;
    if (!name || !name->isString())
        refuse(QStringLiteral("a class without a name"));
    return name->string();
}

ArchiveValue Unarchive::decodeRecord(const PropertyList::Dictionary &record, Entry &entry) {
    const QString name = className(record);
    if (const auto known = _classes.constFind(name); known != _classes.constEnd()) {
        const auto object = (*known)();
        entry.value = object;
        RecordDecoder decoder(*this, record);
        object->initWithCoder(decoder);
        return object;
    }
    if (name == u"NSMutableArray")
        return decodeList(record);
    if (name == u"NSArray")
        return decodeList(record).immutable();
    if (name == u"NSMutableDictionary")
        return decodeDictionary(record);
    if (name == u"NSDictionary")
        return decodeDictionary(record).immutable();
    if (name == u"NSString" || name == u"NSMutableString")
        return decodeString(record);
    if (name == u"NSData" || name == u"NSMutableData")
        return decodeData(record);
    if (name == u"NSDate")
        return decodeDate(record);
    if (name == u"NSURL")
        return decodeUrl(record);
    if (name == u"NSNumber")
        return decodeNumber(record);
    if (name == u"NSNull")
        return ArchiveValue::NullObject();
    refuse(QStringLiteral("unknown class %1").arg(cutForLog(name)));
}

const PropertyList::List &referencesUnder(const PropertyList::Dictionary &record,
                                          const QString &key) {
    const auto *value = find(record, key);
    if (!value || !value->isList())
        refuse(QStringLiteral("a list or dictionary without %1").arg(key));
    return value->list();
}

ArchiveValue Unarchive::decodeList(const PropertyList::Dictionary &record) {
    ArchiveValue::List elements;
    const auto &references = referencesUnder(record, QStringLiteral("NS.objects"));
    elements.reserve(references.size());
    for (const PropertyList &reference : references)
        elements.append(decodeReference(reference));
    return elements;
}

ArchiveValue Unarchive::decodeDictionary(const PropertyList::Dictionary &record) {
    const auto &keys = referencesUnder(record, QStringLiteral("NS.keys"));
    const auto &elements = referencesUnder(record, QStringLiteral("NS.objects"));
    if (keys.size() != elements.size())
        refuse(QStringLiteral("a dictionary with %1 keys and %2 values")
                   .arg(keys.size())
                   .arg(elements.size()));
    ArchiveValue::Dictionary entries;
    for (qsizetype i = 0; i < keys.size(); ++i) {
        const auto key = decodeReference(keys[i]).string();
        if (!key)
            refuse(QStringLiteral("a dictionary key that is nil"));
        entries.insert(*key, decodeReference(elements[i]));
    }
    return entries;
}

ArchiveValue Unarchive::decodeString(const PropertyList::Dictionary &record) {
    const auto *text = find(record, QStringLiteral("NS.string"));
    if (!text || !text->isString())
        refuse(QStringLiteral("a string object without text"));
    return *text;
}

ArchiveValue Unarchive::decodeData(const PropertyList::Dictionary &record) {
    const auto *data = find(record, QStringLiteral("NS.data"));
    if (data && data->isData())
        return *data;
    if (!data)
        refuse(QStringLiteral("a data object without bytes"));
    const auto referred = decodeReference(*data).data();
    if (!referred)
        refuse(QStringLiteral("a data object without bytes"));
    return *referred;
}

ArchiveValue Unarchive::decodeDate(const PropertyList::Dictionary &record) {
    const auto *time = find(record, QStringLiteral("NS.time"));
    if (!time || !time->isNumber())
        refuse(QStringLiteral("a date object without a time"));
    return Date{time->doubleValue()};
}

ArchiveValue Unarchive::decodeNumber(const PropertyList::Dictionary &record) {
    for (const auto &key :
         {QStringLiteral("NS.intval"), QStringLiteral("NS.dblval"), QStringLiteral("NS.boolval")}) {
        const auto *number = find(record, key);
        if (number && number->isNumber())
            return *number;
    }
    refuse(QStringLiteral("a number object without a value"));
}

ArchiveValue Unarchive::decodeUrl(const PropertyList::Dictionary &record) {
    const auto *relative = find(record, QStringLiteral("NS.relative"));
    const auto text = relative ? decodeReference(*relative).string() : std::nullopt;
    if (!text)
        refuse(QStringLiteral("a URL object without text"));
    const auto *baseReference = find(record, QStringLiteral("NS.base"));
    const auto base = baseReference ? decodeReference(*baseReference).url() : std::nullopt;
    if (base)
        return urlFromForeignText(*text, *base);
    return {urlFromForeignText(*text), *text};
}

} // namespace

ArchiveValue KeyedUnarchiver::unarchivedObject(QByteArrayView archive,
                                               const CodingClasses &classes) {
    const auto parsed =
        PropertyListSerialization::parse(archive, PropertyListSerialization::memoryPerByteOfFile);
    if (!parsed.value)
        refuse(parsed.error);
    const auto *file = parsed.value->as<PropertyList::Dictionary>();
    const auto *archiver = file ? find(*file, QStringLiteral("$archiver")) : nullptr;
    const auto *version = file ? find(*file, QStringLiteral("$version")) : nullptr;
    const auto *objects = file ? find(*file, QStringLiteral("$objects")) : nullptr;
    if (!archiver || !(*archiver == PropertyList(QStringLiteral("NSKeyedArchiver"))))
        refuse(QStringLiteral("not a keyed archive"));
    if (!version || !(*version == PropertyList(100000)))
        refuse(QStringLiteral("a keyed archive of another version"));
    if (!objects || !objects->isList())
        refuse(QStringLiteral("a keyed archive without objects"));
    const auto *top = dictionaryUnder(*file, QStringLiteral("$top"));
    const auto *root = top ? find(*top, QStringLiteral("root")) : nullptr;
    if (!root)
        return {};
    return Unarchive(objects->list(), classes, archive.size()).decodeReference(*root);
}

ArchiveValue KeyedUnarchiver::unarchivedObjectOfFile(const QString &path,
                                                     const CodingClasses &classes) {
    const auto file = RegularFile::read(path, largestFile);
    switch (file.outcome) {
    case RegularFile::Contents::Outcome::Read:
        return unarchivedObject(file.bytes, classes);
    case RegularFile::Contents::Outcome::Missing:
        return {};
    case RegularFile::Contents::Outcome::TooLarge:
        refuse(QStringLiteral("a file of more than %1 bytes").arg(largestFile));
    case RegularFile::Contents::Outcome::Failed:
        refuse(QStringLiteral("%1 cannot be read").arg(onOneLine(path, shownInLabel)));
    }
    Q_UNREACHABLE();
}

} // namespace clipmule
