// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/archive/KeyedArchiver.h"

#include "platform/foundation/Log.h"
#include "platform/foundation/PlatformException.h"
#include "platform/propertylist/ExpansionAccount.h"
#include "platform/propertylist/PropertyListSerialization.h"

#include <QSaveFile>

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
        if (_record.contains(stored))
            throw PlatformException(QStringLiteral("InvalidArgument"),
                                    QStringLiteral("the key \"%1\" is encoded twice").arg(key));
        _record.insert(stored, value);
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
        const auto found = known.constFind(key);
        if (found != known.constEnd())
            return *found;
        const quint32 number = append(leaf);
        known.insert(key, number);
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
        _objects[number] = record;
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

bool KeyedArchiver::archiveRootObjectToFile(const ArchiveValue &root, const QString &path) {
    const QByteArray data = archivedData(root);
    QSaveFile file(path);
    if (file.open(QIODevice::WriteOnly) && file.write(data) == data.size() && file.commit())
        return true;
    qCWarning(logFoundation).noquote() << path + QStringLiteral(": ") + file.errorString();
    return false;
}

} // namespace clipmule
