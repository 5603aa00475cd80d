// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "filters/HtmlFilters.h"

#include "filters/ZRKClipmuleNSStringCategory.h"

namespace clipmule {

namespace {

using ReferenceTable = QHash<QStringView, char16_t>;

// One pass instead of one for each entry. A reference begins with the only "&" it has and ends with
// the only ";", and no character that it stands for is part of another reference, so the order of
// the entries makes no difference.
QString withoutNamedReferences(const QString &text, const ReferenceTable &characters) {
    qsizetype longest = 0;
    for (auto entry = characters.keyBegin(); entry != characters.keyEnd(); ++entry)
        longest = std::max(longest, entry->size());
    const QStringView source = text;
    QString decoded;
    decoded.reserve(text.size());
    qsizetype copied = 0;
    for (qsizetype at = source.indexOf(u'&'); at >= 0; at = source.indexOf(u'&', at)) {
        const QStringView rest = source.sliced(at).first(std::min(longest, source.size() - at));
        const qsizetype end = rest.indexOf(u';');
        const auto found =
            end < 0 ? characters.constEnd() : characters.constFind(rest.first(end + 1));
        if (found == characters.constEnd()) {
            ++at;
            continue;
        }
        decoded += source.sliced(copied, at - copied);
        decoded += QChar(*found);
        at += end + 1;
        copied = at;
    }
    decoded += source.sliced(copied);
    return decoded;
}

// A reference ends before the next one begins: "&#65&#66;" is the text "&#65" and a reference to
// 66.
QString withoutNumericReferences(const QString &text) {
    const QStringView source = text;
    const QString mark = QStringLiteral("&#");
    qsizetype start = source.indexOf(mark);
    if (start < 0)
        return text;
    QString decoded;
    decoded.reserve(text.size());
    decoded += source.first(start);
    while (start >= 0) {
        const qsizetype next = source.indexOf(mark, start + 2);
        const QStringView part = source.sliced(start, (next < 0 ? source.size() : next) - start);
        const qsizetype end = part.indexOf(u';');
        const auto number =
            end < 0 ? std::nullopt
                    : ZRKClipmuleNSStringCategory::convertToNumber(part.sliced(2, end - 2));
        if (number) {
            decoded += QChar(char16_t(*number));
            decoded += part.sliced(end + 1);
        } else {
            decoded += part;
        }
        start = next;
    }
    return decoded;
}

} // namespace

QString ZRKClipmuleDecodeHTMLEntitiesFilter::title() const {
    return localised(QT_TRANSLATE_NOOP("Clipmule", "Decode HTML Entities"));
}

QString ZRKClipmuleDecodeHTMLEntitiesFilter::className() const {
    return QStringLiteral("ZRKClipmuleDecodeHTMLEntitiesFilter");
}

std::optional<QString>
ZRKClipmuleDecodeHTMLEntitiesFilter::filterString(const std::optional<QString> &text) const {
    return text ? std::optional(filterString(*text)) : std::nullopt;
}

QString ZRKClipmuleDecodeHTMLEntitiesFilter::filterString(const QString &text) {
    return filterString(text, loadHtmlEntityTable());
}

QString ZRKClipmuleDecodeHTMLEntitiesFilter::filterString(const QString &text,
                                                          const HtmlEntityTable &table) {
    const QString ampersand = QStringLiteral("&amp;");
    ReferenceTable characters;
    for (auto entry = table.begin(); entry != table.end(); ++entry) {
        // Last, so that an escaped reference comes out as its text.
        if (*entry != ampersand)
            characters.insert(*entry, char16_t(entry.key()));
    }
    QString decoded = withoutNumericReferences(withoutNamedReferences(text, characters));
    return decoded.replace(ampersand, QStringLiteral("&"));
}

} // namespace clipmule
