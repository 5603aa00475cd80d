// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "filters/CaseMapping.h"

#include "platform/foundation/PlatformException.h"

#include <unicode/uchar.h>
#include <unicode/ustring.h>

#include <vector>

namespace clipmule::CaseMapping {

namespace {

// The locale without any language's own rules (Turkish i, Lithuanian dots).
constexpr const char *rootLocale = "";

const UChar *units(const QString &text) {
    return reinterpret_cast<const UChar *>(text.utf16());
}

// ICU counts in 32 bits.
int32_t length(const QString &text) {
    if (text.size() > qsizetype(INT32_MAX / 4)) {
        throw PlatformException(
            QStringLiteral("InvalidArgument"),
            QStringLiteral("a text of %1 units is too long to convert").arg(text.size()));
    }
    return int32_t(text.size());
}

QString mapped(const QString &text, decltype(&u_strToLower) map) {
    QString result(length(text), Qt::Uninitialized);
    for (;;) {
        UErrorCode status = U_ZERO_ERROR;
        const int32_t needed = map(reinterpret_cast<UChar *>(result.data()), int32_t(result.size()),
                                   units(text), length(text), rootLocale, &status);
        const bool tooSmall = status == U_BUFFER_OVERFLOW_ERROR;
        if (U_FAILURE(status) && !tooSmall)
            throw PlatformException(QStringLiteral("InvalidArgument"),
                                    QString::fromLatin1(u_errorName(status)));
        result.resize(needed);
        if (!tooSmall)
            return result;
    }
}

// A text with case folded away, and where each of its units came from.
struct Folded {
    QString text;
    // Index into the original of the character that each unit belongs to; one more at the end.
    std::vector<qsizetype> origin;

    [[nodiscard]] bool isBoundary(qsizetype at) const {
        return at == 0 || at == text.size() || origin[size_t(at)] != origin[size_t(at) - 1];
    }
};

Folded folded(const QString &text) {
    Folded result;
    result.text.reserve(text.size());
    result.origin.reserve(size_t(text.size()) + 1);
    for (qsizetype at = 0; at < text.size();) {
        const char16_t unit = text[at].unicode();
        if (unit < 0x80) {
            result.text += QChar(unit >= u'A' && unit <= u'Z' ? char16_t(unit + 0x20) : unit);
            result.origin.push_back(at++);
            continue;
        }
        const bool pair =
            text[at].isHighSurrogate() && at + 1 < text.size() && text[at + 1].isLowSurrogate();
        const int32_t count = pair ? 2 : 1;
        // One character folds to three at most.
        UChar buffer[8];
        UErrorCode status = U_ZERO_ERROR;
        const int32_t produced =
            u_strFoldCase(buffer, 8, units(text) + at, count, U_FOLD_CASE_DEFAULT, &status);
        result.text.append(reinterpret_cast<const QChar *>(buffer), produced);
        result.origin.insert(result.origin.end(), size_t(produced), at);
        at += count;
    }
    result.origin.push_back(text.size());
    return result;
}

// For each prefix of the pattern, the length of its longest proper prefix that is also its suffix.
std::vector<qsizetype> borders(const QString &pattern) {
    std::vector<qsizetype> border(size_t(pattern.size()), 0);
    for (qsizetype at = 1, matched = 0; at < pattern.size(); ++at) {
        while (matched > 0 && pattern[at] != pattern[matched])
            matched = border[size_t(matched) - 1];
        if (pattern[at] == pattern[matched])
            ++matched;
        border[size_t(at)] = matched;
    }
    return border;
}

} // namespace

QString lowerCase(const QString &text) {
    return mapped(text, u_strToLower);
}

QString upperCase(const QString &text) {
    return mapped(text, u_strToUpper);
}

QString replaceIgnoringCase(const QString &text, const QString &wanted,
                            const QString &replacement) {
    const Folded source = folded(text);
    const QString pattern = folded(wanted).text;
    const std::vector<qsizetype> border = borders(pattern);
    QString result;
    qsizetype copied = 0; // of the original
    qsizetype matched = 0;
    for (qsizetype at = 0; at < source.text.size(); ++at) {
        while (matched > 0 && source.text[at] != pattern[matched])
            matched = border[size_t(matched) - 1];
        if (source.text[at] == pattern[matched])
            ++matched;
        if (matched < pattern.size())
            continue;
        const qsizetype first = at + 1 - pattern.size();
        if (source.isBoundary(first) && source.isBoundary(at + 1)) {
            const qsizetype start = source.origin[size_t(first)];
            result += QStringView(text).sliced(copied, start - copied);
            result += replacement;
            copied = source.origin[size_t(at) + 1];
            matched = 0;
        } else {
            matched = border[size_t(matched) - 1];
        }
    }
    if (copied == 0)
        return text;
    result += QStringView(text).sliced(copied);
    return result;
}

} // namespace clipmule::CaseMapping
