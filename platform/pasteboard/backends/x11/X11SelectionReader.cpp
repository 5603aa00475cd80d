// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/pasteboard/backends/x11/X11SelectionReader.h"

#include "platform/foundation/Log.h"

#include <algorithm>
#include <utility>

namespace clipmule {

namespace {

// Names of atoms that are remembered.
constexpr qsizetype rememberedNames = 4096;

// Bytes of a target's name: no real one is longer, and a server takes names of 64 KiB.
constexpr int longestName = 255;

} // namespace

X11SelectionReader::X11SelectionReader(std::shared_ptr<X11Connection> connection)
    : _connection(std::move(connection))
    , _transfer(_connection)
    , _byName(*this)
    , _sequence(_byName) {
    QList<QByteArray> names{"TARGETS", "UTF8_STRING", "COMPOUND_TEXT"};
    for (const QString &marker : PasteboardMarker::all)
        names.append(marker.toLatin1());
    const QList<xcb_atom_t> atoms = _connection->atoms(names);
    _targetsAtom = atoms.at(0);
    _utf8String = atoms.at(1);
    _compoundText = atoms.at(2);
    _markers = {atoms.cbegin() + 3, atoms.cend()};
    forgetNames();
    _connection->addObserver(this);
}

X11SelectionReader::~X11SelectionReader() {
    _connection->removeObserver(this);
}

void X11SelectionReader::start(xcb_timestamp_t time, Completion completion) {
    abandon();
    _completion = std::move(completion);
    _time = time;
    _started = RunLoop::current().now();
    _transfer.start(
        {.target = _targetsAtom, .time = _time, .mostBytes = targetListBytes},
        [this](Outcome outcome, const QByteArray &list) { targetsEnded(outcome, list); });
}

void X11SelectionReader::abandon() {
    _sequence.abandon();
    _transfer.abandon();
    _connection->dropReplies(this);
    _completion = nullptr;
}

// The list of targets

void X11SelectionReader::targetsEnded(Outcome outcome, const QByteArray &list) {
    switch (outcome) {
    case Outcome::Received: {
        const auto *atoms = reinterpret_cast<const xcb_atom_t *>(list.constData());
        askForNames({atoms, atoms + list.size() / qsizetype(sizeof(xcb_atom_t))});
        break;
    }
    case Outcome::Refused:
        // An owner that does not tell its targets is asked for text.
        askForNames({_utf8String, XCB_ATOM_STRING});
        break;
    case Outcome::TooLarge:
        qCWarning(logPasteboard, "the clipboard's owner offers more than %lld targets",
                  targetListBytes / qint64(sizeof(xcb_atom_t)));
        giveUp();
        break;
    case Outcome::TimedOut:
        qCWarning(logPasteboard, "the clipboard's owner does not answer");
        giveUp();
        break;
    }
}

void X11SelectionReader::askForNames(const QList<xcb_atom_t> &targets) {
    const qsizetype looked = std::min<qsizetype>(targets.size(), PasteboardTargets::maximumTargets);
    // A marker counts wherever it is.
    QSet<xcb_atom_t> hidden;
    for (const xcb_atom_t target : targets.sliced(looked)) {
        if (_markers.contains(target))
            hidden.insert(target);
    }
    _atoms = hidden.values() + targets.first(looked);
    if (_names.size() > rememberedNames)
        forgetNames();
    // One more, so that it does not come to none before all are asked for.
    _namesToCome = 1;
    for (const xcb_atom_t atom : std::as_const(_atoms)) {
        if (atom != XCB_ATOM_NONE && !_names.contains(atom))
            askForName(atom);
    }
    nameArrived();
}

void X11SelectionReader::askForName(xcb_atom_t atom) {
    ++_namesToCome;
    const auto cookie = xcb_get_atom_name(_connection->xcb(), atom);
    _connection->awaitReply(cookie.sequence, this, [this, atom](const void *memory) {
        const auto *reply = static_cast<const xcb_get_atom_name_reply_t *>(memory);
        if (reply) {
            const int length = xcb_get_atom_name_name_length(reply);
            const char *name = xcb_get_atom_name_name(reply);
            _names.insert(atom,
                          length > longestName ? QString() : QString::fromLatin1(name, length));
        }
        nameArrived();
    });
}

void X11SelectionReader::forgetNames() {
    _names = {{XCB_ATOM_STRING, QStringLiteral("STRING")},
              {_utf8String, QStringLiteral("UTF8_STRING")},
              {_compoundText, QStringLiteral("COMPOUND_TEXT")}};
}

void X11SelectionReader::nameArrived() {
    if (--_namesToCome > 0)
        return;
    QStringList targets;
    for (const xcb_atom_t atom : std::as_const(_atoms))
        targets.append(_names.value(atom));
    // Telling the targets was a part of it.
    const RunLoop::Seconds taken = RunLoop::current().now() - _started;
    _sequence.start(targets, std::exchange(_completion, nullptr),
                    TargetSequence::totalLimit - taken);
}

void X11SelectionReader::ByName::start(const Request &request, Ended ended, Piece piece) {
    X11PropertyTransfer::Piece named;
    if (piece) {
        named = [this, piece = std::move(piece)](QByteArrayView bytes, xcb_atom_t type) {
            piece(bytes, _reader._names.value(type));
        };
    }
    _reader._transfer.start({.target = _reader._names.key(request.target),
                             .time = _reader._time,
                             .mostBytes = request.mostBytes,
                             .patience = request.patience},
                            std::move(ended), std::move(named));
}

void X11SelectionReader::giveUp() {
    const Completion completion = std::move(_completion);
    abandon();
    completion(std::nullopt);
}

} // namespace clipmule
