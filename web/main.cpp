// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/dnssd/DnsSd.h"
#include "platform/foundation/CommandOptions.h"
#include "platform/foundation/FileHandle.h"
#include "platform/foundation/Log.h"
#include "platform/foundation/Memory.h"
#include "platform/foundation/QtRunLoop.h"
#include "platform/foundation/QuitSignals.h"
#include "platform/preferences/DistributedNotifications.h"
#include "platform/preferences/PreferencesDatabase.h"
#include "platform/session/InstalledProgram.h"
#include "platform/streams/LocalSockets.h"
#include "support/Settings.h"
#include "web/QrPicture.h"
#include "web/WebControl.h"
#include "web/WebProgram.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QFileInfo>
#include <QJsonArray>
#include <QLoggingCategory>
#include <QStandardPaths>
#include <QSysInfo>

#include <cstdio>

using namespace clipmule;

namespace {

Q_LOGGING_CATEGORY(logWeb, "clipmule.web")

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

// What the user has put beside the settings, for good.
QString besideSettings(const QString &name) {
    return QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation) +
           QStringLiteral("/clipmule-sync/") + name;
}

void useOwnCertificate(PageServer::Options &options) {
    const QString certificate = besideSettings(QStringLiteral("page-certificate.pem"));
    const QString key = besideSettings(QStringLiteral("page-key.pem"));
    // Where one of them is missing nothing is served, rather than less safely than was meant.
    const auto isThere = [](const QString &path) {
        return QFileInfo::exists(path) || QFileInfo(path).isSymLink();
    };
    if (isThere(certificate) || isThere(key)) {
        options.certificate = certificate;
        options.key = key;
    }
}

// What is kept for closed pages, by the word in a file; nothing when it says neither, so that
// nothing is kept against somebody's will.
Result<bool> keepsClips(const QString &word, const QString &place) {
    if (word != QStringLiteral("none") && word != QStringLiteral("clips"))
        return failure(QStringLiteral("%1 takes \"none\" or \"clips\"").arg(place));
    return word == QStringLiteral("clips");
}

Result<bool> keepsClipsBySettings() {
    constexpr qint64 mostBytes = 64;
    const QString path = besideSettings(QStringLiteral("page-keep"));
    const auto bytes = RegularFile::read(path, mostBytes);
    if (!bytes)
        return failure(path + QStringLiteral(": ") + bytes.error().reason);
    return *bytes ? keepsClips(QString::fromUtf8(**bytes).trimmed(), path) : true;
}

struct Arguments {
    std::optional<WebProgram::Options> options;
    int exitStatus = 0;
    /// What to ask of the program that serves; empty for serving.
    QJsonObject request = {};
};

/// A command and the words behind it, by their names in a request.
struct Command {
    const char *word;
    QStringList operands;
};

const QList<Command> &commands() {
    static const QList<Command> all{
        {"code", {}},
        {"list", {}},
        {"revoke", {QStringLiteral("browser")}},
        {"rename", {QStringLiteral("browser"), QStringLiteral("name")}},
        {"stop", {}},
    };
    return all;
}

/// The request that the words ask for; nothing when they are no command.
std::optional<QJsonObject> requestOf(const QStringList &words) {
    for (const Command &command : commands()) {
        if (words[0] != QLatin1String(command.word) || words.size() != 1 + command.operands.size())
            continue;
        QJsonObject request{{QStringLiteral("do"), words[0]}};
        for (qsizetype at = 0; at < command.operands.size(); ++at)
            request.insert(command.operands[at], words[at + 1]);
        return request;
    }
    return std::nullopt;
}

Arguments refused(const QString &message) {
    return {std::nullopt, complain(message)};
}

Arguments parse(const QCoreApplication &application) {
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral(
        "Serves a page for phones without the app: shows a QR code, which the phone's camera "
        "opens.\nOnly devices of the networks that this computer is directly connected to can "
        "reach it.\n\n"
        "Commands:\n"
        "  code                      Show a fresh code of the one that serves.\n"
        "  list                      List the browsers that are paired.\n"
        "  revoke BROWSER            End the pairing of one, by its name or id.\n"
        "  rename BROWSER NAME       Give one another name.\n"
        "  stop                      Stop serving the page."));
    parser.addPositionalArgument(QStringLiteral("command"),
                                 QStringLiteral("One of the above; without it, serve the page."),
                                 QStringLiteral("[COMMAND…]"));
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
        QStringLiteral("Serve over HTTPS with the certificate of this PEM file, which is read at "
                       "the start, instead of page-certificate.pem and page-key.pem beside the "
                       "settings."),
        QStringLiteral("FILE"));
    const QCommandLineOption key(QStringLiteral("key"),
                                 QStringLiteral("The PEM file with its key."),
                                 QStringLiteral("FILE"));
    const QCommandLineOption keep(
        QStringLiteral("keep"),
        QStringLiteral(
            "\"none\" keeps no clips for pages that are closed; \"clips\" does, which is "
            "usual. Else the word in page-keep beside the settings counts."),
        QStringLiteral("WHAT"));
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
    QJsonObject request;
    if (const QStringList words = parser.positionalArguments(); !words.isEmpty()) {
        const auto found = requestOf(words);
        if (!found)
            return refused(QStringLiteral("no such command: %1").arg(words.join(u' ')));
        request = *found;
    }
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
    if (!parser.isSet(certificate))
        useOwnCertificate(options.server);
    const auto keeps = parser.isSet(keep) ? keepsClips(parser.value(keep), QStringLiteral("--keep"))
                                          : keepsClipsBySettings();
    if (!keeps)
        return refused(keeps.error().reason);
    options.keepsClips = *keeps;
    options.folder = parser.value(data);
    if (options.folder.isEmpty())
        return refused(QStringLiteral("--data needs a folder"));
    options.computer = QSysInfo::machineHostName();
    options.server.names = {options.computer, options.computer + QStringLiteral(".local")};
    options.calls = [] { return localPortCalls(); };
    return {options, 0, request};
}

