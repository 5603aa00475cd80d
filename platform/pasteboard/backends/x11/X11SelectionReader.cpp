// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/pasteboard/backends/x11/X11SelectionReader.h"

#include "platform/foundation/Log.h"

#include <algorithm>
#include <utility>

namespace clipmule {

namespace {

using PasteboardTargets::Meaning;
using PasteboardTargets::Request;

// Names of atoms that are remembered.
constexpr qsizetype rememberedNames = 4096;

// Bytes of a target's name: no real one is longer, and a server takes names of 64 KiB.
constexpr int longestName = 255;

// What decides comes first, so that an owner that gets stuck later has told the essential.
int priority(const Request &request) {
    switch (request.meaning) {
    case Meaning::Text:
        return 1;
    case Meaning::UriList:
        return 2;
    case Meaning::MozillaUrl:
        return 3;
    case Meaning::Html:
        return 4;
    case Meaning::Rtf:
        return 5;
    case Meaning::Image:
        return 6;
    case Meaning::Other:
        return request.targets.first() == PasteboardMarker::passwordHint ? 0 : 7;
    }
    return 7;
}

bool isNative(const Request &request) {
    return request.meaning == Meaning::Other;
}

bool isText(const Request &request) {
    return request.meaning == Meaning::Text || request.meaning == Meaning::Html;
}

bool isEssential(const Request &request) {
    return priority(request) < 7;
}

} // namespace

X11SelectionReader::X11SelectionReader(std::shared_ptr<X11Connection> connection)
    : _connection(std::move(connection))
    , _transfer(_connection) {
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
    _bytes = 0;
    _nativeBytes = 0;
    _isMute = false;
    _totalTimer = RunLoop::current().performAfter(totalLimit, [this] { totalTimedOut(); });
    _transfer.start(
        {.target = _targetsAtom, .time = _time, .mostBytes = targetListBytes},
        [this](Outcome outcome, const QByteArray &list) { targetsEnded(outcome, list); });
}

void X11SelectionReader::abandon() {
    _transfer.abandon();
    _connection->dropReplies(this);
    _completion = nullptr;
    _totalTimer.cancel();
    _fetches.clear();
    _answers.clear();
    _text.reset();
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
        finish(std::nullopt);
        break;
    case Outcome::TimedOut:
        qCWarning(logPasteboard, "the clipboard's owner does not answer");
        finish(std::nullopt);
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
    int position = 0;
    for (Request &request : PasteboardTargets::requests(targets))
        _fetches.push_back({std::move(request), position++});
    for (const QString &target : PasteboardTargets::leftOut(targets))
        _answers.insert(position++, {Meaning::Other, target, std::nullopt});
    std::stable_sort(_fetches.begin(), _fetches.end(), [](const Fetch &left, const Fetch &right) {
        return priority(left.request) < priority(right.request);
    });
    fetchNext();
}

// The sequence of targets

void X11SelectionReader::fetchNext() {
    if (_fetches.empty()) {
        finish(whatArrived());
        return;
    }
    const Fetch &fetch = _fetches.front();
    const qint64 left = byteLimit - _bytes;
    X11PropertyTransfer::Piece piece;
    _text.reset();
    if (isText(fetch.request)) {
        piece = [this](QByteArrayView bytes, xcb_atom_t type) {
            if (!_text)
                _text.emplace(_fetches.front().target(), _names.value(type));
            _text->append(bytes);
        };
    }
    _transfer.start(
        {.target = _names.key(fetch.target()),
         .time = _time,
         .mostBytes =
             isNative(fetch.request) ? std::min(left, nativeByteLimit - _nativeBytes) : left,
         .patience = fetch.request.meaning == Meaning::Image ? imageStepLimit
                                                             : X11PropertyTransfer::stepLimit},
        [this](Outcome outcome, const QByteArray &bytes) { fetchEnded(outcome, bytes); },
        std::move(piece));
}

void X11SelectionReader::fetchEnded(Outcome outcome, const QByteArray &bytes) {
    Fetch &first = _fetches.front();
    if (outcome == Outcome::Refused && ++first.candidate < first.request.targets.size()) {
        fetchNext();
        return;
    }
    const Fetch fetch = std::move(first);
    _fetches.pop_front();
    if (outcome == Outcome::Received)
        received(fetch, bytes);
    else
        leaveOut(fetch);
    if (outcome == Outcome::TooLarge)
        tooLarge(fetch);
    if (outcome == Outcome::TimedOut)
        mute(fetch);
    fetchNext();
}

void X11SelectionReader::received(const Fetch &fetch, const QByteArray &bytes) {
    _bytes += _transfer.receivedBytes();
    if (isNative(fetch.request))
        _nativeBytes += _transfer.receivedBytes();
    _answers.insert(fetch.position,
                    {fetch.request.meaning, fetch.target(), _text ? _text->take() : bytes});
}

void X11SelectionReader::tooLarge(const Fetch &fetch) const {
    const QString name = cutForLog(fetch.target());
    if (isNative(fetch.request))
        qCDebug(logPasteboard).noquote() << "the clipboard's" << name << "is too large for a clip";
    else
        qCWarning(logPasteboard, "the clipboard's %s is larger than %lld bytes and is left out",
                  qUtf8Printable(name), byteLimit);
}

// One target that is never answered takes nothing from the others that decide.
void X11SelectionReader::mute(const Fetch &fetch) {
    if (isEssential(fetch.request)) {
        _isMute = true;
        qCWarning(logPasteboard, "the clipboard's owner does not answer for its %s",
                  qUtf8Printable(cutForLog(fetch.target())));
        return;
    }
    // After one target without a meaning that is not answered, the others are not waited for.
    for (const Fetch &other : _fetches)
        leaveOut(other);
    _fetches.clear();
}

void X11SelectionReader::totalTimedOut() {
    qCWarning(logPasteboard, "the clipboard's owner takes too long; what has arrived is taken");
    _isMute = true;
    for (const Fetch &fetch : _fetches)
        leaveOut(fetch);
    finish(whatArrived());
}

void X11SelectionReader::leaveOut(const Fetch &fetch) {
    _answers.insert(fetch.position,
                    {fetch.request.meaning, fetch.request.targets.first(), std::nullopt});
}

// Of an owner that did not answer for something there must be anything else.
std::optional<PasteboardContents> X11SelectionReader::whatArrived() const {
    const bool hasArrived = !_isMute || std::any_of(_answers.cbegin(), _answers.cend(),
                                                    [](const PasteboardTargets::Answer &answer) {
                                                        return answer.data.has_value();
                                                    });
    return hasArrived ? std::optional(PasteboardTargets::contents(_answers.values()))
                      : std::nullopt;
}

void X11SelectionReader::finish(const std::optional<PasteboardContents> &contents) {
    const Completion completion = std::move(_completion);
    abandon();
    completion(contents);
}

} // namespace clipmule
