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
    if (!parsed.value) {
        if (parsed.error.isEmpty())
            fail(QStringLiteral("refused without a text"));
        return 0;
    }
    if (!parsed.error.isEmpty())
        fail(QStringLiteral("a value and an error: ") + parsed.error);
    const auto again =
        PropertyListSerialization::parseBinary(PropertyListSerialization::binary(*parsed.value));
    if (!again.value || !(*again.value == *parsed.value))
        fail(QStringLiteral("changed: ") + parsed.value->description());
    return 0;
}
