// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/pasteboard/FollowedPasteboard.h"

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

void FollowedPasteboard::ownerEnded() {
    // A copy that nobody had the time to read may still be had from a manager.
    _taking = {.isCopy = _taking.isCopy || (isFetching() && !_taking.mayBeTakeover())};
    stopFetching();
    forgetContents();
    _ended = RunLoop::current().now();
    _lastChange = _ended;
}

// How long the owner has to stay the same before it is asked. Notes that it has changed.
RunLoop::Seconds FollowedPasteboard::timeToSettle() {
    const RunLoop::Seconds now = RunLoop::current().now();
    const auto before = std::exchange(_lastChange, now);
    const bool isFirst = !before || now - *before >= PasteboardHistory::quietTime;
    return isFirst ? RunLoop::Seconds(0) : PasteboardHistory::settleTime;
}

void FollowedPasteboard::ownerTook(const Newcomer &newcomer, std::function<void(Listed)> list) {
    const RunLoop::Seconds now = RunLoop::current().now();
    PasteboardHistory::Taking taking{.isCopy = _taking.isCopy,
                                     .followsAnEnd =
                                         _ended && now - *_ended < PasteboardHistory::takeoverTime,
                                     .isAnotherThanEnded = newcomer.isAnother,
                                     .hasOwnedBefore = newcomer.hasOwnedBefore,
                                     .hasReadUs = newcomer.hasReadUs && _taken &&
                                                  now - *_taken < PasteboardHistory::reowningTime};
    // After a while without an owner nobody takes over what was there before.
    if (_ended && !taking.followsAnEnd)
        _history.forgetLast();
    _ended.reset();
    if (isFetching()) {
        taking.isCopy = !_taking.mayBeTakeover();
        taking.hasReadUs = taking.hasReadUs || _taking.hasReadUs;
    }
    _taking = taking;
    stopFetching();
    noteLast();
    const RunLoop::Seconds settling = timeToSettle();
    if (!_watching) {
        setContents({});
        _history.forgetLast();
        moveChangeCount();
        tellChange();
        return;
    }
    _settle = RunLoop::current().performAfter(
        settling, [this, owner = newcomer.owner, list = std::move(list)] { fetch(list, owner); });
}

void FollowedPasteboard::fetch(const std::function<void(Listed)> &list, Owner owner) {
    _isListing = true;
    list([this, owner, asked = RunLoop::current().now()](const auto &targets) {
        _isListing = false;
        if (!targets) {
            fetched(std::nullopt, owner);
            return;
        }
        // Telling the targets was a part of it.
        _sequence.start(
            *targets,
            [this, owner](const std::optional<PasteboardContents> &contents) {
                fetched(contents, owner);
            },
            TargetSequence::totalLimit - (RunLoop::current().now() - asked));
    });
}

void FollowedPasteboard::fetched(const std::optional<PasteboardContents> &fetchedContents,
                                 Owner owner) {
    ownerAnswered(fetchedContents.has_value());
    const PasteboardHistory::Taking taking = std::exchange(_taking, {});
    // Nothing is known of an owner that hangs; the last complete contents stay.
    if (!fetchedContents) {
        moveUnansweredCount();
        tellChange();
        return;
    }
    const PasteboardHistory::Known known(*fetchedContents);
    const bool isCopy = !fetchedContents->isEmpty() && !_history.isTakeover(known, taking, owner);
    setContents(*fetchedContents);
    _history.remember(known, owner);
    if (!isCopy)
        return;
    moveChangeCount();
    tellChange();
}

void FollowedPasteboard::weTook(Owner us) {
    stopFetching();
    _ended.reset();
    _taken = RunLoop::current().now();
    _lastChange = _taken;
    _taking = {};
    _history.remember(PasteboardHistory::Known(contents()), us);
}

void FollowedPasteboard::stopFetching() {
    _settle.cancel();
    _isListing = false;
    _sequence.abandon();
}

// What there is was remembered when it came. Of nothing nothing is noted.
void FollowedPasteboard::noteLast() {
    if (!contents().isEmpty())
        _history.setLast();
}

// Drops the contents and keeps their fingerprint.
void FollowedPasteboard::forgetContents() {
    noteLast();
    setContents({});
}

void FollowedPasteboard::setWatching(bool watching) {
    _watching = watching;
    if (watching)
        return;
    if (isFetching()) {
        stopFetching();
        setContents({});
        _history.forgetLast();
        _taking = {};
        moveChangeCount();
    } else if (!ownsContents()) {
        forgetContents();
    }
}

void FollowedPasteboard::releaseContents() {
    const bool wasEmpty = contents().isEmpty();
    Pasteboard::releaseContents();
    if (!wasEmpty && contents().isEmpty())
        _history.setLast();
}

// The targets of one owner

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
