// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/foundation/PropertyList.h"

#include <QByteArrayView>

namespace clipmule {

/// Property lists as bytes: the XML, binary and OpenStep forms.
///
/// Reading foreign bytes never throws and never recurses without bound: a refused input gives an
/// error text, in English, for the log. Costs are linear in the input, and memory is a small
/// multiple of it.
class PropertyListSerialization {
public:
    enum class Format { OpenStep, Xml, Binary };

    struct Parsed {
        /// Missing when the input was refused.
        std::optional<PropertyList> value;
        /// Of the form that was recognised.
        Format format = Format::OpenStep;
        /// Empty when there is a value.
        QString error;
    };

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

    /// Each line of XML is indented by its depth, and shared values are written as often as they
    /// are referred to, so that a small hostile value can stand for gigabytes of text. The largest
    /// clip, ten million ampersands, takes a tenth of this.
    static constexpr qsizetype maximumXmlSize = 512 << 20;

    /// The form is detected: binary by its magic, then XML, then OpenStep text. Of a bare word
    /// that is a string; of white space alone an empty dictionary; of no bytes an error.
    [[nodiscard]] static Parsed parse(QByteArrayView bytes);
    [[nodiscard]] static Parsed parseXml(QByteArrayView bytes);
    [[nodiscard]] static Parsed parseBinary(QByteArrayView bytes);
    [[nodiscard]] static Parsed parseOpenStep(QByteArrayView bytes);

    /// The XML document, byte for byte as the platform writes it, after `headroom` bytes whose
    /// contents are the caller's to fill in (a frame header, which must not cost a copy).
    /// Characters that XML cannot carry (lone surrogates) become U+FFFD. A value nested deeper
    /// than maximumDepth raises a PlatformException, and so does a document of more than `limit`
    /// bytes.
    [[nodiscard]] static QByteArray xml(const PropertyList &value, qsizetype headroom = 0,
                                        qsizetype limit = maximumXmlSize);
    /// The "bplist00" document. Same exception for nesting.
    [[nodiscard]] static QByteArray binary(const PropertyList &value);
};

} // namespace clipmule
