// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/pasteboard/PipeOffers.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <utility>

#include <unistd.h>

namespace clipmule {

PipeOffers::PipeOffers() {
    // A reader that closes its pipe would end us.
    std::signal(SIGPIPE, SIG_IGN);
}

void PipeOffers::set(QList<PasteboardOffers::Offer> offers) {
    _conversion.abandon();
    _waiting.clear();
    _offers = std::move(offers);
}

QStringList PipeOffers::targets(PasteboardAudience audience) const {
    QStringList targets;
    for (const PasteboardOffers::Offer &offer : _offers) {
        if (!offer.notFor.contains(audience))
            targets.append(offer.target);
    }
    return targets;
}

void PipeOffers::send(const QString &target, FileHandle pipe) {
    const auto offer =
        std::find_if(_offers.begin(), _offers.end(),
                     [&](const PasteboardOffers::Offer &each) { return each.target == target; });
    if (offer == _offers.end())
        return;
    if (offer->isConverted)
        sendConverted(offer->data, std::move(pipe));
    else
        write(offer->data, std::move(pipe));
}

void PipeOffers::sendConverted(const QByteArray &image, FileHandle pipe) {
    if (qsizetype(_waiting.size()) >= mostWaiting)
        return;
    _waiting.push_back(std::move(pipe));
    if (_conversion.isRunning())
        return;
    _conversion.start(image, [this](const std::optional<QByteArray> &png) {
        std::list<FileHandle> waiting = std::exchange(_waiting, {});
        if (!png)
            return;
        for (PasteboardOffers::Offer &offer : _offers) {
            if (!offer.isConverted)
                continue;
            offer.data = *png;
            offer.isConverted = false;
        }
        for (FileHandle &each : waiting)
            write(*png, std::move(each));
    });
}

void PipeOffers::write(const QByteArray &data, FileHandle pipe) {
    if (_transfers.size() >= maximumTransfers)
        return;
    const auto transfer = _transfers.emplace(_transfers.end());
    transfer->data = data;
    transfer->pipe = std::move(pipe);
    transfer->writable.emplace(transfer->pipe.descriptor(), QSocketNotifier::Write,
                               [this, transfer] { writeOn(transfer); });
    waitFor(transfer);
}

void PipeOffers::writeOn(Transfers::iterator transfer) {
    const qsizetype rest = transfer->data.size() - transfer->offset;
    const ssize_t count =
        ::write(transfer->pipe.descriptor(), transfer->data.constData() + transfer->offset,
                size_t(std::min(rest, pieceBytes)));
    if (count < 0 && (errno == EAGAIN || errno == EINTR))
        return;
    // A reader that has closed its end has what it wanted.
    if (count < 0 || count == rest) {
        _transfers.erase(transfer);
        return;
    }
    transfer->offset += count;
    waitFor(transfer);
}

void PipeOffers::waitFor(Transfers::iterator transfer) {
    transfer->stall = RunLoop::current().performAfter(
        stallLimit, [this, transfer] { _transfers.erase(transfer); });
}

} // namespace clipmule
