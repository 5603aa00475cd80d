// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/foundation/FileHandle.h"
#include "platform/foundation/RunLoop.h"
#include "platform/images/PngConversion.h"
#include "platform/pasteboard/PasteboardOffers.h"
#include "platform/streams/SocketNotifier.h"

#include <functional>
#include <list>
#include <utility>

namespace clipmule {

/// Hands out what we offer through pipes, to many readers at once. A reader that closes its pipe or
/// stalls in the middle disturbs nobody else. What has to be converted first is sent when it is
/// done.
class PipeOffers final {
public:
    /// What one turn of the run loop writes at most; pipes take a quarter of it.
    static constexpr qsizetype pieceBytes = 256 * 1024;
    /// A reader that has taken nothing for so long is given up, as toolkits do.
    static constexpr RunLoop::Seconds stallLimit{10.0};
    /// Readers that may be served at once, and those that may wait for a conversion. A paste is
    /// one; the pipes of more are closed.
    static constexpr size_t maximumTransfers = 64;
    static constexpr qsizetype mostWaiting = 64;

    PipeOffers();

    /// Transfers under way keep the data they began with.
    void set(QList<PasteboardOffers::Offer> offers);
    /// Nobody will ask for them any more: they are let go of. Who has asked gets what was asked
    /// for.
    void retire() { _offers.clear(); }
    /// The targets for who looks at them, in order.
    [[nodiscard]] QStringList targets(PasteboardAudience audience) const;
    /// Writes a target into a pipe that does not block, and closes it. A target that we do not
    /// offer has no bytes. `closed` is told then whether all of it was taken, perhaps from inside
    /// this call.
    using Closed = std::function<void(bool isWhole)>;
    void send(const QString &target, FileHandle pipe, Closed closed = {});

private:
    struct Reader {
        FileHandle pipe;
        Closed closed;
        void close(bool isWhole);
    };
    struct Transfer {
        Reader reader;
        PasteboardOffers::Outgoing bytes;
        std::optional<SocketNotifier> writable; // goes before the pipe does
        RunLoop::Timer stall;
    };
    using Transfers = std::list<Transfer>;

    void sendConverted(const QByteArray &image, Reader reader);
    void write(PasteboardOffers::Outgoing bytes, Reader reader);
    void writeOn(Transfers::iterator transfer);
    void end(Transfers::iterator transfer, bool isWhole);
    void waitFor(Transfers::iterator transfer);

    QList<PasteboardOffers::Offer> _offers;
    Transfers _transfers;
    PngConversion _conversion;
    std::list<Reader> _waiting; // for the conversion
};

} // namespace clipmule
