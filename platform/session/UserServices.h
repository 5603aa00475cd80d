// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/foundation/Result.h"

#include <functional>
#include <memory>

#include <QtGlobal>

namespace clipmule {

/// The programs that the session's service manager runs for this user, by the names of their units.
///
/// Answers come once each, from the run loop, and none after this object is gone.
class UserServices {
public:
    enum class AtLogin {
        Unknown, ///< there is no manager, or it knows no such unit
        Off,
        On,
    };

    UserServices() = default;
    virtual ~UserServices() = default;
    Q_DISABLE_COPY_MOVE(UserServices)

    /// Whether the unit is started at login.
    virtual void look(const QString &unit, std::function<void(AtLogin)> answer) = 0;
    /// Starts it now; false where it is unknown or refused. What becomes of it then is not told.
    virtual void start(const QString &unit, std::function<void(bool)> answer) = 0;
    /// Switches its start at login on and starts it, or off and ends it. The failure is in the
    /// manager's words.
    virtual void setAtLogin(const QString &unit, bool on,
                            std::function<void(const Result<void> &)> answer) = 0;
};

/// Those of systemd, over the session bus. Without a bus nothing is known.
[[nodiscard]] std::unique_ptr<UserServices> makeUserServices();

} // namespace clipmule
