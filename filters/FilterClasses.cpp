// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "filters/FilterClasses.h"

#include "filters/CaseMapping.h"
#include "filters/HtmlFilters.h"
#include "filters/ZRKClipmuleNSStringCategory.h"

#include <QCoreApplication>
#include <QHash>

#include <algorithm>

// The filters that are a few lines each, and the table of all. A new one is its class here, or in a
// file of its own, and its row in rows().

namespace clipmule {

namespace {

/// Puts a text before and another after every line.
class ZRKClipmuleQuoteLinesFilter final : public ZRKClipmuleTextFilter {
public:
    ZRKClipmuleQuoteLinesFilter()
        : ZRKClipmuleTextFilter("ZRKClipmuleQuoteLinesFilter",
                                QT_TRANSLATE_NOOP("Clipmule", "Quote Lines")) {
        addTextOption(startOption, QT_TRANSLATE_NOOP("Clipmule", "Start Quote"));
        addTextOption(endOption, QT_TRANSLATE_NOOP("Clipmule", "End Quote"));
    }

protected:
    [[nodiscard]] QString filtered(const QString &text) const override {
        const QString start = textOfOption(startOption);
        const QString end = textOfOption(endOption);
        QStringList endings;
        const QStringList lines =
            ZRKClipmuleNSStringCategory::splitIntoLinesWithLineEndings(text, &endings);
        QString quoted;
        quoted.reserve(text.size() + lines.size() * (start.size() + end.size()));
        for (qsizetype index = 0; index < lines.size(); ++index)
            quoted += start + lines[index] + end + endings[index];
        return quoted;
    }

private:
    inline static const QString startOption = QStringLiteral("start");
    inline static const QString endOption = QStringLiteral("end");
};

/// Replaces every occurrence of a text by another, without regard to letter case.
class ZRKClipmuleFindReplaceFilter final : public ZRKClipmuleTextFilter {
public:
    ZRKClipmuleFindReplaceFilter()
        : ZRKClipmuleTextFilter("ZRKClipmuleFindReplaceFilter",
                                QT_TRANSLATE_NOOP("Clipmule", "Find and Replace")) {
        addTextOption(findOption, QT_TRANSLATE_NOOP("Clipmule", "Find"));
        addTextOption(replaceOption, QT_TRANSLATE_NOOP("Clipmule", "Replace"));
    }

protected:
    [[nodiscard]] QString filtered(const QString &text) const override {
        const QString wanted = textOfOption(findOption);
        return wanted.isEmpty()
                   ? text
                   : CaseMapping::replaceIgnoringCase(text, wanted, textOfOption(replaceOption));
    }

private:
    inline static const QString findOption = QStringLiteral("find");
    inline static const QString replaceOption = QStringLiteral("replace");
};

QString straightened(const QString &text) {
    QString straight = text;
    // One character for another, none of which is looked for later: one pass does for four.
    for (QChar &character : straight) {
        // Nearly all are beyond both.
        if (character < u'\u2018' || character > u'\u201D')
            continue;
        if (character <= u'\u2019')
            character = u'\'';
        else if (character >= u'\u201C')
            character = u'"';
    }
    return straight;
}

QString smartened(const QString &text) {
    QString smart = text;
    bool afterSpace = true;
    for (QChar &character : smart) {
        const QChar read = character;
        if (read == u'"')
            character = afterSpace ? u'\u201C' : u'\u201D';
        else if (read == u'\'')
            character = afterSpace ? u'\u2018' : u'\u2019';
        afterSpace = ZRKClipmuleNSStringCategory::isWhitespaceOrNewline(read);
    }
    return smart;
}

/// A filter without options.
template <QString (*map)(const QString &)>
class MappingFilter : public ZRKClipmuleTextFilter {
protected:
    using ZRKClipmuleTextFilter::ZRKClipmuleTextFilter;
    [[nodiscard]] QString filtered(const QString &text) const override { return map(text); }
};

class ZRKClipmuleLowercaseFilter final : public MappingFilter<CaseMapping::lowerCase> {
public:
    ZRKClipmuleLowercaseFilter()
        : MappingFilter("ZRKClipmuleLowercaseFilter",
                        QT_TRANSLATE_NOOP("Clipmule", "Convert to Lowercase")) {}
};

class ZRKClipmuleUppercaseFilter final : public MappingFilter<CaseMapping::upperCase> {
public:
    ZRKClipmuleUppercaseFilter()
        : MappingFilter("ZRKClipmuleUppercaseFilter",
                        QT_TRANSLATE_NOOP("Clipmule", "Convert to Uppercase")) {}
};

/// Converts to lower case and capitalises nothing, whatever the title says: the result is the same
/// as that of earlier versions.
class ZRKClipmuleTitlecaseFilter final : public MappingFilter<CaseMapping::lowerCase> {
public:
    ZRKClipmuleTitlecaseFilter()
        : MappingFilter("ZRKClipmuleTitlecaseFilter",
                        QT_TRANSLATE_NOOP("Clipmule", "Convert to Titlecase")) {}
};

/// Turns typographic quotation marks into straight ones.
class ZRKClipmuleStraightenQuotesFilter final : public MappingFilter<straightened> {
public:
    ZRKClipmuleStraightenQuotesFilter()
        : MappingFilter("ZRKClipmuleStraightenQuotesFilter",
                        QT_TRANSLATE_NOOP("Clipmule", "Straighten Quotes")) {}
};

/// Turns straight quotation marks into typographic ones: opening after white space and at the
/// start, closing elsewhere.
class ZRKClipmuleSmartenQuotesFilter final : public MappingFilter<smartened> {
public:
    ZRKClipmuleSmartenQuotesFilter()
        : MappingFilter("ZRKClipmuleSmartenQuotesFilter",
                        QT_TRANSLATE_NOOP("Clipmule", "Smarten Quotes")) {}
};

using Maker = std::shared_ptr<ZRKClipmuleFilter> (*)();

template <typename Filter>
std::shared_ptr<ZRKClipmuleFilter> make() {
    return std::make_shared<Filter>();
}

// The filters in the order of the list in Info.plist. A class says its own name.
const QList<Maker> &rows() {
    static const QList<Maker> rows{
        make<ZRKClipmuleQuoteLinesFilter>,         make<ZRKClipmuleWrapHTMLFilter>,
        make<ZRKClipmuleTitlecaseFilter>,          make<ZRKClipmuleStraightenQuotesFilter>,
        make<ZRKClipmuleFindReplaceFilter>,        make<ZRKClipmuleLowercaseFilter>,
        make<ZRKClipmuleUppercaseFilter>,          make<ZRKClipmuleSmartenQuotesFilter>,
        make<ZRKClipmuleDecodeHTMLEntitiesFilter>, make<ZRKClipmuleEncodeHTMLEntitiesFilter>,
    };
    return rows;
}

} // namespace

std::shared_ptr<ZRKClipmuleFilter> makeFilterOfClass(const QString &className) {
    static const QHash<QString, Maker> makers = [] {
        QHash<QString, Maker> byName;
        const QList<Maker> bases{make<ZRKClipmuleFilter>, make<ZRKClipmuleTextFilter>};
        for (const Maker maker : rows() + bases)
            byName.insert(maker()->className(), maker);
        return byName;
    }();
    const Maker maker = makers.value(className);
    return maker ? maker() : nullptr;
}

std::shared_ptr<ZRKClipmuleFilter> FilterByName::find(const ZRKClipmuleFilter::List &filters,
                                                      const QString &name) {
    const auto found = std::find_if(filters.begin(), filters.end(), [&name](const auto &filter) {
        return filter->title().compare(name, Qt::CaseInsensitive) == 0 ||
               filter->className() == name;
    });
    return found == filters.end() ? nullptr : *found;
}

Result<void> FilterByName::set(ZRKClipmuleFilter &filter, const QString &setting) {
    const qsizetype equals = setting.indexOf(u'=');
    if (equals < 0)
        return failure(QStringLiteral("“%1”: expected NAME=VALUE").arg(setting));
    const QString name = setting.first(equals);
    for (const auto &option : filter.options()) {
        if (option->name().value_or(QString()) == name) {
            option->setValue(PropertyList(setting.sliced(equals + 1)));
            return {};
        }
    }
    return failure(QStringLiteral("“%1” has no option “%2”").arg(filter.title(), name));
}

} // namespace clipmule
