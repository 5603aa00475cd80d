// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "app/PackageUpdater.h"
#include "app/ZRKClipmuleSyncApp.h"
#include "model/ClipNotice.h"
#include "platform/bundle/Translations.h"
#include "platform/desktop/DesktopNotifications.h"
#include "platform/desktop/HelpManager.h"
#include "platform/dnssd/DnsSd.h"
#include "platform/foundation/CommandOptions.h"
#include "platform/foundation/Log.h"
#include "platform/foundation/PrivateFolder.h"
#include "platform/foundation/QtRunLoop.h"
#include "platform/foundation/QuitSignals.h"
#include "platform/keyboard/KeyboardEvents.h"
#include "platform/pasteboard/Pasteboard.h"
#include "platform/power/SystemPower.h"
#include "platform/preferences/DistributedNotifications.h"
#include "platform/preferences/backends/file/FilePreferencesDatabase.h"
#include "platform/session/ApplicationInterface.h"
#include "platform/session/Session.h"
#include "platform/session/SingleInstance.h"
#include "platform/session/StatusInterface.h"
#include "platform/tray/StatusItem.h"
#include "platform/windows/ActiveApplication.h"
#include "platform/windows/Compositor.h"
#include "support/PlatformNotifications.h"
#include "support/ZRKPowerNotificationCenter.h"
#include "ui/UpdateQuestion.h"
#include "ui/ZRKClipmuleMessageController.h"
#include "ui/ZRKClipmuleStatusController.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QProcess>

#include <cstdio>

using namespace clipmule;

namespace {

const QString menuIdentifier = QStringLiteral("com.zendrik.ClipmuleSync.Menu");
const QString preferencesIdentifier = QStringLiteral("com.zendrik.ClipmuleSync.Preferences");
const QString menuOption = QStringLiteral("menu");
const QString showOption = QStringLiteral("show");
const QString verboseOption = QStringLiteral("verbose");
const QString helpOption = QStringLiteral("help");

QString preferencesExecutable() {
    return QCoreApplication::applicationDirPath() + QStringLiteral("/clipmule-preferences");
}

// What the user sees of the agent. Exists where windows can be shown.
class Face final : public ClipNotice {
public:
    Face(Bundle bundle, const Session &session, SessionPrograms &programs)
        : _bundle(std::move(bundle))
        , _statusBar(makeStatusBar(session))
        , _compositor(makeCompositor(session))
        , _sessionPrograms(programs) {}
    ~Face() override { ZRKClipmuleMessageController::sharedController().setSurroundings({}); }

    std::shared_ptr<ZRKClipmuleStatusController>
    makeStatusController(ZRKClipmuleSyncApp &application, ZRKUserDefaults &settings,
                         std::function<void()> statusItemDidChange) {
        auto controller =
            ZRKClipmuleStatusController::init({.source = application,
                                               .bundle = _bundle,
                                               .sharedDefaults = settings,
                                               .statusBar = *_statusBar,
                                               .helpManager = *_helpManager,
                                               .sessionPrograms = _sessionPrograms,
                                               .preferencesExecutable = preferencesExecutable()});
        controller->setStatusItemDidChange(std::move(statusItemDidChange));
        _statusController = controller;
        // Not every status area can be reached from the keyboard: a command opens the menu, too.
        _menuInterface->onActivate = [this](const QString &) {
            if (const auto shown = _statusController.lock())
                shown->openMenu();
        };
        if (_menuInterface->start(menuIdentifier))
            _menuName->claim(menuIdentifier, [](SingleInstance::Outcome) {});
        ZRKClipmuleMessageController::sharedController().setSurroundings(
            {.statusItemFrame = [this]() -> std::optional<QRect> {
                 const auto shown = _statusController.lock();
                 const StatusItem *const item = shown ? shown->statusItem() : nullptr;
                 return item ? std::optional(item->place()) : std::nullopt;
             },
             // A Wayland compositor keeps the places to itself.
             .canPlaceWindows =
                 [] { return !QGuiApplication::platformName().startsWith(u"wayland"); },
             .notifyInstead =
                 [this](const QString &text) {
                     _notifications->notify(
                         QCoreApplication::translate("Clipmule", "Clipmule Sync"), text);
                 },
             .blendsWindows = [this] { return _compositor->isRunning(); }});
        return controller;
    }

    void displayMessage(const QString &text) override {
        // The panel hangs from the icon; without one nobody would see it.
        const auto controller = _statusController.lock();
        if (controller && controller->statusItem())
            ZRKClipmuleMessageController::sharedController().displayMessage(text);
        else
            _notifications->notify(QCoreApplication::translate("Clipmule", "Clipmule Sync"), text);
    }

