// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/dnssd/DnsSdFactory.h"

#include "platform/dnssd/Discovery.h"
#include "platform/dnssd/backends/bus/AvahiBusResponder.h"
#include "platform/dnssd/backends/core/AvahiCoreResponder.h"

namespace clipmule::dnssd {

std::unique_ptr<Backend> makeAutoBackend() {
    return std::make_unique<AutoBackend>(makeAvahiBusBackend(),
                                         [] { return makeAvahiCoreBackend(); });
}

std::unique_ptr<WatchedBackend> makeAvahiBusBackend(const QString &busAddress) {
    return std::make_unique<AvahiBusBackend>(busAddress);
}

std::unique_ptr<Backend> makeAvahiCoreBackend() {
    return std::make_unique<AvahiCoreBackend>();
}

} // namespace clipmule::dnssd
