// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/pasteboard/TargetSequence.h"

#include "platform/foundation/Log.h"

#include <algorithm>
#include <utility>

namespace clipmule {

namespace {

using PasteboardTargets::Meaning;
using PasteboardTargets::Request;

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

void TargetSequence::start(const QStringList &targets, Completion completion,
                           RunLoop::Seconds limit) {
    abandon();
    _completion = std::move(completion);
    _bytes = 0;
    _nativeBytes = 0;
    _isMute = false;
    _totalTimer = RunLoop::current().performAfter(limit, [this] { totalTimedOut(); });
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

void TargetSequence::abandon() {
    _transfer.abandon();
    _completion = nullptr;
    _totalTimer.cancel();
    _fetches.clear();
    _answers.clear();
    _text.reset();
}

void TargetSequence::fetchNext() {
    if (_fetches.empty()) {
        finish(whatArrived());
        return;
    }
    const Fetch &fetch = _fetches.front();
    const qint64 left = byteLimit - _bytes;
    TargetTransfer::Piece piece;
    _text.reset();
    if (isText(fetch.request)) {
        piece = [this](QByteArrayView bytes, const QString &type) {
            if (!_text)
                _text.emplace(_fetches.front().target(), type);
            _text->append(bytes);
        };
    }
    _transfer.start(
        {.target = fetch.target(),
         .mostBytes =
             isNative(fetch.request) ? std::min(left, nativeByteLimit - _nativeBytes) : left,
         .patience =
             fetch.request.meaning == Meaning::Image ? imageStepLimit : TargetTransfer::stepLimit},
        [this](Outcome outcome, const QByteArray &bytes) { fetchEnded(outcome, bytes); },
        std::move(piece));
}

void TargetSequence::fetchEnded(Outcome outcome, const QByteArray &bytes) {
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

void TargetSequence::received(const Fetch &fetch, const QByteArray &bytes) {
    _bytes += _transfer.receivedBytes();
    if (isNative(fetch.request))
        _nativeBytes += _transfer.receivedBytes();
    _answers.insert(fetch.position,
                    {fetch.request.meaning, fetch.target(), _text ? _text->take() : bytes});
}

void TargetSequence::tooLarge(const Fetch &fetch) {
    const QString name = cutForLog(fetch.target());
    if (isNative(fetch.request))
        qCDebug(logPasteboard).noquote() << "the clipboard's" << name << "is too large for a clip";
    else
        qCWarning(logPasteboard, "the clipboard's %s is larger than %lld bytes and is left out",
                  qUtf8Printable(name), byteLimit);
}

// One target that is never answered takes nothing from the others that decide.
void TargetSequence::mute(const Fetch &fetch) {
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

void TargetSequence::totalTimedOut() {
    qCWarning(logPasteboard, "the clipboard's owner takes too long; what has arrived is taken");
    _isMute = true;
    for (const Fetch &fetch : _fetches)
        leaveOut(fetch);
    finish(whatArrived());
}

void TargetSequence::leaveOut(const Fetch &fetch) {
    _answers.insert(fetch.position,
                    {fetch.request.meaning, fetch.request.targets.first(), std::nullopt});
}

// Of an owner that did not answer for something there must be anything else.
std::optional<PasteboardContents> TargetSequence::whatArrived() const {
    const bool hasArrived = !_isMute || std::any_of(_answers.cbegin(), _answers.cend(),
                                                    [](const PasteboardTargets::Answer &answer) {
                                                        return answer.data.has_value();
                                                    });
    return hasArrived ? std::optional(PasteboardTargets::contents(_answers.values()))
                      : std::nullopt;
}

void TargetSequence::finish(const std::optional<PasteboardContents> &contents) {
    const Completion completion = std::move(_completion);
    abandon();
    completion(contents);
}

} // namespace clipmule
