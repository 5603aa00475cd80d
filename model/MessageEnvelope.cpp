// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "model/MessageEnvelope.h"

#include <limits>

namespace clipmule::MessageEnvelope {

PropertyList make(Type type, PropertyList payload) {
    return PropertyList(PropertyList::Dictionary{{QString::number(int(type)), std::move(payload)}});
}

std::optional<Type> type(const PropertyList &envelope) {
    const PropertyList::Dictionary &entries = envelope.dictionary();
    if (entries.isEmpty())
        return std::nullopt;
    const qint64 number = PropertyList(entries.lastKey()).integerValue();
    // A type is a C integer: a number that does not fit is none of the types.
    if (number < 0 || number > std::numeric_limits<qint32>::max())
        return std::nullopt;
    switch (const auto type = Type(int(number))) {
    case Type::Clip:
    case Type::ClipForDevices:
    case Type::ConnectedDevices:
    case Type::DeviceRecord:
        return type;
    }
    return std::nullopt;
}

const PropertyList *payload(const PropertyList &envelope) {
    const PropertyList::Dictionary &entries = envelope.dictionary();
    return entries.isEmpty() ? nullptr : &entries.last();
}

} // namespace clipmule::MessageEnvelope
