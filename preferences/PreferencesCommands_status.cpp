// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "preferences/PreferencesCommands.h"

#include "preferences/Doctor.h"
#include "preferences/StatusReport.h"

// The commands that tell how things stand.

namespace clipmule {

namespace {

using Domain = PreferencesCommand::Domain;

} // namespace

void PreferencesCommands::status() {
    if (_command.watches) {
        for (const Domain domain : {Domain::Shared, Domain::Agent, Domain::Statistics})
            open(domain)->listenForChanges();
        ZRKNotificationCenter::platformDefault().addObserver(
            this, selector<&PreferencesCommands::statusMayDiffer>("statusMayDiffer"),
            ZRKUserDefaultsDidChangeNotification);
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
    const auto shared = open(Domain::Shared);
    const auto statistics = open(Domain::Statistics);
    using Settings::Key;
    const StatusReport::Facts facts{
        .syncEnabled = isEnabled(),
        .pasteMode = Settings::pasteMode(*shared),
        .agent = agent.agent(),
        .status = agent.status(),
        .phones = RegisteredPhones::phones(storedPhones()),
        .bytesSent = Settings::count(*statistics, Key::DataSent),
        .bytesReceived = Settings::count(*statistics, Key::DataReceived),
        .texts = quint32(Settings::count32(*statistics, Key::TextItems)),
        .images = quint32(Settings::count32(*statistics, Key::ImageItems))};
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
    const auto stores = SettingsStores::open(_services.preferences);
    if (!stores)
        return;
    _phones =
        std::make_unique<PhoneList>(_services.dnssd(), *_services.preferences.database, *stores);
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
    facts.syncEnabled = isEnabled();
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
