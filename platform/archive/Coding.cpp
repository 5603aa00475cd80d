// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/archive/Coding.h"

namespace clipmule {

std::optional<QString> Decoder::decodeString(const QString &key) {
    return decodeObject(key).string();
}

std::optional<QUrl> Decoder::decodeUrl(const QString &key) {
    return decodeObject(key).url();
}

std::optional<Date> Decoder::decodeDate(const QString &key) {
    return decodeObject(key).date();
}

std::optional<QByteArray> Decoder::decodeData(const QString &key) {
    return decodeObject(key).data();
}

std::optional<PropertyList> Decoder::decodeNumber(const QString &key) {
    return decodeObject(key).number();
}

std::optional<PropertyList> Decoder::decodePropertyList(const QString &key) {
    return decodeObject(key).propertyList();
}

} // namespace clipmule
