// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/archive/KeyedArchiver.h"

#include "platform/archive/ExpansionAccount.h"
#include "platform/foundation/ForeignUrl.h"
#include "platform/foundation/Log.h"

#include <bit>
#include <limits>
#include <unordered_map>
#include <utility>
#include <vector>

namespace clipmule {

namespace {

constexpr quint32 nilNumber = 0;

// The most objects that are written out. The largest clip, held by a list a hundred times, has
// fewer, and this many need a few gigabytes while they are written.
constexpr quint64 mostWrittenOut = quint64(1) << 23U;

PropertyList reference(quint32 number) {
    return PropertyList::Uid{number};
}

class Archive;

/// The coder of one object: collects its record.
class RecordEncoder final : public Encoder {
public:
    explicit RecordEncoder(Archive &archive)
        : _archive(archive) {}

    [[nodiscard]] bool allowsKeyedCoding() const override { return true; }
    void encodeObject(const ArchiveValue &value, const QString &key) override;
    void encodeBool(bool value, const QString &key) override { insert(key, value); }
    void encodeInteger(qint64 value, const QString &key) override { insert(key, value); }
    void encodeReal(double value, const QString &key) override { insert(key, value); }
    void encodeBytes(const QByteArray &value, const QString &key) override { insert(key, value); }

    [[nodiscard]] PropertyList::Dictionary takeRecord() { return std::move(_record); }

private:
    void insert(const QString &key, const PropertyList &value) {
        // The archive's own keys begin with one $.
        const QString stored = key.startsWith(u'$') ? u'$' + key : key;
        const qsizetype before = _record.size();
        _record.insert(stored, value);
        if (_record.size() == before)
            throw PlatformException(QStringLiteral("InvalidArgument"),
                                    QStringLiteral("the key \"%1\" is encoded twice").arg(key));
    }

    Archive &_archive;
    PropertyList::Dictionary _record;
};

quint64 saturatedSum(quint64 left, quint64 right) {
    return left > std::numeric_limits<quint64>::max() - right ? std::numeric_limits<quint64>::max()
                                                              : left + right;
}

/// Numbers objects as they come: an object, then what it holds in the order of encoding, then the
/// record of its class if that is new.
class Archive {
public:
    enum class Sharing {
        /// An object of ours is written once.
        Full,
        /// It is written wherever it is referred to, unless it refers to itself.
        LeavesOnly
    };
    explicit Archive(Sharing sharing)
        : _sharing(sharing) {}

    /// The number under which the holder refers to it.
    quint32 add(const ArchiveValue &value) {
        const quint32 number = addValue(value);
        _weight = saturatedSum(_weight, _weights[number]);
        return number;
    }

    /// The weight of an object that was added, as the reader's ExpansionAccount sees it.
    [[nodiscard]] quint64 weight(quint32 number) const { return _weights[number]; }

    PropertyList take(quint32 root) {
        return PropertyList::Dictionary{
            {QStringLiteral("$archiver"), QStringLiteral("NSKeyedArchiver")},
            {QStringLiteral("$objects"), std::move(_objects)},
            {QStringLiteral("$top"),
             PropertyList::Dictionary{{QStringLiteral("root"), reference(root)}}},
            {QStringLiteral("$version"), 100000}};
    }

private:
    quint32 addValue(const ArchiveValue &value) {
        if (_depth >= KeyedArchiver::maximumDepth && !value.isNil())
            throw PlatformException(QStringLiteral("InvalidArgument"),
                                    QStringLiteral("objects nested too deeply to archive"));
        switch (value.kind()) {
        case ArchiveValue::Kind::Nil:
            return nilNumber;
        case ArchiveValue::Kind::Leaf:
            return addLeaf(*value.as<PropertyList>());
        case ArchiveValue::Kind::Url:
            return addRecord({QStringLiteral("NSURL"), objectClass}, [&](auto &record) {
                record.insert(QStringLiteral("NS.base"), reference(nilNumber));
                record.insert(QStringLiteral("NS.relative"), reference(add(value.urlText())));
            });
        case ArchiveValue::Kind::Object:
            return addObject(*value.as<std::shared_ptr<Coding>>());
        case ArchiveValue::Kind::List:
            return addRecord(classNames(QStringLiteral("Array"), value.isMutable()),
                             [&](auto &record) {
                                 PropertyList::List elements;
                                 for (const auto &element : *value.as<ArchiveValue::List>())
                                     elements.append(reference(add(element)));
                                 record.insert(QStringLiteral("NS.objects"), elements);
                             });
        case ArchiveValue::Kind::Dictionary:
            return addRecord(classNames(QStringLiteral("Dictionary"), value.isMutable()),
                             [&](auto &record) {
                                 const auto &entries = *value.as<ArchiveValue::Dictionary>();
                                 PropertyList::List keys;
                                 for (auto key = entries.keyBegin(); key != entries.keyEnd(); ++key)
                                     keys.append(reference(add(*key)));
                                 PropertyList::List elements;
                                 for (const auto &element : entries)
                                     elements.append(reference(add(element)));
                                 record.insert(QStringLiteral("NS.keys"), keys);
                                 record.insert(QStringLiteral("NS.objects"), elements);
                             });
        case ArchiveValue::Kind::Null:
            return addRecord({QStringLiteral("NSNull"), objectClass}, [](auto &) {});
        }
        Q_UNREACHABLE();
    }

