// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include <QString>

namespace clipmule {

/// Full Unicode case mapping, the same in every locale: lengths may change ("ß" is "SS" in upper
/// case), and a sigma at the end of a word has its own lower-case form.
namespace CaseMapping {

[[nodiscard]] QString lowerCase(const QString &text);
[[nodiscard]] QString upperCase(const QString &text);

/// Replaces every occurrence of a text, which must not be empty, without regard to letter case.
/// Scans from the start, and inserted text not again. An occurrence covers whole characters: "s"
/// is not found in "ß", but "ss" is. Linear in both texts.
[[nodiscard]] QString replaceIgnoringCase(const QString &text, const QString &wanted,
                                          const QString &replacement);

} // namespace CaseMapping

} // namespace clipmule
