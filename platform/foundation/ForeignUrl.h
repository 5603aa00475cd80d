// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include <QUrl>

namespace clipmule {

/// The only way from a text that came from outside (a phone, a clipboard's owner, a file) to a
/// QUrl.
///
/// QUrl normalises a host before it looks at its length, in a time that grows with the square of a
/// run of combining marks: 80,000 of them take ten seconds. What could do that is refused here
/// before QUrl sees it, so the time is in proportion to the text's length.
namespace ForeignUrl {

/// UTF-16 units of a whole URL. Browsers differ between 2,000 and some 64,000 in what they still
/// open; a picture as a data: URL is not a link any more.
inline constexpr qsizetype longestText = 65536;
/// UTF-16 units of what stands between "//" and the path: user, host and port. A host name of the
/// DNS has at most 253 characters.
inline constexpr qsizetype longestAuthority = 255;
/// Combining marks in a row within the authority. No script puts more than a few on one letter.
inline constexpr int longestRunOfMarks = 16;

} // namespace ForeignUrl

/// The URL that the text is, read in the given mode; an empty one, which is invalid, when the text
/// passes one of the limits above. A text within them that is no URL gives what QUrl makes of it.
[[nodiscard]] QUrl urlFromForeignText(const QString &text,
                                      QUrl::ParsingMode mode = QUrl::TolerantMode);
/// The same of a text that stands relative to another URL of outside, which came this way too.
/// Empty when the two together are longer than one may be.
[[nodiscard]] QUrl urlFromForeignText(const QString &text, const QUrl &base);

} // namespace clipmule
