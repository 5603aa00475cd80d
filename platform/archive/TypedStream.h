// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include <QByteArray>
#include <QHash>
#include <QList>

#include <optional>
#include <vector>

namespace clipmule {

/// Old archives without keys ("typedstream", version 4): groups of values, each after a text that
/// names their types. What these two classes write and read are its words; which words an object
/// consists of is known to the class of the object alone.
namespace TypedStream {

struct ClassVersion {
    QByteArray name;
    qint32 version = 0;
    friend bool operator==(const ClassVersion &, const ClassVersion &) = default;
};
/// A class, its superclass, and so on to the root class.
using ClassChain = QList<ClassVersion>;

/// Writes little-endian archives.
class Writer {
public:
    /// Begins with the header.
    Writer();

    /// What follows are values of these types, one character or [Nc] each.
    void writeTypes(const QByteArray &types);
    // Types c and C; i, s, l, q and their unsigned forms; f; d; [Nc]; + (nothing is nil); *.
    void writeByte(quint8 value);
    /// A PlatformException named "InvalidArgument" when it needs more than 32 bits, for which the
    /// format has no word.
    void writeInteger(qint64 value);
    void writeFloat(float value);
    void writeDouble(double value);
    void writeBytes(const QByteArray &bytes);
    void writeString(const std::optional<QByteArray> &text);
    void writeCString(const QByteArray &text);
    // Type @.
    void writeNil();
    /// The object's number, for further references; its groups follow until endObject().
    quint32 beginObject(const ClassChain &classes);
    void endObject();
    void writeReference(quint32 number);

    [[nodiscard]] QByteArray take() { return std::move(_bytes); }

private:
    void append(quint64 bits, int width);
    void writeWhole(double value, int width, quint64 bits);
    void writeSharedString(const QByteArray &text);
    void writeClass(const ClassChain &classes);

    QByteArray _bytes;
    QHash<QByteArray, quint32> _strings;
    QHash<QByteArray, quint32> _classes;
    QHash<QByteArray, quint32> _cStrings;
    /// Classes, objects and C strings share one row of numbers.
    quint32 _nextNumber = 0;
};

/// Reads archives of either byte order. Everything raises a PlatformException named
/// "InvalidArchive" when the bytes hold something else; nothing is read beyond their end.
class Reader {
public:
    /// A longer chain of superclasses is refused; none known has more than five.
    static constexpr qsizetype longestClassChain = 32;

    struct ObjectHead {
        enum class Kind { Nil, Reference, New };
        Kind kind = Kind::Nil;
        /// The number of the object that is referred to, or that follows until readObjectEnd().
        quint32 number = 0;
        /// The classes of a new object.
        ClassChain classes;
    };

    /// Begins with the header. The bytes are not copied.
    explicit Reader(QByteArrayView bytes);

    [[nodiscard]] QByteArray readTypes();
    /// Raises the exception when the types are others.
    void expectTypes(const QByteArray &types);
    [[nodiscard]] quint8 readByte();
    [[nodiscard]] qint32 readInteger();
    [[nodiscard]] float readFloat();
    [[nodiscard]] double readDouble();
    [[nodiscard]] QByteArray readBytes(qsizetype count);
    [[nodiscard]] std::optional<QByteArray> readString();
    [[nodiscard]] std::optional<QByteArray> readCString();
    [[nodiscard]] ObjectHead readObjectHead();
    void readObjectEnd();

private:
    struct Entry {
        enum class Kind { Class, Object, CString };
        Kind kind = Kind::Object;
        /// The text of a C string, or the name of a class.
        QByteArray text;
        // The version of a class.
        qint32 version = 0;
        std::optional<quint32> superclass;
        /// 1 for a root class; 0 while the superclasses are read.
        qsizetype chainLength = 0;
    };

    [[nodiscard]] quint8 peek() const;
    [[nodiscard]] quint64 readBits(int width);
    /// False, and nothing read, when an integer stands in the place of the real's bits.
    [[nodiscard]] bool readRealMark();
    [[nodiscard]] QByteArray readSharedString();
    [[nodiscard]] quint32 readReference(Entry::Kind kind);
    [[nodiscard]] ClassChain readClass();
    quint32 add(Entry::Kind kind);

    QByteArrayView _bytes;
    qsizetype _at = 0;
    bool _isBigEndian = false;
    std::vector<QByteArray> _strings;
    std::vector<Entry> _entries;
};

} // namespace TypedStream

} // namespace clipmule
