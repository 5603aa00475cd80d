// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include <QString>

#include <memory>
#include <optional>

namespace clipmule {

struct Session;

/// Which application the user is working in.
class ActiveApplication {
public:
    ActiveApplication() = default;
    virtual ~ActiveApplication() = default;
    ActiveApplication(const ActiveApplication &) = delete;
    ActiveApplication &operator=(const ActiveApplication &) = delete;

    /// Its identifier: the desktop-file id or, failing that, the lower-case window class. File
    /// managers answer "com.apple.finder" and photo managers "com.apple.iPhoto", the names by which
    /// the capture knows them. Nothing when no application is active or the desktop does not tell.
    [[nodiscard]] virtual std::optional<QString> identifier() const = 0;

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
