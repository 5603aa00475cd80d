// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/bundle/Bundle.h"
#include "platform/foundation/Object.h"
#include "platform/foundation/RunLoop.h"

#include <QImage>
#include <QRect>

#include <functional>
#include <memory>

class QAction;
class QMenu;

namespace clipmule {

class HelpManager;
class SessionPrograms;
class StatusBar;
class StatusItem;
class SyncStatusSource;
class ZRKClipmuleDeviceMenuView;
class ZRKClipmuleStatusView;
class ZRKUserDefaults;

/// The agent's item in the status area, with its menu: shown while the setting "showStatus" is on,
/// its texts in step with the sync, its icon turning while data moves; carries out the commands of
/// the menu.
///
/// Needs an application with widgets. Main thread.
class ZRKClipmuleStatusController final : public Object {
    // Only the factory can make a key, so only it can call the public constructor.
    struct Key {};

public:
    /// The width of the status item, in points.
    static constexpr int statusItemLength = 29;
    /// How long after the last transfer the icon shows that data moves.
    static constexpr RunLoop::Seconds activityDuration{0.5};

    /// Everything in it outlives the controller.
    struct Services {
        SyncStatusSource &source;
        /// Holds the pictures.
        Bundle bundle;
        ZRKUserDefaults &sharedDefaults;
        StatusBar &statusBar;
        HelpManager &helpManager;
        SessionPrograms &sessionPrograms;
        /// The preferences program, to be started where the desktop does not know it by its name.
        QString preferencesExecutable;
    };

    /// Begins to listen, and shows the item when the settings say so.
    [[nodiscard]] static std::shared_ptr<ZRKClipmuleStatusController> init(Services services);
    ZRKClipmuleStatusController(Key, Services services);
    ~ZRKClipmuleStatusController() override;

    void defaultsDidChange();
    /// Brings titles and icon up to date.
    void update();
    /// Pops the menu up under the item; returns at once. Where no menu can be put there, the
    /// preferences are opened.
    void popUp();
    void togglePause();
    /// Switches whether what a phone sends is pasted, or only put on the clipboard.
    void togglePaste();
    void showHelp();
    void launchPreferences();
    void startNetworkActivity();
    void stopNetworkActivity();

    /// Opens the menu as a click does, for those who do not click; while the item is hidden, the
    /// preferences, which can show it again.
    void openMenu();
    /// Takes an open menu off the screen, so that it holds the keyboard no more.
    void closeMenu();

    /// The item's view; null while the item is hidden.
    [[nodiscard]] ZRKClipmuleStatusView *statusView() const { return _statusView.get(); }
    [[nodiscard]] StatusItem *statusItem() const { return _statusItem.get(); }
    [[nodiscard]] QMenu *menu() const { return _menu.get(); }
    /// Called when the item came, went, or is in another kind of status area. May be empty.
    void setStatusItemDidChange(std::function<void()> callback) {
        _statusItemDidChange = std::move(callback);
    }

private:
    class MenuWatch;
    void showStatusItem();
    void hideStatusItem();
    [[nodiscard]] std::unique_ptr<QMenu> makeMenu();
    QAction *addItem(QMenu &menu, const QString &title,
                     void (ZRKClipmuleStatusController::*action)());
    void menuVisibilityDidChange(bool visible);
    void updateHeaderItem();
    void updatePasteItem();
    void updateRefusalItem();
    [[nodiscard]] QString forMenu(const QString &text) const;
    void redraw();

    Services _services;
    std::unique_ptr<StatusItem> _statusItem;
    // The item has let go of the menu before the menu goes.
    std::unique_ptr<QMenu> _menu;
    QAction *_statusTextItem = nullptr;
    QAction *_toggleItem = nullptr;
    std::unique_ptr<ZRKClipmuleStatusView> _statusView;
    bool _networkActive = false;

    QAction *_headerItem = nullptr;
    QAction *_pasteItem = nullptr;
    QAction *_refusalItem = nullptr;
    QAction *_updateItem = nullptr;
    ZRKClipmuleDeviceMenuView *_header = nullptr;
    std::unique_ptr<MenuWatch> _menuWatch;
    // What the icon showed last, so that the same is not sent to the status area again.
    QImage _drawn;
    std::function<void()> _statusItemDidChange;
    RunLoop::Timer _stopNetworkActivity;
    RunLoop::Timer _updateHeaderItemLater;
};

} // namespace clipmule
