// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/windows/ActiveApplication.h"

#include "platform/session/Session.h"
#include "platform/windows/KnownPrograms.h"
#include "platform/windows/backends/wayland/WaylandActiveApplication.h"
#include "platform/windows/backends/x11/X11ActiveApplication.h"

#include <utility>

namespace clipmule {

namespace {

// The phones' system has a program of its own for each.
constexpr std::pair<const char *, ApplicationRole> roles[] = {
    {"com.apple.finder", ApplicationRole::FileManager},
    {"com.apple.iPhoto", ApplicationRole::PhotoManager},
    {"com.apple.iWork.Numbers", ApplicationRole::Spreadsheet},
};

// Stands in where the desktop does not tell which application is active.
class NullActiveApplication final : public ActiveApplication {
public:
    [[nodiscard]] std::optional<QString> identifier() const override { return std::nullopt; }
};

} // namespace

ApplicationRole roleOf(const std::optional<QString> &identifier) {
    if (!identifier)
        return ApplicationRole::Unknown;
    for (const auto &[name, role] : roles) {
        if (*identifier == QLatin1String(name))
            return role;
    }
    return ApplicationRole::Other;
}

QString identifierOf(ApplicationRole wanted) {
    for (const auto &[name, role] : roles) {
        if (role == wanted)
            return QString::fromLatin1(name);
    }
    return {};
}

std::unique_ptr<ActiveApplication> makeActiveApplication(const Session &session,
                                                         const QString &tablePath,
                                                         const QString &userTablePath) {
    auto toplevels = WaylandToplevels::make(session.wayland);
    if (!toplevels && !session.x11)
        return std::make_unique<NullActiveApplication>();
    ApplicationTable table = ApplicationTable::read(tablePath);
    if (!userTablePath.isEmpty())
        table.addUsersOwn(userTablePath);
    KnownPrograms programs(std::move(table),
                           std::make_unique<DesktopFiles>(DesktopFiles::standardFolders()));
    if (toplevels)
        return std::make_unique<WaylandActiveApplication>(std::move(toplevels),
                                                          std::move(programs));
    return std::make_unique<X11ActiveApplication>(session.x11, std::move(programs));
}

bool blendsWindows(const Session &session) {
    return !session.x11 || session.x11->isLost() || hasX11Compositor(*session.x11);
}

} // namespace clipmule
