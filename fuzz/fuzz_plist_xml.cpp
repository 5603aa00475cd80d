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

// Any bytes are read or refused with a text; what is read is written as a document that reads back
// as an equal value, and that is written the same again.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t *bytes, size_t size) {
    const auto parsed = PropertyListSerialization::parseXml(QByteArrayView(bytes, qsizetype(size)));
    if (!parsed) {
        if (parsed.error().reason.isEmpty())
            fail(QStringLiteral("refused without a text"));
        return 0;
    }
    const QByteArray written = PropertyListSerialization::xml(*parsed);
    const auto again = PropertyListSerialization::parseXml(written);
    if (!again)
        fail(QStringLiteral("own output refused: ") + again.error().reason);
    if (!(*again == *parsed))
        fail(QStringLiteral("changed: ") + parsed->description());
    if (PropertyListSerialization::xml(*again) != written)
        fail(QStringLiteral("written differently the second time"));
    return 0;
}
