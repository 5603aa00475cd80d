// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "preferences/PanelTexts.h"

#include "platform/foundation/Log.h"

#include <QLocale>
#include <QRegularExpression>

namespace clipmule {

namespace ShownText {

QString onOneLine(const QString &text) {
    return clipmule::onOneLine(text, shownInLabel);
}

QString dateAndTime(Date date, Date now) {
    const QDateTime local = date.toDateTime().toLocalTime();
    const qint64 daysAgo = local.date().daysTo(now.toDateTime().toLocalTime().date());
    const QLocale locale;
    // Some locales' short form has seconds, which nobody needs to know here.
    static const QRegularExpression seconds(QStringLiteral("[:.]?ss?(?=[^a-z]|$)"));
    const QString time =
        locale.toString(local.time(), locale.timeFormat(QLocale::ShortFormat).remove(seconds));
    if (daysAgo == 0)
        return PanelTexts::tr("today at %1").arg(time);
    if (daysAgo == 1)
        return PanelTexts::tr("yesterday at %1").arg(time);
    return locale.toString(local.date(), QLocale::ShortFormat);
}

} // namespace ShownText

} // namespace clipmule
