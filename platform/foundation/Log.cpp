// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/foundation/Log.h"

#include "platform/foundation/Characters.h"

#include <algorithm>

namespace clipmule {

Q_LOGGING_CATEGORY(logFoundation, "clipmule.foundation")

namespace {

constexpr char32_t endOfLatin = 0x0250;

bool isJoiner(char32_t character) {
    return character == 0x200c || character == 0x200d;
}

bool isHarmless(char32_t character, char32_t before) {
    switch (QChar::category(character)) {
    case QChar::Other_Control:
    case QChar::Other_Surrogate:
    case QChar::Separator_Line:
    case QChar::Separator_Paragraph:
        return false;
    case QChar::Other_Format:
        return isJoiner(character) && before >= endOfLatin && !isJoiner(before);
    default:
        return true;
    }
}

QString escaped(char32_t character) {
    if (character == u'\n')
        return QStringLiteral("\\n");
    if (character < 0x100)
        return QStringLiteral("\\x%1").arg(uint(character), 2, 16, QLatin1Char('0'));
    if (character < 0x10000)
        return QStringLiteral("\\u%1").arg(uint(character), 4, 16, QLatin1Char('0'));
    return QStringLiteral("\\U%1").arg(uint(character), 8, 16, QLatin1Char('0'));
}

} // namespace

void installLogFormat() {
    qSetMessagePattern(QStringLiteral("%{category}: %{message}"));
}

QString onOneLine(QStringView text, qsizetype longest) {
    QStringView shown = text.first(std::min(text.size(), longest));
    // Half a character is none.
    if (shown.size() < text.size() && !shown.isEmpty() && shown.back().isHighSurrogate() &&
        text[shown.size()].isLowSurrogate())
        shown.chop(1);
    QString result;
    char32_t before = 0;
    for (qsizetype position = 0; position < shown.size();) {
        const char32_t character = nextCharacter(shown, position);
        if (isHarmless(character, before))
            result += QChar::fromUcs4(character);
        else
            result += escaped(character);
        before = character;
    }
    if (shown.size() < text.size())
        result += QStringLiteral("… (%1)").arg(text.size());
    return result;
}

} // namespace clipmule
