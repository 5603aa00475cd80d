// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/dnssd/DnsSd.h"
#include "platform/foundation/Log.h"
#include "platform/foundation/QtRunLoop.h"
#include "platform/foundation/QuitSignals.h"
#include "platform/preferences/DistributedNotifications.h"
#include "platform/preferences/PreferencesDatabase.h"
#include "preferences/PanelProgram.h"
#include "preferences/PreferencesCommands.h"

#include <QCoreApplication>

#include <cstdio>

using namespace clipmule;

namespace {

void say(const QString &line) {
    std::fputs((line + u'\n').toUtf8().constData(), stdout);
    // A name is of use as soon as it is found.
    std::fflush(stdout);
}

void complain(const QString &line) {
    std::fputs((QStringLiteral("clipmule-preferences: ") + line + u'\n').toUtf8().constData(),
               stderr);
}

// Without a command there is the window; the toolkit's own options ("-style", "-reverse") have one
// dash, ours two, or one and a single letter.
bool wantsWindow(int argc, char **argv) {
    if (argc < 2)
        return true;
    const QByteArrayView first(argv[1]);
    return first.size() > 2 && first[0] == '-' && first[1] != '-';
}

} // namespace

int main(int argc, char *argv[]) {
    installLogFormat();
    if (wantsWindow(argc, argv)) {
        if (hasDisplay(argc, argv))
            return runPanel(argc, argv);
        complain(QStringLiteral("there is no display to open a window on; --help tells what can be "
                                "done without"));
        return 1;
    }
    const QCoreApplication application(argc, argv);
    const ParsedCommandLine parsed = parseCommandLine(application.arguments().sliced(1));
    if (!parsed.command) {
        complain(parsed.error);
        return 2;
    }
    if (parsed.command->kind == PreferencesCommand::Kind::Help) {
        std::fputs(usage().toUtf8().constData(), stdout);
        return 0;
    }
    if (parsed.command->kind == PreferencesCommand::Kind::Version) {
        std::puts("clipmule-preferences " CLIPMULE_VERSION);
        return 0;
    }

    QtRunLoop runLoop;
    const RunLoop::Installation installation(runLoop);
    // To be interrupted is the way in which a watch ends.
    const bool watches = parsed.command->watches;
    const QuitSignals signals(
        [watches](int signal) { QCoreApplication::exit(watches ? 0 : 128 + signal); });
    const auto database = makePreferencesDatabase();
    const auto notifications = makeDistributedNotifications();
    const auto agent = makeStatusReader();
    const auto network = dnssd::makeNetworkProbe();
    std::unique_ptr<dnssd::Backend> dnssd;

    PreferencesCommands::Services services;
    services.preferences.database = database.get();
    services.preferences.distributedNotifications = notifications.get();
    services.dnssd = [&dnssd]() -> dnssd::Backend & {
        if (!dnssd)
            dnssd = dnssd::makeBackend();
        return *dnssd;
    };
    services.agent = [&agent]() -> StatusReader & { return *agent; };
    services.network = [&network]() -> dnssd::NetworkProbe & { return *network; };
    services.version = QStringLiteral(CLIPMULE_VERSION);
    services.print = say;
    services.complain = complain;
    services.finish = [](int exitStatus) { QCoreApplication::exit(exitStatus); };
    PreferencesCommands commands(std::move(services));
    // The command starts inside the run loop, which it ends.
    runLoop.performSoon([&] { commands.perform(*parsed.command); });
    return QCoreApplication::exec();
}
