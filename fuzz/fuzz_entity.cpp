// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "filters/HtmlFilters.h"
#include "tests/filters/PlainPasses.h"

#include <cstdlib>
#include <cstring>
#include <iostream>

using namespace clipmule;
using namespace clipmule::kit;

namespace {

// The plain way is quadratic.
constexpr qsizetype longestForPlainWay = 4'000;

[[noreturn]] void fail(const char *what) {
    std::cerr << what << '\n';
    std::abort();
}

void check(const QString &text) {
    // Read once: the file is ours, and reading it takes longer than all else.
    static const HtmlEntityTable table = loadHtmlEntityTable();
    const auto decode = [](const QString &some) {
        return ZRKClipmuleDecodeHTMLEntitiesFilter::filterString(some, table);
    };
    const QString decoded = decode(text);
    if (decoded.size() > text.size())
        fail("longer than its references");
    if (text.size() <= longestForPlainWay && decoded != PlainPasses::decode(text, table))
        fail("other than the plain way");
    const QString encoded =
        ZRKClipmuleEncodeHTMLEntitiesFilter::filterString(text, false, false, table);
    for (const QChar character : encoded) {
        if (character.unicode() >= 128)
            fail("not encoded");
    }
    if (decode(encoded) != text)
        fail("changed");
}

} // namespace

// Any text is decoded as the plain way does it, and comes back after it was encoded: the bytes as
// UTF-8, and as UTF-16 with all that can be wrong in it.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t *bytes, size_t size) {
    check(QString::fromUtf8(reinterpret_cast<const char *>(bytes), qsizetype(size)));
    QString units(qsizetype(size / 2), Qt::Uninitialized);
    std::memcpy(units.data(), bytes, size / 2 * 2);
    check(units);
    return 0;
}
