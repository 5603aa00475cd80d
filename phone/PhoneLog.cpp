// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "phone/PhoneLog.h"

#include "model/DataFile.h"
#include "net/OutputObject.h"
#include "platform/foundation/PlatformException.h"
#include "platform/images/ImageCodec.h"
#include "platform/propertylist/TypedJson.h"

#include <QCryptographicHash>
#include <QDir>
#include <QJsonArray>

namespace clipmule {

namespace {

const QString clipEvent = QStringLiteral("clip");

QJsonValue plain(const PropertyList &value);

QJsonObject described(const QByteArray &bytes) {
    return {
        {QStringLiteral("bytes"), bytes.size()},
        {QStringLiteral("sha256"),
         QString::fromLatin1(QCryptographicHash::hash(bytes, QCryptographicHash::Sha256).toHex())}};
}

QJsonObject plain(const PropertyList::Dictionary &dictionary) {
    QJsonObject object;
    for (const auto &[key, value] : dictionary.asKeyValueRange())
        object.insert(key, plain(value));
    return object;
}

QJsonValue plain(const PropertyList &value) {
    switch (value.kind()) {
    case PropertyList::Kind::String:
        return value.string();
    case PropertyList::Kind::Boolean:
        return value.boolean();
    case PropertyList::Kind::Integer:
        return value.integerValue();
    case PropertyList::Kind::UnsignedInteger:
        return QString::number(value.unsignedValue());
    case PropertyList::Kind::Real:
        return value.real();
    case PropertyList::Kind::Date:
        return value.date().toDateTime().toString(Qt::ISODateWithMs);
    case PropertyList::Kind::Data:
        return described(value.data());
    case PropertyList::Kind::List: {
        QJsonArray array;
        for (const PropertyList &element : value.list())
            array.append(plain(element));
        return array;
    }
    case PropertyList::Kind::Dictionary:
        return plain(value.dictionary());
    case PropertyList::Kind::Uid:
        return qint64(value.uid().value);
    }
    Q_UNREACHABLE();
}

// The event of a message, which is also the key under which its payload is shown.
QString eventOf(const PropertyList &envelope) {
    using Type = MessageEnvelope::Type;
    const QString object = QStringLiteral("object");
    const auto *entries = envelope.as<PropertyList::Dictionary>();
    if (!entries || entries->size() != 1 || !entries->first().isDictionary())
        return object;
    const std::optional<Type> type = MessageEnvelope::type(envelope);
    if (!type)
        return object;
    switch (*type) {
    case Type::Clip:
        return clipEvent;
    case Type::ConnectedDevices:
        return QStringLiteral("devices");
    case Type::ClipForDevices:
    case Type::DeviceRecord: // are for the desk only
        return object;
    }
    Q_UNREACHABLE();
}

} // namespace

QJsonObject phoneEvent(const char *event, PhoneEntries entries) {
    QJsonObject line{{QStringLiteral("event"), QString::fromLatin1(event)}};
    for (const auto &[key, value] : entries)
        line.insert(QLatin1String(key), value);
    return line;
}

QJsonObject PhoneLog::received(const PropertyList &envelope) {
    const QString event = eventOf(envelope);
    const bool isClip = event == clipEvent;
    const auto *entries = envelope.as<PropertyList::Dictionary>();
    const bool isMessage = entries && entries->size() == 1;
    QJsonObject line;
    try {
        JsonBudget(mostUnits, mostValues).take(envelope);
    } catch (const PlatformException &exception) {
        line.insert(QStringLiteral("event"), isClip ? event : QStringLiteral("object"));
        line.insert(QStringLiteral("refused"), exception.reason());
        if (isClip)
            line.insert(QStringLiteral("type"), entries->firstKey());
        return line;
    }
    if (isMessage)
        line.insert(QStringLiteral("type"), entries->firstKey());
    const PropertyList &payload = isMessage ? entries->first() : envelope;
    line.insert(QStringLiteral("event"), event);
    line.insert(event, isClip ? QJsonValue(clip(payload.dictionary())) : plain(payload));
    return line;
}

QJsonObject PhoneLog::clip(const PropertyList::Dictionary &clip) {
    QJsonObject object;
    for (const auto &[key, value] : clip.asKeyValueRange()) {
        const auto *items = value.as<PropertyList::List>();
        if (key != u"items" || !items) {
            object.insert(key, plain(value));
            continue;
        }
        QJsonArray array;
        for (const PropertyList &element : *items) {
            const auto *dictionary = element.as<PropertyList::Dictionary>();
            array.append(dictionary ? QJsonValue(item(*dictionary)) : plain(element));
        }
        object.insert(key, array);
    }
    return object;
}

QJsonObject PhoneLog::item(const PropertyList::Dictionary &item) {
    QJsonObject object;
    for (const auto &[key, value] : item.asKeyValueRange()) {
        const auto *bytes = value.as<QByteArray>();
        object.insert(key, key == u"imageData" && bytes ? QJsonValue(image(*bytes)) : plain(value));
    }
    return object;
}

QJsonObject PhoneLog::image(const QByteArray &bytes) {
    QJsonObject object = described(bytes);
    const auto image = ImageCodec::describe(bytes).value_or(ImageCodec::Description());
    const QString format = QString::fromLatin1(image.format);
    object.insert(QStringLiteral("format"), format);
    object.insert(QStringLiteral("width"), image.size.width());
    object.insert(QStringLiteral("height"), image.size.height());
    if (_saveFolder.isEmpty())
        return object;
    const QDir folder(_saveFolder);
    const QString extension = format.isEmpty() ? QStringLiteral("bin") : format;
    QString name;
    // Files that an earlier run has saved stay.
    do {
        name = QStringLiteral("image-%1.%2")
                   .arg(++_savedImages, 4, 10, QLatin1Char('0'))
                   .arg(extension);
    } while (folder.exists(name));
    const QString path = folder.filePath(name);
    if (const auto written = DataFile::write(path, bytes))
        object.insert(QStringLiteral("file"), path);
    else
        object.insert(QStringLiteral("error"), written.error().reason);
    return object;
}

} // namespace clipmule
