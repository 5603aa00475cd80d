// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/archive/KeyedArchiver.h"
#include "platform/foundation/PlatformException.h"
#include "platform/propertylist/PropertyListSerialization.h"
#include "tests/archive/ArchivedClips.h"
#include "tests/kit/Results.h"

namespace clipmule::kit {

// Keyed archives composed object by object, right or wrong.

inline PropertyList classRecord(const QString &name) {
    return PropertyList::Dictionary{
        {QStringLiteral("$classname"), name},
        {QStringLiteral("$classes"), PropertyList::List{name, QStringLiteral("NSObject")}}};
}

/// An archive of these objects (the first is number 1), as a property list.
inline PropertyList::Dictionary archiveOf(PropertyList::List objects,
                                          const PropertyList &root = PropertyList::Uid{1}) {
    objects.prepend(QStringLiteral("$null"));
    return {{QStringLiteral("$version"), 100000},
            {QStringLiteral("$archiver"), QStringLiteral("NSKeyedArchiver")},
            {QStringLiteral("$top"), PropertyList::Dictionary{{QStringLiteral("root"), root}}},
            {QStringLiteral("$objects"), objects}};
}

inline ArchiveValue unarchive(const PropertyList &archive) {
    return kit::valueOf(KeyedUnarchiver::unarchivedObject(
        PropertyListSerialization::binary(archive), archivedClasses()));
}

/// A record of a class that is number 1 + the number of objects before it.
inline PropertyList record(const QString &key, const PropertyList &value, quint32 classNumber) {
    return PropertyList::Dictionary{{key, value},
                                    {QStringLiteral("$class"), PropertyList::Uid{classNumber}}};
}

/// Lists in each other, the innermost empty.
inline ArchiveValue nestedLists(int depth) {
    ArchiveValue value = ArchiveValue::List();
    for (int level = 1; level < depth; ++level)
        value = ArchiveValue::List{value};
    return value;
}

inline QString reasonOf(const std::function<void()> &act) {
    try {
        act();
    } catch (const NoValue &refused) {
        return refused.reason;
    } catch (const PlatformException &exception) {
        if (exception.name() == u"InvalidArchive")
            return exception.reason();
        return exception.name();
    }
    return {};
}

/// Calls every operation of a coder.
struct Probe final : Coding {
    std::function<void(Encoder &)> encode;
    std::function<void(Decoder &)> decode;
    [[nodiscard]] QStringList archivedClassNames() const override {
        return {QStringLiteral("Probe"), QStringLiteral("NSObject")};
    }
    void encodeWithCoder(Encoder &coder) override { encode(coder); }
    void initWithCoder(Decoder &coder) override { decode(coder); }
};

inline ArchiveValue probe(const std::function<void(Encoder &)> &encode) {
    auto object = std::make_shared<Probe>();
    object->encode = encode;
    return object;
}

/// Gives the decoder of the archive's root, a Probe, to a function.
inline void decodeProbe(const QByteArray &archive, const std::function<void(Decoder &)> &decode) {
    const CodingClasses classes{{QStringLiteral("Probe"), [&] {
                                     auto object = std::make_shared<Probe>();
                                     object->decode = decode;
                                     return object;
                                 }}};
    (void)kit::valueOf(KeyedUnarchiver::unarchivedObject(archive, classes));
}

} // namespace clipmule::kit
