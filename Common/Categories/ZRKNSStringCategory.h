// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include <QChar>
#include <QString>

#include <concepts>

namespace clipmule {

/// What the platform's strings can do beyond their own: identifiers, digests, escaping.
namespace ZRKNSStringCategory {

/// A new random UUID in its standard text form: 36 characters, upper-case hexadecimal, hyphens.
[[nodiscard]] QString uuid();

/// MD5 of the UTF-8 bytes up to the first NUL: 32 lower-case hexadecimal digits.
[[nodiscard]] QString md5(const QString &string);

/// SHA-1 of the UTF-8 bytes up to the first NUL, in Base64.
[[nodiscard]] QString sha1(const QString &string);

/// HMAC-SHA1 of the UTF-8 bytes, all of them, under the key's UTF-8 bytes; in Base64.
[[nodiscard]] QString hmacSHA1(const QString &string, const QString &key);

/// Percent-encoding of the UTF-8 bytes: letters, digits and -._~ stay, everything else is escaped,
/// the reserved characters of URLs and the percent sign included.
[[nodiscard]] QString urlEncode(const QString &string);

/// The platform's newline characters: LF, VT, FF, CR, NEL and the line and paragraph separators.
struct NewlineCharacterSet {
    [[nodiscard]] constexpr bool operator()(char16_t unit) const {
        return (unit >= u'\n' && unit <= u'\r') || unit == 0x85 || unit == 0x2028 || unit == 0x2029;
    }
};

/// Each single character of the set becomes one replacement; runs are not merged. The set is asked
/// for each UTF-16 unit.
template <std::predicate<char16_t> CharacterSet>
[[nodiscard]] QString stringByReplacingCharactersInSetWithString(const QString &string,
                                                                 const CharacterSet &set,
                                                                 const QString &replacement) {
    QString result;
    qsizetype copied = 0;
    for (qsizetype at = 0; at < string.size(); ++at) {
        if (!set(string[at].unicode()))
            continue;
        if (copied == 0)
            result.reserve(string.size());
        result += QStringView(string).sliced(copied, at - copied);
        result += replacement;
        copied = at + 1;
    }
    // Text without such a character is the usual case and is shared, not copied.
    if (copied == 0)
        return string;
    result += QStringView(string).sliced(copied);
    return result;
}

} // namespace ZRKNSStringCategory

} // namespace clipmule
