// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/foundation/BackgroundWork.h"

#include <QByteArray>

namespace clipmule {

/// Makes a PNG of an image in another format, in the background: a photo takes seconds.
class PngConversion final {
public:
    /// The PNG of a photo of 67 million pixels, which is the largest that is decoded.
    static constexpr qsizetype largestPng = 256 * 1024 * 1024;

    using Completion = std::function<void(std::optional<QByteArray>)>;

    /// Calls back from the run loop, never from inside this call: with the PNG, or with nothing
    /// when the bytes are no image, a damaged one, or one that is too large. One under way is
    /// abandoned.
    void start(const QByteArray &image, Completion completion);
    /// Abandons the conversion under way, which calls back no more.
    void abandon() { _work.abandon(); }
    [[nodiscard]] bool isRunning() const { return _work.isRunning(); }

private:
    BackgroundWork _work;
};

} // namespace clipmule
