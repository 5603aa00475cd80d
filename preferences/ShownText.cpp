// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "preferences/ShownText.h"

#include "platform/foundation/Log.h"
#include "preferences/PanelTexts.h"

#include <QLocale>

namespace clipmule::ShownText {

QString onOneLine(const QString &text) {
    return clipmule::onOneLine(text, shownInLabel);
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
