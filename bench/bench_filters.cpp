// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "bench/Bench.h"
#include "filters/FilterClasses.h"
#include "filters/HtmlFilters.h"
#include "tests/filters/PlainPasses.h"

#include <QCoreApplication>

#include <cstdio>
#include <cstdlib>

using namespace clipmule;
using namespace clipmule::kit;
using bench::Case;
using bench::Work;

namespace {

constexpr qsizetype megabyte = 1'000'000;

struct Filtering {
    QString title;
    QStringList settings;
    // Made of the common text.
    QString (*textOf)(const QString &text);
};

QString asItIs(const QString &text) {
    return text;
}

QString withReferences(const QString &text) {
    return ZRKClipmuleEncodeHTMLEntitiesFilter::filterString(text, false, false);
}

const std::vector<Filtering> filterings{
    {QStringLiteral("Convert to Lowercase"), {}, asItIs},
    {QStringLiteral("Convert to Uppercase"), {}, asItIs},
    {QStringLiteral("Convert to Titlecase"), {}, asItIs},
    {QStringLiteral("Smarten Quotes"), {}, asItIs},
    {QStringLiteral("Straighten Quotes"), {}, asItIs},
    {QStringLiteral("Quote Lines"), {QStringLiteral("start=> ")}, asItIs},
    {QStringLiteral("Find and Replace"),
     {QStringLiteral("find=strasse"), QStringLiteral("replace=road")},
     asItIs},
    {QStringLiteral("Wrap in HTML Tags"), {QStringLiteral("=p")}, asItIs},
    {QStringLiteral("Encode HTML Entities"), {}, asItIs},
    {QStringLiteral("Decode HTML Entities"), {}, withReferences},
};

/// Of so many bytes in UTF-8, or a few more: lines as people write them.
QString textOfSize(qsizetype bytes) {
    const QString line = QStringLiteral(
        "“Meet me in the old Straße” – she said it's 3 € < 4 & not ‘naïve’, \"Άννα\" 🐴.\r\n");
    const qsizetype times = bytes / line.toUtf8().size() + 1;
    return line.repeated(times);
}

std::shared_ptr<ZRKClipmuleTextFilter> filterOf(const Filtering &filtering) {
    auto filter = std::dynamic_pointer_cast<ZRKClipmuleTextFilter>(
        FilterByName::find(ZRKClipmuleFilter::allFilters(), filtering.title));
    if (!filter) {
        std::fprintf(stderr, "bench_filters: no filter %s\n", qPrintable(filtering.title));
        std::exit(1);
    }
    return filter;
}

Case ours(const QString &name, const Filtering &filtering, qsizetype bytes) {
    return {name, QStringLiteral("ours"), [filtering, bytes] {
                const auto filter = filterOf(filtering);
                const QString text = filtering.textOf(textOfSize(bytes));
                return Work{[filter, filtering, text] {
                                filter->resetOptions();
                                for (const QString &setting : filtering.settings)
                                    (void)FilterByName::set(*filter, setting);
                                (void)filter->filterString(text);
                            },
                            bytes};
            }};
}

using Passes = QString (*)(const QString &, const HtmlEntityTable &);

Case plain(const QString &name, const Filtering &filtering, Passes passes, qsizetype bytes) {
    Case one{name, QStringLiteral("plain passes"), [filtering, passes, bytes] {
                 const QString text = filtering.textOf(textOfSize(bytes));
                 return Work{
                     [passes, text, table = loadHtmlEntityTable()] { (void)passes(text, table); },
                     bytes};
             }};
    one.isSlow = true;
    return one;
}

} // namespace

// Each text filter over 10 MB of UTF-8; over 1 MB as well, which a linear one does in a tenth of
// the time; and at 1 MB the two that are defined by quadratic passes, beside these passes.
int main(int argc, char **argv) {
    const QCoreApplication application(argc, argv);
    std::vector<Case> cases;
    for (const Filtering &filtering : filterings) {
        const QString small = filtering.title + QStringLiteral(", 1 MB");
        cases.push_back(ours(small, filtering, megabyte));
        if (filtering.title.startsWith(u"Encode"))
            cases.push_back(plain(small, filtering, PlainPasses::encode, megabyte));
        if (filtering.title.startsWith(u"Decode"))
            cases.push_back(plain(small, filtering, PlainPasses::decode, megabyte));
        cases.push_back(
            ours(filtering.title + QStringLiteral(", 10 MB"), filtering, 10 * megabyte));
    }
    for (const Filtering &filtering : filterings) {
        for (const int factor : {1, 2}) {
            Case one = ours(QStringLiteral("linear %1: %2").arg(factor).arg(filtering.title),
                            filtering, factor * megabyte / 10);
            one.isOnlyCounted = true;
            cases.push_back(std::move(one));
        }
    }
    return bench::runCases(QStringLiteral("bench_filters"), cases);
}
