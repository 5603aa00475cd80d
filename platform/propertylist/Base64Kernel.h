// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/propertylist/Base64.h"

namespace clipmule::Base64 {

// The inner loops, one set for each kind of processor. A loop takes what suits it and leaves the
// rest, the end of the input above all, to Base64.cpp, so each may read and write whole blocks.

/// What is still to be encoded, and where to.
struct Encoding {
    const unsigned char *in;
    qsizetype left;
    char *out;
};

/// What is still to be decoded, and where to: there is always room for decodedBound(end - in).
struct Decoding {
    const unsigned char *in;
    const unsigned char *end;
    char *out;
};

struct Kernel {
    /// Writes full lines.
    void (*encodeLines)(Encoding &encoding, Lines lines);
    /// Decodes runs of the 64 characters and skips what else is ASCII between whole groups of four;
    /// stops before padding, before a group that is interrupted, and before bytes above 0x7f.
    void (*decodeRuns)(Decoding &decoding);
};

/// The loops for this processor's vector instructions; null where there are none.
[[nodiscard]] const Kernel *vectorKernel();

} // namespace clipmule::Base64
