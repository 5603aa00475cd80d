// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "app/Agent.h"

#include "platform/foundation/Log.h"
#include "support/Settings.h"
#include "support/ZRKNotificationCenter.h"
#include "support/ZRKPowerNotificationCenter.h"

#include <QCoreApplication>

#include <utility>

namespace clipmule {

Agent::Agent(Bundle bundle, AgentBackends backends, std::unique_ptr<Face> face, Started started)
    : _started(started)
    , _bundle(std::move(bundle))
    , _backends(std::move(backends))
    , _face(std::move(face))
    , _pasteboardServices{*_backends.pasteboard, *_backends.activeApplication,
                          [this](const QString &text) {
                              // Without a display the log has each refusal in any case.
                              if (_face)
                                  _face->displayMessage(text);
                          },
                          _backends.temporaryFolder} {}

Agent::~Agent() {
    _application.reset();
    ZRKPowerNotificationCenter::setSystemPower(nullptr);
    ZRKUserDefaults::setEnvironment({});
}

bool Agent::start() {
    ZRKPowerNotificationCenter::setSystemPower(_backends.power.get());
    ZRKUserDefaults::Environment environment;
    environment.database = _backends.database.get();
    environment.distributedNotifications = _backends.notifications.get();
    ZRKUserDefaults::setEnvironment(environment);
    const auto shared = ZRKUserDefaults::standardUserDefaults();
    if (!shared) {
        qCCritical(logApp) << "no identifier of the shared settings in" << _bundle.path();
        return false;
    }
    _applicationDefaults = Settings::openForAgent(environment);
    whenDisplayIsLost(_backends.session, [] {
        qCCritical(logApp) << "the display is gone";
        QCoreApplication::exit(1);
    });
    shared->listenForChanges();
    // A change that another program writes before the bus knows that we listen is not told to us.
    // So the settings are read again once the bus does know.
    _backends.notifications->whenDelivered([this, shared](bool) {
        if (_isEnding)
            return;
        shared->reset();
        _applicationDefaults->reset();
        launch(shared);
    });
    return true;
}

void Agent::launch(const std::shared_ptr<ZRKUserDefaults> &shared) {
    SyncServices services{
        .dnssd = _phones,
        .pasteboard = _pasteboardServices,
        .keyboard = *_backends.keyboard,
        .applicationDefaults = *_applicationDefaults,
        .sharedDefaults = *shared,
        .sessionPrograms = *_backends.sessionPrograms,
        // The installation folder is the preferences panel's bundle; the agent has its place in it.
        .agentBundle = Bundle(_bundle.path() + QStringLiteral("/Contents/Resources/ClipmuleSync")),
        .fixedAddresses = &_phones,
        .makeStatusController = {},
        .updaterForBundle = {},
        .prepareToPaste = {},
        .situationDidChange = [this] { tellStatusSoon(); }};
    if (_face)
        showFaceTo(services, shared);
    _application = std::make_unique<ZRKClipmuleSyncApp>(std::move(services));
    _application->finishLaunching();
    tellStatus();
    _backends.statusInterface->start();
    _backends.dnssd->onDescriptionChange = [this] { tellStatusSoon(); };
    _backends.pasteboard->onAccessChange = [this] { tellStatusSoon(); };
    followInstallation();
    if (_face && _started != Started::ByCommand)
        welcome();
}

// Who has just installed the program sees how it goes on, and who starts it sees that it runs. The
// session starts it at each login, and asks for nothing a second time.
void Agent::welcome() {
    const QString key = QStringLiteral("hasWelcomed");
    if (_application->registeredDeviceNames().isEmpty()) {
        // Where it cannot be remembered, it would come with every login.
        const bool isFirst = !_applicationDefaults->boolForKey(key) &&
                             _applicationDefaults->setObjectForKey(PropertyList(true), key);
        if (isFirst || _started == Started::ByUser)
            openPreferences();
    } else if (_started == Started::ByUser) {
        _lookForIcon = RunLoop::current().performAfter(patienceWithStatusArea, [this] {
            const QString kind = _face->trayKind();
            if (kind == u"none" || kind == u"hidden")
                openPreferences();
        });
    }
}

void Agent::openPreferences() {
    _backends.sessionPrograms->activate(preferencesProgram(), Face::preferencesExecutable());
}

void Agent::followInstallation() {
    _program.onReplaced = [this] {
        qCInfo(logApp) << "another version was installed, and is used from the next start";
        if (_face)
            _face->displayMessage(QCoreApplication::translate(
                "Clipmule",
                "Another version of Clipmule Sync was installed. It is used from the next login."));
    };
    _program.onRemoved = [this] {
        qCInfo(logApp) << "the program was removed";
        terminate();
    };
}

void Agent::showFaceTo(SyncServices &services, const std::shared_ptr<ZRKUserDefaults> &shared) {
    services.makeStatusController = [this, shared](ZRKClipmuleSyncApp &application) {
        return _face->makeStatusController(application, *shared, [this] { tellStatusSoon(); });
    };
    services.updaterForBundle = [this](const Bundle &bundle) {
        return _face->updaterForBundle(bundle);
    };
    services.prepareToPaste = [this] { _face->letGoOfKeyboard(); };
}

void Agent::terminate() {
    _isEnding = true;
    if (_application)
        _application->applicationShouldTerminate();
    ZRKNotificationCenter::platformDefault().postNotificationName(
        NSApplicationWillTerminateNotification);
    _backends.pasteboard->prepareToQuit([] { QCoreApplication::quit(); });
}

// A burst of changes is told once.
void Agent::tellStatusSoon() {
    if (!_tellStatus.isPending())
        _tellStatus =
            RunLoop::current().performAfter(RunLoop::Seconds(0), [this] { tellStatus(); });
}

void Agent::tellStatus() {
    const QString none = QStringLiteral("none");
    const std::optional<Refusal> refused = _application->lastRefusal();
    _backends.statusInterface->setStatus(
        {.version = QStringLiteral(CLIPMULE_VERSION),
         .qtVersion = QString::fromLatin1(qVersion()),
         .syncEnabled = _application->isEnabled(),
         .hasDisplay = bool(_face),
         .pasteboardBackend = _backends.pasteboard->description(),
         .pasteboardCanRead = _backends.pasteboard->isAccessible(),
         .pasteboardCanWrite = _backends.pasteboard->isAccessible(),
         .pasteBackend = _backends.keyboard->description(),
         .canPaste = _backends.keyboard->obstacle().isEmpty(),
         .pasteObstacle = _backends.keyboard->obstacle(),
         .trayKind = _face ? _face->trayKind() : none,
         .discovery = _backends.dnssd->description(),
         .phones = _application->phoneStates(),
         .lastRefusedClip = refused ? englishText(*refused) : QString(),
         .lastRefusedClipDate = refused ? std::optional(refused->date) : std::nullopt,
         .refusals = _application->refusals()});
}

} // namespace clipmule
