// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "net/ZRKStreamHandler.h"
#include "platform/propertylist/PropertyListSerialization.h"
#include "tests/kit/MemoryStreams.h"
#include "tests/kit/Settle.h"

#include <cstdlib>
#include <iostream>
#include <random>

using namespace clipmule;

namespace {

[[noreturn]] void fail(const char *what) {
    std::cerr << what << '\n';
    std::abort();
}

struct Outcome {
    // In the binary form, where a date that is not a number equals itself.
    QList<QByteArray> objects;
    bool isOpen = true;
    friend bool operator==(const Outcome &, const Outcome &) = default;
};

/// The rules of the frames over all bytes at once.
Outcome expected(QByteArrayView bytes) {
    Outcome outcome;
    while (bytes.size() >= StreamFrame::kindSize) {
        if (StreamFrame::readWord(bytes.data()) != StreamFrame::objectKind) {
            bytes = bytes.sliced(StreamFrame::kindSize);
            continue;
        }
        if (bytes.size() < StreamFrame::headerSize)
            break;
        const quint32 length = StreamFrame::readWord(bytes.data() + StreamFrame::kindSize);
        if (length > ZRKStreamHandler::largestPayload) {
            outcome.isOpen = false;
            break;
        }
        bytes = bytes.sliced(StreamFrame::headerSize);
        if (bytes.size() < qsizetype(length))
            break;
        const auto parsed = PropertyListSerialization::parse(bytes.first(length));
        if (parsed)
            outcome.objects += PropertyListSerialization::binary(*parsed);
        bytes = bytes.sliced(length);
    }
    return outcome;
}

Outcome received(const QList<QByteArray> &parts) {
    kit::ManualRunLoop runLoop;
    const RunLoop::Installation installation(runLoop);
    kit::MemoryConnection connection;
    const auto handler =
        ZRKStreamHandler::initWithInputStreamOutputStream(connection.takeStreams());
    Outcome outcome;
    handler->onReceiveObject = [&](ZRKStreamHandler &, const PropertyList &object) {
        outcome.objects += PropertyListSerialization::binary(object);
    };
    connection.feedInParts(parts);
    if (!kit::settle(runLoop))
        fail("the run loop never gets quiet");
    outcome.isOpen = handler->isOpen();
    if (!connection.written().isEmpty())
        fail("something was answered");
    return outcome;
}

QList<QByteArray> splitAtRandom(const QByteArray &bytes) {
    // The same for the same input, so that a failure can be seen again.
    std::minstd_rand random(unsigned(qHash(bytes, 1)) | 1U);
    const qsizetype longest = random() % 2 == 0 ? 9 + bytes.size() / 1000 : 2000;
    QList<QByteArray> parts;
    for (qsizetype at = 0; at < bytes.size();) {
        const qsizetype length = std::min(1 + qsizetype(random()) % longest, bytes.size() - at);
        parts += bytes.sliced(at, length);
        at += length;
    }
    return parts;
}

} // namespace

// Whatever arrives, and however it is cut up on the way, gives the same objects, or the same end.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    qInstallMessageHandler([](QtMsgType, const QMessageLogContext &, const QString &) {});
    const QByteArray bytes(reinterpret_cast<const char *>(data), qsizetype(size));
    const Outcome outcome = expected(bytes);
    if (!(received({bytes}) == outcome))
        fail("in one piece");
    if (!(received(splitAtRandom(bytes)) == outcome))
        fail("in pieces");
    return 0;
}
