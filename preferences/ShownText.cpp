// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "preferences/ShownText.h"

#include "preferences/PanelTexts.h"

#include <QLocale>

namespace clipmule::ShownText {

QString onOneLine(const QString &text) {
    QString result;
    for (const QChar unit : text) {
        // Line and paragraph separators break lines as well.
        if (unit < u' ' || (unit >= u'\x7f' && unit < u'\xa0') || unit == u'\x2028' ||
            unit == u'\x2029')
            result += QStringLiteral("\\x%1").arg(unit.unicode(), 2, 16, QLatin1Char('0'));
        else
            result += unit;
    }
    return result;
}

QString dateAndTime(Date date, Date now) {
    const QDateTime local = date.toDateTime().toLocalTime();
    const qint64 daysAgo = local.date().daysTo(now.toDateTime().toLocalTime().date());
    const QLocale locale;
    const QString time = locale.toString(local.time(), QLocale::ShortFormat);
    if (daysAgo == 0)
        return PanelTexts::tr("today at %1").arg(time);
    if (daysAgo == 1)
        return PanelTexts::tr("yesterday at %1").arg(time);
    return locale.toString(local, QLocale::ShortFormat);
}

} // namespace clipmule::ShownText
