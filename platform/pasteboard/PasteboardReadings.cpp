// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/pasteboard/PasteboardReadings.h"

#include "platform/foundation/ForeignUrl.h"
#include "platform/pasteboard/Pasteboard.h"
#include "platform/pasteboard/RtfText.h"
#include "platform/propertylist/PropertyListSerialization.h"

#include <QStringDecoder>

namespace clipmule::PasteboardReadings {

namespace {

std::optional<QString> utf8(const QByteArray &data) {
    QStringDecoder decoder(QStringDecoder::Utf8);
    const QString text = decoder(data);
    if (decoder.hasError())
        return std::nullopt;
    return text;
}

bool isTextType(const QString &type) {
    static const QStringList types{
        PasteboardType::NSStringPboardType,
        PasteboardType::NSTabularTextPboardType,
        PasteboardType::NSMultipleTextSelectionPboardType,
        PasteboardType::NSInkTextPboardType,
        PasteboardType::publicHtml,
        PasteboardType::publicUrlName,
    };
    return types.contains(type) || type.startsWith(u"text/");
}

} // namespace

std::optional<QString> string(const QString &type, const QByteArray &data) {
    if (type == PasteboardType::NSRTFPboardType || type == PasteboardType::NSRTFDPboardType) {
        if (const std::optional<QString> text = textOfRtf(data))
            return text;
        // Bytes without markup are a text that somebody set for the type. Markup that cannot be
        // read is no text, nor is a rich-text folder.
        const bool isMarkup = QByteArrayView(data).trimmed().startsWith("{\\");
        const bool isFolder = type == PasteboardType::NSRTFDPboardType && data.startsWith("rtfd");
        return isMarkup || isFolder ? std::nullopt : utf8(data);
    }
    if (isTextType(type))
        return utf8(data);
    return std::nullopt;
}

std::optional<PropertyList> propertyList(const QString &type, const QByteArray &data) {
    const bool isFileList = type == PasteboardType::NSFilenamesPboardType;
    if (data.size() > longestFileList && isFileList)
        return std::nullopt;
    if (type == PasteboardType::publicUrlName) {
        if (data.size() > longestLink)
            return std::nullopt;
        if (const std::optional<QString> title = utf8(data))
            return PropertyList(*title);
        return std::nullopt;
    }
    const auto value = PropertyListSerialization::parse(data);
    if (!value || (isFileList && !value->isList()))
        return std::nullopt;
    return *value;
}

QStringList fileNames(const QByteArray &data) {
    QStringList names;
    if (data.size() > longestFileList)
        return names;
    const auto value = PropertyListSerialization::parse(data);
    const auto *list = value ? value->as<PropertyList::List>() : nullptr;
    if (!list)
        return names;
    for (const PropertyList &entry : *list) {
        const auto *name = entry.as<QString>();
        if (name && name->startsWith(u'/'))
            names.append(*name);
    }
    return names;
}

std::optional<QUrl> url(const QByteArray &data) {
    if (data.size() > longestLink)
        return std::nullopt;
    QString text;
    const auto value = PropertyListSerialization::parse(data);
    const auto *list = value ? value->as<PropertyList::List>() : nullptr;
    if (list && !list->isEmpty() && list->first().isString())
        text = list->first().string();
    else
        text = QString::fromUtf8(data).trimmed();
    const QUrl url = urlFromForeignText(text);
    if (!url.isValid() || url.scheme().isEmpty())
        return std::nullopt;
    return url;
}

QByteArray urlData(const QUrl &url) {
    return PropertyListSerialization::xml(
        PropertyList::List{QString::fromLatin1(url.toEncoded()), QString()});
}

} // namespace clipmule::PasteboardReadings
