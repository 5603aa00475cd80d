// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/foundation/Log.h"

#include <QCoreApplication>
#include <QString>

namespace clipmule {

/// What the window says, looked up by the English text: PanelTexts::tr("…").
class PanelTexts final {
    Q_DECLARE_TR_FUNCTIONS(ClipmuleSync)
};

/// Texts from the network as people get to see them.
namespace ShownText {

/// A name on one line, whatever it holds and however long it is: phones name themselves.
[[nodiscard]] inline QString onOneLine(const QString &text) {
    return clipmule::onOneLine(text, shownInLabel);
}

/// A name cut to what there is room for in a line with buttons.
[[nodiscard]] inline QString besideButtons(const QString &name) {
    // In UTF-16 units.
    constexpr qsizetype longest = 24;
    return name.size() > longest ? name.first(longest - 1) + u'…' : name;
}

} // namespace ShownText

} // namespace clipmule
