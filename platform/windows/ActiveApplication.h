// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include <QString>

#include <functional>
#include <memory>
#include <optional>

namespace clipmule {

struct Session;

/// What a program is to the clipboard.
enum class ApplicationRole { Unknown, FileManager, PhotoManager, Spreadsheet, Other };

/// The role of the application of that identifier; unknown without one.
[[nodiscard]] ApplicationRole roleOf(const std::optional<QString> &identifier);
/// The identifier by which whoever plays the role is known, here and in the table of applications;
/// empty for the roles that have none of their own.
[[nodiscard]] QString identifierOf(ApplicationRole role);

/// Which application the user is working in.
class ActiveApplication {
public:
    ActiveApplication() = default;
    virtual ~ActiveApplication() = default;
    ActiveApplication(const ActiveApplication &) = delete;
    ActiveApplication &operator=(const ActiveApplication &) = delete;

    /// Its identifier: that of its role, if it has one; else the desktop-file id or, failing that,
    /// the lower-case window class. Nothing when no application is active or the desktop does not
    /// tell.
    [[nodiscard]] virtual std::optional<QString> identifier() const = 0;

    /// Another application is active. Only from desktops that tell without being asked, from the
    /// run loop.
    std::function<void()> onChange;

    /// How a clip gets into the active window.
    struct Pasting {
        /// The keys, as the table of applications writes them ("Ctrl+Shift+V"); nothing where the
        /// usual ones do, as in every window of which nothing is known.
        std::optional<QString> keys;
        /// Whether the keys paste what is selected, not what was copied.
        bool isFromSelection = false;

        friend bool operator==(const Pasting &, const Pasting &) = default;
    };
    [[nodiscard]] virtual Pasting pasting() const { return {}; }
};

/// The backend of the session's display; one that never knows where there is none. The table says
/// which programs are file and photo managers and in which windows other keys paste
/// (ApplicationTable.h); without it, desktop files alone tell. What the user's own table says goes
/// before it; there may be none. Never null.
[[nodiscard]] std::unique_ptr<ActiveApplication>
makeActiveApplication(const Session &session, const QString &tablePath,
                      const QString &userTablePath = {});

/// Whether translucent windows are blended with what is behind them at this moment: users turn that
/// on and off. Asks the display server in one round trip. Without a display, and after its loss,
/// they are taken to be: displays of other kinds always blend.
[[nodiscard]] bool blendsWindows(const Session &session);

} // namespace clipmule
