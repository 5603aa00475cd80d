// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/archive/ArchivedLook.h"
#include "platform/archive/SequentialArchiver.h"
#include "platform/foundation/PlatformException.h"

#include <cstdlib>
#include <iostream>

using namespace clipmule;

namespace {

[[noreturn]] void fail(const QString &what) {
    std::cerr << what.toStdString() << '\n';
    std::abort();
}

/// Reads a value of every kind.
class AnyObject final : public Coding {
public:
    [[nodiscard]] QStringList archivedClassNames() const override {
        return {QStringLiteral("ZRKClipmuleData"), QStringLiteral("NSObject")};
    }
    void encodeWithCoder(Encoder &coder) override {
        coder.encodeObject(_value, {});
        coder.encodeBool(_bool, {});
        coder.encodeInteger(_integer, {});
        coder.encodeReal(_real, {});
        coder.encodeBytes(_bytes, {});
    }
    void initWithCoder(Decoder &coder) override {
        const ArchiveValue value = coder.decodeObject({});
        // An object is not kept: a circle of owners would never be freed.
        if (value.kind() == ArchiveValue::Kind::Leaf)
            _value = value;
        _bool = coder.decodeBool({});
        _integer = coder.decodeInteger({});
        _real = coder.decodeReal({});
        _bytes = coder.decodeBytes({});
    }

private:
    ArchiveValue _value;
    bool _bool = false;
    qint64 _integer = 0;
    double _real = 0;
    QByteArray _bytes;
};

/// What reading gives; nothing when it was refused.
template <typename Value>
const Result<Value> &checked(const Result<Value> &read) {
    if (!read && read.error().reason.isEmpty())
        fail(QStringLiteral("refused without a reason"));
    return read;
}

bool isOrdered(float component) {
    return component == component;
}

} // namespace

// Any bytes are read or refused with a reason, as a colour, a font and an archive of objects; what
// is read is archived, and the archive reads back.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t *bytes, size_t size) {
    const QByteArrayView input(bytes, qsizetype(size));
    const auto color = checked(ColorArchive::unarchivedColor(input));
    if (color && isOrdered(color->red) && isOrdered(color->green) && isOrdered(color->blue) &&
        isOrdered(color->alpha) &&
        ColorArchive::unarchivedColor(ColorArchive::archivedData(*color)) != *color)
        fail(QStringLiteral("the colour changed"));
    const auto font = checked(FontArchive::unarchivedFont(input));
    if (font && isOrdered(font->size) &&
        FontArchive::unarchivedFont(FontArchive::archivedData(*font)) != *font)
        fail(QStringLiteral("the font changed"));

    const CodingClasses classes{
        {QStringLiteral("ZRKClipmuleData"), [] { return std::make_shared<AnyObject>(); }}};
    const auto root = checked(SequentialUnarchiver::unarchivedObject(input, classes));
    if (!root)
        return 0;
    const QByteArray written = SequentialArchiver::archivedData(*root);
    const auto again = checked(SequentialUnarchiver::unarchivedObject(written, classes));
    // Our archive may be smaller, and is then allowed to expand to less.
    if (!again && written.size() >= qsizetype(size))
        fail(QStringLiteral("own archive refused"));
    if (again && SequentialArchiver::archivedData(*again) != written)
        fail(QStringLiteral("written differently the second time"));
    return 0;
}
