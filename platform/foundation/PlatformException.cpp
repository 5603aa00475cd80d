// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/foundation/PlatformException.h"

namespace clipmule {

PlatformException::PlatformException(QString name, QString reason)
    : _name(std::move(name))
    , _reason(std::move(reason))
    , _what((_name + QStringLiteral(": ") + _reason).toUtf8()) {}

} // namespace clipmule