void showCode(const QString &link) {
    printLine(QrPicture::forTerminal(link));
    printLine(link);
}

/// Shows the answer; gives the exit status.
int show(const QJsonObject &answer) {
    if (answer.contains(QStringLiteral("error"))) {
        CommandOptions::complain(program, answer[QStringLiteral("error")].toString());
        return 1;
    }
    if (answer.contains(QStringLiteral("link")))
        showCode(answer[QStringLiteral("link")].toString());
    for (const auto &browser : answer[QStringLiteral("browsers")].toArray()) {
        printLine(QStringList{browser[QStringLiteral("id")].toString().first(8),
                              browser[QStringLiteral("name")].toString(),
                              browser[QStringLiteral("lastSeen")].toString()}
                      .join(u'\t'));
    }
    return 0;
}

/// Does it by oneself where no other program has the folder.
int performAlone(WebProgram &web, const QJsonObject &request) {
    const QString wanted = request[QStringLiteral("do")].toString();
    if (wanted == QStringLiteral("code") || wanted == QStringLiteral("stop"))
        return show({{QStringLiteral("error"),
                      QStringLiteral("no clipmule-web serves; start it without a command")}});
    if (const auto opened = web.open(); !opened)
        return show({{QStringLiteral("error"), opened.error().reason}});
    return show(WebControl::perform(web, request));
}

int serve(WebProgram &web) {
    web.onPaired = [](const PairedBrowsers::Browser &browser) {
        printLine(QStringLiteral("Paired: %1").arg(browser.name));
    };
    const auto started = web.open().and_then([&web] { return web.start(); });
    if (!started) {
        CommandOptions::complain(program, started.error().reason);
        return 1;
    }
    WebControl control(web);
    control.onStop = [] { QCoreApplication::quit(); };
    if (const auto listening = control.start(qgetenv("XDG_RUNTIME_DIR")); !listening)
        CommandOptions::complain(program, listening.error().reason);
    (void)show(WebControl::perform(web, {{QStringLiteral("do"), QStringLiteral("code")}}));
    // Whoever removes the program expects that nobody listens on the network any more.
    InstalledProgram installed(QCoreApplication::applicationFilePath());
    installed.onRemoved = [] {
        qCInfo(logWeb) << "the program was removed";
        QCoreApplication::quit();
    };
    installed.onReplaced = [] {
        qCInfo(logWeb) << "another version was installed, and is used from the next start";
    };
    return QCoreApplication::exec();
}

} // namespace

int main(int argc, char *argv[]) {
    shareOneHeap();
    installLogFormat();
    const QCoreApplication application(argc, argv);
    const Arguments arguments = parse(application);
    if (!arguments.options)
        return arguments.exitStatus;
    if (!arguments.request.isEmpty()) {
        if (const auto answer = WebControl::ask(qgetenv("XDG_RUNTIME_DIR"), arguments.request))
            return show(*answer);
    }

    QtRunLoop runLoop;
    const RunLoop::Installation installation(runLoop);
    const QuitSignals signals([](int) { QCoreApplication::quit(); });
    const auto backend = dnssd::makeLocalBackend();
    const auto database = makePreferencesDatabase();
    const auto notifications = makeDistributedNotifications();
    ZRKUserDefaults::Environment environment;
    environment.database = database.get();
    environment.distributedNotifications = notifications.get();
    const auto settings = SettingsStores::open(environment);
    const PageFiles files(PageFiles::builtIn);
    WebProgram web(*backend, files, settings.get(), *arguments.options);
    if (!arguments.request.isEmpty())
        return performAlone(web, arguments.request);
    if (settings) {
        settings->onChange = [&web] { web.syncDidChange(); };
        settings->start();
    }
    return serve(web);
}
