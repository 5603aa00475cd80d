// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include <QRect>
#include <QString>

#include <functional>
#include <memory>
#include <optional>

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
    Q_DISABLE_COPY_MOVE(StatusItem)

    /// The kind of status area that the item is in.
    enum class Host {
        None,         ///< no status area so far
        Tray,         ///< a tray that embeds a window of ours and tells where it is
        NotifierHost, ///< a host of StatusNotifierItems, which tells of clicks only
    };
    /// The user activated the item, by a click or from the keyboard.
    std::function<void()> onClick;
    /// The item is in another kind of status area.
    std::function<void()> onHostChange;

    /// Sets the name that is shown beside the pointer and read out.
    virtual void setName(const QString &name) = 0;
    virtual void setIcon(const QIcon &icon) = 0;
    /// Sets the menu, which is not owned and must be taken away, by null, before it is destroyed.
    virtual void setMenu(QMenu *menu) = 0;
    /// Shows the menu under the item and returns at once. False, and nothing is shown, where no
    /// window can be put there; hosts there show the menu themselves.
    [[nodiscard]] virtual bool popUpMenu() = 0;
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
    Q_DISABLE_COPY_MOVE(StatusBar)

    /// Never null. The length is the item's width in points, where the desktop leaves it to us.
    [[nodiscard]] virtual std::unique_ptr<StatusItem> statusItemWithLength(int length) = 0;
};

/// The status area of the desktop, through the toolkit; it needs an application with widgets. The
/// display tells of trays that embed windows; without one only hosts on the session bus are looked
/// for.
[[nodiscard]] std::unique_ptr<StatusBar> makeStatusBar(const Session &session);

/// What is known of where a status item is.
struct StatusItemWhereabouts {
    /// The item's place as the tray tells it; empty when it does not.
    QRect geometry;
    /// Where the item was clicked last.
    std::optional<QPoint> click;
    QRect screen;
    /// The screen without the desktop's panels.
    QRect available;
    /// The item's own width.
    int length = 0;
};

/// Where to hang something from the item. Without a geometry it is as wide as the item and as high
/// as the panel that it is thought to be in; of no height when the screen has no panel.
[[nodiscard]] QRect placeOfStatusItem(const StatusItemWhereabouts &whereabouts);

/// The upper left corner of a menu that belongs to something at that place: under it, or above it
/// in the lower half of the screen.
[[nodiscard]] QPoint placeOfMenu(const QRect &item, const QSize &menu, const QRect &screen);

/// Knows whether the desktop has a status area of one kind, and tells when that changes.
class TrayWatch {
public:
    TrayWatch() = default;
    virtual ~TrayWatch() = default;
    Q_DISABLE_COPY_MOVE(TrayWatch)

    /// The callback comes from the run loop whenever the answer is another one; it is no at first.
    virtual void start(std::function<void()> changed) = 0;
    [[nodiscard]] virtual bool isPresent() const = 0;
};

/// Trays that embed windows: the owner of a selection of the display. Null without one.
[[nodiscard]] std::unique_ptr<TrayWatch> makeEmbeddingTrayWatch(const Session &session);
/// Hosts of StatusNotifierItems, on the session bus. A host counts when it answers, so that nobody
/// has to wait for one that hangs.
[[nodiscard]] std::unique_ptr<TrayWatch> makeNotifierHostWatch();

} // namespace clipmule
