// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include <QRect>
#include <QString>

#include <functional>
#include <memory>

class QIcon;
class QMenu;

namespace clipmule {

struct Session;

/// One item in the desktop's status area, with a picture and a menu. It exists from the program's
/// point of view whether or not the desktop has a status area yet: it appears when one does, and
/// comes back when that was restarted.
///
/// Some desktops draw the menu themselves, from its texts; others leave it to us and only tell of
/// clicks.
class StatusItem {
public:
    StatusItem() = default;
    virtual ~StatusItem() = default;
    StatusItem(const StatusItem &) = delete;
    StatusItem &operator=(const StatusItem &) = delete;

    /// The kind of status area that the item is in.
    enum class Host {
        None,         ///< no status area so far
        Tray,         ///< a tray that embeds a window of ours and tells where it is
        NotifierHost, ///< a host of StatusNotifierItems, which tells of clicks only
    };
    struct Delegate {
        /// The user activated the item, by a click or from the keyboard.
        std::function<void()> clicked;
        /// The item is in another kind of status area.
        std::function<void()> hostDidChange;
    };

    virtual void setDelegate(Delegate delegate) = 0;
    /// Sets the name that is shown beside the pointer and read out.
    virtual void setName(const QString &name) = 0;
    virtual void setIcon(const QIcon &icon) = 0;
    /// Sets the menu, which is not owned and must be taken away, by null, before it is destroyed.
    virtual void setMenu(QMenu *menu) = 0;
    /// Shows the menu under the item and returns at once.
    virtual void popUpMenu() = 0;
    /// Takes the menu off the screen and returns when it holds the keyboard no more.
    virtual void closeMenu() = 0;

    [[nodiscard]] virtual Host host() const = 0;
    /// Where on the screen the item is; where nobody tells, near the last click, or at the end of
    /// the edge that holds the desktop's panel. In device-independent pixels.
    [[nodiscard]] virtual QRect place() const = 0;
};

/// The status area.
class StatusBar {
public:
    StatusBar() = default;
    virtual ~StatusBar() = default;
    StatusBar(const StatusBar &) = delete;
    StatusBar &operator=(const StatusBar &) = delete;

    /// Never null. The length is the item's width in points, where the desktop leaves it to us.
    [[nodiscard]] virtual std::unique_ptr<StatusItem> statusItemWithLength(int length) = 0;
};

/// The status area of the desktop, through the toolkit; it needs an application with widgets. The
/// display tells of trays that embed windows; without one only hosts on the session bus are looked
/// for.
[[nodiscard]] std::unique_ptr<StatusBar> makeStatusBar(const Session &session);

} // namespace clipmule
