// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "filters/ZRKClipmuleFilter.h"

#include <QHash>

namespace clipmule {

/// The named character references of HTML 4: code to the whole reference ("&eacute;").
using HtmlEntityTable = QHash<uint, QString>;

/// Reads the resource "ZRKClipmuleHTMLEntities" of the main bundle, anew at each call. Empty when
/// it is missing; entries that are none are passed over.
[[nodiscard]] HtmlEntityTable loadHtmlEntityTable();

/// Turns named and numeric character references into characters.
class ZRKClipmuleDecodeHTMLEntitiesFilter final : public ZRKClipmuleTextFilter {
public:
    ZRKClipmuleDecodeHTMLEntitiesFilter();

    using ZRKClipmuleTextFilter::filterString;
    [[nodiscard]] static QString filterString(const QString &text);
    /// The same with a table that was read before.
    [[nodiscard]] static QString filterString(const QString &text, const HtmlEntityTable &table);

protected:
    [[nodiscard]] QString filtered(const QString &text) const override;
};

/// Turns special and non-ASCII characters into character references.
class ZRKClipmuleEncodeHTMLEntitiesFilter final : public ZRKClipmuleTextFilter {
public:
    ZRKClipmuleEncodeHTMLEntitiesFilter();

    using ZRKClipmuleTextFilter::filterString;
    /// If numericalOnly, every reference is a number; if convertAll, every character becomes a
    /// reference.
    [[nodiscard]] static QString filterString(const QString &text, bool numericalOnly,
                                              bool convertAll);
    /// The same with a table that was read before.
    [[nodiscard]] static QString filterString(const QString &text, bool numericalOnly,
                                              bool convertAll, const HtmlEntityTable &table);

protected:
    [[nodiscard]] QString filtered(const QString &text) const override;
};

/// Wraps every line that is not empty in an HTML element.
class ZRKClipmuleWrapHTMLFilter final : public ZRKClipmuleTextFilter {
public:
    ZRKClipmuleWrapHTMLFilter();

protected:
    [[nodiscard]] QString filtered(const QString &text) const override;
};

} // namespace clipmule
