// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/dnssd/DnsSd.h"

#include "platform/dnssd/Discovery.h"
#include "platform/dnssd/backends/bus/AvahiBusResponder.h"
#include "platform/dnssd/backends/core/AvahiCoreResponder.h"

namespace clipmule::dnssd {

std::unique_ptr<Backend> makeBackend() {
    return std::make_unique<Discovery>(std::make_unique<AvahiBusResponder>(),
                                       [] { return std::make_unique<AvahiCoreResponder>(); });
}

} // namespace clipmule::dnssd