    std::unique_ptr<Updater> updaterForBundle(const Bundle &bundle) {
        return PackageUpdater::updaterForBundle(
            bundle, makePackageUpdates(), *this,
            [this](const QString &version, std::function<void(bool)> answer) {
                _question.ask(version, std::move(answer));
            });
    }

    /// In the words of a bug report.
    [[nodiscard]] QString trayKind() const {
        const auto controller = _statusController.lock();
        const StatusItem *const item = controller ? controller->statusItem() : nullptr;
        if (!item)
            return controller ? QStringLiteral("hidden") : QStringLiteral("none");
        switch (item->host()) {
        case StatusItem::Host::Tray:
            return QStringLiteral("xembed");
        case StatusItem::Host::NotifierHost:
            return QStringLiteral("statusnotifier");
        default:
            return QStringLiteral("none");
        }
    }

    /// An open menu holds the keyboard, and keystrokes of ours would go there.
    void letGoOfKeyboard() {
        if (const auto controller = _statusController.lock())
            controller->closeMenu();
    }

private:
    Bundle _bundle;
    std::unique_ptr<StatusBar> _statusBar;
    std::unique_ptr<Compositor> _compositor;
    SessionPrograms &_sessionPrograms;
    std::unique_ptr<HelpManager> _helpManager = makeHelpManager();
    std::unique_ptr<DesktopNotifications> _notifications = makeDesktopNotifications();
    UpdateQuestion _question;
    std::unique_ptr<ApplicationInterface> _menuInterface = makeApplicationInterface();
    std::unique_ptr<SingleInstance> _menuName = makeSingleInstance();
    std::weak_ptr<ZRKClipmuleStatusController> _statusController;
};

// Without a display. The log has it all: each refusal stands there in any case.
class UnseenNotice final : public ClipNotice {
public:
    void displayMessage(const QString & /*text*/) override {}
};

// Everything that the agent runs on, each service in its real form. Members are destroyed in the
// opposite order, the application first.
class Agent {
public:
    /// Where the user started it: the preferences open when there is no phone yet.
    explicit Agent(bool userStartedIt)
        : _userStartedIt(userStartedIt)
        , _notifications(makeDistributedNotifications())
        , _power(makeSystemPower())
        , _dnssd(dnssd::makeBackend())
        , _session(openSession())
        , _pasteboard(makePasteboard(_session, [this] { return audience(); }))
        , _keyboard(makeKeyboardEvents(_session, [this] { return pasteKeys(); }))
        , _activeApplication(makeActiveApplication(
              _session,
              _bundle.pathForResource(QStringLiteral("applications"), QStringLiteral("plist")),
              FilePreferencesDatabase::defaultFolder() + QStringLiteral("/applications.plist")))
        , _sessionPrograms(makeSessionPrograms())
        , _face(makeFace())
        , _pasteboardServices{*_pasteboard, *_activeApplication, notice(),
                              PrivateFolder::temporaryPath()} {}

    ~Agent() {
        _application.reset();
        ZRKPowerNotificationCenter::setSystemPower(nullptr);
        ZRKUserDefaults::setEnvironment({});
    }
    Agent(const Agent &) = delete;
    Agent &operator=(const Agent &) = delete;

    /// False when the installation lacks what it needs.
    bool start() {
        ZRKPowerNotificationCenter::setSystemPower(_power.get());
        ZRKUserDefaults::Environment environment;
        environment.database = &_database;
        environment.distributedNotifications = _notifications.get();
        ZRKUserDefaults::setEnvironment(environment);
        const auto shared = ZRKUserDefaults::standardUserDefaults();
        if (!shared) {
            qCCritical(logApp) << "no identifier of the shared settings in" << _bundle.path();
            return false;
        }
        _applicationDefaults.emplace(environment);
        _applicationDefaults->start();
        whenDisplayIsLost(_session, [] {
            qCCritical(logApp) << "the display is gone";
            QCoreApplication::exit(1);
        });
        shared->listenForChanges();
        // What another program writes before the bus knows that we listen is announced to nobody:
        // the settings count as they stand when it does know.
        _notifications->whenDelivered([this, shared](bool) {
            if (_isEnding)
                return;
            shared->reset();
            _applicationDefaults->reset();
            launch(shared);
        });
        return true;
    }

