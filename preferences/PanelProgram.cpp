// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "preferences/PanelProgram.h"

#include "platform/bundle/Bundle.h"
#include "platform/bundle/Translations.h"
#include "platform/desktop/HelpManager.h"
#include "platform/dnssd/DnsSd.h"
#include "platform/foundation/QtRunLoop.h"
#include "platform/foundation/QuitSignals.h"
#include "platform/preferences/DistributedNotifications.h"
#include "platform/preferences/PreferencesDatabase.h"
#include "platform/session/ApplicationInterface.h"
#include "platform/session/Session.h"
#include "platform/session/SessionPrograms.h"
#include "platform/session/SingleInstance.h"
#include "preferences/PreferencesWindow.h"
#include "support/PlatformNotifications.h"

#include <QApplication>
#include <QFileInfo>
#include <QIcon>
#include <QProcess>

#include <algorithm>
#include <cstdio>
#include <cstring>

namespace clipmule {

namespace {

// Everything that the window stands on. Members are destroyed in the opposite order, the window
// first.
class Panel {
public:
    /// False when the installation lacks what it needs.
    bool open() {
        ZRKUserDefaults::Environment environment;
        environment.database = _database.get();
        environment.distributedNotifications = _notifications.get();
        const auto stores = SettingsStores::open(environment);
        if (!stores)
            return false;
        _stores = *stores;
        _phones = std::make_unique<PhoneList>(*_dnssd, *_database, _stores);
        _settings = std::make_unique<SyncSettings>(*_database, _stores);
        _window = std::make_unique<PreferencesWindow>(
            PreferencesWindow::Services{.phones = *_phones,
                                        .settings = *_settings,
                                        .autostart = _autostart,
                                        .agent = *_agent,
                                        .network = *_network,
                                        .startAgent = &Panel::startAgent,
                                        .showHelp = [this] { showHelp(); },
                                        .reload = [this] { _stores.reload(); }});
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

    Panel() = default;
    ~Panel() {
        _window.reset();
        _settings.reset();
        _phones.reset();
        _stores = {};
        ZRKUserDefaults::setEnvironment({});
    }
    Panel(const Panel &) = delete;
    Panel &operator=(const Panel &) = delete;

private:
    static bool startAgent() {
        const QString name = QStringLiteral("clipmule-sync");
        const QFileInfo sibling(QCoreApplication::applicationDirPath() + u'/' + name);
        return QProcess::startDetached(sibling.isExecutable() ? sibling.absoluteFilePath() : name,
                                       {});
    }

    void showHelp() {
        const Bundle bundle = Bundle::mainBundle();
        _help->registerBooksInBundle(bundle);
        const PropertyList *const name =
            find(bundle.infoDictionary(), QStringLiteral("CFBundleHelpBookName"));
        if (const auto *const book = name ? name->as<QString>() : nullptr)
            _help->openHelpAnchorInBook(QStringLiteral("help"), *book);
    }

    std::unique_ptr<PreferencesDatabase> _database = makePreferencesDatabase();
    std::unique_ptr<DistributedNotifications> _notifications = makeDistributedNotifications();
    std::unique_ptr<dnssd::Backend> _dnssd = dnssd::makeBackend();
    std::unique_ptr<dnssd::NetworkProbe> _network = dnssd::makeNetworkProbe();
    std::unique_ptr<StatusReader> _agent = makeStatusReader();
    std::unique_ptr<HelpManager> _help = makeHelpManager();
    AutostartEntry _autostart = AutostartEntry::standard();
    SettingsStores _stores;
    std::unique_ptr<PhoneList> _phones;
    std::unique_ptr<SyncSettings> _settings;
    std::unique_ptr<PreferencesWindow> _window;
};

} // namespace

bool hasDisplay(int argc, char **argv) {
    const bool named = std::any_of(argv, argv + argc, [](const char *argument) {
        return std::strcmp(argument, "-platform") == 0 || std::strcmp(argument, "-display") == 0;
    });
    if (named || !qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY") ||
        !qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        return true;
    // The toolkit aborts where no display answers.
    return hasDisplay();
}

int runPanel(int argc, char **argv) {
    QApplication application(argc, argv);
    installTranslations();
    if (application.arguments().size() > 1) {
        std::fputs("clipmule-preferences: unexpected argument beside those of the window\n",
                   stderr);
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
        std::fputs("clipmule-preferences: the installation is incomplete: Info.plist names no "
                   "shared domain\n",
                   stderr);
        QCoreApplication::exit(1);
    });
    return QApplication::exec();
}

} // namespace clipmule
