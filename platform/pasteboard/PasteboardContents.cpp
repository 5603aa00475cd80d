// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/pasteboard/PasteboardContents.h"

#include <algorithm>

namespace clipmule {

PasteboardContents::PasteboardContents(const QList<Representation> &representations) {
    for (const Representation &representation : representations) {
        if (!contains(representation.type))
            _representations.append(representation);
    }
}

QStringList PasteboardContents::types() const {
    QStringList types;
    for (const Representation &representation : _representations)
        types.append(representation.type);
    return types;
}

bool PasteboardContents::contains(const QString &type) const {
    return std::any_of(
        _representations.begin(), _representations.end(),
        [&](const Representation &representation) { return representation.type == type; });
}

std::optional<QByteArray> PasteboardContents::data(const QString &type) const {
    for (const Representation &representation : _representations) {
        if (representation.type == type)
            return representation.data;
    }
    return std::nullopt;
}

void PasteboardContents::declare(const QString &type) {
    if (!contains(type))
        _representations.append({type, std::nullopt});
}

void PasteboardContents::set(const QString &type, const QByteArray &data) {
    for (Representation &representation : _representations) {
        if (representation.type == type) {
            representation.data = data;
            return;
        }
    }
    _representations.append({type, data});
}

PasteboardContents PasteboardContents::withoutEmptyDeclarations() const {
    PasteboardContents result;
    for (const Representation &representation : _representations) {
        if (representation.data)
            result._representations.append(representation);
    }
    return result;
}

} // namespace clipmule