    static QStringList classNames(const QString &kind, bool isMutable) {
        QStringList names{QStringLiteral("NS") + kind, objectClass};
        if (isMutable)
            names.prepend(QStringLiteral("NSMutable") + kind);
        return names;
    }

    quint32 append(const PropertyList &object) {
        _objects.append(object);
        _weights.push_back(1);
        return quint32(_objects.size() - 1);
    }

    quint32 addLeaf(const PropertyList &leaf) {
        using Kind = PropertyList::Kind;
        switch (leaf.kind()) {
        case Kind::String:
            if (leaf.string() == u"$null") // as it stands, this text would read as nil
                return addRecord({QStringLiteral("NSString"), objectClass}, [&](auto &record) {
                    record.insert(QStringLiteral("NS.string"), leaf);
                });
            return addOnce(_strings, leaf.string(), leaf);
        case Kind::Data:
            return addOnce(_data, leaf.data(), leaf);
        case Kind::Boolean:
        case Kind::Integer:
        case Kind::UnsignedInteger:
            return addOnce(_numbers, {int(leaf.kind()), leaf.unsignedValue()}, leaf);
        case Kind::Real:
            return addOnce(_numbers, {int(leaf.kind()), std::bit_cast<quint64>(leaf.real())}, leaf);
        case Kind::Date:
            return addRecord({QStringLiteral("NSDate"), objectClass}, [&](auto &record) {
                record.insert(QStringLiteral("NS.time"), leaf.date().secondsSinceReference);
            });
        default:
            throw PlatformException(
                QStringLiteral("InvalidArgument"),
                QStringLiteral("%1 cannot be archived").arg(PropertyList::nameOfKind(leaf.kind())));
        }
    }

    template <typename Key>
    quint32 addOnce(QHash<Key, quint32> &known, const Key &key, const PropertyList &leaf) {
        // 0 is the number of "$null", and of no leaf.
        quint32 &number = known[key];
        if (number == 0)
            number = append(leaf);
        return number;
    }

    quint32 addObject(const std::shared_ptr<Coding> &object) {
        const auto known = _numbersOfObjects.find(object);
        const bool isKnown = known != _numbersOfObjects.end();
        // An object that is being written weighs nothing yet: it refers to itself.
        if (isKnown && (_sharing == Sharing::Full || _weights[known->second] == 0))
            return known->second;
        _numbersOfObjects[object] = quint32(_objects.size());
        return addRecord(object->archivedClassNames(), [&](auto &record) {
            RecordEncoder encoder(*this);
            object->encodeWithCoder(encoder);
            record = encoder.takeRecord();
        });
    }

    template <typename Fill>
    quint32 addRecord(const QStringList &names, Fill fill) {
        ++_depth;
        const quint32 number = append(PropertyList());
        PropertyList::Dictionary record;
        _weights[number] = 0;
        const quint64 weightOfHolder = std::exchange(_weight, 1);
        fill(record);
        _weights[number] = std::exchange(_weight, weightOfHolder);
        record.insert(QStringLiteral("$class"), reference(addClass(names)));
        _objects[number] = std::move(record);
        --_depth;
        return number;
    }

