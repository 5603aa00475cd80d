// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/foundation/Log.h"

namespace clipmule {

Q_LOGGING_CATEGORY(logFoundation, "clipmule.foundation")

void installLogFormat() {
    qSetMessagePattern(QStringLiteral("%{category}: %{message}"));
}

QString cutForLog(QStringView text) {
    constexpr qsizetype shown = 64;
    QString result;
    for (const QChar unit : text.first(std::min(text.size(), shown))) {
        if (unit == u'\n')
            result += QStringLiteral("\\n");
        else if (unit.unicode() < 0x20 || unit.unicode() == 0x7f)
            result += QStringLiteral("\\x%1").arg(unit.unicode(), 2, 16, QLatin1Char('0'));
        else
            result += unit;
    }
    if (text.size() > shown)
        result += QStringLiteral("… (%1)").arg(text.size());
    return result;
}

} // namespace clipmule
