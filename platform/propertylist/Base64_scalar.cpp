// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/propertylist/Base64Kernel.h"

namespace clipmule::Base64 {

const Kernel *vectorKernel() {
    return nullptr;
}

} // namespace clipmule::Base64
