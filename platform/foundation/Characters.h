// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include <QStringView>

namespace clipmule {

/// The character at `position`, which moves behind it; a lone surrogate is returned as it stands.
/// The position must lie within the text.
[[nodiscard]] inline char32_t nextCharacter(QStringView text, qsizetype &position) {
    const QChar unit = text[position++];
    if (unit.isHighSurrogate() && position < text.size() && text[position].isLowSurrogate())
        return QChar::surrogateToUcs4(unit, text[position++]);
    return unit.unicode();
}

} // namespace clipmule
