// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include <QString>

namespace clipmule::PasteboardTargets {

/// Targets of the selection protocol itself and those that tell about the owner or name its
/// resources in the display server: never contents.
[[nodiscard]] bool isProtocol(const QString &target);

/// Contents that mean something only while their owner lives or inside it: pointers, keys of
/// file transfers, a toolkit's placeholder, the place that they were copied from. Useless
/// elsewhere, harmful when offered again, and nobody's business.
[[nodiscard]] bool isBoundToItsSession(const QString &target);

/// Lists of files and links under any of the names that file managers and browsers know them by.
[[nodiscard]] bool namesFiles(const QString &target);

/// Whether a name can be a target: printable ASCII, of a length that a display server takes.
[[nodiscard]] bool isValidName(const QString &target);

} // namespace clipmule::PasteboardTargets
