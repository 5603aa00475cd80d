// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "model/ZRKClipmuleClipboard.h"

namespace clipmule::kit {

using Clip = std::shared_ptr<ZRKClipmuleData>;
using Clipboard = std::shared_ptr<ZRKClipmuleClipboard>;

inline Clip textClip(const QString &text) {
    return ZRKClipmuleData::initWithString(text);
}

inline Clipboard named(const QString &title) {
    auto clipboard = std::make_shared<ZRKClipmuleClipboard>();
    clipboard->setTitle(title);
    return clipboard;
}

inline QStringList titles() {
    QStringList list;
    for (const auto &clipboard : ZRKClipmuleClipboard::customClipboards())
        list.append(clipboard->title().value_or(QStringLiteral("-")));
    return list;
}

inline QStringList texts(ZRKClipmuleClipboard &clipboard) {
    QStringList list;
    for (const auto &clip : clipboard.items())
        list.append(clip->firstItem()->string().value_or(QStringLiteral("-")));
    return list;
}

inline void insertCustom(const QStringList &names) {
    for (const QString &name : names)
        ZRKClipmuleClipboard::insertCustomClipboardAtIndex(
            named(name), ZRKClipmuleClipboard::customClipboards().size());
}

} // namespace clipmule::kit
