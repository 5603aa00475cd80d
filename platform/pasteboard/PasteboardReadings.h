// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/foundation/PropertyList.h"

#include <QUrl>

#include <optional>

namespace clipmule {

/// Readings of a representation's bytes. Foreign bytes: none of these throws, and what cannot be
/// read is no reading.
namespace PasteboardReadings {

/// The most bytes of a URL, or of a title: a link with its title has some hundred.
inline constexpr qsizetype longestLink = 256 * 1024;
/// The most bytes of a list of files: a thousand of the longest paths that a system takes.
inline constexpr qsizetype longestFileList = 4 * 1024 * 1024;

/// The text of a type that is text or holds text: UTF-8 types as they are, RTF without its markup.
[[nodiscard]] std::optional<QString> string(const QString &type, const QByteArray &data);

/// NSFilenamesPboardType as its list of strings, "public.url-name" as a string, other bytes parsed
/// as a property list.
[[nodiscard]] std::optional<PropertyList> propertyList(const QString &type, const QByteArray &data);

/// The absolute paths in the bytes of NSFilenamesPboardType; empty when they hold none.
[[nodiscard]] QStringList fileNames(const QByteArray &data);

/// The URL in the bytes of NSURLPboardType: a property list whose first string it is, or its bare
/// text. Nothing unless it is valid and has a scheme.
[[nodiscard]] std::optional<QUrl> url(const QByteArray &data);

/// The bytes of NSURLPboardType for a URL.
[[nodiscard]] QByteArray urlData(const QUrl &url);

} // namespace PasteboardReadings

} // namespace clipmule
