// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "app/Face.h"

#include "app/PackageUpdater.h"
#include "app/ZRKClipmuleSyncApp.h"
#include "platform/windows/ActiveApplication.h"
#include "ui/ZRKClipmuleMessageController.h"
#include "ui/ZRKClipmuleStatusController.h"

#include <QCoreApplication>
#include <QGuiApplication>

#include <utility>

namespace clipmule {

namespace {

QString programName() {
    return QCoreApplication::translate("Clipmule", "Clipmule Sync");
}

} // namespace

QString Face::menuIdentifier() {
    return QStringLiteral("com.zendrik.ClipmuleSync.Menu");
}

QString Face::preferencesExecutable() {
    return QCoreApplication::applicationDirPath() + QStringLiteral("/clipmule-preferences");
}

Face::Face(Bundle bundle, const Session &session, SessionPrograms &programs)
    : _bundle(std::move(bundle))
    , _session(session)
    , _statusBar(makeStatusBar(session))
    , _messageSurface(makeMessageSurface(session))
    , _sessionPrograms(programs) {}

Face::~Face() {
    ZRKClipmuleMessageController::sharedController().setSurroundings({});
}

std::shared_ptr<ZRKClipmuleStatusController>
Face::makeStatusController(ZRKClipmuleSyncApp &application, ZRKUserDefaults &settings,
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
    openMenuOnRequest();
    surroundMessages();
    return controller;
}

// Not every status area can be reached from the keyboard: a command opens the menu, too.
void Face::openMenuOnRequest() {
    _menuInterface->onActivate = [this](const QString &) {
        if (const auto shown = _statusController.lock())
            shown->openMenu();
    };
    if (_menuInterface->start(menuIdentifier()))
        _menuName->claim(menuIdentifier(), [](SingleInstance::Outcome) {});
}

void Face::surroundMessages() {
    ZRKClipmuleMessageController::sharedController().setSurroundings(
        {.statusItemFrame = [this]() -> std::optional<QRect> {
             const auto shown = _statusController.lock();
             const StatusItem *const item = shown ? shown->statusItem() : nullptr;
             return item ? std::optional(item->place()) : std::nullopt;
         },
         .surface = _messageSurface.get(),
         // A Wayland compositor keeps the places to itself.
         .canPlaceWindows = [] { return !QGuiApplication::platformName().startsWith(u"wayland"); },
         .notifyInstead =
             [this](const QString &text) { _notifications->notify(programName(), text); },
         .blendsWindows = [this] { return blendsWindows(_session); }});
}

void Face::displayMessage(const QString &text) {
    // The panel hangs from the icon; without one nobody would see it.
    const auto controller = _statusController.lock();
    if (controller && controller->statusItem())
        ZRKClipmuleMessageController::sharedController().displayMessage(text);
    else
        _notifications->notify(programName(), text);
}

std::unique_ptr<Updater> Face::updaterForBundle(const Bundle &bundle) {
    return PackageUpdater::updaterForBundle(
        bundle, makePackageUpdates(), [this](const QString &text) { displayMessage(text); },
        [this](const QString &version, std::function<void(bool)> answer) {
            _question.ask(version, std::move(answer));
        });
}

QString Face::trayKind() const {
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

void Face::letGoOfKeyboard() {
    if (const auto controller = _statusController.lock())
        controller->closeMenu();
}

} // namespace clipmule
