// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/archive/ColorArchive.h"

#include "platform/archive/TypedStream.h"
#include "platform/foundation/PlatformException.h"

#include <array>

namespace clipmule::ColorArchive {

namespace {

const TypedStream::ClassChain colorClass{{"NSColor", 0}, {"NSObject", 0}};
const TypedStream::ClassChain stringClass{{"NSString", 1}, {"NSObject", 0}};

enum class ColorKind : quint8 {
    CalibratedRgb = 1,
    DeviceRgb = 2,
    CalibratedWhite = 3,
    DeviceWhite = 4,
    DeviceCmyk = 5,
    Catalog = 6
};

using ObjectKind = TypedStream::Reader::ObjectHead::Kind;

[[noreturn]] void refuse(const QString &reason) {
    throw PlatformException(QStringLiteral("InvalidArchive"),
                            QStringLiteral("colour archive: ") + reason);
}

template <size_t count>
std::array<float, count> readComponents(TypedStream::Reader &reader) {
    reader.expectTypes(QByteArray(qsizetype(count), 'f'));
    std::array<float, count> components;
    for (float &component : components)
        component = reader.readFloat();
    return components;
}

void skipString(TypedStream::Reader &reader) {
    const auto head = reader.readObjectHead();
    if (head.kind != ObjectKind::New)
        return;
    if (head.classes != stringClass)
        refuse(QStringLiteral("a name that is no string"));
    reader.expectTypes("+");
    (void)reader.readString();
    reader.readObjectEnd();
}

// The stand-in that comes with a named colour is not a named colour itself.
ArchivedColor readColor(TypedStream::Reader &reader, bool mayBeNamed) {
    const auto head = reader.readObjectHead();
    if (head.kind != ObjectKind::New || head.classes != colorClass)
        refuse(QStringLiteral("not a colour"));
    reader.expectTypes("c");
    ArchivedColor color;
    const auto kind = ColorKind(reader.readByte());
    switch (kind) {
    case ColorKind::CalibratedRgb:
    case ColorKind::DeviceRgb: {
        const auto [red, green, blue, alpha] = readComponents<4>(reader);
        color = {red, green, blue, alpha};
        break;
    }
    case ColorKind::CalibratedWhite:
    case ColorKind::DeviceWhite: {
        const auto [white, alpha] = readComponents<2>(reader);
        color = {white, white, white, alpha};
        break;
    }
    case ColorKind::DeviceCmyk: {
        const auto [cyan, magenta, yellow, black, alpha] = readComponents<5>(reader);
        color = {(1 - cyan) * (1 - black), (1 - magenta) * (1 - black), (1 - yellow) * (1 - black),
                 alpha};
        break;
    }
    case ColorKind::Catalog:
        if (!mayBeNamed)
            refuse(QStringLiteral("a named colour that stands for a named colour"));
        reader.expectTypes("@@@");
        skipString(reader); // the list's name
        skipString(reader); // the colour's name
        color = readColor(reader, false);
        break;
    default:
        refuse(QStringLiteral("kind %1").arg(int(kind)));
    }
    reader.readObjectEnd();
    return color;
}

} // namespace

QByteArray archivedData(const ArchivedColor &color) {
    TypedStream::Writer writer;
    writer.writeTypes("@");
    writer.beginObject(colorClass);
    writer.writeTypes("c");
    writer.writeByte(quint8(ColorKind::CalibratedRgb));
    writer.writeTypes("ffff");
    for (const float component : {color.red, color.green, color.blue, color.alpha})
        writer.writeFloat(component);
    writer.endObject();
    return writer.take();
}

ArchivedColor unarchivedColor(QByteArrayView archive) {
    TypedStream::Reader reader(archive);
    reader.expectTypes("@");
    return readColor(reader, true);
}

} // namespace clipmule::ColorArchive
