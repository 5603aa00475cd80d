// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/foundation/PropertyList.h"

#include <QJsonObject>
#include <QString>

namespace clipmule {

/// What the phone stand-in prints about what it received: one JSON object a message.
///
/// A clip's images are described (format, size in bytes and pixels, SHA-256) and, where a folder
/// is given, written there; other bytes are described by their number and digest. Everything else
/// is printed in full.
class PhoneLog {
public:
    /// An empty folder saves nothing. The folder is made when the first image comes.
    explicit PhoneLog(QString saveFolder)
        : _saveFolder(std::move(saveFolder)) {}

    /// Of one message envelope; anything else gives an "object" event.
    [[nodiscard]] QJsonObject received(const PropertyList &envelope);
    /// Of a clip in dictionary form.
    [[nodiscard]] QJsonObject clip(const PropertyList::Dictionary &clip);

private:
    [[nodiscard]] QJsonObject item(const PropertyList::Dictionary &item);
    [[nodiscard]] QJsonObject image(const QByteArray &bytes);

    QString _saveFolder;
    int _savedImages = 0;
};

} // namespace clipmule
