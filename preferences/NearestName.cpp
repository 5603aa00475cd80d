// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "preferences/NearestName.h"

#include <algorithm>
#include <numeric>
#include <vector>

namespace clipmule {

namespace {

// Phones write "Anna’s Phone", keyboards "Anna's Phone".
QString plain(const QString &name) {
    static const QString quotes = QStringLiteral("\u2018\u2019\u02bc\u0060\u00b4\u2032");
    static const QString dashes = QStringLiteral("\u2010\u2011\u2012\u2013\u2014\u2212");
    QString result = name.normalized(QString::NormalizationForm_KC).toCaseFolded().simplified();
    for (QChar &unit : result) {
        if (quotes.contains(unit))
            unit = u'\'';
        else if (dashes.contains(unit))
            unit = u'-';
    }
    // A single character may have become many.
    return result.left(longestCompared);
}

// How many characters must be put in, taken out or replaced.
qsizetype distance(const QString &left, const QString &right) {
    std::vector<qsizetype> row(size_t(right.size()) + 1);
    std::iota(row.begin(), row.end(), qsizetype(0));
    for (qsizetype i = 0; i < left.size(); ++i) {
        qsizetype diagonal = row[0];
        row[0] = i + 1;
        for (qsizetype j = 0; j < right.size(); ++j) {
            const size_t at = size_t(j) + 1;
            const qsizetype replaced = diagonal + (left[i] == right[j] ? 0 : 1);
            diagonal = row[at];
            row[at] = std::min({row[at] + 1, row[at - 1] + 1, replaced});
        }
    }
    return row.back();
}

} // namespace

std::optional<QString> nearestName(const QString &typed, const QStringList &names) {
    if (typed.size() > longestCompared)
        return std::nullopt;
    const QString wanted = plain(typed);
    // A third of the characters may differ; in a short name, one.
    qsizetype best = std::max<qsizetype>(1, wanted.size() / 3) + 1;
    std::optional<QString> nearest;
    for (const QString &name : names) {
        if (name.size() > longestCompared)
            continue;
        const qsizetype found = distance(wanted, plain(name));
        if (found < best) {
            best = found;
            nearest = name;
        }
    }
    return nearest;
}

} // namespace clipmule
