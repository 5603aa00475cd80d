// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/pasteboard/backends/x11/X11SelectionReader.h"
#include "platform/foundation/Log.h"
#include "platform/pasteboard/Log.h"

#include "platform/pasteboard/Pasteboard.h"

#include <algorithm>

namespace clipmule {

namespace {

// How many requests are made before the first one's property comes round again.
constexpr int propertyCount = 64;
// Names of atoms that are remembered.
constexpr qsizetype rememberedNames = 4096;

// Bytes of a target's name: no real one is longer, and a server takes names of 64 KiB.
constexpr int longestName = 255;

// What decides comes first, so that an owner that gets stuck later has told the essential.
int priority(const PasteboardTypes::Request &request) {
    using PasteboardTypes::Meaning;
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

bool isNative(const PasteboardTypes::Request &request) {
    return request.meaning == PasteboardTypes::Meaning::Other;
}

bool isEssential(const PasteboardTypes::Request &request) {
    return priority(request) < 7;
}

} // namespace

X11SelectionReader::X11SelectionReader(std::shared_ptr<X11Connection> connection)
    : _connection(std::move(connection))
    , _window(_connection->createWindow()) {
    QList<QByteArray> names{"CLIPBOARD", "INCR", "TARGETS", "UTF8_STRING", "COMPOUND_TEXT"};
    for (int index = 0; index < propertyCount; ++index)
        names.append("_CLIPMULE_READ_" + QByteArray::number(index));
    for (const QString &marker : PasteboardMarker::all)
        names.append(marker.toLatin1());
    const QList<xcb_atom_t> atoms = _connection->atoms(names);
    _clipboard = atoms.at(0);
    _incr = atoms.at(1);
    _targetsAtom = atoms.at(2);
    _utf8String = atoms.at(3);
    _compoundText = atoms.at(4);
    forgetNames();
    _properties = atoms.sliced(5, propertyCount);
    for (const xcb_atom_t marker : atoms.sliced(5 + propertyCount))
        _markers.insert(marker);
    _connection->addObserver(this);
}

X11SelectionReader::~X11SelectionReader() {
    _connection->removeObserver(this);
    xcb_destroy_window(_connection->xcb(), _window);
    _connection->flush();
}

void X11SelectionReader::start(xcb_timestamp_t time, Completion completion) {
    abandon();
    ++_reading;
    _completion = std::move(completion);
    _time = time;
    _bytes = 0;
    _nativeBytes = 0;
    _isMute = false;
    _totalTimer = RunLoop::current().performAfter(totalLimit, [this] { totalTimedOut(); });
    _isReadingTargets = true;
    convert(_targetsAtom);
}

void X11SelectionReader::abandon() {
    if (_step == Step::Property || _step == Step::Increment)
        drain(_property);
    _step = Step::Idle;
    _completion = nullptr;
    _stepTimer.cancel();
    _totalTimer.cancel();
    _fetches.clear();
    _answers.clear();
    _atoms.clear();
    _data.clear();
    _text.reset();
}

// Conversions and their answers

void X11SelectionReader::convert(xcb_atom_t target) {
    _step = Step::Conversion;
    _target = target;
    _property = _properties.at(_nextProperty);
    _nextProperty = (_nextProperty + 1) % _properties.size();
    _drained.remove(_property);
    _data.clear();
    _text.reset();
    _targetBytes = 0;
    xcb_delete_property(_connection->xcb(), _window, _property);
    xcb_convert_selection(_connection->xcb(), _window, _clipboard, _target, _property, _time);
    _connection->flush();
    const bool isOfImage =
        !_isReadingTargets && _fetches.front().request.meaning == PasteboardTypes::Meaning::Image;
    waitForStep(isOfImage ? imageStepLimit : stepLimit);
}

void X11SelectionReader::waitForStep(RunLoop::Seconds limit) {
    _stepTimer = RunLoop::current().performAfter(limit, [this] { stepTimedOut(); });
}

void X11SelectionReader::x11Event(const xcb_generic_event_t &event) {
    switch (event.response_type & 0x7f) {
    case XCB_SELECTION_NOTIFY:
        selectionNotified(reinterpret_cast<const xcb_selection_notify_event_t &>(event));
        break;
    case XCB_PROPERTY_NOTIFY:
        propertyNotified(reinterpret_cast<const xcb_property_notify_event_t &>(event));
        break;
    default:
        break;
    }
}

void X11SelectionReader::selectionNotified(const xcb_selection_notify_event_t &event) {
    if (event.requestor != _window || event.selection != _clipboard)
        return;
    const bool isExpected = _step == Step::Conversion && event.target == _target;
    if (event.property == XCB_ATOM_NONE) {
        // A late refusal of an earlier reading carries another time.
        if (isExpected && (event.time == _time || event.time == XCB_CURRENT_TIME))
            targetRefused();
    } else if (isExpected && event.property == _property) {
        _step = Step::Property;
        readProperty(0);
    } else if (_properties.contains(event.property) &&
               (event.property != _property || _step == Step::Idle)) {
        drain(event.property);
    }
}

void X11SelectionReader::propertyNotified(const xcb_property_notify_event_t &event) {
    if (event.window != _window || event.state != XCB_PROPERTY_NEW_VALUE)
        return;
    if (_step == Step::Increment && event.atom == _property) {
        readProperty(0);
    } else if (const auto left = _drained.find(event.atom); left != _drained.end()) {
        xcb_delete_property(_connection->xcb(), _window, event.atom);
        if (--*left == 0)
            _drained.erase(left);
    }
}

void X11SelectionReader::readProperty(quint32 offset) {
    const auto cookie = xcb_get_property(_connection->xcb(), 0, _window, _property, XCB_ATOM_ANY,
                                         offset / 4, chunkBytes / 4);
    _connection->awaitReply(
        cookie.sequence, this,
        [this, offset, reading = _reading, property = _property](const void *reply) {
            if (reading == _reading && property == _property && _step != Step::Idle)
                propertyArrived(static_cast<const xcb_get_property_reply_t *>(reply), offset);
        });
}

void X11SelectionReader::propertyArrived(const xcb_get_property_reply_t *reply, quint32 offset) {
    if (!reply || reply->type == XCB_ATOM_NONE) {
        targetRefused();
        return;
    }
    waitForStep();
    const int size = xcb_get_property_value_length(reply);
    if (_step == Step::Property && offset == 0 && reply->type == _incr) {
        const auto *value = static_cast<const quint32 *>(xcb_get_property_value(reply));
        const qint64 atLeast = size >= 4 && reply->format == 32 ? qint64(*value) : 0;
        _step = Step::Increment;
        if (atLeast > spaceLeft()) {
            targetTooLarge();
            return;
        }
        _data.reserve(atLeast);
        xcb_delete_property(_connection->xcb(), _window, _property);
        return;
    }
    const bool isEnd = _step == Step::Increment && offset == 0 && size == 0;
    if (!isEnd && _step == Step::Property && offset == 0 &&
        size + qint64(reply->bytes_after) <= spaceLeft())
        _data.reserve(size + qsizetype(reply->bytes_after));
    if (!append(*reply)) {
        targetTooLarge();
        return;
    }
    if (reply->bytes_after > 0 && size > 0) {
        readProperty(offset + quint32(size));
        return;
    }
    xcb_delete_property(_connection->xcb(), _window, _property);
    if (_step == Step::Property || isEnd)
        targetDone();
}

qint64 X11SelectionReader::spaceLeft() const {
    if (_isReadingTargets)
        return targetListBytes - _targetBytes;
    const qint64 left = byteLimit - _bytes;
    return (isNative(_fetches.front().request) ? std::min(left, nativeByteLimit - _nativeBytes)
                                               : left) -
           _targetBytes;
}

bool X11SelectionReader::append(const xcb_get_property_reply_t &reply) {
    const int size = xcb_get_property_value_length(&reply);
    if (size > spaceLeft())
        return false;
    _targetBytes += size;
    const QByteArrayView bytes(static_cast<const char *>(xcb_get_property_value(&reply)), size);
    const bool isText = !_isReadingTargets && !_fetches.empty() &&
                        (_fetches.front().request.meaning == PasteboardTypes::Meaning::Text ||
                         _fetches.front().request.meaning == PasteboardTypes::Meaning::Html);
    if (!isText) {
        _data.append(bytes);
        return true;
    }
    if (!_text)
        _text = std::make_unique<ClipboardText>(_names.value(_target), _names.value(reply.type));
    _text->append(bytes);
    return true;
}

void X11SelectionReader::targetDone() {
    if (_isReadingTargets) {
        QList<xcb_atom_t> atoms(_data.size() / qsizetype(sizeof(xcb_atom_t)));
        std::copy_n(_data.constData(), size_t(atoms.size()) * sizeof(xcb_atom_t),
                    reinterpret_cast<char *>(atoms.data()));
        targetsArrived(atoms);
        return;
    }
    const Fetch fetch = std::move(_fetches.front());
    _fetches.pop_front();
    const bool isText = fetch.request.meaning == PasteboardTypes::Meaning::Text ||
                        fetch.request.meaning == PasteboardTypes::Meaning::Html;
    QByteArray data = isText ? (_text ? _text->take() : QByteArray()) : std::move(_data);
    // Contents that are there but empty are not the same as none.
    if (data.isNull())
        data = QByteArray("");
    _bytes += _targetBytes;
    if (isNative(fetch.request))
        _nativeBytes += _targetBytes;
    _answers.insert(fetch.position,
                    {fetch.request.meaning, fetch.request.targets.at(fetch.candidate), data});
    fetchNext();
}

void X11SelectionReader::targetRefused() {
    if (_isReadingTargets) {
        // An owner that does not tell its targets is asked for text.
        targetsArrived({_utf8String, XCB_ATOM_STRING});
        return;
    }
    Fetch &fetch = _fetches.front();
    if (++fetch.candidate < fetch.request.targets.size()) {
        fetchCandidate();
        return;
    }
    leaveOut(fetch);
    _fetches.pop_front();
    fetchNext();
}

void X11SelectionReader::targetTooLarge() {
    drain(_property);
    if (_isReadingTargets) {
        qCWarning(logPasteboard, "the clipboard's owner offers more than %lld targets",
                  targetListBytes / qint64(sizeof(xcb_atom_t)));
        finish(false);
        return;
    }
    const Fetch fetch = std::move(_fetches.front());
    _fetches.pop_front();
    const QString name = cutForLog(fetch.request.targets.at(fetch.candidate));
    if (isNative(fetch.request))
        qCDebug(logPasteboard).noquote() << "the clipboard's" << name << "is too large for a clip";
    else
        qCWarning(logPasteboard, "the clipboard's %s is larger than %lld bytes and is left out",
                  qUtf8Printable(name), byteLimit);
    leaveOut(fetch);
    fetchNext();
}

// The sequence of targets

void X11SelectionReader::targetsArrived(const QList<xcb_atom_t> &atoms) {
    _isReadingTargets = false;
    _step = Step::Idle;
    _stepTimer.cancel();
    const qsizetype looked = std::min<qsizetype>(atoms.size(), PasteboardTypes::maximumTargets);
    // A marker counts wherever it is.
    QSet<xcb_atom_t> hidden;
    for (qsizetype index = looked; index < atoms.size(); ++index) {
        if (_markers.contains(atoms.at(index)))
            hidden.insert(atoms.at(index));
    }
    _atoms = hidden.values() + atoms.first(looked);
    if (_names.size() > rememberedNames)
        forgetNames();
    _namesToCome = 0;
    for (const xcb_atom_t atom : std::as_const(_atoms)) {
        if (atom == XCB_ATOM_NONE || _names.contains(atom))
            continue;
        ++_namesToCome;
        const auto cookie = xcb_get_atom_name(_connection->xcb(), atom);
        _connection->awaitReply(
            cookie.sequence, this, [this, atom, reading = _reading](const void *memory) {
                const auto *reply = static_cast<const xcb_get_atom_name_reply_t *>(memory);
                if (reply) {
                    const int length = xcb_get_atom_name_name_length(reply);
                    const char *name = xcb_get_atom_name_name(reply);
                    _names.insert(atom, length > longestName ? QString()
                                                             : QString::fromLatin1(name, length));
                }
                if (reading == _reading && _completion && --_namesToCome == 0)
                    namesArrived();
            });
    }
    if (_namesToCome == 0)
        namesArrived();
}

void X11SelectionReader::forgetNames() {
    _names = {{XCB_ATOM_STRING, QStringLiteral("STRING")},
              {_utf8String, QStringLiteral("UTF8_STRING")},
              {_compoundText, QStringLiteral("COMPOUND_TEXT")}};
}

void X11SelectionReader::namesArrived() {
    QStringList targets;
    for (const xcb_atom_t atom : std::as_const(_atoms))
        targets.append(_names.value(atom));
    int position = 0;
    for (PasteboardTypes::Request &request : PasteboardTypes::requests(targets))
        _fetches.push_back({std::move(request), position++});
    for (const QString &target : PasteboardTypes::leftOut(targets))
        _answers.insert(position++, {PasteboardTypes::Meaning::Other, target, std::nullopt});
    std::stable_sort(_fetches.begin(), _fetches.end(), [](const Fetch &left, const Fetch &right) {
        return priority(left.request) < priority(right.request);
    });
    fetchNext();
}

void X11SelectionReader::fetchNext() {
    if (_fetches.empty())
        finish(true);
    else
        fetchCandidate();
}

void X11SelectionReader::fetchCandidate() {
    const Fetch &fetch = _fetches.front();
    convert(_names.key(fetch.request.targets.at(fetch.candidate)));
}

// One target that is never answered takes nothing from the others.
void X11SelectionReader::stepTimedOut() {
    if (_isReadingTargets || _fetches.empty()) {
        qCWarning(logPasteboard, "the clipboard's owner does not answer");
        finish(false);
        return;
    }
    if (_step == Step::Property || _step == Step::Increment)
        drain(_property);
    _step = Step::Idle;
    const Fetch fetch = std::move(_fetches.front());
    _fetches.pop_front();
    leaveOut(fetch);
    if (isEssential(fetch.request)) {
        _isMute = true;
        qCWarning(logPasteboard, "the clipboard's owner does not answer for its %s",
                  qUtf8Printable(cutForLog(fetch.request.targets.at(fetch.candidate))));
    } else {
        // After one target without a meaning that is not answered, the others are not waited for.
        for (const Fetch &other : _fetches)
            leaveOut(other);
        _fetches.clear();
    }
    fetchNext();
}

void X11SelectionReader::totalTimedOut() {
    qCWarning(logPasteboard, "the clipboard's owner takes too long; what has arrived is taken");
    _isMute = true;
    for (const Fetch &fetch : _fetches)
        leaveOut(fetch);
    finish(!_isReadingTargets);
}

void X11SelectionReader::leaveOut(const Fetch &fetch) {
    _answers.insert(fetch.position,
                    {fetch.request.meaning, fetch.request.targets.first(), std::nullopt});
}

void X11SelectionReader::finish(bool complete) {
    const Completion completion = std::move(_completion);
    std::optional<PasteboardContents> contents;
    const bool hasArrived = !_isMute || std::any_of(_answers.cbegin(), _answers.cend(),
                                                    [](const PasteboardTypes::Answer &answer) {
                                                        return answer.data.has_value();
                                                    });
    if (complete && hasArrived)
        contents = PasteboardTypes::contents(_answers.values());
    abandon();
    completion(std::move(contents));
}

void X11SelectionReader::drain(xcb_atom_t property) {
    _drained.insert(property, drainedPieces);
    xcb_delete_property(_connection->xcb(), _window, property);
    _connection->flush();
}

void X11SelectionReader::x11ConnectionLost() {
    abandon();
}

} // namespace clipmule
