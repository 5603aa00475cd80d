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
    for (Reader &reader : std::exchange(_waiting, {}))
        reader.close(false);
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

void PipeOffers::Reader::close(bool isWhole) {
    pipe.close();
    if (const Closed told = std::exchange(closed, nullptr))
        told(isWhole);
}

void PipeOffers::send(const QString &target, FileHandle pipe, Closed closed) {
    Reader reader{std::move(pipe), std::move(closed)};
    const auto offer =
        std::find_if(_offers.begin(), _offers.end(),
                     [&](const PasteboardOffers::Offer &each) { return each.target == target; });
    if (offer == _offers.end())
        reader.close(false);
    else if (offer->isConverted)
        sendConverted(offer->data, std::move(reader));
    else
        write({offer->data, offer->isLatin1}, std::move(reader));
}

void PipeOffers::sendConverted(const QByteArray &image, Reader reader) {
    if (qsizetype(_waiting.size()) >= mostWaiting) {
        reader.close(false);
        return;
    }
    _waiting.push_back(std::move(reader));
    if (_conversion.isRunning())
        return;
    _conversion.start(image, [this](const std::optional<QByteArray> &png) {
        std::list<Reader> waiting = std::exchange(_waiting, {});
        for (PasteboardOffers::Offer &offer : _offers) {
            if (!png || !offer.isConverted)
                continue;
            offer.data = *png;
            offer.isConverted = false;
        }
        for (Reader &each : waiting) {
            if (png)
                write({*png}, std::move(each));
            else
                each.close(false);
        }
    });
}

void PipeOffers::write(PasteboardOffers::Outgoing bytes, Reader reader) {
    if (_transfers.size() >= maximumTransfers) {
        reader.close(false);
        return;
    }
    const auto transfer = _transfers.emplace(_transfers.end());
    transfer->bytes = std::move(bytes);
    transfer->reader = std::move(reader);
    transfer->writable.emplace(transfer->reader.pipe.descriptor(), QSocketNotifier::Write,
                               [this, transfer] { writeOn(transfer); });
    waitFor(transfer);
}

void PipeOffers::writeOn(Transfers::iterator transfer) {
    const QByteArray piece = transfer->bytes.next(pieceBytes);
    const ssize_t count =
        ::write(transfer->reader.pipe.descriptor(), piece.constData(), size_t(piece.size()));
    if (count < 0 && (errno == EAGAIN || errno == EINTR))
        return;
    if (count >= 0)
        transfer->bytes.take(QByteArrayView(piece).first(count));
    // A reader that has closed its end has what it wanted.
    if (count < 0 || transfer->bytes.isAtEnd()) {
        end(transfer, count >= 0);
        return;
    }
    waitFor(transfer);
}

void PipeOffers::waitFor(Transfers::iterator transfer) {
    transfer->stall =
        RunLoop::current().performAfter(stallLimit, [this, transfer] { end(transfer, false); });
}

void PipeOffers::end(Transfers::iterator transfer, bool isWhole) {
    transfer->writable.reset();
    Reader reader = std::move(transfer->reader);
    _transfers.erase(transfer);
    reader.close(isWhole);
}

} // namespace clipmule
