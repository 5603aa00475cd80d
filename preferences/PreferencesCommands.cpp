// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "preferences/PreferencesCommands.h"

#include "platform/foundation/Callbacks.h"
#include "platform/foundation/LocalNames.h"
#include "platform/foundation/Log.h"
#include "platform/foundation/Utf8.h"
#include "platform/preferences/PreferencesDatabase.h"
#include "platform/propertylist/PropertyListSerialization.h"
#include "preferences/CommandLine.h"
#include "preferences/Doctor.h"
#include "preferences/PanelTexts.h"
#include "preferences/StatusReport.h"

#include <QJsonArray>
#include <QLocale>

namespace clipmule {

namespace {

using Domain = PreferencesCommand::Domain;
using Kind = PreferencesCommand::Kind;

// Writes plain words for plain values, the XML form for the others.
QString plain(const PropertyList &value) {
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

// What JSON has no kind for is a text: a date by ISO, bytes by Base64.
QJsonValue asJson(const PropertyList &value) {
    switch (value.kind()) {
    case PropertyList::Kind::Boolean:
        return value.boolean();
    case PropertyList::Kind::Integer:
        return value.integerValue();
    case PropertyList::Kind::UnsignedInteger:
    case PropertyList::Kind::Real:
        return value.doubleValue();
    case PropertyList::Kind::Date:
        return value.date().toDateTime().toString(Qt::ISODate);
    case PropertyList::Kind::Data:
        return QString::fromLatin1(value.data().toBase64());
    case PropertyList::Kind::List: {
        QJsonArray list;
        for (const PropertyList &element : value.list())
            list.append(asJson(element));
        return list;
    }
    case PropertyList::Kind::Dictionary: {
        QJsonObject object;
        for (const auto &[key, element] : value.dictionary().asKeyValueRange())
            object.insert(key, asJson(element));
        return object;
    }
    default:
        return plain(value);
    }
}

// The whole value, as what is stored may be wanted; each line is made fit for a terminal.
QString shown(const PropertyList &value) {
    QStringList lines = plain(value).split(u'\n');
    for (QString &line : lines)
        line = onOneLine(line, line.size());
    return lines.join(u'\n');
}

QStringList namesOfSettings() {
    QStringList names;
    for (const Settings::Setting &setting : Settings::all())
        names.append(setting.name);
    return names;
}

// Whatever is stored, the value that the programs go by.
std::optional<PropertyList> inEffect(const ZRKUserDefaults &store,
                                     const Settings::Setting &setting) {
    switch (setting.kind) {
    case Settings::Kind::Truth:
        return Settings::truth(store, setting.key);
    case Settings::Kind::Choice:
        return Settings::wordFor(Settings::pasteMode(store));
    case Settings::Kind::Count:
        return Settings::count(store, setting.key);
    case Settings::Kind::Count32:
        return Settings::count32(store, setting.key);
    case Settings::Kind::PhoneList:
        break;
    }
    return store.objectForKey(setting.name);
}

const QString phoneType = QStringLiteral("_clipmule-s2._tcp");

QString secondsText(RunLoop::Seconds seconds) {
    return seconds.count() == 1 ? QStringLiteral("1 second")
                                : QStringLiteral("%1 seconds").arg(seconds.count());
}

} // namespace

PreferencesCommands::PreferencesCommands(Services services)
    : _services(std::move(services)) {}

void PreferencesCommands::perform(const PreferencesCommand &command) {
    _command = command;
    _settings = SettingsStores::open(_services.preferences);
    if (!_settings) {
        fail(installationIsIncomplete);
        return;
    }
    switch (command.kind) {
    case Kind::Discover:
        return discover();
    case Kind::Register:
        return registerPhone();
    case Kind::Unregister:
        return unregisterPhone();
    case Kind::Rename:
        return renamePhone();
    case Kind::List:
        return list();
    case Kind::Get:
        return get();
    case Kind::Set:
        return set();
    case Kind::Unset:
        return write(_command.domain, _command.key, std::nullopt, QString());
    case Kind::Enable:
        return setEnabled(true);
    case Kind::Disable:
        return setEnabled(false);
    case Kind::Status:
        return status();
    case Kind::Doctor:
        return doctor();
    case Kind::Help:
    case Kind::Version:
        return _services.finish(0);
    }
}

void PreferencesCommands::get() {
    const ZRKUserDefaults &store = _settings->of(_command.domain);
    const Settings::Setting *const setting = Settings::find(_command.key);
    const auto value = setting ? inEffect(store, *setting) : store.objectForKey(_command.key);
    const bool isSet =
        _services.preferences.database->copyMultiple(store.identifier()).contains(_command.key);
    if (_command.asJson) {
        printJson({{QStringLiteral("key"), _command.key},
                   {QStringLiteral("domain"), Settings::nameOf(_command.domain)},
                   {QStringLiteral("value"), value ? asJson(*value) : QJsonValue()},
                   {QStringLiteral("isSet"), isSet}});
        _services.finish(value ? 0 : 1);
        return;
    }
    if (!value) {
        fail(QStringLiteral("%1 is not set").arg(cutForLog(_command.key)));
        return;
    }
    _services.print(shown(*value));
    if (!isSet)
        _services.complain(
            QStringLiteral("%1 is not set; this is its default").arg(cutForLog(_command.key)));
    _services.finish(0);
}

void PreferencesCommands::set() {
    write(_command.domain, _command.key, _command.value, QString(), [this] {
        if (!Settings::find(_command.key)) {
            _services.complain(
                QStringLiteral("%1 is no setting of Clipmule Sync, but is kept all the same%2")
                    .arg(cutForLog(_command.key), suggestion(_command.key, namesOfSettings())));
        }
        _services.finish(0);
    });
}

void PreferencesCommands::setEnabled(bool enabled) {
    write(Domain::Agent, Settings::nameOf(Settings::Key::SyncEnabled), enabled,
          enabled ? QStringLiteral("sync is on") : QStringLiteral("sync is off"));
}

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
    if (_command.watches) {
        // A change is printed only if the report shows it: not everything that the agent tells is
        // part of it.
        if (const QJsonObject object = StatusReport::json(*_settings, agent);
            object != _lastStatus) {
            printJson(object);
            _lastStatus = object;
        }
        return;
    }
    _services.agent().onChange = {};
    if (_command.asJson) {
        printJson(StatusReport::json(*_settings, agent));
    } else {
        for (const QString &line : StatusReport::lines(*_settings, agent))
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

void PreferencesCommands::fail(const QString &complaint) {
    _services.complain(complaint);
    _services.finish(1);
}

void PreferencesCommands::write(Domain domain, const QString &key,
                                const std::optional<PropertyList> &value, const QString &line,
                                std::function<void()> then) {
    ZRKUserDefaults &store = _settings->of(domain);
    const auto written =
        store.setObjectForKey(value, key).and_then([&store] { return store.synchronize(); });
    if (!written) {
        fail(QStringLiteral("%1 could not be written: %2")
                 .arg(cutForLog(key), written.error().reason));
        return;
    }
    _services.preferences.distributedNotifications->whenDelivered(
        [this, line, then = std::move(then)](bool delivered) {
            if (!line.isEmpty())
                _services.print(line);
            if (!delivered)
                _services.complain(
                    QStringLiteral("saved, but without a session bus a running agent is not told"));
            if (then)
                then();
            else
                _services.finish(0);
        });
}

void PreferencesCommands::printJson(const QJsonObject &object) {
    _services.print(QString::fromUtf8(jsonLine(object)));
}

// Phones.

void PreferencesCommands::browse(std::function<void(const QString &service)> found) {
    _browser = std::make_unique<NetServiceBrowser>(_services.dnssd());
    _browser->onFound = [found = std::move(found)](const auto &service) { found(service->name()); };
    _browser->searchForServicesOfTypeInDomain(phoneType, QStringLiteral("local."));
}

void PreferencesCommands::discover() {
    _end = RunLoop::current().performAfter(_command.wait.value_or(usualWait),
                                           [this] { finishDiscovery(); });
    browse([this](const QString &service) { found(service); });
}

void PreferencesCommands::found(const QString &service) {
    if (_found.contains(service) || _found.size() == mostDiscovered)
        return;
    _found.insert(service);
    const bool isPaired = registeredServices().contains(service);
    if (_command.asJson)
        printJson({{QStringLiteral("service"), service}, {QStringLiteral("registered"), isPaired}});
    else
        _services.print(isPaired ? ShownText::onOneLine(service) + QStringLiteral("\tpaired")
                                 : ShownText::onOneLine(service));
}

void PreferencesCommands::finishDiscovery() {
    _browser->stop();
    if (!_found.isEmpty()) {
        _services.finish(0);
        return;
    }
    _services.complain(QStringLiteral("no phone was seen in %1")
                           .arg(secondsText(_command.wait.value_or(usualWait))));
    _services.network().look([this](const dnssd::NetworkFacts &facts) {
        const NetworkAdvice advice = adviceFor(facts);
        _services.complain(advice.reason + u' ' + advice.whatToTry);
        _services.finish(0);
    });
}

std::optional<PropertyList> PreferencesCommands::storedPhones() const {
    return _settings->value(Settings::Key::ServerServices);
}

bool PreferencesCommands::canChangePhones() {
    const auto stored = storedPhones();
    if (RegisteredPhones::isList(stored))
        return true;
    fail(QStringLiteral("\"%1\" holds %2 instead of a list, so nothing was changed; \"unset %1\" "
                        "removes it")
             .arg(RegisteredPhones::key(), PropertyList::nameOfKind(stored->kind())));
    return false;
}

void PreferencesCommands::writePhones(const PropertyList &list, const QString &line,
                                      std::function<void()> then) {
    write(Settings::Domain::Shared, RegisteredPhones::key(), list, line, std::move(then));
}

void PreferencesCommands::registerPhone() {
    if (!canChangePhones())
        return;
    const auto stored = storedPhones();
    const QStringList services = registeredServices();
    if (services.size() >= RegisteredPhones::mostPhones && !services.contains(_command.service)) {
        fail(QStringLiteral("%1 phones are paired already; \"unpair\" takes one out")
                 .arg(services.size()));
        return;
    }
    if (LocalNames::isLocal(_command.service) && !_command.address.value_or(QString()).isEmpty()) {
        fail(QStringLiteral("%1 is a program on this computer, which has no address")
                 .arg(ShownText::onOneLine(_command.service)));
        return;
    }
    const PropertyList list = RegisteredPhones::changed(
        stored, _command.service,
        {.name = _command.name, .pasteMode = _command.pasteMode, .address = _command.address});
    const auto phone = RegisteredPhones::phone(list, _command.service);
    QString line =
        QStringLiteral("paired %1 as %2")
            .arg(ShownText::onOneLine(_command.service), ShownText::onOneLine(phone->shownName()));
    if (!phone->address.isEmpty())
        line += QStringLiteral(", at %1").arg(ShownText::onOneLine(phone->address));
    // Where a phone is reached by hand it need not be seen.
    const bool looks =
        phone->address.isEmpty() && _command.wait.value_or(waitForPaired) > RunLoop::Seconds(0);
    writePhones(list, line, [this, looks] {
        tellOfName();
        if (looks)
            lookForPaired();
        else
            _services.finish(0);
    });
}

void PreferencesCommands::lookForPaired() {
    _end = RunLoop::current().performAfter(_command.wait.value_or(waitForPaired),
                                           [this] { finishLooking(false); });
    browse([this](const QString &service) {
        if (_found.size() < mostDiscovered)
            _found.insert(service);
        if (service != _command.service)
            return;
        // Ends from the run loop: the browser is still at work.
        _end =
            RunLoop::current().performAfter(RunLoop::Seconds(0), [this] { finishLooking(true); });
    });
}

void PreferencesCommands::finishLooking(bool isThere) {
    _browser->stop();
    if (!isThere) {
        QStringList others(_found.begin(), _found.end());
        others.sort();
        const QString meant = suggestion(_command.service, others);
        _services.complain(
            QStringLiteral("no phone on %1 is called %2 now%3")
                .arg(LocalNames::isLocal(_command.service) ? QStringLiteral("this computer")
                                                           : QStringLiteral("the network"),
                     ShownText::onOneLine(_command.service),
                     meant.isEmpty() ? QStringLiteral("; it connects when it is there") : meant));
    }
    _services.finish(0);
}

bool PreferencesCommands::isPaired() {
    const QStringList services = registeredServices();
    if (services.contains(_command.service))
        return true;
    fail(QStringLiteral("%1 is not paired%2")
             .arg(ShownText::onOneLine(_command.service), suggestion(_command.service, services)));
    return false;
}

void PreferencesCommands::unregisterPhone() {
    if (!isPaired())
        return;
    writePhones(RegisteredPhones::removed(storedPhones(), _command.service),
                QStringLiteral("unpaired %1").arg(ShownText::onOneLine(_command.service)), [this] {
                    if (LocalNames::isLocal(_command.service))
                        callCopyOf(_services.wasUnpaired, _command.service);
                    _services.finish(0);
                });
}

void PreferencesCommands::renamePhone() {
    if (!isPaired())
        return;
    writePhones(
        RegisteredPhones::changed(storedPhones(), _command.service, {.name = _command.name}),
        QStringLiteral("%1 is called %2 now")
            .arg(ShownText::onOneLine(_command.service), ShownText::onOneLine(*_command.name)),
        [this] {
            tellOfName();
            _services.finish(0);
        });
}

// A browser keeps its name where its key is.
void PreferencesCommands::tellOfName() {
    if (_command.name && LocalNames::isLocal(_command.service))
        callCopyOf(_services.wasRenamed, _command.service, *_command.name);
}

void PreferencesCommands::list() {
    for (const auto &phone : RegisteredPhones::phones(storedPhones())) {
        if (_command.asJson) {
            printJson(StatusReport::json(phone));
            continue;
        }
        QString line =
            ShownText::onOneLine(phone.service) + u'\t' + ShownText::onOneLine(phone.shownName());
        if (!phone.address.isEmpty())
            line += QStringLiteral("\tat ") + ShownText::onOneLine(phone.address);
        if (phone.pasteMode)
            line += QStringLiteral("\tpaste mode ") + Settings::wordFor(*phone.pasteMode);
        _services.print(line);
    }
    _services.finish(0);
}

QStringList PreferencesCommands::registeredServices() const {
    QStringList services;
    for (const auto &phone : RegisteredPhones::phones(storedPhones()))
        services.append(phone.service);
    return services;
}

} // namespace clipmule
