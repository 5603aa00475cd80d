// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/foundation/Object.h"

namespace clipmule {

QString Object::description() const {
    return QStringLiteral("<object %1>").arg(quintptr(this), 0, 16);
}

} // namespace clipmule
