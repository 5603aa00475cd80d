// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "net/ZRKStreamHandler.h"
#include "platform/propertylist/PropertyListSerialization.h"
#include "support/ZRKNotificationCenter.h"
#include "tests/kit/ManualRunLoop.h"
#include "tests/kit/MemoryStreams.h"
#include "tests/kit/Settle.h"

#include <QStringList>

namespace clipmule::kit {

/// Counts the two notifications of one stream handler, or of any.
class DataNotifications final : public Object {
public:
    DataNotifications() {
        auto &center = ZRKNotificationCenter::platformDefault();
        center.addObserver(this, selector<&DataNotifications::didReceive>("didReceive"),
                           ZRKStreamDidReceiveData);
        center.addObserver(this, selector<&DataNotifications::didSend>("didSend"),
                           ZRKStreamDidSendData);
    }
    ~DataNotifications() override { ZRKNotificationCenter::platformDefault().removeObserver(this); }

    void didReceive(const Notification &notification) {
        ++received;
        sender = notification.object.get();
        userInfo = notification.userInfo;
        if (onReceive)
            onReceive();
    }
    void didSend(const Notification &notification) {
        ++sent;
        sender = notification.object.get();
        userInfo = notification.userInfo;
        if (onSend)
            onSend();
    }

    int received = 0;
    int sent = 0;
    // Of the last one; not kept alive.
    const Object *sender = nullptr;
    PropertyList::Dictionary userInfo;
    std::function<void()> onReceive;
    std::function<void()> onSend;
};

/// An object frame around these bytes.
inline QByteArray objectFrame(const QByteArray &payload) {
    QByteArray frame(StreamFrame::headerSize, '\0');
    StreamFrame::writeObjectHeader(frame.data(), quint32(payload.size()));
    return frame + payload;
}

/// The frame that carries this value as XML.
inline QByteArray objectFrame(const PropertyList &value) {
    return objectFrame(PropertyListSerialization::xml(value));
}

/// What is left of a frame, made at once.
inline QByteArray bytesOf(OutputFrame frame) {
    QByteArray bytes;
    while (!frame.isAtEnd()) {
        const QByteArrayView rest = frame.rest();
        bytes.append(rest);
        frame.advance(rest.size());
    }
    return bytes;
}

inline PropertyList text(const char *string) {
    return PropertyList(QString::fromUtf8(string));
}

inline const QByteArray pingFrame = QByteArray::fromHex("014b525a");

/// A stream handler on a connection in memory, with the run loop in the test's hands. What the
/// delegate is told is written down, one line each.
class HandlerFixture {
public:
    HandlerFixture() { makeHandler(); }

    void makeHandler() {
        handler = ZRKStreamHandler::initWithInputStreamOutputStream(connection.takeStreams());
        record();
    }
    /// Has what the handler tells written down.
    void record() {
        handler->onReceiveObject = [this](ZRKStreamHandler &, const PropertyList &object) {
            events += QStringLiteral("received ") + describe(object);
        };
        handler->onOutputObject = [this](ZRKStreamHandler &, const OutputObject &object) {
            events += QStringLiteral("output ") + describe(object.value());
        };
        handler->onDropObject = [this](ZRKStreamHandler &, const OutputObject &) {
            events += QStringLiteral("dropped");
        };
        handler->onClose = [this](ZRKStreamHandler &) { events += QStringLiteral("closed"); };
    }
    static QString describe(const PropertyList &object) {
        return object.isString() ? object.string() : object.description();
    }

    /// Delivers what arrives to the handler.
    void receive(const QByteArray &bytes) {
        connection.feed(bytes);
        settle(runLoop);
    }
    void receiveInParts(const QList<QByteArray> &parts) {
        connection.feedInParts(parts);
        settle(runLoop);
    }

    ManualRunLoop runLoop;
    RunLoop::Installation installation{runLoop};
    MemoryConnection connection;
    DataNotifications notifications;
    QStringList events;
    std::shared_ptr<ZRKStreamHandler> handler;
};

} // namespace clipmule::kit
