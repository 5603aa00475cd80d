// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/pasteboard/Pasteboard.h"

#include <QHash>

namespace clipmule {

/// What contents say in the readings that the program knows (text, HTML, RTF, image, files, URL),
/// without their bytes: enough to know them again within this run of the program. Line ends in text
/// count as the same, whatever they are: clipboard managers change them.
class PasteboardFingerprint {
public:
    PasteboardFingerprint() = default;
    explicit PasteboardFingerprint(const PasteboardContents &contents);

    [[nodiscard]] bool isEmpty() const { return _readings.isEmpty(); }
    /// Whether there is something here, and all of it is in the other one too: a clipboard manager
    /// that took over, perhaps with fewer targets, what it had read there.
    [[nodiscard]] bool isWithin(const PasteboardFingerprint &other) const;

private:
    enum class Reading { Text, Html, Rtf, Image, Files, Url };
    struct Mark {
        qsizetype size;
        size_t hash;
        friend bool operator==(const Mark &, const Mark &) = default;
    };
    [[nodiscard]] static Mark markOf(const QByteArray &data);
    [[nodiscard]] static Mark markOfText(const QByteArray &text);

    // One reading may have several forms: an image as PNG and as TIFF.
    QMultiHash<Reading, Mark> _readings;
    // A URL alone is offered as text and as a link in HTML, too.
    std::optional<Mark> _urlAsText;
    std::optional<Mark> _urlAsHtml;
};

} // namespace clipmule
