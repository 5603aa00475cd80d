// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "net/ZRKStreamHandler.h"

#include "platform/foundation/Callbacks.h"
#include "platform/foundation/Log.h"
#include "platform/foundation/PlatformException.h"
#include "platform/propertylist/PropertyListSerialization.h"
#include "platform/streams/SocketStreams.h"
#include "support/ZRKNotificationCenter.h"

#include <QScopeGuard>
#include <QScopedValueRollback>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>

namespace clipmule {

namespace {

// The one use of the C library's generator: connections made at the same moment must not ping in
// step for ever, and nothing depends on how well the numbers are spread.
RunLoop::Seconds randomPingInterval() {
    static const bool seeded = [] {
        const double unixTime =
            RunLoop::current().wallClock().secondsSinceReference + Date::unixTimeOfReference;
        std::srand(static_cast<unsigned>(static_cast<qint64>(std::floor(unixTime))));
        return true;
    }();
    Q_UNUSED(seeded)
    return RunLoop::Seconds((std::rand() % 100) / 10.0 + 180.0);
}

/// "message of type 1", for the log: a message is a dictionary whose one key is its type. Never
/// what is in it.
QString kindOfMessage(const PropertyList &object) {
    const auto *message = object.as<PropertyList::Dictionary>();
    if (!message || message->size() != 1)
        return QStringLiteral("no message");
    return QStringLiteral("message of type ") + onOneLine(message->firstKey(), 8);
}

/// Tells the owner, whose platform exception is nobody's business.
template <typename Callback, typename... Values>
void callQuietly(const Callback &callback, Values &&...values) {
    try {
        callCopyOf(callback, std::forward<Values>(values)...);
    } catch (const PlatformException &) {
    }
}

} // namespace

std::shared_ptr<ZRKStreamHandler> ZRKStreamHandler::initWithFileHandle(FileHandle connection) {
    if (!connection.isOpen())
        return nullptr;
    setAcceptedSocketOptions(connection.descriptor());
    StreamPair streams = streamPairForSocket(connection.descriptor());
    if (!streams.input || !streams.output)
        return nullptr;
    auto handler =
        std::make_shared<ZRKStreamHandler>(Private(), std::move(connection), std::move(streams));
    handler->openStreams();
    return handler;
}

std::shared_ptr<ZRKStreamHandler>
ZRKStreamHandler::initWithInputStreamOutputStream(StreamPair streams) {
    if (!streams.input || !streams.output)
        return nullptr;
    auto handler = std::make_shared<ZRKStreamHandler>(Private(), FileHandle(), std::move(streams));
    handler->openStreams();
    return handler;
}

ZRKStreamHandler::ZRKStreamHandler(Private, FileHandle connection, StreamPair streams)
    : _fileHandle(std::move(connection))
    , _peerAddress(_fileHandle.isOpen() ? peerOfSocket(_fileHandle.descriptor()) : QString())
    , _inputStream(std::move(streams.input))
    , _outputStream(std::move(streams.output))
    , _readBuffer(std::make_unique_for_overwrite<char[]>(inputSize))
    , _pingInterval(randomPingInterval())
    , _warnings([this](int leftOut) {
        qCWarning(logNet).noquote()
            << QStringLiteral("%1 more lines about %2 were left out").arg(leftOut).arg(_peer);
    }) {}

ZRKStreamHandler::~ZRKStreamHandler() {
    close(false);
}

void ZRKStreamHandler::openStreams() {
    const auto handleEvent = [this](StreamEvent event) {
        handle([this, event] { streamHandleEvent(event); });
    };
    _inputStream->setEventHandler(handleEvent);
    _inputStream->open();
    _outputStream->setEventHandler(handleEvent);
    _outputStream->open();
    _pingTimer =
        RunLoop::current().performEvery(_pingInterval, [this] { handle([this] { ping(); }); });
}

void ZRKStreamHandler::setPeerName(const QString &name) {
    _peer = u'"' + cutForLog(name) + u'"';
}

void ZRKStreamHandler::warn(const QString &line) {
    if (_warnings.allows())
        qCWarning(logNet).noquote() << line;
}

void ZRKStreamHandler::forgetCallbacks() {
    onReceiveObject = {};
    onOutputObject = {};
    onDropObject = {};
    onRefuseInput = {};
    onClose = {};
    onEstablish = {};
}

bool ZRKStreamHandler::outputObject(const OutputObject &object) {
    if (!_open)
        return false;
    const auto self = shared_from_this();
    _outputObjects.push_back(object);
    sendOutput();
    return true;
}

bool ZRKStreamHandler::withdrawObject(const OutputObject &object) {
    // The head is taken once its frame was made, even before the stream took any of it.
    const auto first = _outputObjects.begin() + (_outputFrame && !_outputObjects.empty() ? 1 : 0);
    const auto found = std::find_if(first, _outputObjects.end(), [&](const OutputObject &queued) {
        return queued.isSameAs(object);
    });
    if (found == _outputObjects.end())
        return false;
    _outputObjects.erase(found);
    return true;
}

void ZRKStreamHandler::ping() {
    if (!_open)
        return;
    const auto self = shared_from_this();
    _needsPing = true;
    sendOutput();
}

void ZRKStreamHandler::close(bool notifyOwner) {
    if (!std::exchange(_open, false))
        return;
    qCDebug(logNet).noquote()
        << QStringLiteral("%1: closed, %2").arg(_peer, QLatin1String(_closeReason));
    // Whatever the owner does or raises, the connection is let go.
    const auto release = qScopeGuard([this] { releaseConnection(); });
    if (!notifyOwner)
        return;
    keepUntilNextTurn(shared_from_this());
    callQuietly(onClose, *this);
}

void ZRKStreamHandler::releaseConnection() {
    _pingTimer.cancel();
    _nextInput.cancel();
    _nextOutput.cancel();
    for (Stream *stream :
         {static_cast<Stream *>(_inputStream.get()), static_cast<Stream *>(_outputStream.get())}) {
        stream->setEventHandler(nullptr);
        stream->close();
    }
    _inputStream.reset();
    _outputStream.reset();
    // The descriptor is closed last: the streams watch it.
    _fileHandle.close();
    _inputBegin = _inputEnd = 0;
    _payload.reset();
    _outputFrame.reset();
    _outputObjects.clear();
    _readBuffer.reset();
}

void ZRKStreamHandler::handle(const std::function<void()> &work) {
    const auto self = shared_from_this();
    try {
        work();
    } catch (const PlatformException &exception) {
        warn(QStringLiteral("HANDLEEVENT EXCEPTION %1").arg(exception.reason()));
    }
}

void ZRKStreamHandler::streamHandleEvent(StreamEvent event) {
    switch (event) {
    case StreamEvent::HasBytesAvailable:
        return readInput();
    case StreamEvent::HasSpaceAvailable:
        return sendOutput();
    case StreamEvent::ErrorOccurred:
        _closeReason = _established ? "the connection failed" : "no address answered";
        return closeAfterInput();
    case StreamEvent::EndEncountered:
        _closeReason = "by the peer";
        return closeAfterInput();
    case StreamEvent::OpenCompleted:
        return establish();
    }
}

// Either stream may be the first to know.
void ZRKStreamHandler::establish() {
    if (!std::exchange(_established, true))
        callCopyOf(onEstablish, *this);
}

void ZRKStreamHandler::readInput() {
    // The stream tells again as long as there is something to read.
    if (_nextInput.isPending())
        return;
    // A part of a header, or what a callback's exception left.
    if (_inputBegin > 0) {
        std::memmove(_readBuffer.get(), unconsumed().data(), size_t(unconsumed().size()));
        _inputEnd = unconsumed().size();
        _inputBegin = 0;
    }
    const qsizetype room = std::min(inputSize - _inputEnd, readBufferSize);
    const qint64 count = room > 0 ? _inputStream->read(_readBuffer.get() + _inputEnd, room) : 0;
    _inputEnd += std::max(count, qint64(0));
    if (count > 0 || room == 0)
        processInput();
}

void ZRKStreamHandler::processInput() {
    // A callback that lets the run loop turn must not get ahead of the frame it is called for.
    if (_processingInput)
        return;
    const QScopedValueRollback<bool> processing(_processingInput, true);
    bool handedOver = false;
    while (_open && unconsumed().size() >= (_payload ? 1 : StreamFrame::kindSize)) {
        if (handedOver) {
            _nextInput = RunLoop::current().performAfter(
                RunLoop::Seconds(0), [this] { handle([this] { processInput(); }); });
            return;
        }
        if (!_payload && StreamFrame::readWord(unconsumed().data()) != StreamFrame::objectKind) {
            consume(StreamFrame::kindSize);
            continue;
        }
        post(ZRKStreamDidReceiveData);
        // An observer that closes the handler leaves nothing to look at.
        if (!_open || (!_payload && !beginPayload()))
            break;
        const QByteArrayView part =
            unconsumed().first(std::min(unconsumed().size(), _payload->missing()));
        _payload->take(part);
        consume(part.size());
        if (_payload->missing() > 0)
            break;
        receivePayload();
        handedOver = true;
    }
    if (_open && _ending)
        close();
}

// False when the header is not there as a whole, or not accepted.
bool ZRKStreamHandler::beginPayload() {
    const QByteArrayView input = unconsumed();
    if (input.size() < StreamFrame::headerSize)
        return false;
    const quint32 length = StreamFrame::readWord(input.data() + StreamFrame::kindSize);
    if (length > largestPayload) {
        qCWarning(logNet).noquote() << QStringLiteral("FRAME TOO LARGE %1").arg(length);
        callCopyOf(onRefuseInput, *this,
                   RefusedInput{.size = length, .limit = largestPayload, .error = {}});
        _closeReason = "a frame is too large";
        close();
        return false;
    }
    consume(StreamFrame::headerSize);
    _payload = std::make_unique<PropertyListReader>(length);
    return true;
}

// May also be called from inside a callback that one of the frames was handed to.
void ZRKStreamHandler::closeAfterInput() {
    if (_nextInput.isPending() || _processingInput)
        _ending = true;
    else
        close();
}

void ZRKStreamHandler::receivePayload() {
    // Let go of whatever happens: the owner finds the memory of a large frame free again.
    auto payload = std::exchange(_payload, nullptr);
    if (!onReceiveObject)
        return;
    try {
        const qsizetype size = payload->size();
        const auto parsed = payload->finish();
        payload.reset();
        if (parsed) {
            qCDebug(logNet).noquote()
                << QStringLiteral("%1: received %2 bytes, %3")
                       .arg(_peer, QString::number(size), kindOfMessage(*parsed));
            callCopyOf(onReceiveObject, *this, *parsed);
        } else {
            const QString &reason = parsed.error().reason;
            warn(QStringLiteral("NSSTREAMEVENTHASBYTESAVAILABLE ERROR DECODING DATA ") + reason);
            callCopyOf(onRefuseInput, *this, RefusedInput{.error = reason});
        }
    } catch (const PlatformException &exception) {
        warn(QStringLiteral("NSSTREAMEVENTHASBYTESAVAILABLE EXCEPTION %1").arg(exception.reason()));
    }
}

QByteArrayView ZRKStreamHandler::unconsumed() const {
    return QByteArrayView(_readBuffer.get() + _inputBegin, _inputEnd - _inputBegin);
}

void ZRKStreamHandler::consume(qsizetype count) {
    _inputBegin += count;
    if (_inputBegin == _inputEnd)
        _inputBegin = _inputEnd = 0;
}

void ZRKStreamHandler::sendOutput() {
    // What a callback queues is written by the loop that called it.
    if (_sendingOutput || _ending)
        return;
    const QScopedValueRollback<bool> sending(_sendingOutput, true);
    qsizetype written = 0;
    while (_open && !_ending && (!_outputObjects.empty() || _needsPing)) {
        if (_nextOutput.isPending() || !_outputStream->hasSpaceAvailable())
            return;
        if (written >= mostWrittenInATurn) {
            _nextOutput = RunLoop::current().performAfter(
                RunLoop::Seconds(0), [this] { handle([this] { sendOutput(); }); });
            return;
        }
        // Object data is proof of life enough.
        _needsPing = false;
        if (_outputObjects.empty())
            writePing();
        else if (_outputFrame || beginFrame())
            written += writeFrame();
    }
}

void ZRKStreamHandler::writePing() {
    const auto frame = StreamFrame::pingFrame();
    if (_outputStream->write(frame.data(), frame.size()) < 0)
        closeAfterInput();
}

bool ZRKStreamHandler::beginFrame() {
    const OutputObject object = _outputObjects.front();
    try {
        const OutputFrame frame = object.frame();
        // A live object's value comes from a function that may close the handler.
        if (!_open)
            return false;
        _outputFrame = frame;
        return true;
    } catch (const PlatformException &exception) {
        dropHeadObject(object, exception.reason());
        return false;
    }
}

// The object can never be written: if it stayed at the head, it would hold up the rest for ever.
void ZRKStreamHandler::dropHeadObject(const OutputObject &object, const QString &reason) {
    qCWarning(logNet).noquote() << QStringLiteral("ERROR ENCODING DATA %1").arg(reason);
    if (!_open)
        return;
    _outputObjects.pop_front();
    callQuietly(onDropObject, *this, object);
}

qsizetype ZRKStreamHandler::writeFrame() {
    const QByteArrayView rest = _outputFrame->rest();
    const qint64 written = _outputStream->write(rest.data(), rest.size());
    if (written < 0) {
        closeAfterInput();
        return 0;
    }
    _outputFrame->advance(written);
    if (!_outputFrame->isAtEnd()) {
        post(ZRKStreamDidSendData);
        return written;
    }
    qCDebug(logNet).noquote()
        << QStringLiteral("%1: sent %2 bytes").arg(_peer, QString::number(_outputFrame->size()));
    // Its bytes are out: it leaves the queue whatever the observers and the owner do or raise.
    // Until then it is the one that is being written, which nobody can withdraw.
    const auto removed = qScopeGuard([this] {
        _outputFrame.reset();
        if (_open)
            _outputObjects.pop_front();
    });
    post(ZRKStreamDidSendData);
    if (_open)
        callQuietly(onOutputObject, *this, OutputObject(_outputObjects.front()));
    return written;
}

void ZRKStreamHandler::post(const QString &name) {
    ZRKNotificationCenter::platformDefault().postNotificationName(name, shared_from_this());
}

QString ZRKStreamHandler::description() const {
    return _open ? QStringLiteral("open stream handler") : QStringLiteral("closed stream handler");
}

} // namespace clipmule
