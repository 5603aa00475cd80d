// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include <QByteArray>
#include <QString>
#include <QUrl>

#include <optional>

namespace clipmule {

class ZRKClipmuleData;

/// A picture that was received and written to the desktop's clipboard, as a capture would give it
/// back. A clipboard manager may own it anew in another encoding, and the capture encodes what it
/// finds in any case, so the bytes are never those that were received. The pixels are.
class PictureEcho {
public:
    /// The echo of no picture.
    PictureEcho() = default;
    /// The echo of a written clip; the echo of no picture when the clip's first item has none.
    explicit PictureEcho(const ZRKClipmuleData &written);

    /// Whether a captured clip is that picture again, with or without the text and the URL that it
    /// came with. Looks at pixels only when the clip holds a picture, which takes as long as
    /// capturing it did.
    [[nodiscard]] bool isIn(const ZRKClipmuleData &captured);

private:
    // The bytes are kept until the first comparison; from then on the mark of their pixels is
    // enough.
    std::optional<QByteArray> _image;
    QByteArray _mark;
    std::optional<QString> _string;
    std::optional<QUrl> _url;
};

} // namespace clipmule
