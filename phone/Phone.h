// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "net/ZRKNetServiceServer.h"
#include "phone/PhoneCommand.h"
#include "phone/PhoneLog.h"
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
    };
    /// Files to send are read whole; a larger one is refused. No receiver takes a frame of more.
    static constexpr qint64 largestFile = qint64(48) * 1024 * 1024;

    /// Each line is one JSON object, without a line end.
    Phone(dnssd::Backend &backend, Options options, std::function<void(const QByteArray &)> print,
          std::function<void()> quit);
    ~Phone();
    Phone(const Phone &) = delete;
    Phone &operator=(const Phone &) = delete;
    Phone(Phone &&) = delete;
    Phone &operator=(Phone &&) = delete;

    /// False, after an error was printed, when it could not listen or take its folder into use.
    bool start();
    void stop();
    void perform(const QByteArray &line);

private:
    void print(const QJsonObject &object);
    void printError(const QString &text);
    void didReceive(const PropertyList &object);
    void connectionDidOpen(ZRKStreamHandler &handler);
    void perform(const PhoneCommand::SendText &command);
    void perform(const PhoneCommand::SendUrl &command);
    void perform(const PhoneCommand::SendImage &command);
    void perform(const PhoneCommand::SendPropertyList &command);
    void sendItems(const PropertyList::List &items, bool forOtherPhones);
    bool send(const PropertyList &envelope);
    [[nodiscard]] std::optional<QByteArray> contents(const QString &path);

    Options _options;
    PhoneLog _log;
    std::function<void(const QByteArray &)> _print;
    std::function<void()> _quit;
    std::shared_ptr<ZRKNetServiceServer> _server;
    std::unique_ptr<PhoneShelf> _shelf;
};

} // namespace clipmule
