// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include <QByteArray>
#include <QString>
#include <QUrl>

#include <atomic>
#include <optional>

namespace clipmule {

class ZRKClipmuleData;

/// A picture that was received and written to the desktop's clipboard. A clipboard manager may own
/// it anew in another encoding, so the bytes are not always those that were written. The pixels
/// are. A value.
class PictureEcho {
public:
    /// The echo of no picture.
    PictureEcho() = default;
    /// The echo of a written clip; the echo of no picture when the clip's first item has none.
    explicit PictureEcho(const ZRKClipmuleData &written);

    /// Whether a copied picture has its pixels. They are looked at only where there are as many,
    /// and take as long as decoding both. Any thread may ask, and another may say meanwhile that
    /// nobody wants to know any more.
    [[nodiscard]] bool hasPixelsOf(const QByteArray &copied,
                                   const std::atomic_bool &isAbandoned) const;
    /// Whether a captured clip with its pixels is that picture again, with or without the text and
    /// the URL that it came with.
    [[nodiscard]] bool isIn(const ZRKClipmuleData &captured) const;

private:
    std::optional<QByteArray> _image; // as it was written
    std::optional<QString> _string;
    std::optional<QUrl> _url;
};

} // namespace clipmule
