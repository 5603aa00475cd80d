// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/foundation/ForeignUrl.h"

#include "platform/foundation/Utf8.h"

#include <algorithm>

namespace clipmule {

namespace {

constexpr auto slashes = QStringView(u"//");

bool endsAuthority(QChar unit) {
    return unit == u'/' || unit == u'?' || unit == u'#';
}

/// What QUrl may take for the authority: what follows "//" at the beginning or behind the first
/// colon. Whether a scheme stands before the colon does not matter here.
QStringView authorityOf(QStringView text) {
    qsizetype start = 0;
    if (!text.startsWith(slashes))
        start = text.indexOf(u':') + 1;
    const QStringView rest = text.sliced(start);
    if (!rest.startsWith(slashes))
        return {};
    const QStringView authority = rest.sliced(slashes.size());
    const auto *const end = std::find_if(authority.begin(), authority.end(), endsAuthority);
    return authority.first(end - authority.begin());
}

bool hasLongRunOfMarks(QStringView text) {
    int run = 0;
    for (qsizetype position = 0; position < text.size();) {
        run = QChar::isMark(nextCharacter(text, position)) ? run + 1 : 0;
        if (run > ForeignUrl::longestRunOfMarks)
            return true;
    }
    return false;
}

} // namespace

QUrl urlFromForeignText(const QString &text, QUrl::ParsingMode mode) {
    if (text.size() > ForeignUrl::longestText)
        return {};
    const QStringView authority = authorityOf(text);
    if (authority.size() > ForeignUrl::longestAuthority || hasLongRunOfMarks(authority))
        return {};
    return QUrl(text, mode);
}

QUrl urlFromForeignText(const QString &text, const QUrl &base) {
    const QUrl url = urlFromForeignText(text);
    if (url.isEmpty() && !text.isEmpty())
        return {};
    // A chain of URLs, each relative to the one before, would grow with the square of its length.
    if (base.toEncoded().size() + text.size() > ForeignUrl::longestText)
        return {};
    return base.resolved(url);
}

} // namespace clipmule
