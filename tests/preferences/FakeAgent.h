// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/dnssd/NetworkFacts.h"
#include "platform/session/StatusInterface.h"

namespace clipmule::kit {

/// An agent that runs or does not, and tells so a moment after it is asked.
class FakeStatusReader final : public StatusReader {
public:
    void start() override {
        if (!onBus || !answers)
            return;
        _answer = RunLoop::current().performAfter(RunLoop::Seconds(0.1), [this] {
            _told = true;
            if (onChange)
                onChange();
        });
    }
    [[nodiscard]] Agent agent() const override {
        if (!_told)
            return Agent::Unknown;
        return runs ? Agent::Running : Agent::NotRunning;
    }
    [[nodiscard]] const std::optional<AgentStatus> &status() const override {
        return _told && runs ? told : _nothing;
    }
    [[nodiscard]] bool hasBus() const override { return onBus; }

    /// From now on it tells this.
    void tell(const AgentStatus &status) {
        told = status;
        if (onChange)
            onChange();
    }

    bool runs = true;
    bool onBus = true;
    bool answers = true;
    std::optional<AgentStatus> told;

private:
    bool _told = false;
    std::optional<AgentStatus> _nothing;
    RunLoop::Timer _answer;
};

class FakeNetworkProbe final : public dnssd::NetworkProbe {
public:
    void look(std::function<void(const dnssd::NetworkFacts &)> answer) override {
        _answer = RunLoop::current().performAfter(answerTime, [this, answer] { answer(facts); });
    }
    dnssd::NetworkFacts facts;

private:
    RunLoop::Timer _answer;
};

} // namespace clipmule::kit
