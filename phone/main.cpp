// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "phone/LineEditor.h"
#include "phone/Phone.h"
#include "platform/dnssd/DnsSd.h"
#include "platform/foundation/CommandOptions.h"
#include "platform/foundation/LineReader.h"
#include "platform/foundation/LocalNames.h"
#include "platform/foundation/Log.h"
#include "platform/foundation/QtRunLoop.h"
#include "platform/foundation/QuitSignals.h"
#include "platform/streams/LocalSockets.h"

#include <QCommandLineParser>
#include <QCoreApplication>

#include <unistd.h>

#include <cstdio>

using namespace clipmule;

namespace {

constexpr const char *program = "clipmule-phone";
// A service name is a DNS label.
constexpr qsizetype longestName = 63;

QString usages(bool needsFolder) {
    constexpr int width = 26;
    QString lines;
    for (const PhoneCommand::Usage &usage : PhoneCommand::usages()) {
        if (usage.needsFolder != needsFolder)
            continue;
        lines += QStringLiteral("  ") + usage.form;
        lines += usage.form.size() < width - 3 ? QString(width - 2 - usage.form.size(), u' ')
                                               : QStringLiteral("\n") + QString(width, u' ');
        lines += usage.purpose + u'\n';
    }
    return lines;
}

/// Gives the exit status of a program that was badly used.
int complain(const QString &message) {
    CommandOptions::complain(program, message);
    return 2;
}

void printLine(const QByteArray &line) {
    std::fwrite(line.constData(), 1, size_t(line.size()), stdout);
    std::fputc('\n', stdout);
    std::fflush(stdout);
}

struct Arguments {
    std::optional<Phone::Options> options;
    int exitStatus = 0;
    bool isLocal = false;
};

Arguments parse(const QCoreApplication &application) {
    QCommandLineParser parser;
    parser.setApplicationDescription(
        QStringLiteral(
            "A phone stand-in: listens as a phone does, prints what it receives as one JSON object "
            "a\nline, and sends clips. With --data it keeps what it receives.\n\n"
            "Commands on standard input:\n%1\n"
            "With --data also, with names and texts that have blanks in \"quotation marks\":\n%2")
            .arg(usages(false), usages(true).chopped(1)));
    CommandOptions::addHelpAndVersion(parser);
    const QCommandLineOption name(QStringLiteral("name"),
                                  QStringLiteral("Service name, at most 63 bytes."),
                                  QStringLiteral("NAME"), QStringLiteral("Clipmule Phone"));
    const QCommandLineOption save(QStringLiteral("save"),
                                  QStringLiteral("Write received images to a folder."),
                                  QStringLiteral("DIR"));
    const QCommandLineOption data(QStringLiteral("data"),
                                  QStringLiteral("Keep received clips in a folder."),
                                  QStringLiteral("DIR"));
    const QCommandLineOption local(
        QStringLiteral("local"),
        QStringLiteral("Be a phone of this session alone, without the network; it is found as "
                       "\"local/NAME\"."));
    parser.addOptions({name, local, save, data});
    if (!parser.parse(application.arguments()))
        return {std::nullopt, complain(parser.errorText())};
    if (const auto answer = CommandOptions::answer(parser, QString::fromLatin1(program))) {
        std::fputs(qPrintable(*answer), stdout);
        return {};
    }
    const QStringList others = parser.positionalArguments();
    if (!others.isEmpty())
        return {std::nullopt, complain(QStringLiteral("unexpected argument: %1").arg(others[0]))};
    const qsizetype length = parser.value(name).toUtf8().size();
    if (length == 0 || length > longestName)
        return {std::nullopt,
                complain(QStringLiteral("a name has 1 to %1 bytes").arg(longestName))};
    if (LocalNames::isLocal(parser.value(name)))
        return {std::nullopt,
                complain(QStringLiteral("no name begins with \"%1\"; --local is meant?")
                             .arg(LocalNames::prefix))};
    for (const QCommandLineOption &folder : {data, save}) {
        if (parser.isSet(folder) && parser.value(folder).isEmpty())
            return {std::nullopt,
                    complain(QStringLiteral("--%1 needs a folder").arg(folder.names()[0]))};
    }
    return {Phone::Options{.name = parser.value(name),
                           .saveFolder = parser.value(save),
                           .dataFolder = parser.value(data)},
            0, parser.isSet(local)};
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
    const auto backend =
        arguments.isLocal ? dnssd::makeLocalBackend() : dnssd::makeNetworkBackend();
    // The editor outlives the phone and shows what it has to say to the last.
    std::unique_ptr<LineEditor> editor;
    std::unique_ptr<Phone> phone;
    // At a terminal somebody types; in a pipe a script does, and nothing but JSON comes out.
    editor = LineEditor::make(STDIN_FILENO, STDOUT_FILENO, "phone> ");
    if (editor) {
        editor->onLine = [&phone](const QByteArray &line) { phone->perform(line); };
        editor->onEnd = [] { QCoreApplication::quit(); };
    }
    Phone::Options options = *arguments.options;
    if (arguments.isLocal)
        options.calls = localPortCalls();
    options.isForPerson = editor != nullptr;
    phone = std::make_unique<Phone>(*backend, options);
    phone->onPrint = [&editor](const QByteArray &line) {
        if (editor)
            editor->print(line);
        else
            printLine(line);
    };
    phone->onQuit = [] { QCoreApplication::quit(); };
    if (!phone->start())
        return 1;
    if (editor) {
        editor->print("Type help for the commands, Ctrl-D to end.");
        editor->start();
        return QCoreApplication::exec();
    }

    // Without standard input it goes on listening, as it does in the background.
    LineReader reader(STDIN_FILENO);
    reader.onLine = [&phone](const QByteArray &line) { phone->perform(line); };
    reader.onError = complain;
    reader.start();
    return QCoreApplication::exec();
}
