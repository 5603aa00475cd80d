// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "phone/Phone.h"

#include "Common/Categories/ZRKNSStringCategory.h"
#include "model/DataFile.h"
#include "model/MessageEnvelope.h"
#include "platform/foundation/ForeignUrl.h"
#include "platform/foundation/JsonLine.h"
#include "platform/foundation/PlatformException.h"
#include "platform/images/ImageCodec.h"
#include "platform/propertylist/PropertyListSerialization.h"

#include <QFile>
#include <QFileInfo>
#include <QJsonArray>

#include <algorithm>

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
    // A folder that cannot be used is better reported now than with the first image.
    if (!_options.saveFolder.isEmpty() && (!DataFile::makeFolder(_options.saveFolder) ||
                                           !QFileInfo(_options.saveFolder).isWritable())) {
        printError(QStringLiteral("%1: the folder cannot be written to").arg(_options.saveFolder));
        return false;
    }
    if (!_options.dataFolder.isEmpty()) {
        PhoneShelf::Delegate delegate;
        delegate.print = [this](const QJsonObject &line) { print(line); };
        delegate.printError = [this](const QString &text) { printError(text); };
        delegate.send = [this](const PropertyList::Dictionary &clip) {
            return send(MessageEnvelope::make(MessageEnvelope::Type::Clip, PropertyList(clip)),
                        {{QStringLiteral("what"), QStringLiteral("clip")}});
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
    delegate.serverStreamHandlerDidOutputObject = [this](ZRKStreamHandler &handler,
                                                         const OutputObject &object) {
        didOutput(handler, object);
    };
    delegate.serverStreamHandlerDidClose = [this](ZRKStreamHandler &handler) {
        connectionDidClose(handler);
    };
    delegate.serverDidPublish = [this](const QString &name) {
        QJsonObject line{{QStringLiteral("event"), QStringLiteral("published")},
                         {QStringLiteral("name"), name}};
        if (name != _options.name)
            line.insert(QStringLiteral("taken"), _options.name);
        print(line);
    };
    _server->setDelegate(std::move(delegate));
    if (!_server->start()) {
        printError(QStringLiteral("cannot listen"));
        return false;
    }
    print({{QStringLiteral("event"), QStringLiteral("listening")},
           {QStringLiteral("name"), _options.name},
           {QStringLiteral("port"), _server->port()}});
    if (_shelf)
        _shelf->recover();
    return true;
}

void Phone::stop() {
    _server->setDelegate({});
    _server->stop();
    // Saves what is kept.
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
    _desks.insert(&handler, handler.peerAddress());
    print({{QStringLiteral("event"), QStringLiteral("opened")},
           {QStringLiteral("desk"), handler.peerAddress()}});
    const PropertyList::Dictionary record{{QStringLiteral("name"), _options.name},
                                          {QStringLiteral("model"), QStringLiteral("Linux")}};
    handler.outputObject(OutputObject::fixed(
        MessageEnvelope::make(MessageEnvelope::Type::DeviceRecord, PropertyList(record))));
}

void Phone::connectionDidClose(ZRKStreamHandler &handler) {
    print({{QStringLiteral("event"), QStringLiteral("closed")},
           {QStringLiteral("desk"), _desks.take(&handler)}});
    // With the last desk gone, what was on its way there is not reported as sent.
    if (_desks.isEmpty())
        _sending.clear();
}

void Phone::didOutput(ZRKStreamHandler &handler, const OutputObject &object) {
    const auto sending = std::find_if(_sending.begin(), _sending.end(), [&](const auto &candidate) {
        return candidate.object.isSameAs(object);
    });
    if (sending == _sending.end())
        return;
    QJsonObject line = sending->what;
    line.insert(QStringLiteral("event"), QStringLiteral("sent"));
    line.insert(QStringLiteral("desk"), _desks.value(&handler));
    if (--sending->desks <= 0)
        _sending.erase(sending);
    print(line);
}

void Phone::print(const QJsonObject &object) {
    _print(jsonLine(object));
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

void Phone::perform(const PhoneCommand::Help &) {
    QJsonArray commands;
    for (const PhoneCommand::Usage &usage : PhoneCommand::usages()) {
        if (usage.needsFolder && !_shelf)
            continue;
        if (_options.isForPerson)
            _print(usage.form.leftJustified(32).toUtf8() + usage.purpose.toUtf8());
        commands.append(QJsonObject{{QStringLiteral("command"), usage.form},
                                    {QStringLiteral("purpose"), usage.purpose}});
    }
    if (!_options.isForPerson)
        print({{QStringLiteral("event"), QStringLiteral("help")},
               {QStringLiteral("commands"), commands}});
}

void Phone::perform(const PhoneCommand::SendText &command) {
    PropertyList::List items;
    qsizetype units = 0;
    for (const QString &string : command.strings) {
        PropertyList::Dictionary item = newItem();
        item.insert(QStringLiteral("string"), string);
        items.append(PropertyList(item));
        units += string.size();
    }
    sendItems(items,
              {{QStringLiteral("what"), QStringLiteral("text")}, {QStringLiteral("units"), units}},
              command.forOtherPhones);
}

void Phone::perform(const PhoneCommand::SendUrl &command) {
    const QUrl url = urlFromForeignText(command.url, QUrl::StrictMode);
    if (!url.isValid() || url.isRelative()) {
        printError(QStringLiteral("not a URL: %1").arg(command.url));
        return;
    }
    PropertyList::Dictionary item = newItem();
    item.insert(QStringLiteral("url"), QString::fromLatin1(url.toEncoded()));
    sendItems({PropertyList(item)}, {{QStringLiteral("what"), QStringLiteral("url")}},
              command.forOtherPhones);
}

void Phone::perform(const PhoneCommand::SendImage &command) {
    const auto bytes = contents(command.path);
    if (!bytes)
        return;
    const auto image = ImageCodec::describe(*bytes);
    if (!image) {
        printError(QStringLiteral("%1: no image of a known format").arg(command.path));
        return;
    }
    PropertyList::Dictionary item = newItem();
    item.insert(QStringLiteral("imageData"), *bytes);
    sendItems({PropertyList(item)},
              {{QStringLiteral("what"), QStringLiteral("image")},
               {QStringLiteral("format"), QString::fromLatin1(image->format)},
               {QStringLiteral("bytes"), bytes->size()}},
              command.forOtherPhones);
}

void Phone::perform(const PhoneCommand::SendPropertyList &command) {
    const auto bytes = contents(command.path);
    if (!bytes)
        return;
    const auto parsed = PropertyListSerialization::parse(*bytes);
    if (!parsed)
        printError(QStringLiteral("%1: %2").arg(command.path, parsed.error().reason));
    else
        send(*parsed, {{QStringLiteral("what"), QStringLiteral("plist")}});
}

void Phone::sendItems(const PropertyList::List &items, QJsonObject what, bool forOtherPhones) {
    if (forOtherPhones)
        what.insert(QStringLiteral("for"), QStringLiteral("other phones"));
    const PropertyList::Dictionary clip{{QStringLiteral("oid"), ZRKNSStringCategory::uuid()},
                                        {QStringLiteral("creationDate"), Date::now()},
                                        {QStringLiteral("items"), items}};
    send(MessageEnvelope::make(forOtherPhones ? MessageEnvelope::Type::ClipForDevices
                                              : MessageEnvelope::Type::Clip,
                               PropertyList(clip)),
         std::move(what));
}

bool Phone::send(const PropertyList &envelope, QJsonObject what) {
    const OutputObject object = OutputObject::fixed(envelope);
    // The entry is made before the object is handed over: a short one is on its way at once.
    _sending.append({object, std::move(what), _desks.size()});
    const bool isSent = _server->outputObject(object);
    if (!isSent)
        _sending.removeIf([&](const auto &sending) { return sending.object.isSameAs(object); });
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
