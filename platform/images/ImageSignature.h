// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include <QByteArrayView>

namespace clipmule {

/// What the first bytes of an image say about its format.
namespace ImageSignature {

/// A JPEG as cameras and programs write it: with a JFIF or an Exif header.
[[nodiscard]] inline bool isJpeg(QByteArrayView bytes) {
    return bytes.startsWith("\xFF\xD8\xFF\xE0") || bytes.startsWith("\xFF\xD8\xFF\xE1");
}

[[nodiscard]] inline bool isPng(QByteArrayView bytes) {
    return bytes.startsWith("\x89PNG");
}

} // namespace ImageSignature

} // namespace clipmule
