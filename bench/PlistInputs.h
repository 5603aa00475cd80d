// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/foundation/PropertyList.h"

#include <QByteArray>

#include <vector>

namespace clipmule::bench {

/// Messages as they travel: an envelope with a clip.
struct PlistInput {
    /// "data", "ascii", "entities", "cjk", "items"
    QString name;
    PropertyList (*make)();
};
[[nodiscard]] const std::vector<PlistInput> &plistInputs();

/// Texts that would cost more than linear time if the reader went about them the wrong way.
struct Shape {
    QString name;
    /// Of about so many bytes.
    QByteArray (*make)(qsizetype size);
};
[[nodiscard]] const std::vector<Shape> &shapes();

} // namespace clipmule::bench
