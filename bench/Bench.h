// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include <QJsonObject>
#include <QString>

#include <functional>
#include <vector>

namespace clipmule::bench {

/// What is measured, once its input is made.
struct Work {
    std::function<void()> run;
    /// That go in or come out, for the throughput.
    qsizetype bytes = 0;
};

/// One thing that one side does, again and again.
struct Case {
    /// What is done, the same for all sides: "read data".
    QString name;
    /// Who does it: "ours", or the peer's name.
    QString side;
    /// Makes the input, unmeasured.
    std::function<Work()> prepare;
    /// Takes so long that one run must do, and counting its instructions is out of the question.
    bool isSlow = false;
    /// Only for counting instructions, never timed: the two sizes of a linearity check.
    bool isOnlyCounted = false;
    /// Further figures for its row, asked for after the last run; empty for none.
    std::function<QJsonObject()> figures = {};
};

/// The rows of one program's report: a table on standard output and JSON for bench/results.
class Report {
public:
    explicit Report(QString program);
    /// A row has a "case", a "side" and any figures.
    void add(const QJsonObject &row);
    /// Columns are the keys of the rows, in order of first use.
    void print() const;
    /// False, with a line on standard error, when the file cannot be written.
    [[nodiscard]] bool write(const QString &path) const;

private:
    QString _program;
    std::vector<QJsonObject> _rows;
    std::vector<QString> _columns;
};

[[nodiscard]] double median(std::vector<double> values);

/// What a main() of cases does with its command line:
///
///   --json FILE    writes the figures there, too
///   --rounds N     passes over all cases (default 7)
///   --list         prints the cases whose instructions can be counted, as JSON
///   --only CASE --side SIDE --count N
///                  does one case N times and nothing else, for callgrind
///
/// Each round does every case once "warm", as soon as the previous one is done, and once "cold",
/// with all free memory given back to the system first, as it is when clips come minutes apart.
/// "peak" is the memory that a run takes above its start. Returns the exit status.
[[nodiscard]] int runCases(const QString &program, const std::vector<Case> &cases);

} // namespace clipmule::bench
