// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "bench/Bench.h"
#include "bench/Loopback.h"
#include "bench/PlistInputs.h"
#include "net/ZRKStreamHandler.h"
#include "platform/foundation/QtRunLoop.h"
#include "platform/propertylist/PropertyListSerialization.h"
#include "platform/streams/SocketStreams.h"

#include <QCoreApplication>
#include <QEventLoop>
#include <QSemaphore>
#include <QThread>

#include <cstdio>
#include <plist/plist.h>

using namespace clipmule;
using bench::Case;
using bench::LoopbackConnection;

namespace {

[[noreturn]] void fail(const char *what) {
    std::fprintf(stderr, "bench_path: %s\n", what);
    std::exit(1);
}

const PropertyList &imageClip() {
    static const PropertyList clip = [] {
        for (const bench::PlistInput &input : bench::plistInputs()) {
            if (input.name == u"data")
                return input.make();
        }
        fail("there is no image clip");
    }();
    return clip;
}

qsizetype sizeOfFrame() {
    static const qsizetype size = OutputObject::fixed(imageClip()).frame().size();
    return size;
}

/// The other end of a connection, on a thread of its own as it is on a machine of its own.
class FarEnd : public QThread {
public:
    explicit FarEnd(FileHandle socket)
        : _socket(std::move(socket)) {}
    ~FarEnd() override { wait(); }

protected:
    FileHandle _socket;
};

/// From outputObject of one stream handler to onReceiveObject of another.
class HandlerFarEnd final : public FarEnd {
public:
    HandlerFarEnd(FileHandle socket, std::function<void()> received)
        : FarEnd(std::move(socket))
        , _received(std::move(received)) {}
    ~HandlerFarEnd() override {
        quit();
        wait();
    }

protected:
    void run() override {
        QtRunLoop runLoop;
        const RunLoop::Installation installation(runLoop);
        const auto handler = ZRKStreamHandler::initWithFileHandle(std::move(_socket));
        handler->onReceiveObject = [this](ZRKStreamHandler &, const PropertyList &object) {
            // Once all of it; then it is known to be the same and costs no time to look at.
            if (!std::exchange(_checked, true) && object != imageClip())
                fail("another clip arrived");
            _received();
        };
        exec();
        handler->close(false);
    }

private:
    std::function<void()> _received;
    bool _checked = false;
};

Case handlers() {
    return {QStringLiteral("9.9 MB image clip"), QStringLiteral("ours"), [] {
                struct State {
                    QEventLoop loop;
                    std::unique_ptr<HandlerFarEnd> far;
                    FileHandle near;
                    std::shared_ptr<ZRKStreamHandler> handler; // goes before what it watches
                };
                const auto state = std::make_shared<State>();
                LoopbackConnection connection = bench::connectOverLoopback();
                state->far = std::make_unique<HandlerFarEnd>(
                    std::move(connection.far),
                    [loop = &state->loop] { QMetaObject::invokeMethod(loop, &QEventLoop::quit); });
                state->far->start();
                state->near = std::move(connection.near);
                noticeVanishedPeer(state->near.descriptor());
                state->handler = ZRKStreamHandler::initWithInputStreamOutputStream(
                    streamPairForSocket(state->near.descriptor()));
                const auto run = [state] {
                    if (!state->handler->outputObject(OutputObject::fixed(imageClip())))
                        fail("the handler is closed");
                    state->loop.exec();
                };
                return bench::Work{run, sizeOfFrame()};
            }};
}

/// As many bytes, written from memory and read into memory.
class BareFarEnd final : public FarEnd {
public:
    BareFarEnd(FileHandle socket, QSemaphore &done)
        : FarEnd(std::move(socket))
        , _done(done) {}

protected:
    void run() override {
        for (;;) {
            QByteArray bytes(sizeOfFrame(), Qt::Uninitialized);
            if (!bench::receiveAll(_socket.descriptor(), bytes.data(), bytes.size()))
                return;
            bytes = QByteArray();
            _done.release();
        }
    }

private:
    QSemaphore &_done;
};

Case bareSocket() {
    return {QStringLiteral("9.9 MB image clip"), QStringLiteral("bare socket"), [] {
                struct State {
                    QSemaphore done;
                    QByteArray bytes;
                    std::unique_ptr<BareFarEnd> far;
                    FileHandle near; // closed first, which ends the far end
                };
                const auto state = std::make_shared<State>();
                LoopbackConnection connection = bench::connectOverLoopback();
                state->bytes = QByteArray(sizeOfFrame(), 'x');
                state->near = std::move(connection.near);
                state->far = std::make_unique<BareFarEnd>(std::move(connection.far), state->done);
                state->far->start();
                const auto run = [state] {
                    if (!bench::sendAll(state->near.descriptor(), state->bytes.constData(),
                                        state->bytes.size()))
                        fail("the bare socket has ended");
                    state->done.acquire();
                };
                return bench::Work{run, sizeOfFrame()};
            }};
}

struct FreePlist {
    void operator()(void *node) const { plist_free(node); }
};
using Plist = std::unique_ptr<void, FreePlist>;

/// libplist at both ends, and bare sockets around it.
class LibplistFarEnd final : public FarEnd {
public:
    LibplistFarEnd(FileHandle socket, QSemaphore &done)
        : FarEnd(std::move(socket))
        , _done(done) {}

protected:
    void run() override {
        char header[StreamFrame::headerSize];
        while (bench::receiveAll(_socket.descriptor(), header, sizeof header)) {
            QByteArray xml(StreamFrame::readWord(header + StreamFrame::kindSize),
                           Qt::Uninitialized);
            if (!bench::receiveAll(_socket.descriptor(), xml.data(), xml.size()))
                return;
            plist_t node = nullptr;
            plist_from_xml(xml.constData(), uint32_t(xml.size()), &node);
            xml = QByteArray();
            if (!Plist(node))
                fail("libplist refuses the clip");
            _done.release();
        }
    }

private:
    QSemaphore &_done;
};

Case libplist() {
    return {QStringLiteral("9.9 MB image clip"), QStringLiteral("libplist"), [] {
                struct State {
                    QSemaphore done;
                    Plist clip;
                    std::unique_ptr<LibplistFarEnd> far;
                    FileHandle near;
                };
                const auto state = std::make_shared<State>();
                LoopbackConnection connection = bench::connectOverLoopback();
                const QByteArray binary = PropertyListSerialization::binary(imageClip());
                plist_t node = nullptr;
                plist_from_bin(binary.constData(), uint32_t(binary.size()), &node);
                state->clip = Plist(node);
                state->near = std::move(connection.near);
                state->far =
                    std::make_unique<LibplistFarEnd>(std::move(connection.far), state->done);
                state->far->start();
                const auto run = [state] {
                    char *xml = nullptr;
                    uint32_t size = 0;
                    plist_to_xml(state->clip.get(), &xml, &size);
                    char header[StreamFrame::headerSize];
                    StreamFrame::writeObjectHeader(header, size);
                    if (!bench::sendAll(state->near.descriptor(), header, sizeof header) ||
                        !bench::sendAll(state->near.descriptor(), xml, size))
                        fail("the connection of libplist has ended");
                    plist_to_xml_free(xml);
                    state->done.acquire();
                };
                return bench::Work{run, sizeOfFrame()};
            }};
}

} // namespace

// The whole path of a clip between two processes that talk over loopback, beside what the sockets
// alone take and beside libplist at both ends; see bench/Bench.h for the options. Memory and
// instructions are those of both ends.
int main(int argc, char **argv) {
    const QCoreApplication application(argc, argv);
    QtRunLoop runLoop;
    const RunLoop::Installation installation(runLoop);
    return bench::runCases(QStringLiteral("bench_path"), {handlers(), bareSocket(), libplist()});
}
