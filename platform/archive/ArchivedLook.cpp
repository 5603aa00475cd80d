// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/archive/ArchivedLook.h"

#include "platform/archive/ExpansionAccount.h"
#include "platform/archive/TypedStream.h"
#include "platform/propertylist/PropertyListText.h"

#include <QtEndian>

#include <array>

namespace clipmule {

namespace ColorArchive {

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
    refuseArchive(QStringLiteral("colour archive: ") + reason);
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

Result<ArchivedColor> unarchivedColor(QByteArrayView archive) {
    return resultOfReading([archive] {
        TypedStream::Reader reader(archive);
        reader.expectTypes("@");
        return readColor(reader, true);
    });
}

} // namespace ColorArchive

namespace FontArchive {

namespace {

constexpr qint32 writtenVersion = 30;
constexpr qint32 earlierVersion = 21; // laid out in the same way

const TypedStream::ClassVersion rootClass{"NSObject", 0};

// The name is a list of its own: type and count of bytes, little-endian, then the text, filled with
// zeros to a multiple of four.
constexpr quint32 nextStepText = 5;
constexpr quint32 utf16Text = 6;
constexpr qsizetype nameHeaderSize = 8;

[[noreturn]] void refuse(const QString &reason) {
    refuseArchive(QStringLiteral("font archive: ") + reason);
}

QByteArray bytesType(qsizetype count) {
    return '[' + QByteArray::number(count) + "c]";
}

QByteArray encodeName(const QString &name) {
    QByteArray text = "\xFF\xFE";
    for (const QChar unit : name) {
        text += char(unit.unicode());
        text += char(unit.unicode() >> 8);
    }
    QByteArray bytes(nameHeaderSize, Qt::Uninitialized);
    qToLittleEndian(utf16Text, bytes.data());
    qToLittleEndian(quint32(text.size()), bytes.data() + sizeof utf16Text);
    bytes += text;
    bytes.resize((bytes.size() + 3) / 4 * 4, '\0');
    return bytes;
}

QString decodeName(const QByteArray &bytes) {
    if (bytes.size() < nameHeaderSize)
        refuse(QStringLiteral("no name"));
    const auto type = qFromLittleEndian<quint32>(bytes.constData());
    const auto count = qFromLittleEndian<quint32>(bytes.constData() + 4);
    if (count > quint32(bytes.size() - nameHeaderSize))
        refuse(QStringLiteral("a name of %1 bytes").arg(count));
    const QByteArray text = bytes.sliced(nameHeaderSize, qsizetype(count));
    QString name;
    if (type == nextStepText) {
        for (const char byte : text)
            name += QChar(characterFromNextStep(quint8(byte)));
        return name;
    }
    if (type != utf16Text || !text.startsWith("\xFF\xFE") || text.size() % 2 != 0)
        refuse(QStringLiteral("a name of an unknown type"));
    for (qsizetype i = 2; i < text.size(); i += 2)
        name += QChar(qFromLittleEndian<quint16>(text.constData() + i));
    return name;
}

ArchivedFont readFont(QByteArrayView archive) {
    TypedStream::Reader reader(archive);
    reader.expectTypes("@");
    const auto head = reader.readObjectHead();
    if (head.kind != TypedStream::Reader::ObjectHead::Kind::New || head.classes.size() != 2 ||
        head.classes[0].name != "NSFont" || head.classes[1] != rootClass)
        refuse(QStringLiteral("not a font"));
    if (head.classes[0].version != writtenVersion && head.classes[0].version != earlierVersion)
        refuse(QStringLiteral("a font of version %1").arg(head.classes[0].version));
    ArchivedFont font;
    reader.expectTypes("i");
    const qint32 length = reader.readInteger();
    reader.expectTypes(bytesType(length));
    font.name = decodeName(reader.readBytes(length));
    reader.expectTypes("f");
    font.size = reader.readFloat();
    const auto readMark = [&reader] {
        reader.expectTypes("c");
        return reader.readByte() != 0;
    };
    const bool hasOneMore = readMark();
    const bool hasUsualMatrix = readMark();
    (void)readMark();
    (void)readMark(); // the kind of system font
    if (!hasUsualMatrix)
        refuse(QStringLiteral("a font with a matrix"));
    if (hasOneMore) {
        reader.expectTypes("i");
        (void)reader.readInteger();
    }
    reader.readObjectEnd();
    return font;
}

} // namespace

QByteArray archivedData(const ArchivedFont &font) {
    const QByteArray name = encodeName(font.name);
    TypedStream::Writer writer;
    writer.writeTypes("@");
    writer.beginObject({{"NSFont", writtenVersion}, rootClass});
    writer.writeTypes("i");
    writer.writeInteger(name.size());
    writer.writeTypes(bytesType(name.size()));
    writer.writeBytes(name);
    writer.writeTypes("f");
    writer.writeFloat(font.size);
    for (const quint8 byte : {0, 1, 0, 0}) {
        writer.writeTypes("c");
        writer.writeByte(byte);
    }
    writer.endObject();
    return writer.take();
}

Result<ArchivedFont> unarchivedFont(QByteArrayView archive) {
    return resultOfReading([archive] { return readFont(archive); });
}

} // namespace FontArchive

} // namespace clipmule
