// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "bench/Bench.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <malloc.h>
#include <optional>

namespace clipmule::bench {

namespace {

double millisecondsOf(const std::function<void()> &work) {
    const auto begin = std::chrono::steady_clock::now();
    work();
    const std::chrono::duration<double, std::milli> elapsed =
        std::chrono::steady_clock::now() - begin;
    return elapsed.count();
}

/// A line of /proc/self/status, in kB.
std::optional<double> statusOf(const QByteArray &name) {
    QFile status(QStringLiteral("/proc/self/status"));
    if (!status.open(QIODevice::ReadOnly))
        return std::nullopt;
    for (const QByteArray &line : status.readAll().split('\n')) {
        if (line.startsWith(name + ':'))
            return line.mid(name.size() + 1).simplified().split(' ').first().toDouble();
    }
    return std::nullopt;
}

/// The resident memory that a run takes above its start, in MB.
std::optional<double> peakOf(const std::function<void()> &work) {
    malloc_trim(0);
    QFile references(QStringLiteral("/proc/self/clear_refs"));
    // Resets the high-water mark.
    if (!references.open(QIODevice::WriteOnly | QIODevice::Unbuffered) ||
        references.write("5") != 1)
        return std::nullopt;
    const auto before = statusOf("VmRSS");
    work();
    const auto highest = statusOf("VmHWM");
    if (!before || !highest)
        return std::nullopt;
    return (*highest - *before) / 1024;
}

double rounded(double value) {
    return double(qint64(value * 1000 + 0.5)) / 1000;
}

QString textOf(const QJsonValue &value) {
    if (value.isDouble())
        return QString::number(value.toDouble(), 'f', 2);
    return value.toVariant().toString();
}

struct Timed {
    const Case *measured;
    Work work;
    std::vector<double> warm;
    std::vector<double> cold;
};

QJsonObject rowOf(const Timed &timed) {
    QJsonObject row{{QStringLiteral("case"), timed.measured->name},
                    {QStringLiteral("side"), timed.measured->side}};
    const double warm = median(timed.warm);
    row[QStringLiteral("warm_ms")] = rounded(warm);
    row[QStringLiteral("warm_min_ms")] = rounded(*std::ranges::min_element(timed.warm));
    row[QStringLiteral("cold_ms")] = rounded(median(timed.cold));
    if (const auto peak = timed.measured->isSlow ? std::nullopt : peakOf(timed.work.run))
        row[QStringLiteral("peak_mb")] = rounded(*peak);
    row[QStringLiteral("mb_per_s")] = rounded(double(timed.work.bytes) / 1e3 / warm);
    row[QStringLiteral("runs")] = int(timed.warm.size());
    if (timed.measured->figures) {
        const QJsonObject figures = timed.measured->figures();
        for (auto it = figures.begin(); it != figures.end(); ++it)
            row[it.key()] = it.value();
    }
    return row;
}

/// How many times as long a case takes on this side as on ours.
void addRatio(QJsonObject &row, const Timed &timed, const std::vector<Timed> &all) {
    for (const Timed &ours : all) {
        if (ours.measured->name == timed.measured->name && ours.measured->side == u"ours")
            row[QStringLiteral("times_ours")] = rounded(median(timed.warm) / median(ours.warm));
    }
}

void list(const std::vector<Case> &cases) {
    QJsonArray rows;
    for (const Case &one : cases) {
        if (!one.isSlow)
            rows.append(QJsonObject{{QStringLiteral("case"), one.name},
                                    {QStringLiteral("side"), one.side}});
    }
    std::puts(QJsonDocument(rows).toJson(QJsonDocument::Compact).constData());
}

int runOnly(const std::vector<Case> &cases, const QString &name, const QString &side, int count) {
    for (const Case &one : cases) {
        if (one.name != name || one.side != side)
            continue;
        const Work work = one.prepare();
        for (int run = 0; run < count; ++run)
            work.run();
        return 0;
    }
    std::fprintf(stderr, "no case \"%s\" of side \"%s\"\n", qPrintable(name), qPrintable(side));
    return 2;
}

} // namespace

double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    const size_t middle = values.size() / 2;
    return values.size() % 2 == 1 ? values[middle] : (values[middle - 1] + values[middle]) / 2;
}

Report::Report(QString program)
    : _program(std::move(program)) {}

