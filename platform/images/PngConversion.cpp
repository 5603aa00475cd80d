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
        const std::optional<QImage> decoded =
            isAbandoned ? std::nullopt : ImageCodec::decode(image);
        return decoded ? ImageCodec::quickPng(*decoded, PngConversion::largestPng, isAbandoned)
                       : std::nullopt;
    } catch (const PlatformException &) {
        return std::nullopt;
    }
}

} // namespace

PngConversion::PngConversion() {
    // An abandoned conversion is waited for by the next one, not by the run loop.
    _thread.setMaxThreadCount(1);
}

PngConversion::~PngConversion() {
    abandon();
    _thread.waitForDone();
}

void PngConversion::start(const QByteArray &image, Completion completion) {
    abandon();
    _job = std::make_shared<Job>();
    _job->completion = std::move(completion);
    _thread.start([this, job = _job, image] {
        std::optional<QByteArray> png = pngOf(image, job->isAbandoned);
        QMetaObject::invokeMethod(
            &_context, [this, job, png = std::move(png)]() mutable { finish(job, std::move(png)); },
            Qt::QueuedConnection);
    });
}

void PngConversion::abandon() {
    if (const auto job = std::exchange(_job, nullptr)) {
        job->isAbandoned = true;
        job->completion = nullptr;
    }
}

void PngConversion::finish(const std::shared_ptr<Job> &job, std::optional<QByteArray> png) {
    if (job != _job)
        return;
    _job = nullptr;
    const Completion completion = std::move(job->completion);
    completion(std::move(png));
}

} // namespace clipmule
