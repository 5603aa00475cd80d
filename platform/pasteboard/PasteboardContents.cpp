// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/pasteboard/PasteboardContents.h"

namespace clipmule {

PasteboardContents::PasteboardContents(const QList<Representation> &representations) {
    for (const Representation &representation : representations) {
        if (contains(representation.type))
            continue;
        declare(representation.type);
        _representations.last().data = representation.data;
    }
}

QStringList PasteboardContents::types() const {
    QStringList types;
    for (const Representation &representation : _representations)
        types.append(representation.type);
    return types;
}

bool PasteboardContents::contains(const QString &type) const {
    return _places.contains(type);
}

std::optional<QByteArray> PasteboardContents::data(const QString &type) const {
    const auto place = _places.constFind(type);
    return place == _places.cend() ? std::nullopt : _representations.at(*place).data;
}

void PasteboardContents::declare(const QString &type) {
    if (contains(type))
        return;
    _places.insert(type, _representations.size());
    _representations.append({type, std::nullopt});
}

void PasteboardContents::set(const QString &type, const QByteArray &data) {
    declare(type);
    _representations[_places.value(type)].data = data;
}

PasteboardContents PasteboardContents::withoutEmptyDeclarations() const {
    PasteboardContents result;
    for (const Representation &representation : _representations) {
        if (representation.data)
            result.set(representation.type, *representation.data);
    }
    return result;
}

} // namespace clipmule
