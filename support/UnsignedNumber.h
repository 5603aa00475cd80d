// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/foundation/Object.h"

namespace clipmule {

/// A number as the object of a notification. Equal to every other of the same value, but not the
/// same sender.
class UnsignedNumber final : public Object {
public:
    explicit UnsignedNumber(quint32 value)
        : _value(value) {}

    [[nodiscard]] quint32 value() const { return _value; }
    [[nodiscard]] bool isEqual(const Object &other) const override;
    [[nodiscard]] QString description() const override { return QString::number(_value); }

private:
    quint32 _value;
};

} // namespace clipmule
