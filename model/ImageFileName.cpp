// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "model/ImageFileName.h"

#include "platform/foundation/Characters.h"

#include <QLocale>

namespace clipmule::ImageFileName {

namespace {

// Bytes of a file name, on every file system in use.
constexpr qsizetype longestName = 255;

// Whether a character may stand in a file name. Invisible characters that change how the rest is
// shown are as bad as a slash: a name shown from right to left seems to have another extension.
bool canStandInName(char32_t character) {
    constexpr char32_t nonJoiner = 0x200c; // these two belong to the spelling of some scripts
    constexpr char32_t joiner = 0x200d;
    switch (QChar::category(character)) {
    case QChar::Other_Control:
    case QChar::Separator_Line:
    case QChar::Separator_Paragraph:
        return false;
    case QChar::Other_Format:
        return character == nonJoiner || character == joiner;
    default:
        return character != u'/';
    }
}

QString safe(const QString &title) {
    // Half a surrogate pair has no bytes of its own; it becomes a question mark here and
    // not on the way to the file system, where nobody sees the name again.
    const QString whole = QString::fromUtf8(title.toUtf8());
    QString name;
    for (qsizetype position = 0; position < whole.size();) {
        const qsizetype start = position;
        if (canStandInName(nextCharacter(whole, position)))
            name += QStringView(whole).sliced(start, position - start);
        else
            name += u'-';
    }
    if (name == u"." || name == u"..")
        name.fill(u'-');
    return name;
}

QString cut(const QString &name, qsizetype bytes) {
    QByteArray utf8 = name.toUtf8();
    if (utf8.size() <= bytes)
        return name;
    // Goes back to the first byte of a character.
    qsizetype end = bytes;
    while (end > 0 && (quint8(utf8[end]) & 0xc0U) == 0x80)
        --end;
    utf8.truncate(end);
    return QString::fromUtf8(utf8);
}

} // namespace

QString make(const std::optional<QString> &title, const QDateTime &localTime,
             std::optional<qsizetype> counter, const QString &extension) {
    const QString base =
        title && !title->trimmed().isEmpty()
            ? safe(*title)
            : QStringLiteral("Clipmule ") +
                  QLocale::c().toString(localTime, QStringLiteral("yyyy-MM-dd HH.mm.ss AP"));
    QString end = u'.' + extension;
    if (counter)
        end.prepend(QStringLiteral(" %1").arg(*counter));
    return cut(base, longestName - end.toUtf8().size()) + end;
}

} // namespace clipmule::ImageFileName
