// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/foundation/RunLoop.h"
#include "platform/images/PngConversion.h"
#include "platform/pasteboard/PasteboardOffers.h"
#include "platform/x11/X11Connection.h"

#include <QSet>

#include <functional>
#include <list>
#include <map>
#include <memory>

namespace clipmule {

/// Owns the CLIPBOARD selection and hands out what we offer, to many requestors at once. Large data
/// goes in pieces, each when the one before it was taken; a requestor that dies or stalls in the
/// middle disturbs nobody else. What has to be converted first is answered when it is done.
class X11SelectionOwner final : public X11Observer {
public:
    /// Data above this goes in pieces of this size: what one turn of the run loop writes, and what
    /// the server holds for each requestor.
    static constexpr qsizetype pieceBytes = 256 * 1024;
    /// A requestor that has not taken its next piece for so long is given up, as toolkits do.
    static constexpr RunLoop::Seconds stallLimit{10.0};
    /// Transfers in pieces that may be under way at once. A paste is one; more are refused.
    static constexpr size_t maximumTransfers = 64;
    /// Windows that are remembered as having read. A desktop has a handful of programs that do.
    static constexpr qsizetype mostReaders = 256;
    /// Pairs of one MULTIPLE request; the rest is refused.
    static constexpr int maximumPairs = 256;
    /// How long the clipboard manager may take before the program ends without it.
    static constexpr RunLoop::Seconds handOverLimit{0.5};

    /// Requests that may wait for a conversion at once; more are refused.
    static constexpr qsizetype mostWaiting = 64;

    /// Without the function the audience is unknown.
    explicit X11SelectionOwner(std::shared_ptr<X11Connection> connection,
                               FindPasteboardAudience audience = {});
    ~X11SelectionOwner() override;

    [[nodiscard]] xcb_window_t window() const { return _window; }
    /// Takes the selection. Transfers under way keep the data they began with.
    void own(QList<PasteboardOffers::Offer> offers);
    /// Takes the PRIMARY selection too, while the other is ours: the same is offered there, and
    /// what comes after it, until somebody selects something.
    void ownSelection();
    [[nodiscard]] bool isOwning() const { return _isOwning; }
    /// Another owner has the selection.
    void disown();
    /// Whether the client of this window has been given any of the data since we own, and still
    /// has the window that it asked with: the number of a client that has gone is given to the
    /// next.
    [[nodiscard]] bool wasReadBy(xcb_window_t window) const;
    /// The server's time of taking it.
    void setTime(xcb_timestamp_t time) { _time = time; }
    /// Asks the clipboard manager to keep what we offer. Calls back once.
    void handOver(std::function<void()> done);

    void x11Event(const xcb_generic_event_t &event) override;
    void x11ConnectionLost() override;

private:
    struct OwnedOffer {
        xcb_atom_t target;
        xcb_atom_t type;
        QByteArray data;
        bool isConverted; // the data are what it is made of
        bool isLatin1;    // what is sent, of data in UTF-8
        bool isOfFiles;
        QList<PasteboardAudience> notFor;
    };
    struct Transfer {
        xcb_window_t requestor;
        xcb_atom_t property;
        xcb_atom_t type;
        PasteboardOffers::Outgoing bytes;
        RunLoop::Timer stall;
    };
    using Transfers = std::list<Transfer>;

    void requested(const xcb_selection_request_event_t &request);
    void requestedMultiple(const xcb_selection_request_event_t &request, xcb_atom_t property);
    void answerPairs(const xcb_selection_request_event_t &request, xcb_atom_t property,
                     QList<xcb_atom_t> pairs);
    [[nodiscard]] QList<xcb_atom_t> listedTargets() const;
    bool waitsForConversion(const xcb_selection_request_event_t &request,
                            const QList<xcb_atom_t> &targets);
    void converted(const std::optional<QByteArray> &png);
    void refuseWaiting();
    bool convert(xcb_window_t requestor, xcb_atom_t target, xcb_atom_t property);
    bool convertData(xcb_window_t requestor, xcb_atom_t property, const OwnedOffer &offer);
    void beginTransfer(xcb_window_t requestor, xcb_atom_t property, const OwnedOffer &offer);
    void continueTransfer(Transfers::iterator transfer);
    void endTransfer(Transfers::iterator transfer);
    void waitFor(Transfers::iterator transfer);
    void notify(const xcb_selection_request_event_t &request, xcb_atom_t property);
    void replace(xcb_window_t window, xcb_atom_t property, xcb_atom_t type, quint8 format,
                 quint32 count, const void *data);
    void remember(xcb_window_t reader);
    void watch(xcb_window_t requestor);
    void endHandOver();

    std::shared_ptr<X11Connection> _connection;
    FindPasteboardAudience _audience;
    xcb_window_t _window;
    struct {
        xcb_atom_t clipboard, clipboardManager, targets, multiple, timestamp, saveTargets, atomPair,
            incr, handOver;
    } _atoms{};
    QList<OwnedOffer> _offers;
    QSet<xcb_window_t> _readers;
    bool _isOwning = false;
    xcb_timestamp_t _time = XCB_CURRENT_TIME;
    Transfers _transfers;
    PngConversion _conversion;
    QList<xcb_selection_request_event_t> _waiting; // for the conversion
    std::function<void()> _handedOver;
    RunLoop::Timer _handOverTimer;
};

} // namespace clipmule
