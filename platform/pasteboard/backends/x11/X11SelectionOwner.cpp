// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/pasteboard/backends/x11/X11SelectionOwner.h"

#include "platform/foundation/Log.h"
#include "platform/foundation/Memory.h"

#include <algorithm>

namespace clipmule {

X11SelectionOwner::X11SelectionOwner(std::shared_ptr<X11Connection> connection,
                                     FindPasteboardAudience audience)
    : _connection(std::move(connection))
    , _audience(std::move(audience))
    , _window(_connection->createWindow()) {
    const QList<xcb_atom_t> atoms =
        _connection->atoms({"CLIPBOARD", "CLIPBOARD_MANAGER", "TARGETS", "MULTIPLE", "TIMESTAMP",
                            "SAVE_TARGETS", "ATOM_PAIR", "INCR", "_CLIPMULE_SAVE_TARGETS"});
    _atoms = {atoms.at(0), atoms.at(1), atoms.at(2), atoms.at(3), atoms.at(4),
              atoms.at(5), atoms.at(6), atoms.at(7), atoms.at(8)};
    _connection->addObserver(this);
}

X11SelectionOwner::~X11SelectionOwner() {
    _connection->removeObserver(this);
    xcb_destroy_window(_connection->xcb(), _window);
    _connection->flush();
}

void X11SelectionOwner::own(QList<PasteboardOffers::Offer> offers) {
    QList<QByteArray> names;
    QList<QByteArray> foreignNames;
    for (const PasteboardOffers::Offer &offer : std::as_const(offers)) {
        if (offer.isForeign)
            foreignNames << offer.target.toLatin1();
        else
            names << offer.target.toLatin1() << offer.type.toLatin1();
    }
    QList<xcb_atom_t> atoms = _connection->atoms(names);
    QList<xcb_atom_t> foreignAtoms = _connection->foreignAtoms(foreignNames);
    refuseWaiting();
    _offers.clear();
    _readers.clear();
    for (const PasteboardOffers::Offer &offer : std::as_const(offers)) {
        QList<xcb_atom_t> &named = offer.isForeign ? foreignAtoms : atoms;
        const xcb_atom_t target = named.takeFirst();
        const xcb_atom_t type = offer.isForeign ? target : named.takeFirst();
        if (target != XCB_ATOM_NONE)
            _offers.append({target, type, offer.data, offer.isConverted, offer.isLatin1,
                            offer.isOfFiles, offer.notFor});
    }
    _isOwning = true;
    // The server tells the time of taking it in an event, which is served before any request.
    _time = XCB_CURRENT_TIME;
    xcb_set_selection_owner(_connection->xcb(), _window, _atoms.clipboard, XCB_CURRENT_TIME);
    _connection->flush();
}

void X11SelectionOwner::ownSelection() {
    if (!_isOwning || _connection->isLost())
        return;
    xcb_set_selection_owner(_connection->xcb(), _window, XCB_ATOM_PRIMARY, XCB_CURRENT_TIME);
    _connection->flush();
}

void X11SelectionOwner::disown() {
    _isOwning = false;
    refuseWaiting();
    _offers.clear();
    _readers.clear();
    endHandOver();
}

void X11SelectionOwner::x11Event(const xcb_generic_event_t &event) {
    switch (event.response_type & 0x7f) {
    case XCB_SELECTION_REQUEST:
        requested(reinterpret_cast<const xcb_selection_request_event_t &>(event));
        break;
    case XCB_PROPERTY_NOTIFY: {
        const auto &notified = reinterpret_cast<const xcb_property_notify_event_t &>(event);
        if (notified.state != XCB_PROPERTY_DELETE)
            break;
        const auto transfer =
            std::find_if(_transfers.begin(), _transfers.end(), [&](const Transfer &candidate) {
                return candidate.requestor == notified.window &&
                       candidate.property == notified.atom;
            });
        if (transfer != _transfers.end())
            continueTransfer(transfer);
        break;
    }
    case XCB_DESTROY_NOTIFY: {
        const auto &notified = reinterpret_cast<const xcb_destroy_notify_event_t &>(event);
        _transfers.remove_if(
            [&](const Transfer &transfer) { return transfer.requestor == notified.window; });
        _waiting.removeIf([&](const xcb_selection_request_event_t &request) {
            return request.requestor == notified.window;
        });
        _readers.remove(notified.window);
        break;
    }
    case XCB_SELECTION_NOTIFY: {
        const auto &notified = reinterpret_cast<const xcb_selection_notify_event_t &>(event);
        if (notified.requestor == _window && notified.selection == _atoms.clipboardManager)
            endHandOver();
        break;
    }
    default:
        break;
    }
}

// Requests

void X11SelectionOwner::requested(const xcb_selection_request_event_t &request) {
    // Old clients leave the choice of the property to the owner.
    const xcb_atom_t property =
        request.property == XCB_ATOM_NONE ? request.target : request.property;
    const bool isForUs =
        _isOwning && request.owner == _window &&
        (request.selection == _atoms.clipboard || request.selection == XCB_ATOM_PRIMARY);
    // The time of the request is not looked at: toolkits ask with the time of the last event they
    // saw, which may be from before we took the clipboard, and mean what is there now.
    // Anybody may name a window of ours as the requestor; its events are ours to choose.
    if (!isForUs || _connection->isOurs(request.requestor))
        return notify(request, XCB_ATOM_NONE);
    if (request.target == _atoms.multiple && request.property != XCB_ATOM_NONE)
        return requestedMultiple(request, property);
    if (waitsForConversion(request, {request.target}))
        return;
    const bool isConverted = convert(request.requestor, request.target, property);
    notify(request, isConverted ? property : xcb_atom_t(XCB_ATOM_NONE));
}

// The property holds pairs of a target and a property to put it into. What cannot be had is marked
// there.
void X11SelectionOwner::requestedMultiple(const xcb_selection_request_event_t &request,
                                          xcb_atom_t property) {
    const auto cookie = xcb_get_property(_connection->xcb(), 0, request.requestor, property,
                                         XCB_ATOM_ANY, 0, 2 * maximumPairs);
    _connection->awaitReply(cookie.sequence, this, [this, request, property](const void *memory) {
        const auto *reply = static_cast<const xcb_get_property_reply_t *>(memory);
        if (!reply || reply->format != 32 || !_isOwning) {
            notify(request, XCB_ATOM_NONE);
            return;
        }
        const auto *first = static_cast<const xcb_atom_t *>(xcb_get_property_value(reply));
        const QList<xcb_atom_t> pairs(first, first + (reply->value_len & ~1U));
        if (!waitsForConversion(request, pairs))
            answerPairs(request, property, pairs);
    });
}

void X11SelectionOwner::answerPairs(const xcb_selection_request_event_t &request,
                                    xcb_atom_t property, QList<xcb_atom_t> pairs) {
    for (qsizetype index = 0; index < pairs.size(); index += 2) {
        const xcb_atom_t target = pairs.at(index);
        const xcb_atom_t into = pairs.at(index + 1);
        if (into == XCB_ATOM_NONE || into == property || target == _atoms.multiple ||
            !convert(request.requestor, target, into))
            pairs[index] = XCB_ATOM_NONE;
    }
    replace(request.requestor, property, _atoms.atomPair, 32, quint32(pairs.size()),
            pairs.constData());
    notify(request, property);
}

// Keeps a request whose data is being converted, to be served when the conversion is done.
bool X11SelectionOwner::waitsForConversion(const xcb_selection_request_event_t &request,
                                           const QList<xcb_atom_t> &targets) {
    const auto offer =
        std::find_if(_offers.cbegin(), _offers.cend(), [&](const OwnedOffer &candidate) {
            return candidate.isConverted && targets.contains(candidate.target);
        });
    if (offer == _offers.cend() || _waiting.size() >= mostWaiting)
        return false;
    _waiting.append(request);
    watch(request.requestor);
    if (!_conversion.isRunning())
        _conversion.start(offer->data,
                          [this](const std::optional<QByteArray> &png) { converted(png); });
    return true;
}

void X11SelectionOwner::converted(const std::optional<QByteArray> &png) {
    const auto offer = std::find_if(_offers.begin(), _offers.end(),
                                    [](const OwnedOffer &one) { return one.isConverted; });
    if (png) {
        offer->data = *png;
        offer->isConverted = false;
        trimHeapAfterClip(quint64(png->size()));
    } else {
        qCDebug(logPasteboard, "an image cannot be made into a PNG");
        _offers.erase(offer);
    }
    for (const xcb_selection_request_event_t &request : std::exchange(_waiting, {}))
        requested(request);
}

// Refuses the requests that wait: what they asked for is not there any more.
void X11SelectionOwner::refuseWaiting() {
    _conversion.abandon();
    for (const xcb_selection_request_event_t &request : std::exchange(_waiting, {}))
        notify(request, XCB_ATOM_NONE);
}

// At the end of the program, files of ours and conversions are not listed: the files go, and nobody
// waits for a conversion.
QList<xcb_atom_t> X11SelectionOwner::listedTargets() const {
    const bool isEnd = bool(_handedOver);
    QList<xcb_atom_t> targets;
    for (const OwnedOffer &offer : std::as_const(_offers)) {
        const bool isListed =
            isEnd ? !offer.isOfFiles && !offer.isConverted
                  : offer.notFor.isEmpty() || !_audience || !offer.notFor.contains(_audience());
        if (isListed)
            targets.append(offer.target);
    }
    return targets;
}

bool X11SelectionOwner::convert(xcb_window_t requestor, xcb_atom_t target, xcb_atom_t property) {
    if (target == _atoms.targets) {
        const QList<xcb_atom_t> targets =
            QList{_atoms.targets, _atoms.timestamp, _atoms.multiple, _atoms.saveTargets} +
            listedTargets();
        replace(requestor, property, XCB_ATOM_ATOM, 32, quint32(targets.size()),
                targets.constData());
        return true;
    }
    if (target == _atoms.timestamp) {
        replace(requestor, property, XCB_ATOM_INTEGER, 32, 1, &_time);
        return true;
    }
    if (target == _atoms.saveTargets) {
        replace(requestor, property, _connection->atom("NULL"), 32, 0, nullptr);
        return true;
    }
    const auto offer =
        std::find_if(_offers.cbegin(), _offers.cend(),
                     [target](const OwnedOffer &candidate) { return candidate.target == target; });
    if (offer == _offers.cend() || offer->isConverted || !convertData(requestor, property, *offer))
        return false;
    remember(requestor);
    return true;
}

void X11SelectionOwner::remember(xcb_window_t reader) {
    if (_readers.size() >= mostReaders)
        return;
    _readers.insert(reader);
    watch(reader);
}

// Asks the server to tell when the requestor's window goes.
void X11SelectionOwner::watch(xcb_window_t requestor) {
    const bool isTransferring =
        std::any_of(_transfers.cbegin(), _transfers.cend(),
                    [&](const Transfer &transfer) { return transfer.requestor == requestor; });
    // A transfer has asked for this and for more.
    if (isTransferring)
        return;
    const quint32 mask = XCB_EVENT_MASK_STRUCTURE_NOTIFY;
    xcb_change_window_attributes(_connection->xcb(), requestor, XCB_CW_EVENT_MASK, &mask);
}

bool X11SelectionOwner::wasReadBy(xcb_window_t window) const {
    return std::any_of(_readers.cbegin(), _readers.cend(), [&](xcb_window_t reader) {
        return _connection->clientOf(reader) == _connection->clientOf(window);
    });
}

bool X11SelectionOwner::convertData(xcb_window_t requestor, xcb_atom_t property,
                                    const OwnedOffer &offer) {
    if (offer.data.size() <= pieceBytes) {
        const PasteboardOffers::Outgoing bytes{offer.data, offer.isLatin1};
        const QByteArray all = bytes.next(pieceBytes);
        replace(requestor, property, offer.type, 8, quint32(all.size()), all.constData());
        return true;
    }
    // A requestor that asks again into the same property has given up the first answer.
    _transfers.remove_if([&](const Transfer &transfer) {
        return transfer.requestor == requestor && transfer.property == property;
    });
    if (_transfers.size() >= maximumTransfers) {
        qCWarning(logPasteboard, "too many transfers from the clipboard at once; one is refused");
        return false;
    }
    beginTransfer(requestor, property, offer);
    return true;
}

// Transfers in pieces

void X11SelectionOwner::beginTransfer(xcb_window_t requestor, xcb_atom_t property,
                                      const OwnedOffer &offer) {
    const quint32 mask = XCB_EVENT_MASK_PROPERTY_CHANGE | XCB_EVENT_MASK_STRUCTURE_NOTIFY;
    xcb_change_window_attributes(_connection->xcb(), requestor, XCB_CW_EVENT_MASK, &mask);
    // A character of Latin-1 has two bytes at most in UTF-8.
    const quint32 atLeast = quint32(offer.data.size()) / (offer.isLatin1 ? 2 : 1);
    replace(requestor, property, _atoms.incr, 32, 1, &atLeast);
    _transfers.push_front({requestor, property, offer.type, {offer.data, offer.isLatin1}, {}});
    waitFor(_transfers.begin());
}

void X11SelectionOwner::continueTransfer(Transfers::iterator transfer) {
    const QByteArray piece = transfer->bytes.next(pieceBytes);
    replace(transfer->requestor, transfer->property, transfer->type, 8, quint32(piece.size()),
            piece.constData());
    transfer->bytes.take(piece);
    // The end is a piece without bytes, which nobody answers.
    if (piece.isEmpty())
        endTransfer(transfer);
    else
        waitFor(transfer);
    _connection->flush();
}

void X11SelectionOwner::waitFor(Transfers::iterator transfer) {
    transfer->stall =
        RunLoop::current().performAfter(stallLimit, [this, transfer] { endTransfer(transfer); });
}

void X11SelectionOwner::endTransfer(Transfers::iterator transfer) {
    const xcb_window_t requestor = transfer->requestor;
    _transfers.erase(transfer);
    const bool isLast =
        std::none_of(_transfers.cbegin(), _transfers.cend(),
                     [requestor](const Transfer &other) { return other.requestor == requestor; });
    if (isLast) {
        // Its end is still worth knowing: it counts as a reader, or it owned the clipboard once.
        const quint32 mask = XCB_EVENT_MASK_STRUCTURE_NOTIFY;
        xcb_change_window_attributes(_connection->xcb(), requestor, XCB_CW_EVENT_MASK, &mask);
        _connection->flush();
    }
}

void X11SelectionOwner::replace(xcb_window_t window, xcb_atom_t property, xcb_atom_t type,
                                quint8 format, quint32 count, const void *data) {
    xcb_change_property(_connection->xcb(), XCB_PROP_MODE_REPLACE, window, property, type, format,
                        count, data);
}

void X11SelectionOwner::notify(const xcb_selection_request_event_t &request, xcb_atom_t property) {
    // Every event on the wire has 32 bytes.
    union {
        xcb_selection_notify_event_t event;
        char bytes[32];
    } answer{};
    answer.event.response_type = XCB_SELECTION_NOTIFY;
    answer.event.time = request.time;
    answer.event.requestor = request.requestor;
    answer.event.selection = request.selection;
    answer.event.target = request.target;
    answer.event.property = property;
    xcb_send_event(_connection->xcb(), 0, request.requestor, XCB_EVENT_MASK_NO_EVENT, answer.bytes);
    _connection->flush();
}

// The end of the program

void X11SelectionOwner::handOver(std::function<void()> done) {
    endHandOver();
    if (!_isOwning || _offers.isEmpty() || _connection->isLost()) {
        done();
        return;
    }
    _handedOver = std::move(done);
    _handOverTimer = RunLoop::current().performAfter(handOverLimit, [this] { endHandOver(); });
    const auto cookie = xcb_get_selection_owner(_connection->xcb(), _atoms.clipboardManager);
    _connection->awaitReply(cookie.sequence, this, [this](const void *memory) {
        const auto *reply = static_cast<const xcb_get_selection_owner_reply_t *>(memory);
        if (!_handedOver)
            return;
        if (!reply || reply->owner == XCB_NONE) {
            endHandOver();
            return;
        }
        const QList<xcb_atom_t> targets = listedTargets();
        replace(_window, _atoms.handOver, XCB_ATOM_ATOM, 32, quint32(targets.size()),
                targets.constData());
        xcb_convert_selection(_connection->xcb(), _window, _atoms.clipboardManager,
                              _atoms.saveTargets, _atoms.handOver, _time);
        _connection->flush();
    });
}

void X11SelectionOwner::endHandOver() {
    _handOverTimer.cancel();
    if (const auto done = std::exchange(_handedOver, nullptr))
        done();
}

void X11SelectionOwner::x11ConnectionLost() {
    _isOwning = false;
    _conversion.abandon();
    _waiting.clear();
    _offers.clear();
    _transfers.clear();
    endHandOver();
}

} // namespace clipmule
