// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/foundation/JsonLine.h"

#include "platform/foundation/Characters.h"

#include <QJsonDocument>

#include <algorithm>

namespace clipmule {

namespace {

bool isEscaped(char32_t character) {
    switch (QChar::category(character)) {
    case QChar::Other_Control:
    case QChar::Other_Format:
    case QChar::Separator_Line:
    case QChar::Separator_Paragraph:
        return true;
    default:
        return false;
    }
}

} // namespace

// JSON's own characters are printable ones of ASCII, so that what is escaped here stands in texts.
QByteArray jsonLine(const QJsonObject &object) {
    QByteArray json = QJsonDocument(object).toJson(QJsonDocument::Compact);
    if (std::all_of(json.begin(), json.end(),
                    [](char byte) { return byte >= 0x20 && byte < 0x7f; }))
        return json;
    const QString text = QString::fromUtf8(json);
    QString line;
    line.reserve(text.size());
    for (qsizetype at = 0; at < text.size();) {
        const qsizetype begin = at;
        const char32_t character = nextCharacter(text, at);
        for (const QChar unit : QStringView(text).sliced(begin, at - begin)) {
            if (isEscaped(character))
                line += QStringLiteral("\\u%1").arg(unit.unicode(), 4, 16, QLatin1Char('0'));
            else
                line += unit;
        }
    }
    return line.toUtf8();
}

} // namespace clipmule
