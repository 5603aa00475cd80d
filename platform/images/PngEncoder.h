// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include <QByteArray>
#include <QImage>

#include <atomic>

namespace clipmule {

/// Writes an image as PNG into memory, up to a number of bytes. It stops at the first byte too
/// many: a photo's PNG is ten times the limit, and making all of it takes a second.
class PngEncoder final {
public:
    enum class Outcome { Complete, TooLarge, Abandoned, Failed };

    explicit PngEncoder(qsizetype largest)
        : PngEncoder(largest, nullptr) {}
    /// In haste: half the time, some percent larger. Looks at every row whether it is still wanted.
    PngEncoder(qsizetype largest, const std::atomic_bool *isAbandoned)
        : _largest(largest)
        , _isAbandoned(isAbandoned) {}

    /// The image is in the format RGB32 or ARGB32; others fail.
    [[nodiscard]] Outcome encode(const QImage &image);
    /// The PNG; to be called after a complete encoding.
    [[nodiscard]] QByteArray takeBytes();

private:
    struct Library;

    [[nodiscard]] bool isAbandoned() const { return _isAbandoned && *_isAbandoned; }

    qsizetype _largest;
    const std::atomic_bool *_isAbandoned;
    QByteArray _bytes;
    bool _isFull = false;
};

} // namespace clipmule
