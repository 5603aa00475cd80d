// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "filters/FilterClasses.h"

#include "filters/HtmlFilters.h"
#include "filters/ZRKClipmuleEncodeHTMLEntitiesFilter.h"
#include "filters/ZRKClipmuleFindReplaceFilter.h"
#include "filters/ZRKClipmuleLowercaseFilter.h"
#include "filters/ZRKClipmuleQuoteLinesFilter.h"
#include "filters/ZRKClipmuleSmartenQuotesFilter.h"
#include "filters/ZRKClipmuleStraightenQuotesFilter.h"
#include "filters/ZRKClipmuleTextFilter.h"
#include "filters/ZRKClipmuleTitlecaseFilter.h"
#include "filters/ZRKClipmuleUppercaseFilter.h"
#include "filters/ZRKClipmuleWrapHTMLFilter.h"

#include <QHash>

namespace clipmule {

namespace {

using Maker = std::shared_ptr<ZRKClipmuleFilter> (*)();

template <typename Filter>
std::shared_ptr<ZRKClipmuleFilter> make() {
    return std::make_shared<Filter>();
}

} // namespace

std::shared_ptr<ZRKClipmuleFilter> makeFilterOfClass(const QString &className) {
    static const QHash<QString, Maker> makers{
        {QStringLiteral("ZRKClipmuleFilter"), make<ZRKClipmuleFilter>},
        {QStringLiteral("ZRKClipmuleTextFilter"), make<ZRKClipmuleTextFilter>},
        {QStringLiteral("ZRKClipmuleQuoteLinesFilter"), make<ZRKClipmuleQuoteLinesFilter>},
        {QStringLiteral("ZRKClipmuleWrapHTMLFilter"), make<ZRKClipmuleWrapHTMLFilter>},
        {QStringLiteral("ZRKClipmuleTitlecaseFilter"), make<ZRKClipmuleTitlecaseFilter>},
        {QStringLiteral("ZRKClipmuleStraightenQuotesFilter"),
         make<ZRKClipmuleStraightenQuotesFilter>},
        {QStringLiteral("ZRKClipmuleFindReplaceFilter"), make<ZRKClipmuleFindReplaceFilter>},
        {QStringLiteral("ZRKClipmuleLowercaseFilter"), make<ZRKClipmuleLowercaseFilter>},
        {QStringLiteral("ZRKClipmuleUppercaseFilter"), make<ZRKClipmuleUppercaseFilter>},
        {QStringLiteral("ZRKClipmuleSmartenQuotesFilter"), make<ZRKClipmuleSmartenQuotesFilter>},
        {QStringLiteral("ZRKClipmuleDecodeHTMLEntitiesFilter"),
         make<ZRKClipmuleDecodeHTMLEntitiesFilter>},
        {QStringLiteral("ZRKClipmuleEncodeHTMLEntitiesFilter"),
         make<ZRKClipmuleEncodeHTMLEntitiesFilter>},
    };
    const Maker maker = makers.value(className);
    return maker ? maker() : nullptr;
}

} // namespace clipmule
