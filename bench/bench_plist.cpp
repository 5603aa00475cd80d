// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "bench/Bench.h"
#include "bench/PlistInputs.h"
#include "platform/propertylist/PropertyListSerialization.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>

#include <cstdio>
#include <memory>
#include <plist/plist.h>

using namespace clipmule;
using bench::Case;
using bench::Work;

namespace {

[[noreturn]] void fail(const QString &what) {
    std::fprintf(stderr, "bench_plist: %s\n", qPrintable(what));
    std::exit(1);
}

struct FreePlist {
    void operator()(void *node) const { plist_free(node); }
};
using Plist = std::unique_ptr<void, FreePlist>;

Plist libplistRead(const QByteArray &xml) {
    plist_t node = nullptr;
    plist_from_xml(xml.constData(), uint32_t(xml.size()), &node);
    if (!node)
        fail(QStringLiteral("libplist refuses the input"));
    return Plist(node);
}

void libplistWrite(const Plist &plist) {
    char *text = nullptr;
    uint32_t size = 0;
    plist_to_xml(plist.get(), &text, &size);
    if (!text)
        fail(QStringLiteral("libplist does not write the input"));
    plist_to_xml_free(text);
}

PropertyList ourRead(const QByteArray &xml) {
    auto parsed = PropertyListSerialization::parseXml(xml);
    if (!parsed)
        fail(parsed.error().reason);
    return *std::move(parsed);
}

void addCases(std::vector<Case> &cases, const bench::PlistInput &input) {
    const QString read = QStringLiteral("read ") + input.name;
    const QString write = QStringLiteral("write ") + input.name;
    // Its reader takes time quadratic in the number of entities.
    const bool isSlowForLibplist = input.name == u"entities";

    const auto xml = [input] { return PropertyListSerialization::xml(input.make()); };
    cases.push_back({read, QStringLiteral("ours"), [xml] {
                         const QByteArray text = xml();
                         return Work{[text] { (void)ourRead(text); }, text.size()};
                     }});
    cases.push_back({read, QStringLiteral("libplist"),
                     [xml] {
                         const QByteArray text = xml();
                         return Work{[text] { (void)libplistRead(text); }, text.size()};
                     },
                     isSlowForLibplist});
    cases.push_back(
        {write, QStringLiteral("ours"), [input, xml] {
             return Work{[value = input.make()] { (void)PropertyListSerialization::xml(value); },
                         xml().size()};
         }});
    cases.push_back({write, QStringLiteral("libplist"), [input, xml] {
                         // Read from the form that never costs it quadratic time.
                         const auto binary = PropertyListSerialization::binary(input.make());
                         plist_t node = nullptr;
                         plist_from_bin(binary.constData(), uint32_t(binary.size()), &node);
                         if (!node)
                             fail(QStringLiteral("libplist refuses the binary input"));
                         const auto plist = std::make_shared<Plist>(node);
                         return Work{[plist] { libplistWrite(*plist); }, xml().size()};
                     }});
}

void addLinearityCases(std::vector<Case> &cases, const bench::Shape &shape) {
    constexpr qsizetype smallSize = 100'000;
    for (const int factor : {1, 2}) {
        Case one{QStringLiteral("linear %1: %2").arg(factor).arg(shape.name),
                 QStringLiteral("ours"), [shape, factor] {
                     const QByteArray text = shape.make(smallSize * factor);
                     return Work{[text] { (void)PropertyListSerialization::parseXml(text); },
                                 text.size()};
                 }};
        one.isOnlyCounted = true;
        cases.push_back(std::move(one));
    }
}

/// For other readers and writers, in other languages.
int writeInputs(const QString &directory) {
    QDir().mkpath(directory);
    for (const bench::PlistInput &input : bench::plistInputs()) {
        QFile file(directory + u'/' + input.name + QStringLiteral(".plist"));
        const QByteArray xml = PropertyListSerialization::xml(input.make());
        if (!file.open(QIODevice::WriteOnly) || file.write(xml) != xml.size())
            fail(file.fileName() + QStringLiteral(": ") + file.errorString());
    }
    return 0;
}

} // namespace

// Reading and writing messages as XML property lists, beside libplist:
//   bench_plist [--json FILE] [--rounds N] | --only CASE --side ours|libplist --count N
//   bench_plist --inputs DIRECTORY    writes the messages there and does nothing else
int main(int argc, char **argv) {
    const QCoreApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    if (arguments.size() == 3 && arguments[1] == u"--inputs")
        return writeInputs(arguments[2]);

    std::vector<Case> cases;
    for (const bench::PlistInput &input : bench::plistInputs())
        addCases(cases, input);
    for (const bench::Shape &shape : bench::shapes())
        addLinearityCases(cases, shape);
    return bench::runCases(QStringLiteral("bench_plist"), cases);
}
