// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/archive/KeyedArchiver.h"
#include "platform/foundation/PlatformException.h"

#include <cstdlib>
#include <iostream>

using namespace clipmule;

namespace {

[[noreturn]] void fail(const QString &what) {
    std::cerr << what.toStdString() << '\n';
    std::abort();
}

/// Takes what any of our classes takes, under its keys.
class AnyClip final : public Coding {
public:
    [[nodiscard]] QStringList archivedClassNames() const override {
        return {QStringLiteral("ZRKClipmuleData"), QStringLiteral("NSObject")};
    }
    void encodeWithCoder(Encoder &coder) override {
        coder.encodeObject(_cache, QStringLiteral("cacheDictionary"));
        coder.encodeObject(_title, QStringLiteral("title"));
        coder.encodeObject(_url, QStringLiteral("url"));
        coder.encodeObject(_date, QStringLiteral("creationDate"));
        coder.encodeInteger(_createdBy, QStringLiteral("createdBy"));
        coder.encodeBool(_hasImageData, QStringLiteral("hasImageData"));
    }
    void initWithCoder(Decoder &coder) override {
        // Not kept: a circle of owners would never be freed.
        (void)coder.decodeObjectsOfClass<AnyClip>(QStringLiteral("items"));
        _cache = coder.decodePropertyList(QStringLiteral("cacheDictionary"));
        _title = coder.decodeString(QStringLiteral("title"));
        _url = coder.decodeUrl(QStringLiteral("url"));
        _date = coder.decodeDate(QStringLiteral("creationDate"));
        _createdBy = coder.decodeInteger(QStringLiteral("createdBy"));
        _hasImageData = coder.decodeBool(QStringLiteral("hasImageData"));
    }

private:
    std::optional<PropertyList> _cache;
    std::optional<QString> _title;
    std::optional<QUrl> _url;
    std::optional<Date> _date;
    qint64 _createdBy = 0;
    bool _hasImageData = false;
};

} // namespace

// Any bytes are read or refused with a reason; what is read is archived, and the archive reads
// back.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t *bytes, size_t size) {
    const auto make = [] { return std::make_shared<AnyClip>(); };
    const CodingClasses classes{{QStringLiteral("ZRKClipmuleData"), make},
                                {QStringLiteral("ZRKClipmuleDataItem"), make},
                                {QStringLiteral("ZRKClipmuleClipboard"), make}};
    const auto root =
        KeyedUnarchiver::unarchivedObject(QByteArrayView(bytes, qsizetype(size)), classes);
    if (!root) {
        if (root.error().reason.isEmpty())
            fail(QStringLiteral("refused without a reason"));
        return 0;
    }
    const QByteArray written = KeyedArchiver::archivedData(*root);
    const auto again = KeyedUnarchiver::unarchivedObject(written, classes);
    if (!again) {
        // Our archive may be smaller, and is then allowed to expand to less.
        if (written.size() < qsizetype(size) && again.error().reason.contains(u"expand"))
            return 0;
        fail(QStringLiteral("own archive refused: ") + again.error().reason);
    }
    if (again->kind() != root->kind())
        fail(QStringLiteral("changed"));
    // Dictionaries come back sorted, and so does everything that is written from now on.
    if (KeyedArchiver::archivedData(*again) != written)
        fail(QStringLiteral("written differently the second time"));
    return 0;
}
