// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/foundation/PropertyList.h"

#include <optional>

namespace clipmule {

class NetService;

/// What a service says about itself in its TXT record. Each value is a string or, where the bytes
/// are no valid UTF-8, data.
using ServiceDictionary = PropertyList::Dictionary;

/// The service dictionary, as an extension of the platform's network service.
namespace ZRKNetServiceCategory {

/// Reads a TXT record. Nothing for no record and for one that no service can have (no bytes, or
/// more than 65535); empty for one that claims more bytes than it has. Of keys that are equal
/// without regard to case the first counts. An entry without "=" is a key with the empty string.
[[nodiscard]] std::optional<ServiceDictionary>
serviceDictionaryFromTXTData(const std::optional<QByteArray> &record);

/// Writes a TXT record. Nothing when one entry cannot be written: a key that is empty, not
/// printable ASCII or has a "=", a value that is neither string nor data, an entry of more than 255
/// bytes. Of keys that are equal without regard to case the last counts.
[[nodiscard]] std::optional<QByteArray>
txtDataFromServiceDictionary(const ServiceDictionary &dictionary);

/// The dictionary of the service's current TXT record.
[[nodiscard]] std::optional<ServiceDictionary> serviceDictionary(const NetService &service);
/// Sets the service's TXT record. A dictionary that cannot be written is logged and changes
/// nothing.
void setServiceDictionary(NetService &service, const ServiceDictionary &dictionary);

} // namespace ZRKNetServiceCategory

} // namespace clipmule
