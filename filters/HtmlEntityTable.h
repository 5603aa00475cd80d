// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include <QHash>
#include <QString>

namespace clipmule {

/// The named character references of HTML 4: code unit to the whole reference ("&eacute;").
using HtmlEntityTable = QHash<char16_t, QString>;

/// Reads the resource "ZRKClipmuleHTMLEntities" of the main bundle, anew at each call. Empty when
/// it is missing; entries that are none are passed over.
[[nodiscard]] HtmlEntityTable loadHtmlEntityTable();

} // namespace clipmule
