// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/propertylist/PropertyListSerialization.h"

#include <cstdlib>
#include <iostream>

using clipmule::PropertyListSerialization;

namespace {

[[noreturn]] void fail(const QString &what) {
    std::cerr << what.toStdString() << '\n';
    std::abort();
}

} // namespace

// Any bytes are read or refused with a text; what is read survives the binary form.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t *bytes, size_t size) {
    const auto parsed =
        PropertyListSerialization::parseOpenStep(QByteArrayView(bytes, qsizetype(size)));
    if (!parsed) {
        if (parsed.error().reason.isEmpty())
            fail(QStringLiteral("refused without a text"));
        return 0;
    }
    const auto again =
        PropertyListSerialization::parseBinary(PropertyListSerialization::binary(*parsed));
    if (!again || !(*again == *parsed))
        fail(QStringLiteral("changed: ") + parsed->description());
    return 0;
}
