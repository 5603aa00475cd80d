// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/foundation/PropertyList.h"

#include <optional>

namespace clipmule {

/// What agent and phones exchange: a dictionary of one entry, whose key is the type of the message
/// as a decimal number and whose value is its payload.
namespace MessageEnvelope {

/// Whoever switches over it has no `default`, so that the compiler tells where one more is missing.
enum class Type : int {
    /// Agent to phone and back: a clip in dictionary form.
    Clip = 1,
    /// Phone to agent: a clip for the other phones.
    ClipForDevices = 2,
    /// Agent to phone: service name to device record, of every phone.
    ConnectedDevices = 3,
    /// Phone to agent: what the phone tells of itself.
    DeviceRecord = 4,
};

[[nodiscard]] PropertyList make(Type type, PropertyList payload);
/// The type whose number the last key begins with; nothing for any other key, and without one. A
/// value that is no dictionary raises a PlatformException.
[[nodiscard]] std::optional<Type> type(const PropertyList &envelope);
/// The value under the last key; null without keys.
[[nodiscard]] const PropertyList *payload(const PropertyList &envelope);

} // namespace MessageEnvelope

} // namespace clipmule
