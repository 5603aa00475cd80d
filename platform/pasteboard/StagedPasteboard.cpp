// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/pasteboard/StagedPasteboard.h"

#include "platform/pasteboard/PasteboardReadings.h"
#include "platform/propertylist/PropertyListSerialization.h"

namespace clipmule {

const PasteboardContents &StagedPasteboard::readable() const {
    willRead();
    return _staged ? *_staged : _contents;
}

QStringList StagedPasteboard::types() const {
    return readable().types();
}

std::optional<QByteArray> StagedPasteboard::dataForType(const QString &type) const {
    return readable().data(type);
}

std::optional<QString> StagedPasteboard::stringForType(const QString &type) const {
    const std::optional<QByteArray> data = readable().data(type);
    return data ? PasteboardReadings::string(type, *data) : std::nullopt;
}

std::optional<PropertyList> StagedPasteboard::propertyListForType(const QString &type) const {
    const std::optional<QByteArray> data = readable().data(type);
    return data ? PasteboardReadings::propertyList(type, *data) : std::nullopt;
}

std::optional<QUrl> StagedPasteboard::url() const {
    const std::optional<QByteArray> data = readable().data(PasteboardType::NSURLPboardType);
    return data ? PasteboardReadings::url(*data) : std::nullopt;
}

void StagedPasteboard::declareTypes(const QStringList &types) {
    _staged = PasteboardContents();
    addTypes(types);
}

void StagedPasteboard::addTypes(const QStringList &types) {
    if (!_staged)
        return;
    for (const QString &type : types)
        _staged->declare(type);
}

void StagedPasteboard::setDataForType(const QByteArray &data, const QString &type) {
    if (_staged)
        _staged->set(type, data);
}

void StagedPasteboard::setStringForType(const QString &string, const QString &type) {
    setDataForType(string.toUtf8(), type);
}

void StagedPasteboard::setPropertyListForType(const PropertyList &value, const QString &type) {
    // A title is text on every desktop; see PasteboardReadings::propertyList().
    if (type == PasteboardType::publicUrlName && value.isString())
        setStringForType(value.string(), type);
    else
        setDataForType(PropertyListSerialization::xml(value), type);
}

void StagedPasteboard::writeUrl(const QUrl &url) {
    setDataForType(PasteboardReadings::urlData(url), PasteboardType::NSURLPboardType);
}

void StagedPasteboard::commit() {
    if (!_staged)
        return;
    _contents = _staged->withoutEmptyDeclarations();
    _staged.reset();
    moveChangeCount();
    publish();
}

void StagedPasteboard::releaseContents() {
    constexpr qsizetype largestKept = 1024 * 1024;
    qsizetype size = 0;
    for (const PasteboardContents::Representation &representation : _contents.representations())
        size += representation.data ? representation.data->size() : 0;
    if (size > largestKept && !ownsContents())
        setContents({});
}

} // namespace clipmule
