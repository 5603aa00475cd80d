// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

// 24 hours of a person's copies in a few minutes, on fakes and a clock that is moved on: what the
// allocator has given out, the descriptors, timers and observers, in the morning and in the
// evening. Ends with 1 when something grew.

#include "bench/Bench.h"
#include "tests/app/Day.h"

#include <QCommandLineParser>
#include <QLoggingCategory>

#include <cstdio>

#include <unistd.h>

using namespace clipmule;

namespace {

constexpr int clipsOfADay = 20'000;
constexpr int clipsOfARow = 4'000;
// What is kept of earlier clips is bounded, and at its bounds by then.
constexpr int clipsToGrowInto = 500;
constexpr qint64 mostGrowth = 20'000;

// The allocator keeps up to seven freed pieces of each of 64 small sizes for the thread, counts
// them as given out, and has most of them only by the evening. That is decided when a program
// starts.
void startAgainWithoutThreadCache(char *argv[]) {
    constexpr const char *tunables = "GLIBC_TUNABLES";
    if (qEnvironmentVariableIsSet(tunables))
        return;
    qputenv(tunables, "glibc.malloc.tcache_count=0");
    ::execv("/proc/self/exe", argv);
    std::perror("bench_soak: counts what the allocator keeps as well");
}

QJsonObject row(const QString &name, const kit::Day &day, const kit::Day::Counts &counts) {
    return {{QStringLiteral("case"), name},
            {QStringLiteral("side"), QStringLiteral("agent")},
            {QStringLiteral("hours"), day.hours()},
            {QStringLiteral("arrived"), day.arrived()},
            {QStringLiteral("in use kB"), double(counts.bytes) / 1000},
            {QStringLiteral("descriptors"), counts.descriptors},
            {QStringLiteral("timers"), counts.timers},
            {QStringLiteral("observers"), counts.observers}};
}

} // namespace

int main(int argc, char *argv[]) {
    startAgainWithoutThreadCache(argv);
    const QCoreApplication application(argc, argv);
    QLoggingCategory::setFilterRules(QStringLiteral("clipmule.*=false"));
    QCommandLineParser parser;
    const QCommandLineOption clips(QStringLiteral("clips"), QStringLiteral("How many."),
                                   QStringLiteral("N"), QString::number(clipsOfADay));
    const QCommandLineOption json(QStringLiteral("json"), QStringLiteral("Figures."),
                                  QStringLiteral("FILE"));
    parser.addOptions({clips, json});
    // There are no cases to be listed and counted.
    if (!parser.parse(application.arguments()))
        return 2;
    bench::Report report(QStringLiteral("bench_soak"));
    kit::Day day(1);
    day.warmUp();
    for (int clip = 0; clip < clipsToGrowInto; ++clip)
        day.goOn();
    const kit::Day::Counts morning = day.atRest();
    kit::Day::Counts evening = morning;
    report.add(row(QStringLiteral("morning"), day, morning));
    const int all = parser.value(clips).toInt();
    for (int clip = 1; clip <= all; ++clip) {
        day.goOn();
        if (clip % clipsOfARow && clip != all)
            continue;
        evening = day.atRest();
        report.add(row(QStringLiteral("after %1 turns").arg(clip), day, evening));
    }
    report.print();
    if (parser.isSet(json) && !report.write(parser.value(json)))
        return 1;
    const bool isSame =
        evening.descriptors == morning.descriptors && evening.timers == morning.timers &&
        evening.observers == morning.observers && evening.bytes - morning.bytes < mostGrowth;
    if (!isSame)
        std::fputs("bench_soak: something grew\n", stderr);
    return isSame ? 0 : 1;
}
