// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/propertylist/PropertyListText.h"

#include "platform/foundation/Log.h"
#include "platform/propertylist/ParseMemory.h"

#include <QLocale>
#include <QStringConverter>
#include <QtEndian>

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <cstring>

namespace clipmule {

namespace {

qsizetype utf8Size(QStringView text) {
    qsizetype size = 0;
    for (const QChar unit : text)
        size += unit < u'\x80' ? 1 : unit < u'\x800' || unit.isSurrogate() ? 2 : 3;
    return size;
}

// Converts in pieces and at the right size: QString::toUtf8() takes three bytes for every unit.
QByteArray asUtf8(QStringView text, ParseMemory &memory) {
    constexpr qsizetype piece = 65536;
    const qsizetype size = utf8Size(text);
    memory.spendData(quint64(size));
    QByteArray converted;
    converted.reserve(size);
    QStringEncoder encoder(QStringConverter::Utf8);
    for (qsizetype at = 0; at < text.size(); at += piece)
        converted += QByteArray(encoder(text.sliced(at, std::min(piece, text.size() - at))));
    return converted;
}

QString fromUtf16(QByteArrayView bytes, QStringDecoder::Encoding encoding) {
    // The first byte-order mark, if there was one, is gone; a second is a character.
    QStringDecoder decoder(encoding, QStringDecoder::Flag::ConvertInitialBom);
    QString text = decoder(bytes);
    if (bytes.size() % 2 != 0 || !text.isValidUtf16())
        refuse(QStringLiteral("the text is not valid UTF-16"));
    return text;
}

QString fromUtf32(QByteArrayView bytes, quint32 (*read)(const void *)) {
    QString text;
    text.reserve(bytes.size() / 4);
    for (qsizetype at = 0; at < bytes.size(); at += 4) {
        const quint32 character = bytes.size() - at < 4 ? quint32(QChar::LastValidCodePoint) + 1
                                                        : read(bytes.data() + at);
        if (character > QChar::LastValidCodePoint || QChar::isSurrogate(character))
            refuse(QStringLiteral("the text is not valid UTF-32"));
        text += QChar::fromUcs4(character);
    }
    return text;
}

/// The value of `encoding="…"` in the XML declaration; empty when there is none.
QByteArrayView declaredEncoding(QByteArrayView bytes) {
    constexpr QByteArrayView attribute = "encoding";
    if (!bytes.startsWith("<?xml"))
        return {};
    const auto declaration = bytes.first(std::max<qsizetype>(0, bytes.indexOf("?>")));
    const auto at = declaration.indexOf(attribute);
    auto rest = at < 0 ? QByteArrayView() : declaration.sliced(at + attribute.size()).trimmed();
    if (!rest.startsWith('='))
        return {};
    rest = rest.sliced(1).trimmed();
    if (!rest.startsWith('"') && !rest.startsWith('\''))
        return {};
    const auto end = rest.indexOf(rest.front(), 1);
    return end < 0 ? QByteArrayView() : rest.sliced(1, end - 1);
}

QByteArray fromDeclared(QByteArrayView bytes, const QByteArray &name, ParseMemory &memory) {
    const bool isAscii = name == "us-ascii" || name == "ascii";
    if (isAscii &&
        std::any_of(bytes.begin(), bytes.end(), [](char byte) { return quint8(byte) > 0x7f; }))
        refuse(QStringLiteral("the text is not US-ASCII as declared"));
    if (isAscii || name.isEmpty() || name == "utf-8" || name == "utf8")
        return QByteArray::fromRawData(bytes.data(), bytes.size());
    if (name == "iso-8859-1" || name == "iso_8859-1" || name == "latin1")
        return asUtf8(QString::fromLatin1(bytes), memory);
    // A declaration that can be read byte by byte is not in UTF-16.
    if (name.startsWith("utf-16"))
        refuse(QStringLiteral("the text is not UTF-16 as declared"));
    refuse(QStringLiteral("unknown encoding \"%1\"").arg(cutForLog(QString::fromLatin1(name))));
}

// The toolkit's calendar has no year 0: there -1 is the one before 1.
qint64 dayNumber(qint64 year, qint64 month) {
    return QDate(int(year > 0 ? year : year - 1), int(month), 1).toJulianDay();
}

constexpr qint64 secondsPerDay = 86400;
constexpr qint64 referenceDay = 2'451'911; // 2001-01-01
const double earliest = double((dayNumber(-outermostXmlYear, 1) - referenceDay) * secondsPerDay);
const double latest =
    double((dayNumber(outermostXmlYear + 1, 1) - referenceDay) * secondsPerDay - 1);

/// Decimal digits with zeros in front up to the width; the number is not negative.
char *writePadded(char *out, int number, int width) {
    for (int bound = 10, digits = 1; digits < width; bound *= 10, ++digits) {
        if (number < bound)
            *out++ = '0';
    }
    return std::to_chars(out, out + 10, number).ptr;
}

bool isDigit(char character) {
    return character >= '0' && character <= '9';
}

} // namespace

QByteArray utf8FromXml(QByteArrayView bytes, ParseMemory &memory) {
    if (bytes.startsWith(QByteArrayView("\xff\xfe\0\0", 4)))
        return asUtf8(fromUtf32(bytes.sliced(4), qFromLittleEndian<quint32>), memory);
    if (bytes.startsWith(QByteArrayView("\0\0\xfe\xff", 4)))
        return asUtf8(fromUtf32(bytes.sliced(4), qFromBigEndian<quint32>), memory);
    if (bytes.startsWith("\xef\xbb\xbf"))
        return QByteArray::fromRawData(bytes.data() + 3, bytes.size() - 3);
    if (bytes.startsWith("\xff\xfe"))
        return asUtf8(fromUtf16(bytes.sliced(2), QStringDecoder::Utf16LE), memory);
    if (bytes.startsWith("\xfe\xff"))
        return asUtf8(fromUtf16(bytes.sliced(2), QStringDecoder::Utf16BE), memory);
    if (bytes.size() >= 2 && bytes[0] == '\0')
        return asUtf8(fromUtf16(bytes, QStringDecoder::Utf16BE), memory);
    if (bytes.size() >= 2 && bytes[1] == '\0')
        return asUtf8(fromUtf16(bytes, QStringDecoder::Utf16LE), memory);
    return fromDeclared(bytes, declaredEncoding(bytes).toByteArray().toLower(), memory);
}

std::optional<bool> isPlainXml(QByteArrayView beginning) {
    constexpr QByteArrayView declaration = "<?xml";
    // What is no digit behind the "<" makes it data of no other form.
    if (beginning.size() >= 2 &&
        (beginning[0] != '<' ||
         (beginning[1] != '?' && beginning[1] != '!' && beginning[1] != 'p')))
        return false;
    if (beginning.size() < declaration.size())
        return std::nullopt;
    if (!beginning.startsWith(declaration))
        return true;
    if (beginning.indexOf("?>") < 0)
        return std::nullopt;
    const QByteArray name = declaredEncoding(beginning).toByteArray().toLower();
    return name.isEmpty() || name == "utf-8" || name == "utf8";
}

qsizetype lineFeeds(std::string_view text) {
    // Sums of one byte a lane, which overflow after 255 blocks.
    using Block = quint8 __attribute__((vector_size(16)));
    constexpr size_t mostBlocks = 255;
    const Block lineFeed = Block{} + quint8('\n');
    qsizetype count = 0;
    while (text.size() >= sizeof(Block)) {
        Block sums{};
        for (size_t blocks = std::min(text.size() / sizeof(Block), mostBlocks); blocks > 0;
             --blocks) {
            Block block;
            std::memcpy(&block, text.data(), sizeof block);
            sums -= Block(block == lineFeed);
            text.remove_prefix(sizeof block);
        }
        for (size_t lane = 0; lane < sizeof sums; ++lane)
            count += sums[lane];
    }
    return count + std::count(text.begin(), text.end(), '\n');
}

char16_t characterFromNextStep(quint8 byte) {
    // 80 to FF, eight a line.
    static constexpr std::array<char16_t, 128> upperHalf = {
        // clang-format off
        0x00A0, 0x00C0, 0x00C1, 0x00C2, 0x00C3, 0x00C4, 0x00C5, 0x00C7,
        0x00C8, 0x00C9, 0x00CA, 0x00CB, 0x00CC, 0x00CD, 0x00CE, 0x00CF,
        0x00D0, 0x00D1, 0x00D2, 0x00D3, 0x00D4, 0x00D5, 0x00D6, 0x00D9,
        0x00DA, 0x00DB, 0x00DC, 0x00DD, 0x00DE, 0x00B5, 0x00D7, 0x00F7,
        0x00A9, 0x00A1, 0x00A2, 0x00A3, 0x2044, 0x00A5, 0x0192, 0x00A7,
        0x00A4, 0x2019, 0x201C, 0x00AB, 0x2039, 0x203A, 0xFB01, 0xFB02,
        0x00AE, 0x2013, 0x2020, 0x2021, 0x00B7, 0x00A6, 0x00B6, 0x2022,
        0x201A, 0x201E, 0x201D, 0x00BB, 0x2026, 0x2030, 0x00AC, 0x00BF,
        0x00B9, 0x02CB, 0x00B4, 0x02C6, 0x02DC, 0x00AF, 0x02D8, 0x02D9,
        0x00A8, 0x00B2, 0x02DA, 0x00B8, 0x00B3, 0x02DD, 0x02DB, 0x02C7,
        0x2014, 0x00B1, 0x00BC, 0x00BD, 0x00BE, 0x00E0, 0x00E1, 0x00E2,
        0x00E3, 0x00E4, 0x00E5, 0x00E7, 0x00E8, 0x00E9, 0x00EA, 0x00EB,
        0x00EC, 0x00C6, 0x00ED, 0x00AA, 0x00EE, 0x00EF, 0x00F0, 0x00F1,
        0x0141, 0x00D8, 0x0152, 0x00BA, 0x00F2, 0x00F3, 0x00F4, 0x00F5,
        0x00F6, 0x00E6, 0x00F9, 0x00FA, 0x00FB, 0x0131, 0x00FC, 0x00FD,
        0x0142, 0x00F8, 0x0153, 0x00DF, 0x00FE, 0x00FF, 0xFFFD, 0xFFFD,
        // clang-format on
    };
    return byte < 0x80 ? char16_t(byte) : upperHalf[size_t(byte - 0x80)];
}

std::optional<char32_t> characterOfReference(std::string_view name) {
    if (name == "&lt")
        return U'<';
    if (name == "&gt")
        return U'>';
    if (name == "&amp")
        return U'&';
    if (name == "&quot")
        return U'"';
    if (name == "&apos")
        return U'\'';
    const bool isHexadecimal = name.starts_with("&#x");
    if (!isHexadecimal && !name.starts_with("&#"))
        return std::nullopt;
    constexpr size_t mostDigits = 8;
    const auto digits = name.substr(isHexadecimal ? 3 : 2);
    const char *const end = digits.data() + digits.size();
    quint32 character = 0;
    const auto read = std::from_chars(digits.data(), end, character, isHexadecimal ? 16 : 10);
    if (digits.size() > mostDigits || read.ec != std::errc() || read.ptr != end ||
        character > QChar::LastValidCodePoint)
        return std::nullopt;
    return character;
}

void replaceLoneSurrogates(QString &string) {
    for (qsizetype at = 0; at < string.size(); ++at) {
        if (string[at].isHighSurrogate() && at + 1 < string.size() &&
            string[at + 1].isLowSurrogate())
            ++at;
        else if (string[at].isSurrogate())
            string[at] = QChar::ReplacementCharacter;
    }
}

std::optional<PropertyList> integerFromXml(std::string_view text) {
    const char *at = text.data();
    const char *const end = at + text.size();
    at = std::find_if_not(at, end, isBlank);
    bool isNegative = false;
    if (at < end && (*at == '-' || *at == '+'))
        isNegative = *at++ == '-';
    at = std::find_if_not(at, end, isBlank);
    const bool isHexadecimal = end - at >= 2 && at[0] == '0' && (at[1] == 'x' || at[1] == 'X');
    if (isHexadecimal)
        at += 2;

    quint64 magnitude = 0;
    const auto read = std::from_chars(at, end, magnitude, isHexadecimal ? 16 : 10);
    if (read.ec != std::errc() || read.ptr != end)
        return std::nullopt;
    if (!isNegative)
        return std::make_optional<PropertyList>(magnitude);
    constexpr quint64 lowest = quint64(1) << 63;
    if (magnitude > lowest)
        return std::nullopt;
    return std::make_optional<PropertyList>(qint64(0 - magnitude));
}

std::optional<double> realFromXml(std::string_view text) {
    const bool hasPlus = text.starts_with('+');
    const char *const begin = text.data() + (hasPlus ? 1 : 0);
    const char *const end = text.data() + text.size();
    double real = 0;
    const auto read = std::from_chars(begin, end, real);
    if (read.ec == std::errc::invalid_argument || read.ptr != end || (hasPlus && *begin == '-'))
        return std::nullopt;
    if (read.ec == std::errc::result_out_of_range)
        return QLocale::c().toDouble(QLatin1String(begin, end));
    // Neither with a sign nor with a number of its own.
    constexpr size_t sizeOfNan = 3;
    return std::isnan(real) && text.size() != sizeOfNan ? std::nullopt : std::optional(real);
}

QByteArray xmlFromReal(double real) {
    if (std::isnan(real))
        return QByteArrayLiteral("nan");
    if (std::isinf(real))
        return real > 0 ? QByteArrayLiteral("+infinity") : QByteArrayLiteral("-infinity");
    if (real == 0)
        return QByteArrayLiteral("0.0");
    // Unlike printf, the same in every locale.
    std::array<char, 32> digits{};
    const auto end =
        std::to_chars(digits.begin(), digits.end(), real, std::chars_format::general, 17).ptr;
    return QByteArray(digits.begin(), end - digits.begin());
}

std::optional<Date> dateFromXml(QByteArrayView text) {
    const bool isNegative = text.startsWith('-');
    if (isNegative)
        text = text.sliced(1);
    const auto yearEnd = std::find_if_not(text.begin(), text.end(), isDigit);
    qint64 year = 0;
    const auto read = std::from_chars(text.begin(), yearEnd, year);
    if (read.ec != std::errc() || year > outermostXmlYear)
        return std::nullopt;

    const QByteArrayView rest = text.sliced(yearEnd - text.begin());
    constexpr QByteArrayView form = "-00-00T00:00:00Z";
    if (rest.size() != form.size())
        return std::nullopt;
    std::array<qint64, 5> fields{};
    size_t field = 0;
    for (qsizetype at = 0; at < form.size(); ++at) {
        if (form[at] != '0') {
            if (rest[at] != form[at])
                return std::nullopt;
            continue;
        }
        if (!isDigit(rest[at]) || !isDigit(rest[at + 1]))
            return std::nullopt;
        fields[field++] = (rest[at] - '0') * 10 + (rest[at + 1] - '0');
        ++at;
    }
    const auto [month, day, hour, minute, second] = fields;

    // Month 13 is January of the next year, month 0 December of the one before.
    const qint64 carriedYears = (month + 11) / 12 - 1;
    const qint64 first =
        dayNumber((isNegative ? -year : year) + carriedYears, month - carriedYears * 12);
    const qint64 days = first + day - 1 - referenceDay;
    const auto seconds = double(((days * 24 + hour) * 60 + minute) * 60 + second);
    if (seconds < earliest || seconds > latest)
        return std::nullopt;
    return Date{seconds};
}

QByteArray xmlFromDate(Date date) {
    const double bounded = std::isnan(date.secondsSinceReference)
                               ? 0
                               : std::clamp(date.secondsSinceReference, earliest, latest);
    const double days = std::floor(bounded / double(secondsPerDay));
    const int second = int(std::floor(bounded - days * double(secondsPerDay)));
    int year = 0;
    int month = 0;
    int day = 0;
    QDate::fromJulianDay(qint64(days) + referenceDay).getDate(&year, &month, &day);
    if (year < 0)
        ++year;

    // A sign, eight digits, and the form of dateFromXml().
    std::array<char, 32> text;
    char *at = text.data();
    if (year < 0)
        *at++ = '-';
    at = writePadded(at, std::abs(year), year < 0 ? 3 : 4);
    const std::array<std::pair<char, int>, 5> fields{{{'-', month},
                                                      {'-', day},
                                                      {'T', second / 3600},
                                                      {':', second / 60 % 60},
                                                      {':', second % 60}}};
    for (const auto &[before, field] : fields) {
        *at++ = before;
        at = writePadded(at, field, 2);
    }
    *at++ = 'Z';
    return QByteArray(text.data(), at - text.data());
}

} // namespace clipmule
