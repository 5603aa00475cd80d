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

// Any bytes are read or refused with a text; what is read can be walked as a tree, and is written
// as a file that reads back as an equal value. What was refused alone may be a text to the
// detector.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t *bytes, size_t size) {
    const QByteArrayView input(bytes, qsizetype(size));
    const auto parsed = PropertyListSerialization::parseBinary(input);
    auto form = PropertyListSerialization::Format::Xml;
    const auto detected =
        PropertyListSerialization::parse(input, PropertyListSerialization::memoryPerByte, &form);
    if (!parsed) {
        if (parsed.error().reason.isEmpty())
            fail(QStringLiteral("refused without a text"));
        if (detected && form == PropertyListSerialization::Format::Binary)
            fail(QStringLiteral("refused and detected"));
        return 0;
    }
    // Values are compared as they are written: a date that is not a number equals no other.
    const QByteArray written = PropertyListSerialization::binary(*parsed);
    if (!detected)
        fail(QStringLiteral("not detected: ") + detected.error().reason);
    if (PropertyListSerialization::binary(*detected) != written)
        fail(QStringLiteral("detected as another value"));
    (void)parsed->hash();
    const auto again = PropertyListSerialization::parseBinary(written);
    // Our file may be smaller, and is then allowed to expand to less.
    if (!again && written.size() < input.size() && again.error().reason.contains(u"expand"))
        return 0;
    if (!again)
        fail(QStringLiteral("own output refused: ") + again.error().reason);
    if (PropertyListSerialization::binary(*again) != written)
        fail(QStringLiteral("changed: ") + parsed->description());
    return 0;
}
