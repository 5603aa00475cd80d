// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

// The phone of bench_latency.py: speaks the protocol as clipmule-phone does, but says "arrived" the
// moment it holds a clip, and then its text in a line of its own. clipmule-phone takes 17 ms to
// print 1 MB as JSON with its digests, three times the clip's way. A line of standard input is sent
// as a text.
//
// usage: latency-phone NAME

#include "model/ZRKClipmuleData.h"
#include "net/OutputObject.h"
#include "net/ZRKNetServiceServer.h"
#include "platform/dnssd/DnsSd.h"
#include "platform/foundation/LineReader.h"
#include "platform/foundation/QtRunLoop.h"
#include "platform/foundation/QuitSignals.h"

#include <QCoreApplication>

#include <cstdio>
#include <unistd.h>

using namespace clipmule;

namespace {

void say(const QByteArray &line) {
    std::fwrite(line.constData(), 1, size_t(line.size()), stdout);
    std::fputc('\n', stdout);
    std::fflush(stdout);
}

void received(const PropertyList &envelope) {
    if (MessageEnvelope::type(envelope) != MessageEnvelope::Type::Clip) {
        say("message");
        return;
    }
    const auto clip =
        ZRKClipmuleData::initWithDictionary(MessageEnvelope::payload(envelope)->dictionary());
    const auto item = clip->firstItem();
    const QString text = item ? item->string().value_or(QString()) : QString();
    say("arrived");
    say(text.toUtf8());
}

OutputObject message(MessageEnvelope::Type type, const PropertyList::Dictionary &payload) {
    return OutputObject::fixed(MessageEnvelope::make(type, PropertyList(payload)));
}

} // namespace

int main(int argc, char *argv[]) {
    const QCoreApplication application(argc, argv);
    const QString name = QString::fromLocal8Bit(argc == 2 ? argv[1] : "Bench");
    QtRunLoop runLoop;
    const RunLoop::Installation installation(runLoop);
    const QuitSignals signals([](int) { QCoreApplication::quit(); });
    const auto backend = dnssd::makeBackend();
    const auto server =
        ZRKNetServiceServer::initWithTypeName(*backend, QStringLiteral("_clipmule-s2._tcp"), name);
    server->onOpen = [&name](ZRKStreamHandler &handler) {
        handler.outputObject(message(MessageEnvelope::Type::DeviceRecord,
                                     {{QStringLiteral("name"), PropertyList(name)}}));
    };
    server->onReceiveObject = [](ZRKStreamHandler &, const PropertyList &envelope) {
        received(envelope);
    };
    if (!server->start())
        return 1;
    LineReader reader(STDIN_FILENO);
    reader.onLine = [&server](const QByteArray &line) {
        const auto clip = ZRKClipmuleData::initWithStrings({QString::fromUtf8(line)});
        clip->firstItem()->setCreatedBy(ZRKClipmuleDataItem::createdByPhone);
        server->outputObject(message(MessageEnvelope::Type::Clip, clip->toDictionary()));
    };
    reader.onEnd = [] { QCoreApplication::quit(); };
    reader.start();
    return QCoreApplication::exec();
}
