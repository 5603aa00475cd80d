// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include <QCoreApplication>

namespace clipmule {

/// What the window says, looked up by the English text: PanelTexts::tr("…").
class PanelTexts final {
    Q_DECLARE_TR_FUNCTIONS(ClipmuleSync)
};

} // namespace clipmule
