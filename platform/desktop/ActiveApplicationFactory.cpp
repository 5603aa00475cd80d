// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/desktop/ActiveApplicationFactory.h"

#include "platform/desktop/ActiveApplication_x11.h"
#include "platform/desktop/ApplicationTable.h"
#include "platform/desktop/DesktopFiles.h"

namespace clipmule {

namespace {

// Where the desktop does not tell.
class NullActiveApplication final : public ActiveApplication {
public:
    [[nodiscard]] std::optional<QString> identifier() const override { return std::nullopt; }
};

} // namespace

std::unique_ptr<ActiveApplication>
makeActiveApplication(const std::shared_ptr<X11Connection> &connection, const QString &tablePath,
                      const QString &userTablePath) {
    if (!connection)
        return std::make_unique<NullActiveApplication>();
    ApplicationTable table = ApplicationTable::read(tablePath);
    if (!userTablePath.isEmpty())
        table.addUsersOwn(userTablePath);
    return std::make_unique<ActiveApplicationX11>(
        connection, std::move(table),
        std::make_unique<DesktopFiles>(DesktopFiles::standardFolders()));
}

} // namespace clipmule
