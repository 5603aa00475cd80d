// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include <QLoggingCategory>

namespace clipmule {

// A category for each floor and service. The upper-case lines are the system's own and stand letter
// for letter.
Q_DECLARE_LOGGING_CATEGORY(logApp)
Q_DECLARE_LOGGING_CATEGORY(logDBus)
Q_DECLARE_LOGGING_CATEGORY(logDesktop)
Q_DECLARE_LOGGING_CATEGORY(logDnsSd)
Q_DECLARE_LOGGING_CATEGORY(logFilters)
Q_DECLARE_LOGGING_CATEGORY(logFoundation)
Q_DECLARE_LOGGING_CATEGORY(logKeyboard)
Q_DECLARE_LOGGING_CATEGORY(logModel)
Q_DECLARE_LOGGING_CATEGORY(logNet)
Q_DECLARE_LOGGING_CATEGORY(logPasteboard)
Q_DECLARE_LOGGING_CATEGORY(logPower)
Q_DECLARE_LOGGING_CATEGORY(logPreferences)
Q_DECLARE_LOGGING_CATEGORY(logStreams)
Q_DECLARE_LOGGING_CATEGORY(logSupport)
Q_DECLARE_LOGGING_CATEGORY(logUi)
Q_DECLARE_LOGGING_CATEGORY(logWayland)
Q_DECLARE_LOGGING_CATEGORY(logX11)

/// Log lines are "category: text" from now on, with their priority in front for the journal, and
/// with time and kind in a file. Debug lines are left out unless QT_LOGGING_RULES or a later rule
/// asks for them. Every program of this project calls it first.
void installLogFormat();

/// UTF-16 units of a foreign text that a log line shows: enough for a name.
inline constexpr qsizetype shownInLog = 64;
/// The same of a label, a menu line or a command's table; more would not fit on a screen.
inline constexpr qsizetype shownInLabel = 128;

/// The one way of a foreign text (from a phone, a clipboard's owner, a file, the bus) to a log
/// line, a terminal or a label: on one line, and with nothing in it that moves a cursor, changes a
/// terminal or turns the order of what is read. Such characters are written out: "\n", "\x1b",
/// "\u202e", "\U000e0041". Escaped are control characters (C0, DEL, C1), line and paragraph
/// separators, every format character (the bidirectional ones among them) and lone surrogates.
/// Joiners (U+200C, U+200D) stay behind a character outside Latin, where scripts and pictographs
/// need them. A text of more than `longest` UTF-16 units is cut, at a whole character; an ellipsis
/// and its length follow.
[[nodiscard]] QString onOneLine(QStringView text, qsizetype longest);

/// onOneLine() as long as a log line wants it.
[[nodiscard]] inline QString cutForLog(QStringView text) {
    return onOneLine(text, shownInLog);
}

} // namespace clipmule
