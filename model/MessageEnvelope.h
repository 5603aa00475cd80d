// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/foundation/PropertyList.h"

namespace clipmule {

/// What agent and phones exchange: a dictionary of one entry, whose key is the type of the message
/// as a decimal number and whose value is its payload.
namespace MessageEnvelope {

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
/// The number that the last key begins with; 0, which is no type, without keys or digits. A value
/// that is no dictionary raises a PlatformException.
[[nodiscard]] Type type(const PropertyList &envelope);
/// The value under the last key; null without keys.
[[nodiscard]] const PropertyList *payload(const PropertyList &envelope);

} // namespace MessageEnvelope

} // namespace clipmule