void Report::add(const QJsonObject &row) {
    // JSON objects are sorted by key; what is named first shall stand first.
    for (const QString &first : {QStringLiteral("case"), QStringLiteral("side")}) {
        if (std::ranges::find(_columns, first) == _columns.end())
            _columns.push_back(first);
    }
    for (const QString &key : row.keys()) {
        if (std::ranges::find(_columns, key) == _columns.end())
            _columns.push_back(key);
    }
    _rows.push_back(row);
}

void Report::print() const {
    std::vector<qsizetype> widths;
    for (const QString &column : _columns) {
        qsizetype width = column.size();
        for (const QJsonObject &row : _rows)
            width = std::max(width, textOf(row[column]).size());
        widths.push_back(width);
    }
    const auto printRow = [&](const auto &cell) {
        QString line;
        for (size_t index = 0; index < _columns.size(); ++index) {
            const QString text = cell(_columns[index]);
            const bool isNumber = index >= 2;
            line +=
                isNumber ? text.rightJustified(widths[index]) : text.leftJustified(widths[index]);
            line += QStringLiteral("  ");
        }
        std::puts(line.trimmed().toUtf8().constData());
    };
    std::printf("\n%s\n", qPrintable(_program));
    printRow([](const QString &column) { return column; });
    for (const QJsonObject &row : _rows)
        printRow([&row](const QString &column) { return textOf(row[column]); });
}

bool Report::write(const QString &path) const {
    QJsonArray rows;
    for (const QJsonObject &row : _rows)
        rows.append(row);
    const QJsonObject report{{QStringLiteral("program"), _program},
                             {QStringLiteral("results"), rows}};
    QFile file(path);
    const QByteArray text = QJsonDocument(report).toJson();
    if (!file.open(QIODevice::WriteOnly) || file.write(text) != text.size() || !file.flush()) {
        std::fprintf(stderr, "%s: %s\n", qPrintable(path), qPrintable(file.errorString()));
        return false;
    }
    return true;
}

int runCases(const QString &program, const std::vector<Case> &cases) {
    QCommandLineParser parser;
    parser.addHelpOption();
    const QCommandLineOption json(QStringLiteral("json"), QStringLiteral("write the figures"),
                                  QStringLiteral("file"));
    const QCommandLineOption rounds(QStringLiteral("rounds"), QStringLiteral("passes over all"),
                                    QStringLiteral("number"), QStringLiteral("7"));
    const QCommandLineOption listing(QStringLiteral("list"), QStringLiteral("print the cases"));
    const QCommandLineOption only(QStringLiteral("only"), QStringLiteral("one case, unmeasured"),
                                  QStringLiteral("case"));
    const QCommandLineOption side(QStringLiteral("side"), QStringLiteral("its side"),
                                  QStringLiteral("side"), QStringLiteral("ours"));
    const QCommandLineOption count(QStringLiteral("count"), QStringLiteral("how often"),
                                   QStringLiteral("number"), QStringLiteral("1"));
    parser.addOptions({json, rounds, listing, only, side, count});
    parser.process(*QCoreApplication::instance());

    if (parser.isSet(listing)) {
        list(cases);
        return 0;
    }
    if (parser.isSet(only))
        return runOnly(cases, parser.value(only), parser.value(side), parser.value(count).toInt());

    std::vector<Timed> all;
    for (const Case &one : cases) {
        if (!one.isOnlyCounted)
            all.push_back({&one, one.prepare(), {}, {}});
    }
    const int passes = std::max(1, parser.value(rounds).toInt());
    // The first pass fills caches and is thrown away.
    for (int pass = 0; pass <= passes; ++pass) {
        for (Timed &timed : all) {
            if (timed.measured->isSlow && pass > 0)
                continue;
            const double warm = millisecondsOf(timed.work.run);
            if (!timed.measured->isSlow)
                malloc_trim(0);
            const double cold = timed.measured->isSlow ? warm : millisecondsOf(timed.work.run);
            if (pass > 0 || timed.measured->isSlow) {
                timed.warm.push_back(warm);
                timed.cold.push_back(cold);
            }
        }
    }
    Report report(program);
    for (const Timed &timed : all) {
        QJsonObject row = rowOf(timed);
        addRatio(row, timed, all);
        report.add(row);
    }
    report.print();
    return !parser.isSet(json) || report.write(parser.value(json)) ? 0 : 1;
}

} // namespace clipmule::bench
