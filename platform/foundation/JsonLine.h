// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include <QByteArray>
#include <QJsonObject>

namespace clipmule {

/// An object as one line of JSON, without a line end, in UTF-8. It may go to a terminal: control
/// characters, DEL and C1 among them, separators of lines and format characters, the bidirectional
/// ones among them, are escaped ("\u202e"), which readers of JSON undo.
[[nodiscard]] QByteArray jsonLine(const QJsonObject &object);

} // namespace clipmule
