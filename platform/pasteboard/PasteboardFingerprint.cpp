// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/pasteboard/PasteboardFingerprint.h"

#include "platform/pasteboard/Pasteboard.h"
#include "platform/pasteboard/PasteboardOffers.h"
#include "platform/pasteboard/PasteboardReadings.h"

namespace clipmule {

PasteboardFingerprint::PasteboardFingerprint(const PasteboardContents &contents) {
    using namespace PasteboardType;
    for (const auto &[type, data] : contents.representations()) {
        if (!data)
            continue;
        if (type == NSStringPboardType)
            insert(Reading::Text, markOfText(*data));
        else if (type == publicHtml)
            add(Reading::Html, *data);
        else if (type == NSRTFPboardType)
            add(Reading::Rtf, *data);
        else if (type == publicPng || type == applePng || type == NSTIFFPboardType ||
                 type == publicTiff)
            add(Reading::Image, *data);
        else if (type == NSFilenamesPboardType)
            add(Reading::Files, PasteboardReadings::fileNames(*data).join(u'\0').toUtf8());
        else if (const auto url =
                     type == NSURLPboardType ? PasteboardReadings::url(*data) : std::nullopt) {
            add(Reading::Url, url->toEncoded());
            if (!contents.data(NSStringPboardType))
                _urlAsText = markOf(url->toEncoded());
            if (const auto html = PasteboardTypes::anchor(contents))
                _urlAsHtml = markOf(*html);
        }
    }
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

PasteboardFingerprint::Mark PasteboardFingerprint::markOfText(QByteArray text) {
    if (text.contains('\r'))
        text.replace("\r\n", "\n").replace('\r', '\n');
    return markOf(text);
}

void PasteboardFingerprint::add(Reading reading, const QByteArray &data) {
    insert(reading, markOf(data));
}

} // namespace clipmule
