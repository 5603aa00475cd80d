// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/pasteboard/PasteboardFingerprint.h"

#include "platform/pasteboard/PasteboardOffers.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace clipmule {

PasteboardFingerprint::PasteboardFingerprint(const PasteboardContents &contents) {
    if (contents.text)
        _readings.insert(Reading::Text, markOfText(*contents.text));
    if (contents.html)
        _readings.insert(Reading::Html, markOf(*contents.html));
    if (contents.rtf)
        _readings.insert(Reading::Rtf, markOf(*contents.rtf));
    for (const QByteArray &image : contents.images)
        _readings.insert(Reading::Image, markOf(image));
    if (!contents.files.isEmpty())
        _readings.insert(Reading::Files, markOf(contents.files.join(u'\0').toUtf8()));
    if (!contents.url)
        return;
    const Mark address = markOfText(contents.url->toEncoded());
    _readings.insert(Reading::Url, address);
    if (!contents.text)
        _urlAsText = address;
    if (const auto html = PasteboardOffers::anchor(contents))
        _urlAsHtml = markOf(*html);
}

bool PasteboardFingerprint::isWithin(const PasteboardFingerprint &other) const {
    for (auto reading = _readings.cbegin(); reading != _readings.cend(); ++reading) {
        const bool isUrl =
            (reading.key() == Reading::Text && reading.value() == other._urlAsText) ||
            (reading.key() == Reading::Html && reading.value() == other._urlAsHtml);
        if (!isUrl && !other._readings.contains(reading.key(), reading.value()))
            return false;
    }
    return !_readings.isEmpty();
}

PasteboardFingerprint::Mark PasteboardFingerprint::markOf(const QByteArray &data) {
    return {data.size(), qHashBits(data.constData(), size_t(data.size()), QHashSeed::globalSeed())};
}

// A piece at a time: a text of many megabytes is not copied to have other line ends.
PasteboardFingerprint::Mark PasteboardFingerprint::markOfText(const QByteArray &text) {
    std::array<char, 16 * 1024> piece;
    Mark mark{0, QHashSeed::globalSeed()};
    const char *in = text.cbegin();
    bool followsReturn = false;
    while (in < text.cend()) {
        char *out = piece.begin();
        while (in < text.cend() && out < piece.end()) {
            const auto room = std::min(text.cend() - in, piece.end() - out);
            if (!followsReturn && !std::memchr(in, '\r', size_t(room))) {
                out = std::copy(in, in + room, out);
                in += room;
                continue;
            }
            // Without a branch for each line, of which some texts have millions.
            for (const char *const end = in + room; in < end; ++in) {
                const bool isReturn = *in == '\r';
                *out = isReturn ? '\n' : *in;
                out += followsReturn & (*in == '\n') ? 0 : 1;
                followsReturn = isReturn;
            }
        }
        mark.size += out - piece.begin();
        mark.hash = qHashBits(piece.data(), size_t(out - piece.begin()), mark.hash);
    }
    return mark;
}

} // namespace clipmule
