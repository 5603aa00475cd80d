// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "phone/Phone.h"

#include "model/DataFile.h"
#include "platform/foundation/ForeignUrl.h"
#include "platform/foundation/PlatformException.h"
#include "platform/foundation/Utf8.h"
#include "platform/images/ImageCodec.h"
#include "platform/propertylist/PropertyListSerialization.h"

#include <QFile>
#include <QFileInfo>
#include <QJsonArray>

#include <numeric>

namespace clipmule {

Phone::Phone(dnssd::Backend &backend, Options options)
    : _options(std::move(options))
    , _log(_options.saveFolder)
    , _service(backend, _options.name, _options.name, _options.calls) {}

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
        auto shelf = std::make_unique<PhoneShelf>(_options.dataFolder);
        shelf->onPrint = [this](const QJsonObject &line) { print(line); };
        shelf->onError = [this](const QString &text) { printError(text); };
        shelf->onSend = [this](const PropertyList::Dictionary &clip) {
            return send(MessageEnvelope::make(MessageEnvelope::Type::Clip, PropertyList(clip)),
                        phoneEvent("sent", {{"what", QStringLiteral("clip")}}));
        };
        if (const auto opened = shelf->open(); !opened) {
            printError(opened.error().reason);
            return false;
        }
        _shelf = std::move(shelf);
    }
    _service.onOpen = [this](const QString &desk) { tell("opened", {{"desk", desk}}); };
    _service.onReceive = [this](const PropertyList &object) { didReceive(object); };
    _service.onClose = [this](const QString &desk) { tell("closed", {{"desk", desk}}); };
    _service.onPublish = [this](const QString &name) {
        QJsonObject line = phoneEvent("published", {{"name", name}});
        if (name != _options.name)
            line.insert(QStringLiteral("taken"), _options.name);
        print(line);
    };
    if (!_service.start()) {
        printError(QStringLiteral("cannot listen"));
        return false;
    }
    tell("listening", {{"name", _options.name}, {"port", _service.port()}});
    if (_shelf)
        _shelf->recover();
    return true;
}

void Phone::stop() {
    _service.stop();
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

void Phone::print(const QJsonObject &object) {
    onPrint(jsonLine(object));
}

void Phone::tell(const char *event, PhoneEntries entries) {
    print(phoneEvent(event, entries));
}

void Phone::printError(const QString &text) {
    tell("error", {{"text", text}});
}

void Phone::perform(const QByteArray &line) {
    using Verb = PhoneCommand::Verb;
    const PhoneCommand command = PhoneCommand::parse(QString::fromUtf8(line));
    switch (command.verb) {
    case Verb::Nothing:
        return;
    case Verb::Invalid:
        return printError(command.texts[0]);
    case Verb::Help:
        return help();
    case Verb::Quit:
        return onQuit();
    case Verb::Text:
        return sendTexts(command);
    case Verb::Url:
        return sendUrl(command);
    case Verb::Image:
        return sendImage(command);
    case Verb::PropertyList:
        return sendPropertyList(command.texts[0]);
    default: // is about what is kept
        if (_shelf)
            _shelf->perform(command);
        else
            printError(QStringLiteral("nothing is kept: start with --data DIR"));
    }
}

void Phone::help() {
    QJsonArray commands;
    for (const PhoneCommand::Usage &usage : PhoneCommand::usages()) {
        if (usage.needsFolder && !_shelf)
            continue;
        if (_options.isForPerson)
            onPrint(usage.form.leftJustified(32).toUtf8() + usage.purpose.toUtf8());
        commands.append(QJsonObject{{QStringLiteral("command"), usage.form},
                                    {QStringLiteral("purpose"), usage.purpose}});
    }
    if (!_options.isForPerson)
        tell("help", {{"commands", commands}});
}

void Phone::sendTexts(const PhoneCommand &command) {
    const auto length = [](qsizetype sum, const QString &text) { return sum + text.size(); };
    const qsizetype units =
        std::accumulate(command.texts.begin(), command.texts.end(), qsizetype(0), length);
    sendClip(*ZRKClipmuleData::initWithStrings(command.texts), command,
             phoneEvent("sent", {{"what", QStringLiteral("text")}, {"units", units}}));
}

void Phone::sendUrl(const PhoneCommand &command) {
    const QUrl url = urlFromForeignText(command.texts[0], QUrl::StrictMode);
    if (!url.isValid() || url.isRelative()) {
        printError(QStringLiteral("not a URL: %1").arg(command.texts[0]));
        return;
    }
    const auto item = std::make_shared<ZRKClipmuleDataItem>();
    item->setURL(url);
    sendClip(*ZRKClipmuleData::initWithItems({item}), command,
             phoneEvent("sent", {{"what", QStringLiteral("url")}}));
}

void Phone::sendImage(const PhoneCommand &command) {
    const auto bytes = contents(command.texts[0]);
    if (!bytes)
        return;
    const auto image = ImageCodec::describe(*bytes);
    if (!image) {
        printError(QStringLiteral("%1: no image of a known format").arg(command.texts[0]));
        return;
    }
    sendClip(*ZRKClipmuleData::initWithImageData(*bytes), command,
             phoneEvent("sent", {{"what", QStringLiteral("image")},
                                 {"format", QString::fromLatin1(image->format)},
                                 {"bytes", bytes->size()}}));
}

void Phone::sendPropertyList(const QString &path) {
    const auto bytes = contents(path);
    if (!bytes)
        return;
    const auto parsed = PropertyListSerialization::parse(*bytes);
    if (!parsed)
        printError(QStringLiteral("%1: %2").arg(path, parsed.error().reason));
    else
        send(*parsed, phoneEvent("sent", {{"what", QStringLiteral("plist")}}));
}

void Phone::sendClip(const ZRKClipmuleData &clip, const PhoneCommand &command, QJsonObject line) {
    if (command.forOtherPhones)
        line.insert(QStringLiteral("for"), QStringLiteral("other phones"));
    printUnlessSent(_service.send(clip, command.forOtherPhones, printedWhenSent(line)));
}

bool Phone::send(const PropertyList &envelope, const QJsonObject &line) {
    return printUnlessSent(_service.send(envelope, printedWhenSent(line)));
}

PhoneService::Fate Phone::printedWhenSent(const QJsonObject &line) {
    return {.onSent = [this, line](const QString &desk) {
        QJsonObject told = line;
        told.insert(QStringLiteral("desk"), desk);
        print(told);
    }};
}

bool Phone::printUnlessSent(bool isSent) {
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
