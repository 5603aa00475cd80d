// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "phone/PhoneCommand.h"
#include "phone/PhoneLog.h"
#include "phone/PhoneService.h"
#include "phone/PhoneShelf.h"
#include "platform/foundation/Object.h"

#include <QJsonObject>

#include <functional>
#include <memory>

namespace clipmule {

/// A phone stand-in: listens and publishes as a phone does, prints what it receives, keeps it where
/// it is given a folder, and sends what it is told to.
class Phone final {
public:
    struct Options {
        /// The service name, and the display name it reports.
        QString name;
        /// Where received images are written; empty for nowhere.
        QString saveFolder;
        /// Where received clips are kept; empty for nowhere.
        QString dataFolder;
        /// How it listens, which goes with the backend that it is published over.
        SocketListener::Calls calls = SocketListener::systemCalls();
        /// Whether a person reads along: help comes as text, not as JSON.
        bool isForPerson = false;
    };
    /// Files to send are read whole; a larger one is refused. No receiver takes a frame of more.
    static constexpr qint64 largestFile = qint64(48) * 1024 * 1024;

    Phone(dnssd::Backend &backend, Options options);
    ~Phone();
    Q_DISABLE_COPY_MOVE(Phone)

    // Both are set before start().
    /// Called with each line of output: one JSON object, without a line end. It may go to a
    /// terminal.
    std::function<void(const QByteArray &line)> onPrint;
    /// Called when somebody types "quit".
    std::function<void()> onQuit;

    /// False, after an error was printed, when it could not listen or take its folders into use.
    bool start();
    void stop();
    void perform(const QByteArray &line);

private:
    void print(const QJsonObject &object);
    void tell(const char *event, PhoneEntries entries = {});
    void printError(const QString &text);
    void didReceive(const PropertyList &object);
    void help();
    void sendTexts(const PhoneCommand &command);
    void sendUrl(const PhoneCommand &command);
    void sendImage(const PhoneCommand &command);
    void sendPropertyList(const QString &path);
    void sendClip(const ZRKClipmuleData &clip, const PhoneCommand &command, QJsonObject line);
    // Sends an envelope; the line is printed once the envelope is on its way.
    bool send(const PropertyList &envelope, const QJsonObject &line);
    [[nodiscard]] PhoneService::Fate printedWhenSent(const QJsonObject &line);
    bool printUnlessSent(bool isSent);
    [[nodiscard]] std::optional<QByteArray> contents(const QString &path);

    Options _options;
    PhoneLog _log;
    PhoneService _service;
    std::unique_ptr<PhoneShelf> _shelf;
};

} // namespace clipmule
