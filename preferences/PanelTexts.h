// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include <QCoreApplication>

namespace clipmule {

/// What the window says, looked up by the English text: PanelTexts::tr("…").
class PanelTexts final {
    Q_DECLARE_TR_FUNCTIONS(ClipmuleSync)

public:
    /// The text about a failed write; the reason may be unknown, and empty.
    [[nodiscard]] static QString settingsNotWritten(const QString &reason) {
        return reason.isEmpty() ? tr("The settings could not be written.")
                                : tr("The settings could not be written: %1").arg(reason);
    }
};

} // namespace clipmule
