// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/archive/FontArchive.h"

#include "platform/archive/TypedStream.h"
#include "platform/foundation/PlatformException.h"
#include "platform/propertylist/NextStepCharacters.h"

#include <QtEndian>

namespace clipmule::FontArchive {

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
    throw PlatformException(QStringLiteral("InvalidArchive"),
                            QStringLiteral("font archive: ") + reason);
}

QByteArray littleEndian(quint32 number) {
    number = qToLittleEndian(number);
    return QByteArray(reinterpret_cast<const char *>(&number), sizeof number);
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
    QByteArray bytes = littleEndian(utf16Text) + littleEndian(quint32(text.size())) + text;
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

ArchivedFont unarchivedFont(QByteArrayView archive) {
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

} // namespace clipmule::FontArchive
