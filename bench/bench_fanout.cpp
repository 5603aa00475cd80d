// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "bench/Bench.h"
#include "bench/Loopback.h"
#include "bench/PlistInputs.h"
#include "net/ZRKStreamHandler.h"
#include "platform/foundation/QtRunLoop.h"
#include "platform/streams/SocketStreams.h"

#include <QCoreApplication>
#include <QEventLoop>
#include <QThread>

#include <atomic>
#include <cstdio>
#include <poll.h>
#include <set>
#include <sys/socket.h>

using namespace clipmule;
using bench::Case;

namespace {

[[noreturn]] void fail(const char *what) {
    std::fprintf(stderr, "bench_fanout: %s\n", what);
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

/// The phones, on a thread of their own: read everything, keep nothing, and say when as many bytes
/// have come as were announced.
class Receivers final : public QThread {
public:
    Receivers(std::vector<FileHandle> sockets, std::function<void()> complete)
        : _sockets(std::move(sockets))
        , _complete(std::move(complete)) {}
    /// The near ends must be closed before.
    ~Receivers() override { wait(); }

    void expect(qint64 bytes) { _missing += bytes; }

protected:
    void run() override {
        std::vector<char> scratch(262144);
        std::vector<pollfd> watched;
        for (const FileHandle &socket : _sockets)
            watched.push_back({socket.descriptor(), POLLIN, 0});
        while (!watched.empty()) {
            ::poll(watched.data(), watched.size(), -1);
            for (pollfd &one : watched) {
                if (one.revents == 0)
                    continue;
                const ssize_t count = ::recv(one.fd, scratch.data(), scratch.size(), MSG_DONTWAIT);
                if (count == 0)
                    one.fd = -1;
                else if (count > 0 && (_missing -= count) == 0)
                    _complete();
            }
            std::erase_if(watched, [](const pollfd &one) { return one.fd < 0; });
        }
    }

private:
    std::vector<FileHandle> _sockets;
    std::function<void()> _complete;
    std::atomic<qint64> _missing = 0;
};

/// One broadcast to so many receivers, and how many frames were made for it.
class FanOut {
public:
    FanOut(int receivers, bool shared)
        : _shared(shared) {
        std::vector<FileHandle> far;
        for (int i = 0; i < receivers; ++i) {
            bench::LoopbackConnection connection = bench::connectOverLoopback();
            far.push_back(std::move(connection.far));
            _handlers.push_back(ZRKStreamHandler::initWithInputStreamOutputStream(
                streamPairForSocket(connection.near.descriptor())));
            _sockets.push_back(std::move(connection.near));
        }
        _receivers = std::make_unique<Receivers>(
            std::move(far), [this] { QMetaObject::invokeMethod(&_loop, &QEventLoop::quit); });
        _receivers->start();
    }
    ~FanOut() {
        _handlers.clear();
        _sockets.clear();
    }
    FanOut(const FanOut &) = delete;
    FanOut &operator=(const FanOut &) = delete;

    void run() {
        _receivers->expect(qint64(_frameSize) * qint64(_handlers.size()));
        const OutputObject shared = OutputObject::fixed(imageClip());
        std::vector<OutputObject> objects;
        for (const auto &handler : _handlers) {
            objects.push_back(_shared ? shared : OutputObject::fixed(imageClip()));
            if (!handler->outputObject(objects.back()))
                fail("a handler is closed");
        }
        countSerialisations(objects);
        _loop.exec();
    }

    [[nodiscard]] qsizetype frameSize() const { return _frameSize; }
    [[nodiscard]] int serialisations() const { return _serialisations; }

private:
    // A frame that is made twice is in two places.
    void countSerialisations(const std::vector<OutputObject> &objects) {
        std::vector<OutputFrame> frames;
        std::set<const char *> places;
        for (const OutputObject &object : objects) {
            frames.push_back(object.frame());
            places.insert(frames.back().rest().data());
        }
        _serialisations = int(places.size());
    }

    qsizetype _frameSize = OutputObject::fixed(imageClip()).frame().size();
    bool _shared;
    QEventLoop _loop;
    std::unique_ptr<Receivers> _receivers;
    std::vector<FileHandle> _sockets;
    std::vector<std::shared_ptr<ZRKStreamHandler>> _handlers;
    int _serialisations = 0;
};

Case fanOut(int receivers, bool shared) {
    Case one;
    one.name = QStringLiteral("9.9 MB image clip to %1").arg(receivers);
    one.side = shared ? QStringLiteral("ours") : QStringLiteral("a frame each");
    // Seconds and more than a gigabyte: once must do.
    one.isSlow = !shared && receivers == 100;
    const auto made = std::make_shared<std::unique_ptr<FanOut>>();
    one.prepare = [=] {
        *made = std::make_unique<FanOut>(receivers, shared);
        return bench::Work{[made] { (*made)->run(); }, (*made)->frameSize() * receivers};
    };
    one.figures = [=] {
        return QJsonObject{{QStringLiteral("receivers"), receivers},
                           {QStringLiteral("serialisations"), (*made)->serialisations()},
                           {QStringLiteral("frame_mb"), double((*made)->frameSize()) / 1e6}};
    };
    return one;
}

} // namespace

// One clip to many receivers that discard it, beside making a frame for each of them; see
// bench/Bench.h for the options. The time is until the last byte has arrived everywhere.
int main(int argc, char **argv) {
    const QCoreApplication application(argc, argv);
    QtRunLoop runLoop;
    const RunLoop::Installation installation(runLoop);
    std::vector<Case> cases;
    for (const int receivers : {1, 10, 100}) {
        cases.push_back(fanOut(receivers, true));
        cases.push_back(fanOut(receivers, false));
    }
    return bench::runCases(QStringLiteral("bench_fanout"), cases);
}
