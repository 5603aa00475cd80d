// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "model/ImageFileName.h"

#include <QLocale>

namespace clipmule::ImageFileName {

namespace {

// Of every file system in use.
constexpr qsizetype longestName = 255;

bool canStandInName(QChar unit) {
    return unit != u'/' && unit.unicode() >= 0x20 && unit.unicode() != 0x7f;
}

QString safe(const QString &title) {
    // Half a surrogate pair has no bytes of its own; it becomes a question mark here and
    // not on the way to the file system, where nobody sees the name again.
    QString name = QString::fromUtf8(title.toUtf8());
    for (QChar &unit : name) {
        if (!canStandInName(unit))
            unit = u'-';
    }
    if (name == u"." || name == u"..")
        name.fill(u'-');
    return name;
}

QString cut(const QString &name, qsizetype bytes) {
    QByteArray utf8 = name.toUtf8();
    if (utf8.size() <= bytes)
        return name;
    // Back to the first byte of a character.
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
        title && !title->isEmpty()
            ? safe(*title)
            : QStringLiteral("Clipmule ") +
                  QLocale::c().toString(localTime, QStringLiteral("yyyy-MM-dd HH.mm.ss AP"));
    QString end = u'.' + extension;
    if (counter)
        end.prepend(QStringLiteral(" %1").arg(*counter));
    return cut(base, longestName - end.toUtf8().size()) + end;
}

} // namespace clipmule::ImageFileName
