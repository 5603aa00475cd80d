// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "phone/PhoneCommand.h"

namespace clipmule::PhoneCommand {

namespace {

QString withoutEscapes(QStringView text) {
    QString result;
    result.reserve(text.size());
    for (qsizetype at = 0; at < text.size(); ++at) {
        if (text[at] != u'\\' || at + 1 == text.size()) {
            result += text[at];
            continue;
        }
        switch (text[++at].unicode()) {
        case u'n':
            result += u'\n';
            break;
        case u'r':
            result += u'\r';
            break;
        case u'\\':
            result += u'\\';
            break;
        default:
            result += u'\\';
            result += text[at];
        }
    }
    return result;
}

Command parseClip(QStringView name, QStringView rest, bool forOtherPhones) {
    if (name == u"text")
        return SendText{{withoutEscapes(rest)}, forOtherPhones};
    if (name == u"strings") {
        QStringList strings;
        for (const QStringView part : rest.split(u'|'))
            strings.append(withoutEscapes(part.trimmed()));
        return SendText{strings, forOtherPhones};
    }
    const QString argument = rest.trimmed().toString();
    if (name != u"url" && name != u"image")
        return Invalid{QStringLiteral("unknown command: %1").arg(name)};
    if (argument.isEmpty())
        return Invalid{QStringLiteral("%1 needs an argument").arg(name)};
    if (name == u"url")
        return SendUrl{argument, forOtherPhones};
    return SendImage{argument, forOtherPhones};
}

// The first word, and what follows the one blank behind it.
std::pair<QStringView, QStringView> split(QStringView line) {
    const qsizetype blank = line.indexOf(u' ');
    if (blank < 0)
        return {line, {}};
    return {line.first(blank), line.sliced(blank + 1)};
}

} // namespace

Command parse(const QString &line) {
    if (line.trimmed().isEmpty())
        return Nothing{};
    const auto [name, rest] = split(line);
    if (name == u"quit")
        return Quit{};
    if (name == u"plist") {
        if (rest.trimmed().isEmpty())
            return Invalid{QStringLiteral("plist needs a file")};
        return SendPropertyList{rest.trimmed().toString()};
    }
    if (name == u"relay") {
        const auto [what, clip] = split(rest);
        return parseClip(what, clip, true);
    }
    return parseClip(name, rest, false);
}

} // namespace clipmule::PhoneCommand
