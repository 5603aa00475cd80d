// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include <QLocale>

namespace clipmule {

/// Texts are looked up in the language of the locale from now on, for as long as the application
/// exists; those without a translation stay as they are. False when the program speaks no such
/// language. Needs an application; call it once.
bool installTranslations(const QLocale &locale = QLocale());

} // namespace clipmule