    /// Ends what other programs see of us, then the event loop.
    void terminate() {
        _isEnding = true;
        if (_application)
            _application->applicationShouldTerminate();
        ZRKNotificationCenter::platformDefault().postNotificationName(
            NSApplicationWillTerminateNotification);
        _pasteboard->prepareToQuit([] { QCoreApplication::quit(); });
    }

private:
    void launch(const std::shared_ptr<ZRKUserDefaults> &shared) {
        SyncServices services{.dnssd = _phones,
                              .pasteboard = _pasteboardServices,
                              .keyboard = *_keyboard,
                              .applicationDefaults = *_applicationDefaults,
                              .sharedDefaults = *shared,
                              .sessionPrograms = *_sessionPrograms,
                              .agentBundle = agentBundle(),
                              .fixedAddresses = &_phones,
                              .makeStatusController = {},
                              .updaterForBundle = {},
                              .prepareToPaste = {},
                              .situationDidChange = [this] { tellStatusSoon(); }};
        if (_face) {
            services.makeStatusController = [this, shared](ZRKClipmuleSyncApp &application) {
                return _face->makeStatusController(application, *shared,
                                                   [this] { tellStatusSoon(); });
            };
            services.updaterForBundle = [this](const Bundle &bundle) {
                return _face->updaterForBundle(bundle);
            };
            services.prepareToPaste = [this] { _face->letGoOfKeyboard(); };
        }
        _application = std::make_unique<ZRKClipmuleSyncApp>(std::move(services));
        _application->finishLaunching();
        tellStatus();
        _statusInterface->start();
        _dnssd->onDescriptionChange = [this] { tellStatusSoon(); };
        if (_userStartedIt && _face && _application->registeredDeviceNames().isEmpty())
            _sessionPrograms->activate(preferencesIdentifier, preferencesExecutable());
    }

    // Of the window that is in front; where it pastes what is selected, the clip is offered as
    // that.
    [[nodiscard]] std::optional<QString> pasteKeys() const {
        const ActiveApplication::Pasting pasting = _activeApplication->pasting();
        if (pasting.isFromSelection)
            _pasteboard->offerAsSelection();
        return pasting.keys;
    }

    // Nothing is in front where the desktop itself is, on which file managers show files.
    [[nodiscard]] PasteboardAudience audience() const {
        const std::optional<QString> application = _activeApplication->identifier();
        if (!application)
            return PasteboardAudience::Unknown;
        if (application == u"com.apple.finder" || application == u"com.apple.iPhoto")
            return PasteboardAudience::FileManager;
        return application == u"com.apple.iWork.Numbers" ? PasteboardAudience::Spreadsheet
                                                         : PasteboardAudience::Other;
    }

    std::unique_ptr<Face> makeFace() {
        if (!qobject_cast<QApplication *>(QCoreApplication::instance()))
            return nullptr;
        return std::make_unique<Face>(_bundle, _session, *_sessionPrograms);
    }
    ClipNotice &notice() { return _face ? static_cast<ClipNotice &>(*_face) : _unseen; }
    // The installation folder is the preferences panel's bundle; the agent has its place in it.
    [[nodiscard]] Bundle agentBundle() const {
        return Bundle(_bundle.path() + QStringLiteral("/Contents/Resources/ClipmuleSync"));
    }

    // For a burst of changes once.
    void tellStatusSoon() {
        if (!_tellStatus.isPending())
            _tellStatus =
                RunLoop::current().performAfter(RunLoop::Seconds(0), [this] { tellStatus(); });
    }

    void tellStatus() {
        const QString none = QStringLiteral("none");
        const QString pasteboard = _pasteboard->description();
        const QString keyboard = _keyboard->description();
        const std::optional<Refusal> refused = _application->lastRefusal();
        _statusInterface->setStatus(
            {.version = QStringLiteral(CLIPMULE_VERSION),
             .qtVersion = QString::fromLatin1(qVersion()),
             .syncEnabled = _application->isEnabled(),
             .hasDisplay = bool(_face),
             .pasteboardBackend = pasteboard,
             .pasteboardCanRead = pasteboard != none,
             .pasteboardCanWrite = pasteboard != none,
             .pasteBackend = keyboard,
             .canPaste = keyboard != none,
             .trayKind = _face ? _face->trayKind() : none,
             .discovery = _dnssd->description(),
             .phones = _application->phoneStates(),
             .lastRefusedClip = refused ? englishText(*refused) : QString(),
             .lastRefusedClipDate = refused ? std::optional(refused->date) : std::nullopt,
             .refusals = _application->refusals()});
    }

