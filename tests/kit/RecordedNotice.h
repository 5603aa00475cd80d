// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include <QString>
#include <QStringList>

namespace clipmule::kit {

/// Keeps the messages that it is asked to show.
struct RecordedNotice {
    void operator()(const QString &text) { messages.append(text); }
    QStringList messages;
};

} // namespace clipmule::kit
