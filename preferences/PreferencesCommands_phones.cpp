// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "preferences/PreferencesCommands.h"

#include "preferences/CommandLine.h"
#include "preferences/Doctor.h"
#include "preferences/PanelTexts.h"
#include "preferences/StatusReport.h"

// The commands about phones.

namespace clipmule {

namespace {

const QString phoneType = QStringLiteral("_clipmule-s2._tcp");

QString secondsText(RunLoop::Seconds seconds) {
    return seconds.count() == 1 ? QStringLiteral("1 second")
                                : QStringLiteral("%1 seconds").arg(seconds.count());
}

} // namespace

void PreferencesCommands::browse(std::function<void(const QString &service)> found) {
    _browser = std::make_unique<NetServiceBrowser>(_services.dnssd());
    _browser->onFound = [found = std::move(found)](const auto &service) { found(service->name()); };
    _browser->searchForServicesOfTypeInDomain(phoneType, QStringLiteral("local."));
}

void PreferencesCommands::discover() {
    const RunLoop::Seconds wait = _command.wait.value_or(usualWait);
    _end = RunLoop::current().performAfter(wait, [this] { finishDiscovery(); });
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
    writePhones(list, line, looks ? [this] { lookForPaired(); } : std::function<void()>());
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
            QStringLiteral("no phone on the network is called %1 now%2")
                .arg(ShownText::onOneLine(_command.service),
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
                QStringLiteral("unpaired %1").arg(ShownText::onOneLine(_command.service)));
}

void PreferencesCommands::renamePhone() {
    if (!isPaired())
        return;
    writePhones(
        RegisteredPhones::changed(storedPhones(), _command.service, {.name = _command.name}),
        QStringLiteral("%1 is called %2 now")
            .arg(ShownText::onOneLine(_command.service), ShownText::onOneLine(*_command.name)));
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
