// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include <QtGlobal>

namespace clipmule {

/// The character of a byte in the NeXTSTEP 8-bit set, which old text property lists and old font
/// archives still use. ASCII below 80; U+FFFD for FE and FF, which are not assigned.
[[nodiscard]] char16_t characterFromNextStep(quint8 byte);

} // namespace clipmule
