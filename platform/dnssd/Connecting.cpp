// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/dnssd/Connecting.h"

#include "platform/streams/SocketStreams.h"

namespace clipmule::dnssd {

StreamPair connectToEndpoints(const Resolved &resolved) {
    QList<SocketEndpoint> endpoints;
    for (const Endpoint &endpoint : resolved.endpoints)
        endpoints.append({endpoint.address, endpoint.port});
    return connectingStreamPair(endpoints, connectTimeout);
}

} // namespace clipmule::dnssd
