// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "phone/Phone.h"
#include "platform/dnssd/DnsSdFactory.h"
#include "platform/foundation/LineReader.h"
#include "platform/foundation/Log.h"
#include "platform/foundation/QtRunLoop.h"
#include "platform/foundation/QuitSignals.h"

#include <QCommandLineParser>
#include <QCoreApplication>

#include <unistd.h>

#include <cstdio>

using namespace clipmule;

namespace {

// A service name is a DNS label.
constexpr qsizetype longestName = 63;

struct Arguments {
    std::optional<Phone::Options> options;
    int exitStatus = 0;
};

Arguments parse(const QCoreApplication &application) {
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral(
        "A phone stand-in: listens as a phone does, prints what it receives as one JSON object a\n"
        "line, and sends clips. With --data it keeps what it receives.\n\n"
        "Commands on standard input:\n"
        "  text TEXT               send a text (\\n for a line break)\n"
        "  url URL                 send a URL\n"
        "  image FILE              send an image\n"
        "  strings A | B | C       send a clip of several texts\n"
        "  relay text|url|…  …     the same, for the other phones\n"
        "  plist FILE              send a message envelope from a property list\n"
        "  quit\n\n"
        "With --data also, with names and texts that have blanks in \"quotation marks\":\n"
        "  history [BOARD]         list the clips, the newest first\n"
        "  show N                  print clip number N in full\n"
        "  copy N                  send it to the desk\n"
        "  file N BOARD            add a copy of it to a board\n"
        "  forget N                remove it\n"
        "  filters N               list the text filters that apply to it\n"
        "  filter N TITLE [NAME=VALUE]...\n"
        "                          make a new clip with one of them\n"
        "  boards                  list the boards\n"
        "  board new NAME          add one behind the others\n"
        "  board rename NAME NEW-NAME\n"
        "  board move NAME POSITION\n"
        "  board remove NAME       remove it and its clips"));
    parser.addHelpOption();
    parser.addVersionOption();
    const QCommandLineOption name(QStringLiteral("name"),
                                  QStringLiteral("Service name, at most 63 bytes."),
                                  QStringLiteral("NAME"), QStringLiteral("Clipmule Phone"));
    const QCommandLineOption save(QStringLiteral("save"),
                                  QStringLiteral("Write received images to a folder."),
                                  QStringLiteral("DIR"));
    const QCommandLineOption data(QStringLiteral("data"),
                                  QStringLiteral("Keep received clips in a folder."),
                                  QStringLiteral("DIR"));
    parser.addOptions({name, save, data});
    if (!parser.parse(application.arguments())) {
        std::fprintf(stderr, "clipmule-phone: %s\n", qPrintable(parser.errorText()));
        return {std::nullopt, 2};
    }
    if (parser.isSet(QStringLiteral("help"))) {
        std::fputs(qPrintable(parser.helpText()), stdout);
        return {};
    }
    if (parser.isSet(QStringLiteral("version"))) {
        std::puts("clipmule-phone " CLIPMULE_VERSION);
        return {};
    }
    if (!parser.positionalArguments().isEmpty()) {
        std::fprintf(stderr, "clipmule-phone: unexpected argument: %s\n",
                     qPrintable(parser.positionalArguments().constFirst()));
        return {std::nullopt, 2};
    }
    const qsizetype length = parser.value(name).toUtf8().size();
    if (length == 0 || length > longestName) {
        std::fprintf(stderr, "clipmule-phone: a name has 1 to %d bytes\n", int(longestName));
        return {std::nullopt, 2};
    }
    if (parser.isSet(data) && parser.value(data).isEmpty()) {
        std::fputs("clipmule-phone: --data needs a folder\n", stderr);
        return {std::nullopt, 2};
    }
    return {Phone::Options{parser.value(name), parser.value(save), parser.value(data)}, 0};
}

} // namespace

int main(int argc, char *argv[]) {
    installLogFormat();
    const QCoreApplication application(argc, argv);
    const Arguments arguments = parse(application);
    if (!arguments.options)
        return arguments.exitStatus;

    QtRunLoop runLoop;
    const RunLoop::Installation installation(runLoop);
    const QuitSignals signals([](int) { QCoreApplication::quit(); });
    const auto backend = dnssd::makeAutoBackend();
    Phone phone(
        *backend, *arguments.options,
        [](const QByteArray &line) {
            std::fwrite(line.constData(), 1, size_t(line.size()), stdout);
            std::fputc('\n', stdout);
            std::fflush(stdout);
        },
        [] { QCoreApplication::quit(); });
    if (!phone.start())
        return 1;

    LineReader::Delegate input;
    input.line = [&phone](const QByteArray &line) { phone.perform(line); };
    input.error = [](const QString &text) {
        std::fprintf(stderr, "clipmule-phone: %s\n", qPrintable(text));
    };
    // Without standard input it goes on listening, as it does in the background.
    input.end = [] {};
    LineReader reader(STDIN_FILENO, std::move(input));
    reader.start();
    return QCoreApplication::exec();
}
