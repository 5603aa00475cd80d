// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "preferences/PreferencesCommands.h"

#include "platform/foundation/PropertyListSerialization.h"
#include "platform/preferences/PreferencesDatabase.h"
#include "preferences/Doctor.h"
#include "preferences/SettingsStores.h"
#include "preferences/ShownText.h"
#include "support/ApplicationDefaults.h"
#include "support/RegisteredPhones.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLocale>

#include <algorithm>
#include <limits>

namespace clipmule {

namespace {

using Domain = PreferencesCommand::Domain;
using Kind = PreferencesCommand::Kind;

const QString phoneType = QStringLiteral("_clipmule-s2._tcp");
const QString agentName = QStringLiteral("com.zendrik.ClipmuleSync");

using ShownText::onOneLine;

// Plain words for plain values, the XML form for the others.
QString shown(const PropertyList &value) {
    switch (value.kind()) {
    case PropertyList::Kind::String:
        return value.string();
    case PropertyList::Kind::Boolean:
        return value.boolean() ? QStringLiteral("true") : QStringLiteral("false");
    case PropertyList::Kind::Integer:
        return QString::number(value.integerValue());
    case PropertyList::Kind::UnsignedInteger:
        return QString::number(value.unsignedValue());
    case PropertyList::Kind::Real:
        return QString::number(value.real(), 'g', QLocale::FloatingPointShortest);
    default:
        return QString::fromUtf8(PropertyListSerialization::xml(value)).trimmed();
    }
}

QString compact(const QJsonObject &object) {
    return QString::fromUtf8(QJsonDocument(object).toJson(QJsonDocument::Compact));
}

QJsonArray asJson(const QList<RegisteredPhones::Phone> &phones) {
    QJsonArray result;
    for (const auto &phone : phones)
        result.append(QJsonObject{{QStringLiteral("service"), phone.service},
                                  {QStringLiteral("name"), phone.name}});
    return result;
}

// JSON has signed numbers only.
QJsonObject countersAsJson(const ZRKUserDefaults &statistics) {
    using Settings::Key;
    constexpr quint64 largest = quint64(std::numeric_limits<qint64>::max());
    QJsonObject counters;
    for (const Key key : {Key::DataSent, Key::DataReceived})
        counters.insert(Settings::nameOf(key),
                        qint64(std::min(Settings::count(statistics, key), largest)));
    for (const Key key : {Key::ImageItems, Key::TextItems})
        counters.insert(Settings::nameOf(key), qint64(quint32(Settings::count32(statistics, key))));
    return counters;
}

} // namespace

PreferencesCommands::PreferencesCommands(Services services)
    : _services(std::move(services)) {}

PreferencesCommands::~PreferencesCommands() {
    _phones.reset();
    // The shared store stands on the services.
    ZRKUserDefaults::setEnvironment({});
}

void PreferencesCommands::perform(const PreferencesCommand &command) {
    _command = command;
    if (!open(Domain::Shared)) {
        fail(QStringLiteral("the installation is incomplete: Info.plist names no shared domain"));
        return;
    }
    switch (command.kind) {
    case Kind::Discover:
        discover();
        return;
    case Kind::Register:
        registerPhone();
        return;
    case Kind::Unregister:
        unregisterPhone();
        return;
    case Kind::List:
        list();
        return;
    case Kind::Get:
        get();
        return;
    case Kind::Set:
        write(command.domain, command.key, command.value, QString());
        return;
    case Kind::Enable:
        setEnabled(true);
        return;
    case Kind::Disable:
        setEnabled(false);
        return;
    case Kind::Status:
        status();
        return;
    case Kind::Doctor:
        doctor();
        return;
    case Kind::Help:
    case Kind::Version:
        _services.finish(0);
        return;
    }
}

void PreferencesCommands::discover() {
    _browser = std::make_unique<NetServiceBrowser>(_services.dnssd());
    NetServiceBrowser::Delegate delegate;
    delegate.didFindService = [this](const std::shared_ptr<NetService> &service) {
        found(service->name());
    };
    _browser->setDelegate(std::move(delegate));
    _end = RunLoop::current().performAfter(_command.wait, [this] {
        _browser->stop();
        if (_found.isEmpty())
            _services.complain(
                QStringLiteral("no phone was seen in %1 seconds").arg(_command.wait.count()));
        _services.finish(0);
    });
    _browser->searchForServicesOfTypeInDomain(phoneType, QStringLiteral("local."));
}

void PreferencesCommands::found(const QString &service) {
    if (_found.contains(service) || _found.size() == mostDiscovered)
        return;
    _found.insert(service);
    const bool isRegistered = registeredServices().contains(service);
    if (_command.asJson)
        _services.print(compact(
            {{QStringLiteral("service"), service}, {QStringLiteral("registered"), isRegistered}}));
    else
        _services.print(isRegistered ? onOneLine(service) + QStringLiteral("\tregistered")
                                     : onOneLine(service));
}

void PreferencesCommands::registerPhone() {
    const auto stored = open(Domain::Shared)->objectForKey(RegisteredPhones::key());
    if (!RegisteredPhones::isList(stored)) {
        fail(QStringLiteral("\"serverServices\" holds %1 instead of a list; nothing was changed")
                 .arg(PropertyList::nameOfKind(stored->kind())));
        return;
    }
    const PropertyList changed =
        RegisteredPhones::changed(stored, _command.service, {.name = _command.name});
    for (const auto &phone : RegisteredPhones::phones(changed)) {
        if (phone.service == _command.service) {
            write(Domain::Shared, RegisteredPhones::key(), changed,
                  QStringLiteral("registered %1 as %2").arg(phone.service, onOneLine(phone.name)));
            return;
        }
    }
}

void PreferencesCommands::unregisterPhone() {
    const auto stored = open(Domain::Shared)->objectForKey(RegisteredPhones::key());
    if (!registeredServices().contains(_command.service)) {
        fail(QStringLiteral("%1 is not registered").arg(_command.service));
        return;
    }
    write(Domain::Shared, RegisteredPhones::key(),
          RegisteredPhones::removed(stored, _command.service),
          QStringLiteral("unregistered %1").arg(_command.service));
}

void PreferencesCommands::list() {
    const auto phones =
        RegisteredPhones::phones(open(Domain::Shared)->objectForKey(RegisteredPhones::key()));
    for (const auto &phone : phones) {
        if (_command.asJson)
            _services.print(compact({{QStringLiteral("service"), phone.service},
                                     {QStringLiteral("name"), phone.name}}));
        else
            _services.print(onOneLine(phone.service) + u'\t' + onOneLine(phone.name));
    }
    _services.finish(0);
}

void PreferencesCommands::get() {
    const auto value = open(_command.domain)->objectForKey(_command.key);
    if (!value) {
        fail(QStringLiteral("%1 is not set").arg(_command.key));
        return;
    }
    _services.print(shown(*value));
    _services.finish(0);
}

void PreferencesCommands::setEnabled(bool enabled) {
    write(Domain::Agent, Settings::nameOf(Settings::Key::SyncEnabled), enabled,
          enabled ? QStringLiteral("synchronisation is enabled")
                  : QStringLiteral("synchronisation is disabled"));
}

void PreferencesCommands::status() {
    _services.findOwner(agentName, [this](std::optional<bool> agentRuns) {
        if (_command.asJson)
            printStatusAsJson(agentRuns);
        else
            printStatus(agentRuns);
        _services.finish(0);
    });
}

void PreferencesCommands::printStatus(std::optional<bool> agentRuns) {
    const auto phones =
        RegisteredPhones::phones(open(Domain::Shared)->objectForKey(RegisteredPhones::key()));
    const auto statistics = open(Domain::Statistics);
    _services.print(isEnabled() ? QStringLiteral("synchronisation: enabled")
                                : QStringLiteral("synchronisation: disabled"));
    _services.print(!agentRuns   ? QStringLiteral("agent: unknown (no session bus)")
                    : *agentRuns ? QStringLiteral("agent: running")
                                 : QStringLiteral("agent: not running"));
    _services.print(QStringLiteral("registered phones: %1").arg(phones.size()));
    for (const auto &phone : phones)
        _services.print(u'\t' + onOneLine(phone.service) + u'\t' + onOneLine(phone.name));
    _services.print(QStringLiteral("sent: %1 bytes, received: %2 bytes")
                        .arg(Settings::count(*statistics, Settings::Key::DataSent))
                        .arg(Settings::count(*statistics, Settings::Key::DataReceived)));
    _services.print(QStringLiteral("clips: %1 text, %2 images")
                        .arg(quint32(Settings::count32(*statistics, Settings::Key::TextItems)))
                        .arg(quint32(Settings::count32(*statistics, Settings::Key::ImageItems))));
}

void PreferencesCommands::printStatusAsJson(std::optional<bool> agentRuns) {
    const auto statistics = open(Domain::Statistics);
    const QJsonObject counters = countersAsJson(*open(Domain::Statistics));
    const auto phones =
        RegisteredPhones::phones(open(Domain::Shared)->objectForKey(RegisteredPhones::key()));
    _services.print(compact({{QStringLiteral("enabled"), isEnabled()},
                             {QStringLiteral("agentRuns"),
                              agentRuns ? QJsonValue(*agentRuns) : QJsonValue(QJsonValue::Null)},
                             {QStringLiteral("phones"), asJson(phones)},
                             {QStringLiteral("statistics"), counters}}));
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
    _end =
        RunLoop::current().performAfter(std::max(_command.wait, least), [this] { finishDoctor(); });
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
    facts.listIsReadable =
        RegisteredPhones::isList(open(Domain::Shared)->objectForKey(RegisteredPhones::key()));
    facts.registered = _phones->registered();
    facts.available = _phones->available();
    _phones->stop();
    const Doctor::Report report = Doctor::examine(facts);
    if (_command.asJson) {
        _services.print(compact(report.json));
    } else {
        for (const QString &line : report.lines)
            _services.print(line);
    }
    _services.finish(report.problems.isEmpty() ? 0 : 1);
}

std::shared_ptr<ZRKUserDefaults> PreferencesCommands::open(Domain domain) {
    std::shared_ptr<ZRKUserDefaults> &store = _stores[domain];
    if (store)
        return store;
    if (domain == Domain::Shared) {
        ZRKUserDefaults::setEnvironment(_services.preferences);
        store = ZRKUserDefaults::standardUserDefaults();
        return store;
    }
    store =
        SettingsStores::openPlain(domain == Domain::Agent ? ApplicationDefaults::identifier()
                                                          : SettingsStores::statisticsIdentifier(),
                                  _services.preferences);
    return store;
}

void PreferencesCommands::fail(const QString &complaint) {
    _services.complain(complaint);
    _services.finish(1);
}

void PreferencesCommands::write(Domain domain, const QString &key, const PropertyList &value,
                                const QString &line) {
    const auto store = open(domain);
    store->setObjectForKey(value, key);
    if (!isWritten(*_services.preferences.database, store->identifier(), key, value) ||
        !store->synchronize()) {
        fail(QStringLiteral("%1 could not be written").arg(key));
        return;
    }
    _services.preferences.distributedNotifications->whenDelivered([this, line](bool delivered) {
        if (!line.isEmpty())
            _services.print(line);
        if (!delivered)
            _services.complain(
                QStringLiteral("saved, but without a session bus a running agent is not told"));
        _services.finish(0);
    });
}

QList<QString> PreferencesCommands::registeredServices() {
    QList<QString> services;
    const auto phones =
        RegisteredPhones::phones(open(Domain::Shared)->objectForKey(RegisteredPhones::key()));
    for (const auto &phone : phones)
        services.append(phone.service);
    return services;
}

bool PreferencesCommands::isEnabled() {
    return Settings::truth(*open(Domain::Agent), Settings::Key::SyncEnabled);
}

} // namespace clipmule
