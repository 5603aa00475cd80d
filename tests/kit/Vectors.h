// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include <QJsonObject>
#include <QStringList>

namespace clipmule::kit {

// The files of tests/data/vectors, by their path below it, as in its INDEX.md. A missing file ends
// the test program.

[[nodiscard]] QByteArray vectorBytes(const QString &name);

/// The names of the files in a folder of it, sorted.
[[nodiscard]] QStringList vectorsIn(const QString &folder);

/// The value that expected.json has for a file, in the form of typedJson(); empty when it has none.
[[nodiscard]] QJsonObject expectedValue(const QString &name);

} // namespace clipmule::kit
