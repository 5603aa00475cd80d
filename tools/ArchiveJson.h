// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/archive/ArchiveValue.h"
#include "platform/propertylist/JsonBudget.h"

#include <QJsonObject>

namespace clipmule {

// Archives as JSON, in the form of typedJson() with what archives have besides:
//
//   {"nil": true}  {"null": true}  {"url": "text"}
//   {"object": 7, "class": "name", "values": [[key, value], …]}, and where object 7 is met again
//   {"reference": 7}

/// Whether a property list says that it is a keyed archive.
[[nodiscard]] bool isKeyedArchive(const PropertyList &value);

/// The objects of a keyed archive from its root, of whatever classes. A PlatformException named
/// "InvalidArchive" when it is no such archive or one of the objects is malformed; what the budget
/// raises passes.
[[nodiscard]] QJsonObject archiveJson(const PropertyList &archive, JsonBudget budget);

/// A decoded value without objects of ours. What the budget raises passes.
[[nodiscard]] QJsonObject valueJson(const ArchiveValue &value, JsonBudget &budget);

} // namespace clipmule