    quint32 addClass(const QStringList &names) {
        const QString name = names.value(0);
        const auto found = _classes.constFind(name);
        if (found != _classes.constEnd())
            return *found;
        const quint32 number = append(PropertyList::Dictionary{
            {QStringLiteral("$classname"), name},
            {QStringLiteral("$classes"), PropertyList::List(names.begin(), names.end())}});
        _classes.insert(name, number);
        return number;
    }

    static inline const QString objectClass = QStringLiteral("NSObject");

    const Sharing _sharing;
    PropertyList::List _objects{QStringLiteral("$null")};
    /// The weights by number: how many objects a walk from there meets; 0 as long as one is being
    /// written.
    std::vector<quint64> _weights{0};
    /// The weight, so far, of the object that is being written.
    quint64 _weight = 0;
    QHash<QString, quint32> _strings;
    QHash<QByteArray, quint32> _data;
    QHash<std::pair<int, quint64>, quint32> _numbers;
    QHash<QString, quint32> _classes;
    /// Holds the objects, so that no address is used twice.
    std::unordered_map<std::shared_ptr<Coding>, quint32> _numbersOfObjects;
    int _depth = 0;
};

void RecordEncoder::encodeObject(const ArchiveValue &value, const QString &key) {
    insert(key, reference(_archive.add(value)));
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
            refuseArchive(QStringLiteral("%1 in the place of an object")
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
            refuseArchive(unexpected(key, *stored));
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
            refuseArchive(unexpected(key, *stored));
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
        refuseArchive(QStringLiteral("a reference to no object"));
    if (number == 0)
        return {};
    Entry &entry = _decoded[number];
    if (entry.state == State::BeingDecoded) {
        // An object of ours exists before it is filled; a list or dictionary does not.
        if (entry.value.isNil())
            refuseArchive(QStringLiteral("a list or dictionary contains itself"));
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
            refuseArchive(QStringLiteral("%1 among the objects")
                              .arg(PropertyList::nameOfKind(object.kind())));
        }
        _account.end();
        entry.state = State::Decoded;
    }
    _account.addReference(entry.measure);
    return entry.value;
}

QString Unarchive::className(const PropertyList::Dictionary &record) const {
    const auto *reference = find<PropertyList::Uid>(record, QStringLiteral("$class"));
    if (!reference)
        refuseArchive(QStringLiteral("an object without a class"));
    const auto *described =
        reference->value < quint32(_objects.size())
            ? _objects[qsizetype(reference->value)].as<PropertyList::Dictionary>()
            : nullptr;
    const auto *name = described ? find(*described, QStringLiteral("$classname")) : nullptr;
    if (!name || !name->isString())
        refuseArchive(QStringLiteral("a class without a name"));
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
    refuseArchive(QStringLiteral("unknown class %1").arg(cutForLog(name)));
}

const PropertyList::List &referencesUnder(const PropertyList::Dictionary &record,
                                          const QString &key) {
    const auto *value = find(record, key);
    if (!value || !value->isList())
        refuseArchive(QStringLiteral("a list or dictionary without %1").arg(key));
    return value->list();
}

ArchiveValue Unarchive::decodeList(const PropertyList::Dictionary &record) {
    ArchiveValue::List elements;
    const auto references = referencesUnder(record, QStringLiteral("NS.objects"));
    elements.reserve(references.size());
    for (const PropertyList &reference : references)
        elements.append(decodeReference(reference));
    return elements;
}

ArchiveValue Unarchive::decodeDictionary(const PropertyList::Dictionary &record) {
    const auto keys = referencesUnder(record, QStringLiteral("NS.keys"));
    const auto elements = referencesUnder(record, QStringLiteral("NS.objects"));
    if (keys.size() != elements.size())
        refuseArchive(QStringLiteral("a dictionary with %1 keys and %2 values")
                          .arg(keys.size())
                          .arg(elements.size()));
    ArchiveValue::Dictionary entries;
    for (qsizetype i = 0; i < keys.size(); ++i) {
        const auto key = decodeReference(keys[i]).string();
        if (!key)
            refuseArchive(QStringLiteral("a dictionary key that is nil"));
        entries.insert(*key, decodeReference(elements[i]));
    }
    return entries;
}

ArchiveValue Unarchive::decodeString(const PropertyList::Dictionary &record) {
    const auto *text = find(record, QStringLiteral("NS.string"));
    if (!text || !text->isString())
        refuseArchive(QStringLiteral("a string object without text"));
    return *text;
}

ArchiveValue Unarchive::decodeData(const PropertyList::Dictionary &record) {
    const auto *data = find(record, QStringLiteral("NS.data"));
    if (data && data->isData())
        return *data;
    if (!data)
        refuseArchive(QStringLiteral("a data object without bytes"));
    const auto referred = decodeReference(*data).data();
    if (!referred)
        refuseArchive(QStringLiteral("a data object without bytes"));
    return *referred;
}

ArchiveValue Unarchive::decodeDate(const PropertyList::Dictionary &record) {
    const auto *time = find(record, QStringLiteral("NS.time"));
    if (!time || !time->isNumber())
        refuseArchive(QStringLiteral("a date object without a time"));
    return Date{time->doubleValue()};
}

ArchiveValue Unarchive::decodeNumber(const PropertyList::Dictionary &record) {
    for (const auto &key :
         {QStringLiteral("NS.intval"), QStringLiteral("NS.dblval"), QStringLiteral("NS.boolval")}) {
        const auto *number = find(record, key);
        if (number && number->isNumber())
            return *number;
    }
    refuseArchive(QStringLiteral("a number object without a value"));
}

ArchiveValue Unarchive::decodeUrl(const PropertyList::Dictionary &record) {
    const auto *relative = find(record, QStringLiteral("NS.relative"));
    const auto text = relative ? decodeReference(*relative).string() : std::nullopt;
    if (!text)
        refuseArchive(QStringLiteral("a URL object without text"));
    const auto *baseReference = find(record, QStringLiteral("NS.base"));
    const auto base = baseReference ? decodeReference(*baseReference).url() : std::nullopt;
    if (base)
        return urlFromForeignText(*text, *base);
    return {urlFromForeignText(*text), *text};
}

ArchiveValue rootOf(QByteArrayView archive, const CodingClasses &classes) {
    const auto parsed =
        PropertyListSerialization::parse(archive, PropertyListSerialization::memoryPerByteOfFile);
    if (!parsed)
        refuseArchive(parsed.error().reason);
    const auto *file = parsed->as<PropertyList::Dictionary>();
    const auto *archiver = file ? find(*file, QStringLiteral("$archiver")) : nullptr;
    const auto *version = file ? find(*file, QStringLiteral("$version")) : nullptr;
    const auto *objects = file ? find(*file, QStringLiteral("$objects")) : nullptr;
    if (!archiver || !(*archiver == PropertyList(QStringLiteral("NSKeyedArchiver"))))
        refuseArchive(QStringLiteral("not a keyed archive"));
    if (!version || !(*version == PropertyList(100000)))
        refuseArchive(QStringLiteral("a keyed archive of another version"));
    if (!objects || !objects->isList())
        refuseArchive(QStringLiteral("a keyed archive without objects"));
    const auto *top = find<PropertyList::Dictionary>(*file, QStringLiteral("$top"));
    const auto *root = top ? find(*top, QStringLiteral("root")) : nullptr;
    if (!root)
        return {};
    return Unarchive(objects->list(), classes, archive.size()).decodeReference(*root);
}

} // namespace

PropertyList KeyedArchiver::archivedPropertyList(const ArchiveValue &root) {
    Archive archive(Archive::Sharing::Full);
    const quint32 number = archive.add(root);
    return archive.take(number);
}

QByteArray KeyedArchiver::archivedData(const ArchiveValue &root) {
    Archive archive(Archive::Sharing::Full);
    quint32 number = archive.add(root);
    const quint64 weight = archive.weight(number);
    QByteArray bytes = PropertyListSerialization::binary(archive.take(number));
    if (weight <= ExpansionAccount::largestWeight(bytes.size()))
        return bytes;
    if (weight > mostWrittenOut)
        throw PlatformException(QStringLiteral("InvalidArgument"),
                                QStringLiteral("objects are shared too often to be archived"));
    // The reader would refuse it. Written out, no object stands for more than its own bytes.
    Archive writtenOut(Archive::Sharing::LeavesOnly);
    number = writtenOut.add(root);
    return PropertyListSerialization::binary(writtenOut.take(number));
}

Result<ArchiveValue> KeyedUnarchiver::unarchivedObject(QByteArrayView archive,
                                                       const CodingClasses &classes) {
    return resultOfReading([&] { return rootOf(archive, classes); });
}

} // namespace clipmule
