// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/power/SystemPowerBackends.h"

namespace clipmule {

namespace {

class NullPower final : public SystemPower {
public:
    bool registerForSystemPower(Callback) override { return false; }
    void deregisterForSystemPower() override {}
    void allowPowerChange(quint64) override {}
};

} // namespace

std::unique_ptr<SystemPower> makeNullPower() {
    return std::make_unique<NullPower>();
}

} // namespace clipmule
