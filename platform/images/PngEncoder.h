// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include <QByteArray>
#include <QImage>

namespace clipmule {

/// Writes an image as PNG into memory, up to a number of bytes. It stops at the first byte too
/// many: a photo's PNG is ten times the limit, and making all of it takes a second.
class PngEncoder final {
public:
    enum class Outcome { Complete, TooLarge, Failed };

    explicit PngEncoder(qsizetype largest)
        : _largest(largest) {}

    /// The image is in the format RGB32 or ARGB32; others fail.
    [[nodiscard]] Outcome encode(const QImage &image);
    /// After a complete encoding.
    [[nodiscard]] QByteArray takeBytes();

private:
    struct Library;

    qsizetype _largest;
    QByteArray _bytes;
    bool _isFull = false;
};

} // namespace clipmule
