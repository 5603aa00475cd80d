// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "app/Agent.h"
#include "platform/bundle/Bundle.h"
#include "platform/foundation/CommandOptions.h"
#include "platform/foundation/Log.h"
#include "platform/foundation/Memory.h"
#include "platform/foundation/QtRunLoop.h"
#include "platform/foundation/QuitSignals.h"
#include "support/Settings.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QProcess>

#include <cstdio>

using namespace clipmule;

namespace {

const QString menuOption = QStringLiteral("menu");
const QString showOption = QStringLiteral("show");
const QString loginOption = QStringLiteral("login");
const QString verboseOption = QStringLiteral("verbose");
constexpr const char *program = "clipmule-sync";

struct Arguments {
    /// The status to exit with when there is nothing more to do.
    std::optional<int> exitStatus;
    /// Open the menu of an agent that is running.
    bool menu = false;
    Agent::Started started = Agent::Started::ByCommand;
};

Arguments answerArguments(const QCoreApplication &application) {
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral(
        "Keeps this desktop's clipboard in step with the registered phones of the same network.\n"
        "Phones are registered with clipmule-preferences. Ends on SIGTERM and SIGINT."));
    CommandOptions::addHelpAndVersion(parser);
    parser.addOption(QCommandLineOption(
        menuOption, QStringLiteral("Opens the menu of the agent that is running, for a key of the "
                                   "desktop; otherwise starts the agent.")));
    parser.addOption(QCommandLineOption(
        showOption, QStringLiteral("Starts the agent, and opens the preferences when it runs "
                                   "already or no phone is registered yet.")));
    parser.addOption(QCommandLineOption(
        loginOption, QStringLiteral("Starts the agent as sessions do: the first time that no phone "
                                    "is registered, opens the preferences.")));
    parser.addOption(QCommandLineOption(
        verboseOption, QStringLiteral("Writes a line to standard error for each thing that "
                                      "happens. Never what a clip contains.")));
    if (!parser.parse(application.arguments())) {
        CommandOptions::complain(program, parser.errorText());
        return {.exitStatus = 2};
    }
    if (const auto answer = CommandOptions::answer(parser, QString::fromLatin1(program))) {
        std::fputs(qPrintable(*answer), stdout);
        return {.exitStatus = 0};
    }
    if (!parser.positionalArguments().isEmpty()) {
        CommandOptions::complain(program, QStringLiteral("unexpected argument: %1")
                                              .arg(parser.positionalArguments().constFirst()));
        return {.exitStatus = 2};
    }
    if (parser.isSet(verboseOption))
        QLoggingCategory::setFilterRules(QStringLiteral("clipmule.*.debug=true"));
    auto started = Agent::Started::ByCommand;
    if (parser.isSet(showOption))
        started = Agent::Started::ByUser;
    else if (parser.isSet(loginOption))
        started = Agent::Started::BySession;
    return {.exitStatus = {}, .menu = parser.isSet(menuOption), .started = started};
}

void openMenuOfRunningAgent() {
    activateApplication(Face::menuIdentifier(), [](bool reached) {
        if (!reached)
            std::fputs(
                "clipmule-sync: the agent that is running has no menu: it was started without "
                "a display. Start clipmule-sync on the desktop, and it takes over.\n",
                stderr);
        QCoreApplication::exit(reached ? 0 : 1);
    });
}

void openPreferences() {
    activateApplication(preferencesProgram(), [](bool reached) {
        const bool opened = reached || QProcess::startDetached(Face::preferencesExecutable(), {});
        QCoreApplication::exit(opened ? 0 : 1);
    });
}

// The toolkit is told by the environment, which programs that we start must not inherit.
std::unique_ptr<QApplication> applicationOn(const QByteArray &platform, int &argc, char **argv) {
    constexpr const char *variable = "QT_QPA_PLATFORM";
    const bool isUsers = qEnvironmentVariableIsSet(variable);
    const QByteArray before = qgetenv(variable);
    qputenv(variable, platform);
    auto application = std::make_unique<QApplication>(argc, argv);
    isUsers ? qputenv(variable, before) : qunsetenv(variable);
    return application;
}

// Makes an application that can have windows only where there is a display: the toolkit ends a
// process that has windows and no display.
std::unique_ptr<QCoreApplication> makeApplication(int &argc, char **argv) {
    const QByteArray platform = toolkitPlatform();
    if (platform.isEmpty())
        return std::make_unique<QCoreApplication>(argc, argv);
    // Sessions start the agent by its autostart entry, not by what ran when the last one ended.
    QCoreApplication::setAttribute(Qt::AA_DisableSessionManager);
    auto application = applicationOn(platform, argc, argv);
    QApplication::setQuitOnLastWindowClosed(false);
    // What a status area calls the item.
    QApplication::setApplicationName(QStringLiteral("Clipmule Sync"));
    QApplication::setDesktopFileName(applicationIdentifier);
    return application;
}

// Makes the agent, with a face where the application can have windows.
void makeAgent(std::optional<Agent> &agent, Agent::Started started) {
    const Bundle bundle = Bundle::mainBundle();
    AgentBackends backends = makeAgentBackends(bundle);
    backends.programPath = QCoreApplication::applicationFilePath();
    std::unique_ptr<Face> face;
    if (qobject_cast<QApplication *>(QCoreApplication::instance()))
        face = std::make_unique<Face>(bundle, backends.session, *backends.sessionPrograms);
    agent.emplace(bundle, std::move(backends), std::move(face), started);
}

} // namespace

int main(int argc, char *argv[]) {
    shareOneHeap();
    installLogFormat();
    const auto application = makeApplication(argc, argv);
    const Arguments arguments = answerArguments(*application);
    if (arguments.exitStatus)
        return *arguments.exitStatus;

    installTranslations();
    QtRunLoop runLoop;
    const RunLoop::Installation installation(runLoop);
    std::optional<Agent> agent;
    const QuitSignals signals([&agent](int) {
        if (agent)
            agent->terminate();
        else
            QCoreApplication::quit();
    });
    const auto instance = makeSingleInstance();
    instance->onReplaced = [&agent] {
        qCInfo(logApp) << "another agent was started on the desktop and takes over";
        agent ? agent->terminate() : QCoreApplication::quit();
    };
    const auto claimed = [&agent, &arguments](SingleInstance::Outcome outcome) {
        if (outcome == SingleInstance::Outcome::AlreadyRunning) {
            if (arguments.menu)
                openMenuOfRunningAgent();
            else
                std::puts("Clipmule Sync is already running in this session.");
            if (arguments.started == Agent::Started::ByUser)
                openPreferences();
            else if (!arguments.menu)
                QCoreApplication::quit();
            return;
        }
        if (outcome == SingleInstance::Outcome::Unknown)
            qCWarning(logApp) << "no session bus: settings changed elsewhere will not reach us";
        makeAgent(agent, arguments.started);
        if (!agent->start())
            QCoreApplication::exit(1);
    };
    const bool hasDisplay = qobject_cast<QApplication *>(application.get());
    instance->claim(applicationIdentifier, claimed,
                    hasDisplay ? SingleInstance::Standing::Whole
                               : SingleInstance::Standing::Makeshift);
    return QCoreApplication::exec();
}
