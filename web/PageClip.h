// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "model/ZRKClipmuleData.h"

#include <QJsonObject>

namespace clipmule {

/// A clip as a page shows it, and as one sends it.
namespace PageClip {

/// What a page may send, and is told of: UTF-16 units of a text, bytes of a picture. More does not
/// travel.
inline constexpr qsizetype largest = qsizetype(ZRKClipmuleData::largestTravelling);
/// Bytes of UTF-8 that a page gets with the clip itself; over plain HTTP it can copy a text with
/// one tap only when it has it before.
inline constexpr qsizetype largestInline = 16'000;
/// Bytes of UTF-8 of a title, and of a link; a longer one is a text like any other.
inline constexpr qsizetype longestTitle = 300;
inline constexpr qsizetype longestLink = 4'000;
/// Bytes of the JSON that describes a clip.
inline constexpr qsizetype largestDescription = 40'000;

/// What a page can use of a received clip: text, a link, one picture. What only desktops can read
/// is left out, and the picture is described once for all. Null when nothing is left.
[[nodiscard]] std::shared_ptr<ZRKClipmuleData> reduced(const ZRKClipmuleData &clip);

/// The texts of all items, one below the other; without one the link.
[[nodiscard]] QString textOf(const ZRKClipmuleData &clip);
/// The picture; nothing without one.
[[nodiscard]] std::optional<QByteArray> pictureOf(const ZRKClipmuleData &clip);
/// Who made it. An empty text where that is not known.
void setOrigin(ZRKClipmuleData &clip, const QString &from);

/// Whether a page sent it for the other phones and not for the desk.
void setForOtherPhones(ZRKClipmuleData &clip, bool isFor);
[[nodiscard]] bool isForOtherPhones(const ZRKClipmuleData &clip);

/// What a page is told of a clip that went through reduced(): never more than fits into a message,
/// whatever is in it.
[[nodiscard]] QJsonObject described(const ZRKClipmuleData &clip);

/// The clip of a text that somebody typed; a link when that is all the text is.
[[nodiscard]] std::shared_ptr<ZRKClipmuleData> ofText(const QString &text);
/// The clip of a picture; null when the bytes are none.
[[nodiscard]] std::shared_ptr<ZRKClipmuleData> ofPicture(const QByteArray &bytes);

} // namespace PageClip

} // namespace clipmule
