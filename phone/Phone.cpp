// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "phone/Phone.h"

#include "Common/Categories/ZRKNSStringCategory.h"
#include "model/MessageEnvelope.h"
#include "platform/foundation/PlatformException.h"
#include "platform/foundation/PropertyListSerialization.h"

#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QUrl>

namespace clipmule {

namespace {

const QString phoneType = QStringLiteral("_clipmule-s2._tcp");
// The origin code of what a phone made.
constexpr int createdByPhone = 1;

PropertyList::Dictionary newItem() {
    return {{QStringLiteral("oid"), ZRKNSStringCategory::uuid()},
            {QStringLiteral("createdBy"), createdByPhone}};
}

} // namespace

Phone::Phone(dnssd::Backend &backend, Options options,
             std::function<void(const QByteArray &)> print, std::function<void()> quit)
    : _options(std::move(options))
    , _log(_options.saveFolder)
    , _print(std::move(print))
    , _quit(std::move(quit))
    , _server(ZRKNetServiceServer::initWithTypeName(backend, phoneType, _options.name)) {}

Phone::~Phone() {
    stop();
}

bool Phone::start() {
    if (!_options.dataFolder.isEmpty()) {
        PhoneShelf::Delegate delegate;
        delegate.print = [this](const QJsonObject &line) { print(line); };
        delegate.printError = [this](const QString &text) { printError(text); };
        delegate.send = [this](const PropertyList::Dictionary &clip) {
            return send(MessageEnvelope::make(MessageEnvelope::Type::Clip, PropertyList(clip)));
        };
        auto shelf = std::make_unique<PhoneShelf>(_options.dataFolder, std::move(delegate));
        const QString error = shelf->open();
        if (!error.isEmpty()) {
            printError(error);
            return false;
        }
        _shelf = std::move(shelf);
    }
    ZRKNetServiceServer::Delegate delegate;
    delegate.serverStreamHandlerDidOpen = [this](ZRKStreamHandler &handler) {
        connectionDidOpen(handler);
    };
    delegate.serverStreamHandlerDidReceiveObject =
        [this](ZRKStreamHandler &, const PropertyList &object) { didReceive(object); };
    delegate.serverStreamHandlerDidClose = [this](ZRKStreamHandler &) {
        print({{QStringLiteral("event"), QStringLiteral("closed")}});
    };
    _server->setDelegate(std::move(delegate));
    if (!_server->start()) {
        printError(QStringLiteral("cannot listen"));
        return false;
    }
    print({{QStringLiteral("event"), QStringLiteral("listening")},
           {QStringLiteral("name"), _options.name},
           {QStringLiteral("port"), _server->port()}});
    return true;
}

void Phone::stop() {
    _server->setDelegate({});
    _server->stop();
    // What is kept is saved.
    _shelf.reset();
}

void Phone::didReceive(const PropertyList &object) {
    QJsonObject line = _log.received(object);
    QString error;
    if (_shelf && line[QStringLiteral("event")] == QStringLiteral("clip")) {
        try {
            line.insert(QStringLiteral("number"),
                        _shelf->keep(MessageEnvelope::payload(object)->dictionary()));
        } catch (const PlatformException &exception) {
            error = QStringLiteral("the clip is not kept: %1").arg(exception.reason());
        }
    }
    print(line);
    if (!error.isEmpty())
        printError(error);
}

void Phone::connectionDidOpen(ZRKStreamHandler &handler) {
    print({{QStringLiteral("event"), QStringLiteral("opened")}});
    const PropertyList::Dictionary record{{QStringLiteral("name"), _options.name},
                                          {QStringLiteral("model"), QStringLiteral("Linux")}};
    handler.outputObject(OutputObject::fixed(
        MessageEnvelope::make(MessageEnvelope::Type::DeviceRecord, PropertyList(record))));
}

void Phone::print(const QJsonObject &object) {
    _print(QJsonDocument(object).toJson(QJsonDocument::Compact));
}

void Phone::printError(const QString &text) {
    print({{QStringLiteral("event"), QStringLiteral("error")}, {QStringLiteral("text"), text}});
}

void Phone::perform(const QByteArray &line) {
    const PhoneCommand::Command command = PhoneCommand::parse(QString::fromUtf8(line));
    std::visit(
        [this](const auto &what) {
            using What = std::decay_t<decltype(what)>;
            if constexpr (std::is_same_v<What, PhoneCommand::Invalid>)
                printError(what.reason);
            else if constexpr (std::is_same_v<What, PhoneCommand::Quit>)
                _quit();
            else if constexpr (requires(PhoneShelf & shelf) { shelf.perform(what); })
                _shelf ? _shelf->perform(what)
                       : printError(QStringLiteral("nothing is kept: start with --data DIR"));
            else if constexpr (!std::is_same_v<What, PhoneCommand::Nothing>)
                perform(what);
        },
        command);
}

void Phone::perform(const PhoneCommand::SendText &command) {
    PropertyList::List items;
    for (const QString &string : command.strings) {
        PropertyList::Dictionary item = newItem();
        item.insert(QStringLiteral("string"), string);
        items.append(PropertyList(item));
    }
    sendItems(items, command.forOtherPhones);
}

void Phone::perform(const PhoneCommand::SendUrl &command) {
    const QUrl url(command.url, QUrl::StrictMode);
    if (!url.isValid() || url.isRelative()) {
        printError(QStringLiteral("not a URL: %1").arg(command.url));
        return;
    }
    PropertyList::Dictionary item = newItem();
    item.insert(QStringLiteral("url"), QString::fromLatin1(url.toEncoded()));
    sendItems({PropertyList(item)}, command.forOtherPhones);
}

void Phone::perform(const PhoneCommand::SendImage &command) {
    const auto bytes = contents(command.path);
    if (!bytes)
        return;
    PropertyList::Dictionary item = newItem();
    item.insert(QStringLiteral("imageData"), *bytes);
    sendItems({PropertyList(item)}, command.forOtherPhones);
}

void Phone::perform(const PhoneCommand::SendPropertyList &command) {
    const auto bytes = contents(command.path);
    if (!bytes)
        return;
    const auto parsed = PropertyListSerialization::parse(*bytes);
    if (!parsed.value)
        printError(QStringLiteral("%1: %2").arg(command.path, parsed.error));
    else
        send(*parsed.value);
}

void Phone::sendItems(const PropertyList::List &items, bool forOtherPhones) {
    const PropertyList::Dictionary clip{{QStringLiteral("oid"), ZRKNSStringCategory::uuid()},
                                        {QStringLiteral("creationDate"), Date::now()},
                                        {QStringLiteral("items"), items}};
    send(MessageEnvelope::make(forOtherPhones ? MessageEnvelope::Type::ClipForDevices
                                              : MessageEnvelope::Type::Clip,
                               PropertyList(clip)));
}

bool Phone::send(const PropertyList &envelope) {
    const bool isSent = _server->outputObject(OutputObject::fixed(envelope));
    if (!isSent)
        printError(QStringLiteral("nobody is connected"));
    return isSent;
}

std::optional<QByteArray> Phone::contents(const QString &path) {
    QFile file(path);
    if (!QFileInfo(file).isFile()) {
        printError(QStringLiteral("%1: no such file").arg(path));
    } else if (!file.open(QIODevice::ReadOnly)) {
        printError(QStringLiteral("%1: %2").arg(path, file.errorString()));
    } else {
        // One byte more than allowed tells a larger file, whatever its size was said to be.
        QByteArray bytes = file.read(largestFile + 1);
        if (bytes.size() <= largestFile)
            return bytes;
        printError(QStringLiteral("%1: larger than %2 bytes").arg(path).arg(largestFile));
    }
    return std::nullopt;
}

} // namespace clipmule
