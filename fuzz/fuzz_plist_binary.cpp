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
    const auto detected = PropertyListSerialization::parse(input);
    if (!parsed.value) {
        if (parsed.error.isEmpty())
            fail(QStringLiteral("refused without a text"));
        if (detected.value && detected.format == PropertyListSerialization::Format::Binary)
            fail(QStringLiteral("refused and detected"));
        return 0;
    }
    if (!parsed.error.isEmpty())
        fail(QStringLiteral("a value and an error: ") + parsed.error);
    // Values are compared as they are written: a date that is not a number equals no other.
    const QByteArray written = PropertyListSerialization::binary(*parsed.value);
    if (!detected.value || PropertyListSerialization::binary(*detected.value) != written)
        fail(QStringLiteral("not detected: ") + detected.error);
    (void)parsed.value->hash();
    const auto again = PropertyListSerialization::parseBinary(written);
    // Our file may be smaller, and is then allowed to expand to less.
    if (!again.value && written.size() < input.size() && again.error.contains(u"expand"))
        return 0;
    if (!again.value)
        fail(QStringLiteral("own output refused: ") + again.error);
    if (PropertyListSerialization::binary(*again.value) != written)
        fail(QStringLiteral("changed: ") + parsed.value->description());
    return 0;
}
