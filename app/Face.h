// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "app/PackageUpdater.h"
#include "platform/bundle/Bundle.h"
#include "platform/desktop/DesktopNotifications.h"
#include "platform/desktop/HelpManager.h"
#include "platform/session/Session.h"
#include "platform/session/SessionPrograms.h"
#include "platform/tray/MessageSurface.h"
#include "platform/tray/StatusItem.h"
#include "ui/UpdateQuestion.h"

#include <functional>
#include <memory>

namespace clipmule {

struct Session;
class ZRKClipmuleStatusController;
class ZRKClipmuleSyncApp;
class ZRKUserDefaults;

/// What the user sees of the agent: the item in the status area with its menu, and messages. Exists
/// where windows can be shown.
class Face final {
public:
    /// The name under which a key of the desktop opens the menu.
    static QString menuIdentifier();
    static QString preferencesExecutable();

    Face(Bundle bundle, const Session &session, SessionPrograms &programs);
    ~Face();

    /// Makes the status item. The callback runs when the answer of trayKind() may have changed.
    std::shared_ptr<ZRKClipmuleStatusController>
    makeStatusController(ZRKClipmuleSyncApp &application, ZRKUserDefaults &settings,
                         std::function<void()> statusItemDidChange);
    /// Shows the text at the icon, or as one of the desktop's notifications where there is no icon.
    void displayMessage(const QString &text);
    [[nodiscard]] std::unique_ptr<Updater> updaterForBundle(const Bundle &bundle);
    /// What kind of status area the item is in, as a bug report names it.
    [[nodiscard]] QString trayKind() const;
    /// Closes an open menu, which holds the keyboard and would get our key strokes.
    void letGoOfKeyboard();

private:
    void openMenuOnRequest();
    void surroundMessages();

    Bundle _bundle;
    Session _session;
    std::unique_ptr<StatusBar> _statusBar;
    std::unique_ptr<MessageSurface> _messageSurface;
    SessionPrograms &_sessionPrograms;
    std::unique_ptr<HelpManager> _helpManager = makeHelpManager();
    std::unique_ptr<DesktopNotifications> _notifications = makeDesktopNotifications();
    UpdateQuestion _question;
    std::unique_ptr<ApplicationInterface> _menuInterface = makeApplicationInterface();
    std::unique_ptr<SingleInstance> _menuName = makeSingleInstance();
    std::weak_ptr<ZRKClipmuleStatusController> _statusController;
};

} // namespace clipmule
