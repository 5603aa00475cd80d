// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/foundation/Result.h"

#include <QCoreApplication>

namespace clipmule {

/// What the window says, looked up by the English text: PanelTexts::tr("…").
class PanelTexts final {
    Q_DECLARE_TR_FUNCTIONS(ClipmuleSync)

public:
    [[nodiscard]] static QString settingsNotWritten(const Failure &failure) {
        return tr("The settings could not be written: %1").arg(failure.reason);
    }
};

} // namespace clipmule
