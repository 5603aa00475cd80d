// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "preferences/PreferencesCommands.h"

#include "preferences/Doctor.h"
#include "preferences/StatusReport.h"

// The commands that tell how things stand.

namespace clipmule {

void PreferencesCommands::status() {
    if (_command.watches) {
        _settings->onChange = [this] { statusMayDiffer(); };
        _settings->start();
    }
    StatusReader &agent = _services.agent();
    agent.onChange = [this] { statusMayDiffer(); };
    agent.start();
    // An agent that does not answer is reported as such.
    _end = RunLoop::current().performAfter(agent.hasBus() ? patienceWithAgent : RunLoop::Seconds(0),
                                           [this] { printStatus(); });
}

void PreferencesCommands::statusMayDiffer() {
    if (_statusChange.isPending() || _services.agent().agent() == StatusReader::Agent::Unknown)
        return;
    _statusChange = RunLoop::current().performAfter(RunLoop::Seconds(0), [this] { printStatus(); });
}

void PreferencesCommands::printStatus() {
    _end.cancel();
    const StatusReader &agent = _services.agent();
    const StatusReport::Facts facts{.syncEnabled = _settings->isOn(Settings::Key::SyncEnabled),
                                    .pasteMode = _settings->pasteMode(),
                                    .agent = agent.agent(),
                                    .status = agent.status(),
                                    .phones = RegisteredPhones::phones(storedPhones()),
                                    .statistics = _settings->statistics()};
    if (_command.watches) {
        // A change is printed only if the report shows it: not everything that the agent tells is
        // part of it.
        if (const QJsonObject object = StatusReport::json(facts); object != _lastStatus) {
            printJson(object);
            _lastStatus = object;
        }
        return;
    }
    _services.agent().onChange = {};
    if (_command.asJson) {
        printJson(StatusReport::json(facts));
    } else {
        for (const QString &line : StatusReport::lines(facts))
            _services.print(line);
    }
    _services.finish(0);
}

void PreferencesCommands::doctor() {
    _settings->start();
    _phones = std::make_unique<PhoneList>(_services.dnssd(), *_settings);
    StatusReader &agent = _services.agent();
    agent.onChange = [this, &agent] { _phones->setAgentStatus(agent.status()); };
    _phones->start();
    agent.start();
    _services.network().look([this](const dnssd::NetworkFacts &facts) { _network = facts; });
    // What is there is found while the network is asked, which ends first.
    const RunLoop::Seconds least = dnssd::NetworkProbe::answerTime + RunLoop::Seconds(0.5);
    _end = RunLoop::current().performAfter(std::max(_command.wait.value_or(usualWait), least),
                                           [this] { finishDoctor(); });
}

void PreferencesCommands::finishDoctor() {
    StatusReader &agent = _services.agent();
    agent.onChange = {};
    Doctor::Facts facts = Doctor::factsOfThisSession();
    facts.version = _services.version;
    facts.hasSessionBus = agent.hasBus();
    facts.agent = agent.agent();
    facts.status = agent.status();
    facts.network = _network.value_or(dnssd::NetworkFacts());
    facts.syncEnabled = _settings->isOn(Settings::Key::SyncEnabled);
    facts.listIsReadable = RegisteredPhones::isList(storedPhones());
    facts.registered = _phones->registered();
    facts.available = _phones->available();
    _phones->stop();
    const Doctor::Report report = Doctor::examine(facts);
    if (_command.asJson) {
        printJson(report.json);
    } else {
        for (const QString &line : report.lines)
            _services.print(line);
    }
    _services.finish(report.problems.isEmpty() ? 0 : 1);
}

} // namespace clipmule