    const bool _userStartedIt;
    Bundle _bundle = Bundle::mainBundle();
    FilePreferencesDatabase _database{FilePreferencesDatabase::defaultFolder()};
    std::unique_ptr<DistributedNotifications> _notifications;
    std::unique_ptr<SystemPower> _power;
    std::unique_ptr<dnssd::Backend> _dnssd;
    dnssd::FixedAddresses _phones{*_dnssd};
    Session _session;
    std::unique_ptr<Pasteboard> _pasteboard;
    std::unique_ptr<KeyboardEvents> _keyboard;
    std::unique_ptr<ActiveApplication> _activeApplication;
    std::unique_ptr<SessionPrograms> _sessionPrograms;
    std::unique_ptr<Face> _face;
    UnseenNotice _unseen;
    PasteboardServices _pasteboardServices;
    std::optional<ApplicationDefaults> _applicationDefaults;
    std::unique_ptr<StatusInterface> _statusInterface = makeStatusInterface();
    RunLoop::Timer _tellStatus;
    bool _isEnding = false;
    std::unique_ptr<ZRKClipmuleSyncApp> _application;
};

struct Arguments {
    /// When there is nothing more to do.
    std::optional<int> exitStatus;
    /// Open the menu of an agent that is running.
    bool menu = false;
    /// A person started it, and wants to see something.
    bool show = false;
};

void complain(const QString &message) {
    std::fprintf(stderr, "clipmule-sync: %s\n",
                 qPrintable(onOneLine(message, CommandOptions::longestMessage)));
}

Arguments answerArguments(const QCoreApplication &application) {
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral(
        "Keeps this desktop's clipboard in step with the registered phones of the same network.\n"
        "Phones are registered with clipmule-preferences. Ends on SIGTERM and SIGINT."));
    // Not the parser's own, which brings an option along that nobody answers.
    parser.addOption(
        QCommandLineOption({QStringLiteral("h"), helpOption}, QStringLiteral("Show this help.")));
    parser.addVersionOption();
    parser.addOption(QCommandLineOption(
        menuOption, QStringLiteral("Opens the menu of the agent that is running, for a key of the "
                                   "desktop; otherwise starts the agent.")));
    parser.addOption(QCommandLineOption(
        showOption, QStringLiteral("Starts the agent, and opens the preferences when it runs "
                                   "already or no phone is registered yet.")));
    parser.addOption(QCommandLineOption(
        verboseOption, QStringLiteral("Writes a line to standard error for each thing that "
                                      "happens. Never what a clip contains.")));
    if (!parser.parse(application.arguments())) {
        complain(parser.errorText());
        return {.exitStatus = 2};
    }
    if (parser.isSet(helpOption)) {
        std::fputs(qPrintable(parser.helpText()), stdout);
        return {.exitStatus = 0};
    }
    if (parser.isSet(QStringLiteral("version"))) {
        std::puts("clipmule-sync " CLIPMULE_VERSION);
        return {.exitStatus = 0};
    }
    if (!parser.positionalArguments().isEmpty()) {
        complain(QStringLiteral("unexpected argument: %1")
                     .arg(parser.positionalArguments().constFirst()));
        return {.exitStatus = 2};
    }
    if (parser.isSet(verboseOption))
        QLoggingCategory::setFilterRules(QStringLiteral("clipmule.*.debug=true"));
    return {.exitStatus = {}, .menu = parser.isSet(menuOption), .show = parser.isSet(showOption)};
}

void openMenuOfRunningAgent() {
    activateApplication(menuIdentifier, [](bool reached) {
        if (!reached)
            std::fputs(
                "clipmule-sync: the agent that is running has no menu: it was started without "
                "a display. Start clipmule-sync on the desktop, and it takes over.\n",
                stderr);
        QCoreApplication::exit(reached ? 0 : 1);
    });
}

void openPreferences() {
    activateApplication(preferencesIdentifier, [](bool reached) {
        const bool opened = reached || QProcess::startDetached(preferencesExecutable(), {});
        QCoreApplication::exit(opened ? 0 : 1);
    });
}

// With windows where they can be shown: the toolkit ends a process that has windows and no display.
std::unique_ptr<QCoreApplication> makeApplication(int &argc, char **argv) {
    if (!hasDisplay())
        return std::make_unique<QCoreApplication>(argc, argv);
    // Sessions start the agent by its autostart entry, not by what ran when the last one ended.
    QCoreApplication::setAttribute(Qt::AA_DisableSessionManager);
    auto application = std::make_unique<QApplication>(argc, argv);
    QApplication::setQuitOnLastWindowClosed(false);
    // What a status area calls the item.
    QApplication::setApplicationName(QStringLiteral("Clipmule Sync"));
    QApplication::setDesktopFileName(ApplicationDefaults::identifier());
    return application;
}

} // namespace

int main(int argc, char *argv[]) {
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
            if (arguments.show)
                openPreferences();
            else if (!arguments.menu)
                QCoreApplication::quit();
            return;
        }
        if (outcome == SingleInstance::Outcome::Unknown)
            qCWarning(logApp) << "no session bus: settings changed elsewhere will not reach us";
        agent.emplace(arguments.show);
        if (!agent->start())
            QCoreApplication::exit(1);
    };
    const bool hasDisplay = qobject_cast<QApplication *>(application.get());
    instance->claim(ApplicationDefaults::identifier(), claimed,
                    hasDisplay ? SingleInstance::Standing::Whole
                               : SingleInstance::Standing::Makeshift);
    return QCoreApplication::exec();
}
