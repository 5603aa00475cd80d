// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/foundation/PropertyList.h"

#include <string_view>

namespace clipmule {

class ParseMemory;

// What the text forms of property lists are made of: encodings, characters, numbers and dates.

/// The text of an XML property list as UTF-8, without byte-order mark: the bytes that were given,
/// not copied, or converted ones. Finds the encoding by the byte-order mark; else it is UTF-16 when
/// one of the first two bytes is zero; else what the XML declaration says (UTF-8, US-ASCII,
/// ISO-8859-1, UTF-16); else UTF-8. Throws Refused for bytes that are not in the encoding; those
/// that are said to be UTF-8 are not looked at here.
[[nodiscard]] QByteArray utf8FromXml(QByteArrayView bytes, ParseMemory &memory);

/// Whether bytes that begin so are an XML property list that utf8FromXml() gives back as it is, and
/// none of another form; nothing when that takes more of them to tell.
[[nodiscard]] std::optional<bool> isPlainXml(QByteArrayView beginning);

/// The character of a byte in the NeXTSTEP 8-bit set, which old text property lists and old font
/// archives still use. ASCII below 80; U+FFFD for FE and FF, which are not assigned.
[[nodiscard]] char16_t characterFromNextStep(quint8 byte);

/// How many line feeds there are.
[[nodiscard]] qsizetype lineFeeds(std::string_view text);

/// White space between the elements of XML.
[[nodiscard]] inline bool isBlank(char character) {
    return static_cast<unsigned char>(character) <= ' ' &&
           (character == ' ' || character == '\t' || character == '\n' || character == '\r');
}

/// The character that a reference of XML stands for, given as "&" and what follows it up to the
/// semicolon; may be a surrogate.
[[nodiscard]] std::optional<char32_t> characterOfReference(std::string_view name);

/// Two references may make one character; one half alone is none, and becomes U+FFFD.
void replaceLoneSurrogates(QString &string);

/// Reads white space, a sign, white space, then decimal digits, or hexadecimal ones after "0x".
[[nodiscard]] std::optional<PropertyList> integerFromXml(std::string_view text);

/// Decimal digits with a point and an exponent, or a word for what is no number or has no end. The
/// point is a point in every locale; out of range is infinite or zero.
[[nodiscard]] std::optional<double> realFromXml(std::string_view text);
/// Seventeen digits at most, which are enough to read the same number again.
[[nodiscard]] QByteArray xmlFromReal(double real);

// Dates as XML property lists carry them: "2013-09-04T15:06:40Z", always UTC, whole seconds, in the
// Gregorian calendar without a beginning or an end; a year before 0000 has a minus sign.

/// Years beyond are refused when read and written as this one: within, a double holds every second.
constexpr qint64 outermostXmlYear = 99'999'999;

/// Refused when it is not exactly of this form. The fields are not held to their ranges: the 32nd
/// of January is the first of February.
[[nodiscard]] std::optional<Date> dateFromXml(QByteArrayView text);

/// The fraction is dropped towards the past; not a number counts as 2001-01-01.
[[nodiscard]] QByteArray xmlFromDate(Date date);

} // namespace clipmule
