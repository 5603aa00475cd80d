// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/bundle/Bundle.h"
#include "platform/desktop/HelpManager.h"
#include "platform/dnssd/DnsSd.h"
#include "platform/foundation/Log.h"
#include "platform/foundation/QtRunLoop.h"
#include "platform/foundation/QuitSignals.h"
#include "platform/preferences/DistributedNotifications.h"
#include "platform/preferences/PreferencesDatabase.h"
#include "platform/session/Session.h"
#include "platform/session/SessionPrograms.h"
#include "preferences/PreferencesCommands.h"
#include "preferences/PreferencesWindow.h"

#include <QApplication>
#include <QIcon>
#include <QProcess>

#include <algorithm>
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

// Everything that the window stands on. Members are destroyed in the opposite order, the window
// first.
class Panel {
public:
    /// False when the installation lacks what it needs.
    bool open() {
        ZRKUserDefaults::Environment environment;
        environment.database = _database.get();
        environment.distributedNotifications = _notifications.get();
        _settings = SettingsStores::open(environment);
        if (!_settings)
            return false;
        _phones = std::make_unique<PhoneList>(*_dnssd, *_settings);
        _window = std::make_unique<PreferencesWindow>(PreferencesWindow::Services{
            .phones = *_phones,
            .settings = *_settings,
            .autostart = _autostart,
            .agent = *_agent,
            .page = _page,
            .pairing = _pairing,
            .network = *_network,
            .startAgent =
                [] { return QProcess::startDetached(AutostartEntry::agentProgram(), {}); },
            .showHelp = [this] { showHelp(); }});
        _window->start();
        return true;
    }

    void comeForward(const QString &activationToken) {
        if (_window)
            _window->comeForward(activationToken);
    }

    /// Writes what is to be kept, before the event loop ends.
    void close() {
        if (_phones)
            _phones->stop();
        ZRKNotificationCenter::platformDefault().postNotificationName(
            NSApplicationWillTerminateNotification);
    }

private:
    void showHelp() {
        const Bundle bundle = Bundle::mainBundle();
        _help->registerBooksInBundle(bundle);
        _help->openHelpAnchorInBook(QStringLiteral("help"),
                                    bundle.infoText(QStringLiteral("CFBundleHelpBookName")));
    }

    std::unique_ptr<PreferencesDatabase> _database = makePreferencesDatabase();
    std::unique_ptr<DistributedNotifications> _notifications = makeDistributedNotifications();
    std::unique_ptr<dnssd::Backend> _dnssd = dnssd::makeBackend();
    std::unique_ptr<dnssd::NetworkProbe> _network = dnssd::makeNetworkProbe();
    std::unique_ptr<StatusReader> _agent = makeStatusReader();
    std::unique_ptr<HelpManager> _help = makeHelpManager();
    AutostartEntry _autostart = AutostartEntry::standard();
    std::unique_ptr<UserServices> _userServices = makeUserServices();
    PageProgram _page{PageProgram::standardProgram(), *_userServices, PageProgram::standardEntry()};
    PagePairing _pairing{_page, qgetenv("XDG_RUNTIME_DIR")};
    std::unique_ptr<SettingsStores> _settings;
    std::unique_ptr<PhoneList> _phones;
    std::unique_ptr<PreferencesWindow> _window;
};

// The program that serves the page, for the few commands that tell it something.
class PageOnCall {
public:
    [[nodiscard]] PageProgram &program() {
        if (!_program) {
            _userServices = makeUserServices();
            _program.emplace(PageProgram::standardProgram(), *_userServices,
                             PageProgram::standardEntry());
        }
        return *_program;
    }

private:
    std::unique_ptr<UserServices> _userServices;
    std::optional<PageProgram> _program;
};

// Whether there is anywhere to open a window. Which of two displays it is on is the toolkit's
// choice.
bool hasDisplay(int argc, char **argv) {
    return std::any_of(argv, argv + argc,
                       [](QByteArrayView argument) {
                           return argument == "-platform" || argument == "-display";
                       }) ||
           // The toolkit aborts where no display answers.
           !toolkitPlatform().isEmpty();
}

// Opens the window, or brings that of a running instance to the front; the exit status when it is
// closed.
int runPanel(int argc, char **argv) {
    QApplication application(argc, argv);
    installTranslations();
    if (application.arguments().size() > 1) {
        complain(QStringLiteral("unexpected argument beside those of the window"));
        return 2;
    }
    QApplication::setDesktopFileName(preferencesProgram());
    QApplication::setWindowIcon(QIcon::fromTheme(QStringLiteral("com.zendrik.ClipmuleSync")));

    QtRunLoop runLoop;
    const RunLoop::Installation installation(runLoop);
    std::optional<Panel> panel;
    const QuitSignals signals([](int) { QCoreApplication::quit(); });
    QObject::connect(&application, &QCoreApplication::aboutToQuit, &application, [&panel] {
        if (panel)
            panel->close();
    });

    const auto interface = makeApplicationInterface();
    // A request that comes before the window is there needs no answer: the window comes anyway.
    interface->onActivate = [&panel](const QString &token) {
        if (panel)
            panel->comeForward(token);
    };
    interface->onAction = [](const QString &action) {
        if (action == u"quit")
            QCoreApplication::quit();
    };
    interface->start(preferencesProgram());
    const auto instance = makeSingleInstance();
    instance->claim(preferencesProgram(), [&panel](SingleInstance::Outcome outcome) {
        if (outcome == SingleInstance::Outcome::AlreadyRunning) {
            activateApplication(preferencesProgram(),
                                [](bool reached) { QCoreApplication::exit(reached ? 0 : 1); });
            return;
        }
        panel.emplace();
        if (panel->open()) {
            panel->comeForward(QString());
            return;
        }
        complain(installationIsIncomplete);
        QCoreApplication::exit(1);
    });
    return QApplication::exec();
}

// The exit status of the command.
int runCommand(const PreferencesCommand &command) {
    QtRunLoop runLoop;
    const RunLoop::Installation installation(runLoop);
    // To be interrupted is the way in which a watch ends.
    const bool watches = command.watches;
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
    PageOnCall page;
    services.wasUnpaired = [&page](const QString &service) { page.program().revoke(service); };
    services.wasRenamed = [&page](const QString &service, const QString &name) {
        page.program().rename(service, name);
    };
    services.version = QStringLiteral(CLIPMULE_VERSION);
    services.print = say;
    services.complain = complain;
    services.finish = [](int exitStatus) { QCoreApplication::exit(exitStatus); };
    PreferencesCommands commands(std::move(services));
    // The command starts inside the run loop, which it ends.
    runLoop.performSoon([&] { commands.perform(command); });
    return QCoreApplication::exec();
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
    const auto command = parseCommandLine(application.arguments().sliced(1));
    if (!command) {
        complain(command.error().reason);
        return 2;
    }
    if (command->kind == PreferencesCommand::Kind::Help) {
        std::fputs(usage().toUtf8().constData(), stdout);
        return 0;
    }
    if (command->kind == PreferencesCommand::Kind::Version) {
        std::puts("clipmule-preferences " CLIPMULE_VERSION);
        return 0;
    }

    return runCommand(*command);
}
