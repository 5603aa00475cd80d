// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/foundation/PropertyList.h"
#include "platform/foundation/Result.h"

#include <QByteArrayView>

#include <memory>
#include <optional>

namespace clipmule {

class ParseMemory;
class XmlReader;

/// Property lists as bytes: the XML, binary and OpenStep forms.
///
/// Reading foreign bytes never throws and never recurses without bound. The reason of a refusal is
/// in English, for the log. Time is in proportion to the input, and what is allocated
/// stays within memoryPerByte times its size, and memoryFloor, at every moment.
class PropertyListSerialization {
public:
    enum class Format { OpenStep, Xml, Binary };

    /// Containers nested deeper are refused: the platform's limit, and far above the six levels
    /// of a clip, so that a value can always be walked and destroyed recursively.
    static constexpr int maximumDepth = 512;

    /// A binary list may refer to one object from many places, so that a kilobyte can stand for
    /// 2^29 values. Reading shares them, but whoever compares, describes or writes the value walks
    /// every one. A list is refused when such a walk would meet more than expandedValuesFloor +
    /// expandedValuesPerByte times its size in bytes; a value counts as one, and one more for each
    /// unit of a string (keys included) or byte of data. Clips, whose keys are the only thing that
    /// they share, stay below five a byte.
    static constexpr quint64 expandedValuesPerByte = 16;
    static constexpr quint64 expandedValuesFloor = 1 << 20;

    /// Bytes on the heap that reading may take for each byte of a message, beside the message
    /// itself, and for any message, however small. A text of ASCII letters takes two, at worst four
    /// while it is decoded; a list of booleans would take thirty-two for each of its references.
    static constexpr quint64 memoryPerByte = 4;
    static constexpr quint64 memoryFloor = 8 << 20;
    /// The same for a file that a program of ours may have written: an archive consists of short
    /// references, of which an entry of a dictionary takes two, and nothing that was written may be
    /// unreadable.
    static constexpr quint64 memoryPerByteOfFile = 64;

    /// Each line of XML is indented by its depth, and shared values are written as often as they
    /// are referred to, so that a small hostile value can stand for gigabytes of text. The largest
    /// clip, ten million ampersands, takes a tenth of this.
    static constexpr qsizetype maximumXmlSize = 512 << 20;

    /// The form is detected: binary by its magic, then XML, then OpenStep text. A bare word is a
    /// string, white space alone an empty dictionary, no bytes at all a failure. Whoever wants to
    /// know gets the form of what was read.
    [[nodiscard]] static Result<PropertyList>
    parse(QByteArrayView bytes, quint64 perByte = memoryPerByte, Format *form = nullptr);
    [[nodiscard]] static Result<PropertyList> parseXml(QByteArrayView bytes,
                                                       quint64 perByte = memoryPerByte);
    [[nodiscard]] static Result<PropertyList> parseBinary(QByteArrayView bytes,
                                                          quint64 perByte = memoryPerByte);
    [[nodiscard]] static Result<PropertyList> parseOpenStep(QByteArrayView bytes,
                                                            quint64 perByte = memoryPerByte);

    /// The XML document, byte for byte as the platform writes it. Characters that XML cannot carry
    /// (lone surrogates) become U+FFFD. A value nested deeper than maximumDepth raises a
    /// PlatformException, and so does a document of more than `limit` bytes.
    [[nodiscard]] static QByteArray xml(const PropertyList &value,
                                        qsizetype limit = maximumXmlSize);
    /// The "bplist00" document. Same exception for nesting.
    [[nodiscard]] static QByteArray binary(const PropertyList &value);
};

/// Reads one property list of any form, whose bytes come in any pieces: the result is that of
/// PropertyListSerialization::parse() for all of them. XML as the platform writes it, which is all
/// that large messages are, is read as it comes and not kept; of the other forms the bytes are
/// collected. What was announced and does not come takes no memory.
class PropertyListReader {
public:
    /// For a list of so many bytes.
    explicit PropertyListReader(qsizetype size);
    ~PropertyListReader();
    Q_DISABLE_COPY_MOVE(PropertyListReader)

    [[nodiscard]] qsizetype size() const { return _size; }
    [[nodiscard]] qsizetype missing() const { return _missing; }
    /// At most as many as are missing.
    void take(QByteArrayView bytes);
    /// Once, when none is missing.
    [[nodiscard]] Result<PropertyList> finish();

private:
    void read(QByteArrayView bytes);

    qsizetype _size;
    qsizetype _missing;
    // Those that came and are still to be read, and how many it takes to try again.
    QByteArray _kept;
    qsizetype _enough = 0;
    // Whether they are read as they come, as soon as that is known.
    std::optional<bool> _isPlainXml;
    std::unique_ptr<ParseMemory> _memory;
    std::unique_ptr<XmlReader> _reader;
    std::optional<QString> _refused;
};

} // namespace clipmule
