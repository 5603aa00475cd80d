// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/dnssd/ServiceRules.h"
#include "platform/dnssd/backends/local/Announcement.h"

#include <cstdlib>
#include <iostream>

using namespace clipmule;
using namespace clipmule::dnssd;

namespace {

[[noreturn]] void fail(const char *what) {
    std::cerr << what << '\n';
    std::abort();
}

} // namespace

// What a program of the session tells of its service is kept within what a service may be, and is
// told again in the same bytes.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    const QByteArray packet(reinterpret_cast<const char *>(data), qsizetype(size));
    const auto told = announcementIn(packet);
    if (!told) {
        if (told.error().reason.isEmpty())
            fail("refused without a reason");
        return 0;
    }
    if (!reasonToRefuse(told->service).isEmpty() || told->port == 0 ||
        !reasonToRefuseTxtRecord(told->txtRecord).isEmpty())
        fail("a service that cannot be");
    if (packet.size() > longestPacket || packetOf(*told) != packet)
        fail("other bytes");
    const QByteArray file = fileOf(told->service.name, told->service.type);
    if (!file.startsWith(fileBeginning) || file.size() != fileBeginning.size() + 32 ||
        file.contains('/') || file.contains('\0'))
        fail("no name of a file");
    return 0;
}
