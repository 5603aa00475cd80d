// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/dnssd/DnsSd.h"
#include "platform/foundation/CommandOptions.h"
#include "platform/foundation/Log.h"
#include "platform/foundation/QtRunLoop.h"
#include "platform/foundation/QuitSignals.h"
#include "web/QrPicture.h"
#include "web/WebProgram.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QStandardPaths>
#include <QSysInfo>

#include <cstdio>

using namespace clipmule;

namespace {

constexpr const char *program = "clipmule-web";
// The same each time: paired browsers come back to it, and a firewall is opened for it. No service
// is registered for it, and no system gives it to an outgoing connection.
constexpr quint16 usualPort = 24736;

/// Gives the exit status of a program that was badly used.
int complain(const QString &message) {
    CommandOptions::complain(program, message);
    return 2;
}

void printLine(const QString &line) {
    std::fputs(qPrintable(line + u'\n'), stdout);
    std::fflush(stdout);
}

QString stateFolder() {
    const QString given = qEnvironmentVariable("XDG_STATE_HOME");
    const QString state = given.startsWith(u'/')
                              ? given
                              : QStandardPaths::writableLocation(QStandardPaths::HomeLocation) +
                                    QStringLiteral("/.local/state");
    return state + QStringLiteral("/clipmule-sync/page");
}

struct Arguments {
    std::optional<WebProgram::Options> options;
    int exitStatus = 0;
};

Arguments refused(const QString &message) {
    return {std::nullopt, complain(message)};
}

Arguments parse(const QCoreApplication &application) {
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral(
        "Serves a page for phones without the app: shows a QR code, which the phone's camera "
        "opens.\nOnly devices of the networks that this computer is directly connected to can "
        "reach it."));
    CommandOptions::addHelpAndVersion(parser);
    const QCommandLineOption port(
        QStringLiteral("port"),
        QStringLiteral("Port to serve on, %1 by default; 0 for any.").arg(usualPort),
        QStringLiteral("NUMBER"), QString::number(usualPort));
    const QCommandLineOption address(
        QStringLiteral("address"),
        QStringLiteral("Address of this computer to serve on, instead of all private ones. May be "
                       "given again."),
        QStringLiteral("ADDRESS"));
    const QCommandLineOption certificate(
        QStringLiteral("certificate"),
        QStringLiteral("Serve over HTTPS with the certificate of this PEM file."),
        QStringLiteral("FILE"));
    const QCommandLineOption key(QStringLiteral("key"),
                                 QStringLiteral("The PEM file with its key."),
                                 QStringLiteral("FILE"));
    const QCommandLineOption keep(
        QStringLiteral("keep"),
        QStringLiteral("\"none\" keeps no clips for pages that are closed."),
        QStringLiteral("WHAT"), QStringLiteral("clips"));
    const QCommandLineOption data(QStringLiteral("data"),
                                  QStringLiteral("Folder for keys and clips."),
                                  QStringLiteral("DIR"), stateFolder());
    parser.addOptions({port, address, certificate, key, keep, data});
    if (!parser.parse(application.arguments()))
        return refused(parser.errorText());
    if (const auto answer = CommandOptions::answer(parser, QString::fromLatin1(program))) {
        std::fputs(qPrintable(*answer), stdout);
        return {};
    }
    const QStringList others = parser.positionalArguments();
    if (!others.isEmpty())
        return refused(QStringLiteral("unexpected argument: %1").arg(others[0]));
    WebProgram::Options options;
    bool isNumber = false;
    options.server.port = parser.value(port).toUShort(&isNumber);
    if (!isNumber)
        return refused(QStringLiteral("a port is a number from 0 to 65535"));
    for (const QString &text : parser.values(address)) {
        const QHostAddress parsed(text);
        if (parsed.isNull())
            return refused(QStringLiteral("not an address: %1").arg(text));
        options.addresses.append(parsed);
    }
    if (parser.isSet(certificate) != parser.isSet(key))
        return refused(QStringLiteral("--certificate and --key go together"));
    options.server.certificate = parser.value(certificate);
    options.server.key = parser.value(key);
    if (parser.value(keep) != QStringLiteral("none") &&
        parser.value(keep) != QStringLiteral("clips"))
        return refused(QStringLiteral("--keep takes \"none\" or \"clips\""));
    options.keepsClips = parser.value(keep) != QStringLiteral("none");
    options.folder = parser.value(data);
    if (options.folder.isEmpty())
        return refused(QStringLiteral("--data needs a folder"));
    options.computer = QSysInfo::machineHostName();
    options.server.names = {options.computer, options.computer + QStringLiteral(".local")};
    return {options};
}

void showCode(WebProgram &web) {
    const auto link = web.makeLink();
    if (!link) {
        complain(link.error().reason);
        return;
    }
    printLine(QrPicture::forTerminal(*link));
    printLine(*link);
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
    const auto backend = dnssd::makeBackend();
    const PageFiles files(PageFiles::builtIn);
    WebProgram web(*backend, files, *arguments.options);
    web.onPaired = [](const PairedBrowsers::Browser &browser) {
        printLine(QStringLiteral("Paired: %1").arg(browser.name));
    };
    if (const auto started = web.start(); !started) {
        complain(started.error().reason);
        return 1;
    }
    showCode(web);
    return QCoreApplication::exec();
}
