// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include <QHash>
#include <QString>

namespace clipmule {

/// The named character references of HTML 4: code to the whole reference ("&eacute;").
using HtmlEntityTable = QHash<uint, QString>;

/// Reads the resource "ZRKClipmuleHTMLEntities" of the main bundle, anew at each call. Empty when
/// it is missing; entries that are none are passed over.
[[nodiscard]] HtmlEntityTable loadHtmlEntityTable();

} // namespace clipmule
