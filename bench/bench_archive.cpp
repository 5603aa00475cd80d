// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "bench/Bench.h"
#include "model/ZRKClipmuleClipboard.h"
#include "platform/archive/KeyedArchiver.h"
#include "platform/foundation/QtRunLoop.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>

#include <cstdio>

using namespace clipmule;
using bench::Case;
using bench::Work;

namespace {

const CodingClasses classes{
    {QStringLiteral("ZRKClipmuleData"), [] { return std::make_shared<ZRKClipmuleData>(); }},
    {QStringLiteral("ZRKClipmuleDataItem"), [] { return std::make_shared<ZRKClipmuleDataItem>(); }},
};

struct Input {
    QString name;
    std::function<ArchiveValue()> make;
};

/// So many clips of one item each, with a text of so many characters.
ArchiveValue clips(int count, qsizetype length) {
    ArchiveValue::List list;
    for (int number = 0; number < count; ++number) {
        const QString line = QStringLiteral("Clip number %1, as people copy it. ").arg(number);
        list.append(ZRKClipmuleData::initWithString(line.repeated(length / line.size() + 1)));
    }
    return list;
}

ArchiveValue nativeDictionary() {
    constexpr qsizetype size = 9'900'000;
    return ArchiveValue(PropertyList(PropertyList::Dictionary{
                            {QStringLiteral("public.tiff"), QByteArray(size, 'x')}}))
        .immutable();
}

const std::vector<Input> inputs{
    {QStringLiteral("1,000 clips"), [] { return clips(1'000, 35); }},
    {QStringLiteral("10,000 clips"), [] { return clips(10'000, 35); }},
    {QStringLiteral("long texts"), [] { return clips(100, 99'000); }},
    {QStringLiteral("native dictionary"), nativeDictionary},
};

/// For other readers and writers, in other languages.
int writeInputs(const QString &directory) {
    QDir().mkpath(directory);
    for (const Input &input : inputs) {
        QFile file(directory + u'/' + input.name + QStringLiteral(".bplist"));
        const QByteArray archive = KeyedArchiver::archivedData(input.make());
        if (!file.open(QIODevice::WriteOnly) || file.write(archive) != archive.size()) {
            std::fprintf(stderr, "bench_archive: %s: %s\n", qPrintable(file.fileName()),
                         qPrintable(file.errorString()));
            return 1;
        }
    }
    return 0;
}

} // namespace

// Writing and reading keyed archives, of clips and of what a clipboard held:
//   bench_archive [--json FILE] [--rounds N] | --only CASE --side ours --count N
//   bench_archive --inputs DIRECTORY    writes the archives there and does nothing else
int main(int argc, char **argv) {
    const QCoreApplication application(argc, argv);
    QtRunLoop runLoop;
    const RunLoop::Installation installation(runLoop);
    const QStringList arguments = QCoreApplication::arguments();
    if (arguments.size() == 3 && arguments[1] == u"--inputs")
        return writeInputs(arguments[2]);

    const QString ours = QStringLiteral("ours");
    std::vector<Case> cases;
    for (const Input &input : inputs) {
        cases.push_back({QStringLiteral("read ") + input.name, ours, [input] {
                             const QByteArray archive = KeyedArchiver::archivedData(input.make());
                             return Work{[archive] {
                                             (void)KeyedUnarchiver::unarchivedObject(archive,
                                                                                     classes);
                                         },
                                         archive.size()};
                         }});
        cases.push_back(
            {QStringLiteral("write ") + input.name, ours, [input] {
                 const ArchiveValue value = input.make();
                 const qsizetype size = KeyedArchiver::archivedData(value).size();
                 return Work{[value] { (void)KeyedArchiver::archivedData(value); }, size};
             }});
    }
    return bench::runCases(QStringLiteral("bench_archive"), cases);
}
