// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/windows/ActiveApplication.h"
#include "platform/windows/ApplicationTable.h"
#include "platform/windows/DesktopFiles.h"

#include <QStringList>

#include <memory>
#include <utility>

namespace clipmule {

/// What a window says of its program, best first; what it does not say is empty.
struct WindowNames {
    QString toolkitIdentifier;
    QString windowClass;
    QString instance;

    [[nodiscard]] QStringList said() const;
};

/// What is known of programs by the names that their windows give: from our table, the user's, and
/// the desktop's files.
class KnownPrograms final {
public:
    KnownPrograms(ApplicationTable table, std::unique_ptr<DesktopFiles> desktopFiles)
        : _table(std::move(table))
        , _desktopFiles(std::move(desktopFiles)) {}

    /// What ActiveApplication::identifier() and pasting() answer for a window of these names.
    [[nodiscard]] std::optional<QString> identifier(const WindowNames &names) const;
    [[nodiscard]] ActiveApplication::Pasting pasting(const WindowNames &names) const;

private:
    [[nodiscard]] std::optional<DesktopFiles::Program> programOf(const WindowNames &names) const;

    ApplicationTable _table;
    std::unique_ptr<DesktopFiles> _desktopFiles;
};

} // namespace clipmule
