// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include <QLocale>

namespace clipmule {

/// Texts are looked up in the first of the user's languages that the program speaks, for as long as
/// the application exists; those without a translation stay as they are. English, the language of
/// the keys, is spoken as well and ends the search; it is also what is left when the program speaks
/// none of the languages.
///
/// Lists, dates, numbers and units follow the texts: the default locale becomes that of the
/// language found, with the user's own territory where the user's locale has this language.
///
/// Returns that locale. Needs an application; call it once.
QLocale installTranslations(const QLocale &user = QLocale());

} // namespace clipmule
