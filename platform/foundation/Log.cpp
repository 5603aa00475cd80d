// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/foundation/Log.h"

#include "platform/foundation/Utf8.h"

#include <algorithm>
#include <sys/stat.h>
#include <unistd.h>

namespace clipmule {

Q_LOGGING_CATEGORY(logApp, "clipmule.app", QtInfoMsg)
Q_LOGGING_CATEGORY(logDBus, "clipmule.dbus")
Q_LOGGING_CATEGORY(logDesktop, "clipmule.desktop")
Q_LOGGING_CATEGORY(logDnsSd, "clipmule.dnssd", QtInfoMsg)
Q_LOGGING_CATEGORY(logFilters, "clipmule.filters")
Q_LOGGING_CATEGORY(logFoundation, "clipmule.foundation")
Q_LOGGING_CATEGORY(logKeyboard, "clipmule.keyboard")
Q_LOGGING_CATEGORY(logModel, "clipmule.model")
Q_LOGGING_CATEGORY(logNet, "clipmule.net", QtInfoMsg)
Q_LOGGING_CATEGORY(logPasteboard, "clipmule.pasteboard")
Q_LOGGING_CATEGORY(logPower, "clipmule.power")
Q_LOGGING_CATEGORY(logPreferences, "clipmule.preferences")
Q_LOGGING_CATEGORY(logStreams, "clipmule.streams", QtInfoMsg)
Q_LOGGING_CATEGORY(logSupport, "clipmule.support")
Q_LOGGING_CATEGORY(logUi, "clipmule.ui")
Q_LOGGING_CATEGORY(logWayland, "clipmule.wayland")
Q_LOGGING_CATEGORY(logX11, "clipmule.x11")

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

namespace {

enum class LogTarget { Journal, File, Other };

LogTarget logTarget() {
    struct stat status {};
    if (::fstat(STDERR_FILENO, &status) != 0)
        return LogTarget::Other;
    // What the service manager connected says so: "device:inode".
    const QString journal = QStringLiteral("%1:%2").arg(status.st_dev).arg(status.st_ino);
    if (qEnvironmentVariable("JOURNAL_STREAM") == journal)
        return LogTarget::Journal;
    return S_ISREG(status.st_mode) ? LogTarget::File : LogTarget::Other;
}

QString prefixFor(LogTarget target) {
    switch (target) {
    case LogTarget::Journal: // as it reads the priority of a line
        return QStringLiteral("%{if-debug}<7>%{endif}%{if-info}<6>%{endif}%{if-warning}<4>%{endif}"
                              "%{if-critical}<3>%{endif}%{if-fatal}<2>%{endif}");
    case LogTarget::File: // a session's log, in which everything writes
        return QStringLiteral("%{time yyyy-MM-ddTHH:mm:ss} %{type} ");
    case LogTarget::Other:
        break;
    }
    return {};
}

} // namespace

void installLogFormat() {
    qSetMessagePattern(prefixFor(logTarget()) + QStringLiteral("%{category}: %{message}"));
    QLoggingCategory::setFilterRules(QStringLiteral("clipmule.*.debug=false"));
}

QString onOneLine(QStringView text, qsizetype longest) {
    QStringView shown = text.first(std::min(text.size(), longest));
    // Half of a surrogate pair is not shown.
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
