// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/foundation/PropertyList.h"

#include <QJsonObject>
#include <QString>

#include <initializer_list>
#include <utility>

namespace clipmule {

using PhoneEntries = std::initializer_list<std::pair<const char *, QJsonValue>>;
/// A line that the phone stand-in prints: the event, and what there is to say about it.
[[nodiscard]] QJsonObject phoneEvent(const char *event, PhoneEntries entries = {});

/// What the phone stand-in prints about what it received: one JSON object a message.
///
/// A clip's images are described (format, size in bytes and pixels, SHA-256) and, where a folder
/// is given, written there for this user alone; other bytes are described by their number and
/// digest. Everything else is printed in full, unless that would be far more than was received: a
/// small message may refer to one text from many places.
class PhoneLog {
public:
    // Limits for one message: values, and UTF-16 units of its texts with two for each byte of its
    // data. A clip of ten thousand items has some eighty thousand values; the largest frame's bytes
    // fit.
    static constexpr qint64 mostValues = 250'000;
    static constexpr qint64 mostUnits = qint64(192) * 1024 * 1024;

    /// An empty folder saves nothing. The folder is made when the first image comes.
    explicit PhoneLog(QString saveFolder)
        : _saveFolder(std::move(saveFolder)) {}

    /// The event for one message envelope; anything else gives an "object" event. What is too much
    /// to be shown is told as "refused", and no image of it is written.
    [[nodiscard]] QJsonObject received(const PropertyList &envelope);
    /// The description of a clip in dictionary form.
    [[nodiscard]] QJsonObject clip(const PropertyList::Dictionary &clip);

private:
    [[nodiscard]] QJsonObject item(const PropertyList::Dictionary &item);
    [[nodiscard]] QJsonObject image(const QByteArray &bytes);

    QString _saveFolder;
    int _savedImages = 0;
};

} // namespace clipmule
