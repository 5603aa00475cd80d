// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/images/PngConversion.h"

#include "platform/foundation/PlatformException.h"
#include "platform/images/ImageCodec.h"

#include <utility>

namespace clipmule {

namespace {

std::optional<QByteArray> pngOf(const QByteArray &image, const std::atomic_bool &isAbandoned) {
    try {
        const auto decoded = ImageCodec::decode(image, {.isAbandoned = &isAbandoned});
        return decoded ? ImageCodec::quickPng(*decoded, PngConversion::largestPng, isAbandoned)
                       : std::nullopt;
    } catch (const PlatformException &) {
        return std::nullopt;
    }
}

} // namespace

void PngConversion::start(const QByteArray &image, Completion completion) {
    _work.start<std::optional<QByteArray>>(
        [image](const std::atomic_bool &isAbandoned) { return pngOf(image, isAbandoned); },
        std::move(completion));
}

} // namespace clipmule
