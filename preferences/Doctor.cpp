// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "preferences/Doctor.h"

#include "platform/foundation/Log.h"
#include "preferences/PanelTexts.h"
#include "preferences/StatusReport.h"

#include <QJsonArray>
#include <QSysInfo>

#include <algorithm>

namespace clipmule {

namespace {
using Kind = NetworkAdvice::Kind;
using Multicast = dnssd::NetworkFacts::Multicast;
// The name of an interface without multicast where there is no other; else empty.
QString interfaceWithoutMulticast(const dnssd::NetworkFacts &facts) {
    QString name;
    for (const auto &interface : facts.interfaces) {
        if (!interface.isUsable())
            continue;
        if (interface.canMulticast)
            return {};
        name = interface.name;
    }
    return name;
}

} // namespace

NetworkAdvice adviceFor(const dnssd::NetworkFacts &facts) {
    if (!facts.hasUsableInterface())
        return {Kind::NoInterface, PanelTexts::tr("This computer is not on a network."),
                PanelTexts::tr("Connect it to the network that the phone is on.")};
    if (const QString name = interfaceWithoutMulticast(facts); !name.isEmpty())
        return {
            Kind::MulticastFails,
            PanelTexts::tr("Multicast is switched off on this computer’s network interface (%1).")
                .arg(name),
            PanelTexts::tr("Switch it on: sudo ip link set %1 multicast on").arg(name)};
    if (facts.multicast == Multicast::Refused)
        return {Kind::MulticastFails,
                PanelTexts::tr("This computer does not let multicast out (%1).")
                    .arg(facts.multicastError),
                PanelTexts::tr("Allow mDNS (UDP port 5353) in the firewall.")};
    if (!facts.avahiRuns)
        return {
            Kind::NoAvahi,
            PanelTexts::tr("The Avahi daemon is not running. Phones are searched for without it."),
            PanelTexts::tr("If none appears, start it: sudo systemctl enable --now avahi-daemon")};
    if (facts.multicast == Multicast::NoAnswer)
        return {Kind::NoAnswer,
                PanelTexts::tr("Multicast queries get no answer, not even from this computer."),
                PanelTexts::tr("Allow mDNS (UDP port 5353) in the firewall.")};
    if (facts.multicast != Multicast::OthersAnswer)
        return {Kind::NothingWrong, PanelTexts::tr("No other device on the network answers."),
                PanelTexts::tr("Make sure that the phone is on the same network. Guest networks "
                               "often keep devices apart.")};
    return {Kind::NothingWrong, PanelTexts::tr("Other devices answer, but no phone does."),
            PanelTexts::tr(
                "Make sure that the app is open and that the phone is on the same network.")};
}

QString clipboardObstacle(const AgentStatus &status) {
    if (status.pasteboardCanRead && status.pasteboardCanWrite)
        return {};
    if (status.pasteboardBackend == u"none" && !status.hasDisplay)
        return PanelTexts::tr("Clipmule Sync is running, but has no access to this desktop’s "
                              "clipboard. It was started without a display; restart it here.");
    if (status.pasteboardBackend == u"none")
        return PanelTexts::tr("Clipmule Sync is running, but this desktop has no clipboard for "
                              "programs without a window.");
    if (status.pasteboardBackend == u"xwayland")
        return PanelTexts::tr("Clipmule Sync is running, but this desktop may show it the "
                              "clipboard only while an X11 window has the focus.");
    return PanelTexts::tr("Clipmule Sync is running, but cannot use this desktop’s clipboard.");
}

QString trayAdvice(const AgentStatus &status, const QString &desktop) {
    const bool isMissing = status.hasDisplay && status.trayKind == u"none";
    if (!isMissing || !desktop.split(u':').contains(u"GNOME"))
        return {};
    return PanelTexts::tr("GNOME shows icons of this kind only with an extension. Install "
                          "gnome-shell-extension-appindicator, log in again, and switch it on in "
                          "Extensions.");
}

namespace Doctor {

namespace {

using Agent = StatusReader::Agent;
using Multicast = dnssd::NetworkFacts::Multicast;
using Presence = PhoneList::Presence;
using StatusReport::jsonDate;
using StatusReport::nameOf;
using StatusReport::plainDate;

constexpr int labelWidth = 14;
// More refusals are in the JSON form.
constexpr qsizetype mostRefusalsShown = 3;
// UTF-16 units: a sentence with a path, which is of use as a whole only.
constexpr qsizetype longestObstacle = 500;
constexpr qsizetype longestVersion = 40;

QString yesOrNo(bool value) {
    return value ? QStringLiteral("yes") : QStringLiteral("no");
}

QString orNone(const QString &text) {
    return text.isEmpty() ? QStringLiteral("none") : ShownText::onOneLine(text);
}

QString nameOf(Agent agent) {
    static const QMap<Agent, QString> names{{Agent::Unknown, QStringLiteral("unknown")},
                                            {Agent::NotRunning, QStringLiteral("not running")},
                                            {Agent::Running, QStringLiteral("running")},
                                            {Agent::Silent, QStringLiteral("silent")}};
    return names.value(agent);
}

QString nameOf(Multicast multicast) {
    static const QMap<Multicast, QString> names{
        {Multicast::Untried, QStringLiteral("untried")},
        {Multicast::Refused, QStringLiteral("refused")},
        {Multicast::NoAnswer, QStringLiteral("no answer")},
        {Multicast::OnlyOwn, QStringLiteral("only this computer answers")},
        {Multicast::OthersAnswer, QStringLiteral("other devices answer")}};
    return names.value(multicast);
}

QString pasteboardText(const Facts &facts) {
    if (!facts.status)
        return QStringLiteral("unknown: only a running agent can tell");
    return QStringLiteral("%1: reading %2, writing %3")
        .arg(facts.status->pasteboardBackend, yesOrNo(facts.status->pasteboardCanRead),
             yesOrNo(facts.status->pasteboardCanWrite));
}

QString agentText(const Facts &facts) {
    switch (facts.agent) {
    case Agent::Unknown:
        return QStringLiteral("unknown: no session bus to ask");
    case Agent::NotRunning:
        return QStringLiteral("not running");
    case Agent::Silent:
        return QStringLiteral("running, but it does not answer");
    case Agent::Running:
        break;
    }
    return QStringLiteral("running, version %1, Qt %2")
        .arg(facts.status->version, facts.status->qtVersion);
}

QString phoneText(const PhoneList::Phone &phone) {
    QString text =
        QStringLiteral("%1 (%2): %3")
            .arg(phone.name, ShownText::onOneLine(phone.service), nameOf(phone.presence));
    if (phone.isLocal())
        text += QStringLiteral(", on this computer");
    if (phone.presence == Presence::NotSeen && phone.lastSeen)
        text += QStringLiteral(", last seen %1").arg(plainDate(phone.lastSeen));
    if (!phone.lastError.isEmpty())
        text += QStringLiteral(", last error: %1").arg(phone.lastError);
    return text;
}

QStringList interfaceLines(const dnssd::NetworkFacts &network) {
    QStringList result;
    for (const auto &interface : network.interfaces) {
        if (interface.isLoopback)
            continue;
        result.append(
            QStringLiteral("%1: %2%3, %4")
                .arg(interface.name, interface.isUp ? QStringLiteral("up") : QStringLiteral("down"),
                     interface.canMulticast ? QString() : QStringLiteral(", no multicast"),
                     interface.addresses.isEmpty()
                         ? QStringLiteral("no address")
                         : interface.addresses.join(QStringLiteral(", "))));
    }
    return result;
}

// Puts the first value beside the label, the others below it.
void add(QStringList &lines, const char *label, const QStringList &values) {
    QString shown = QString::fromLatin1(label);
    for (const QString &value : values.isEmpty() ? QStringList(QStringLiteral("none")) : values)
        lines.append(std::exchange(shown, {}).leftJustified(labelWidth) + value);
}

QStringList problemsOfClipboard(const AgentStatus &status) {
    if (status.pasteboardBackend == u"none")
        return {QStringLiteral("This desktop has no clipboard for programs without a window: "
                               "nothing goes to a phone, and nothing comes from one.")};
    if (status.pasteboardBackend == u"xwayland" && !status.pasteboardCanRead)
        return {QStringLiteral("This compositor shows programs without a window its clipboard only "
                               "through XWayland. Most do so while an X11 window has the focus, "
                               "and copying works only then.")};
    QStringList problems;
    if (!status.pasteboardCanRead)
        problems.append(QStringLiteral("The clipboard cannot be read: nothing copied here reaches "
                                       "a phone."));
    if (!status.pasteboardCanWrite)
        problems.append(QStringLiteral("The clipboard cannot be written: nothing copied on a phone "
                                       "arrives."));
    return problems;
}

QStringList problemsOfAgent(const Facts &facts) {
    if (!facts.hasSessionBus)
        return {QStringLiteral("There is no session bus: the agent can neither be asked nor told "
                               "of changed settings.")};
    if (facts.agent == Agent::NotRunning)
        return {QStringLiteral("The agent is not running. Start clipmule-sync.")};
    if (!facts.status)
        return {QStringLiteral("The agent does not answer. Restart clipmule-sync.")};
    if (!facts.status->hasDisplay && !facts.status->pasteboardCanRead)
        return {QStringLiteral("The agent was started without a display, so it has no clipboard. "
                               "Start clipmule-sync on the desktop: it takes over.")};
    QStringList problems = problemsOfClipboard(*facts.status);
    if (facts.status->version != facts.version)
        problems.append(QStringLiteral("Version %1 of the agent runs, and %2 is installed. Log in "
                                       "again, or restart clipmule-sync.")
                            .arg(onOneLine(facts.status->version, longestVersion), facts.version));
    if (!facts.status->canPaste)
        problems.append(
            (facts.status->pasteBackend == u"xwayland"
                 ? QStringLiteral("What arrives is pasted into windows of X11 programs only%1.")
                 : QStringLiteral("What arrives is put on the clipboard, but cannot be pasted%1."))
                .arg(facts.status->pasteObstacle.isEmpty()
                         ? QString()
                         : QStringLiteral(": ") +
                               onOneLine(facts.status->pasteObstacle, longestObstacle)));
    return problems;
}

bool isSeen(const PhoneList::Phone &phone) {
    return phone.presence != Presence::NotSeen;
}

// The network's problems, in the words of the window.
QStringList problemsOfNetwork(const Facts &facts) {
    // Phones that are seen are found, whatever the network looks like. Those on this computer are
    // found without it, and are not missed on it.
    const auto isOfNetwork = [](const auto &phone) { return !phone.isLocal(); };
    const auto isSeenThere = [&](const auto &phone) { return isOfNetwork(phone) && isSeen(phone); };
    if (std::any_of(facts.registered.begin(), facts.registered.end(), isSeenThere) ||
        std::any_of(facts.available.begin(), facts.available.end(), isOfNetwork))
        return {};
    const NetworkAdvice advice = adviceFor(facts.network);
    // Where no phone is expected, only what would keep every phone away is a problem.
    const bool isHarmless = advice.kind == NetworkAdvice::Kind::NothingWrong ||
                            advice.kind == NetworkAdvice::Kind::NoAvahi;
    const bool isExpected =
        std::any_of(facts.registered.begin(), facts.registered.end(), isOfNetwork);
    if (!isExpected && (isHarmless || !facts.registered.isEmpty()))
        return {};
    return {advice.reason + u' ' + advice.whatToTry};
}

QString problemOf(const PhoneList::Phone &phone) {
    const QString place =
        phone.isLocal() ? QStringLiteral("on this computer") : QStringLiteral("on the network");
    switch (phone.presence) {
    case Presence::Connected:
        return {};
    case Presence::Seen:
        return phone.lastError.isEmpty()
                   ? QStringLiteral("%1 is %2, but not connected.").arg(phone.name, place)
                   : QStringLiteral("%1 is %2, but not connected: %3.")
                         .arg(phone.name, place, phone.lastError);
    case Presence::NotSeen:
        break;
    }
    return phone.lastSeen ? QStringLiteral("%1 is not %2. It was last seen on %3.")
                                .arg(phone.name, place, plainDate(phone.lastSeen))
                          : QStringLiteral("%1 has not been seen %2 yet.").arg(phone.name, place);
}

QStringList problemsOfPhones(const Facts &facts) {
    if (!facts.listIsReadable)
        return {QStringLiteral("The stored list of phones is damaged. Remove it, and pair the "
                               "phones again: clipmule-preferences unset serverServices")};
    if (facts.registered.isEmpty())
        return {QStringLiteral("No phone is paired. Pair one in the preferences window, or with: "
                               "clipmule-preferences pair SERVICE")};
    if (!facts.syncEnabled)
        return {QStringLiteral("Sync is off, so no phone is connected. Turn it on: "
                               "clipmule-preferences enable")};
    QStringList problems;
    for (const auto &phone : facts.registered) {
        // Without an agent nothing is connected, which is told already.
        const QString problem = !facts.status && isSeen(phone) ? QString() : problemOf(phone);
        if (!problem.isEmpty())
            problems.append(problem);
    }
    return problems;
}

QStringList refusalLines(const AgentStatus &status) {
    QStringList result;
    for (const Refusal &refusal :
         status.refusals.first(std::min(status.refusals.size(), mostRefusalsShown)))
        result.append(StatusReport::line(refusal));
    // An agent of an earlier version tells the last one only.
    if (result.isEmpty() && !status.lastRefusedClip.isEmpty())
        result.append(QStringLiteral("%1, %2").arg(plainDate(status.lastRefusedClipDate),
                                                   ShownText::onOneLine(status.lastRefusedClip)));
    return result;
}

QJsonArray asJson(const QList<PhoneList::Phone> &phones) {
    QJsonArray result;
    for (const auto &phone : phones)
        result.append(QJsonObject{{QStringLiteral("service"), phone.service},
                                  {QStringLiteral("name"), phone.name},
                                  {QStringLiteral("state"), nameOf(phone.presence)},
                                  {QStringLiteral("lastSeen"), jsonDate(phone.lastSeen)},
                                  {QStringLiteral("lastError"), phone.lastError}});
    return result;
}

QJsonObject asJson(const AgentStatus &status) {
    const bool hasRefused = !status.lastRefusedClip.isEmpty();
    QJsonArray refusals;
    for (const Refusal &refusal : status.refusals)
        refusals.append(StatusReport::json(refusal));
    const QJsonObject refused{{QStringLiteral("reason"), status.lastRefusedClip},
                              {QStringLiteral("date"), jsonDate(status.lastRefusedClipDate)}};
    return {{QStringLiteral("version"), status.version},
            {QStringLiteral("qtVersion"), status.qtVersion},
            {QStringLiteral("pasteboardBackend"), status.pasteboardBackend},
            {QStringLiteral("pasteboardCanRead"), status.pasteboardCanRead},
            {QStringLiteral("pasteboardCanWrite"), status.pasteboardCanWrite},
            {QStringLiteral("pasteBackend"), status.pasteBackend},
            {QStringLiteral("canPaste"), status.canPaste},
            {QStringLiteral("trayKind"), status.trayKind},
            {QStringLiteral("discovery"), status.discovery},
            {QStringLiteral("hasDisplay"), status.hasDisplay},
            {QStringLiteral("refusals"), refusals},
            {QStringLiteral("lastRefusedClip"),
             hasRefused ? QJsonValue(refused) : QJsonValue(QJsonValue::Null)}};
}

QJsonObject asJson(const dnssd::NetworkFacts &network) {
    QJsonArray interfaces;
    for (const auto &interface : network.interfaces)
        interfaces.append(QJsonObject{
            {QStringLiteral("name"), interface.name},
            {QStringLiteral("up"), interface.isUp},
            {QStringLiteral("loopback"), interface.isLoopback},
            {QStringLiteral("multicast"), interface.canMulticast},
            {QStringLiteral("addresses"), QJsonArray::fromStringList(interface.addresses)}});
    return {{QStringLiteral("avahiRuns"), network.avahiRuns},
            {QStringLiteral("avahiVersion"), network.avahiVersion},
            {QStringLiteral("interfaces"), interfaces},
            {QStringLiteral("multicast"), nameOf(network.multicast)},
            {QStringLiteral("multicastError"), network.multicastError}};
}

QJsonObject asJson(const Facts &facts, const QStringList &problems) {
    return {
        {QStringLiteral("version"), facts.version},
        {QStringLiteral("qtVersion"), facts.qtVersion},
        {QStringLiteral("system"), facts.system},
        {QStringLiteral("sessionType"), facts.sessionType},
        {QStringLiteral("desktop"), facts.desktop},
        {QStringLiteral("display"), facts.display},
        {QStringLiteral("waylandDisplay"), facts.waylandDisplay},
        {QStringLiteral("sessionBus"), facts.hasSessionBus},
        {QStringLiteral("systemBus"), facts.network.hasSystemBus},
        {QStringLiteral("agent"), nameOf(facts.agent)},
        {QStringLiteral("agentStatus"),
         facts.status ? QJsonValue(asJson(*facts.status)) : QJsonValue(QJsonValue::Null)},
        {QStringLiteral("network"), asJson(facts.network)},
        {QStringLiteral("syncEnabled"), facts.syncEnabled},
        {QStringLiteral("phones"), asJson(facts.registered)},
        {QStringLiteral("otherPhones"), asJson(facts.available)},
        {QStringLiteral("problems"), QJsonArray::fromStringList(problems)},
    };
}

QStringList asLines(const Facts &facts, const QStringList &problems) {
    const auto &status = facts.status;
    const auto &network = facts.network;
    const QString unknown = QStringLiteral("unknown");
    const auto join = [](const auto &all, auto text) {
        QStringList texts;
        std::transform(all.begin(), all.end(), std::back_inserter(texts), text);
        return texts;
    };
    QStringList lines;
    add(lines, "version",
        {QStringLiteral("Clipmule Sync %1, Qt %2, %3")
             .arg(facts.version, facts.qtVersion, facts.system)});
    add(lines, "session",
        {QStringLiteral("%1; desktop: %2; X display: %3; Wayland display: %4")
             .arg(orNone(facts.sessionType), orNone(facts.desktop), orNone(facts.display),
                  orNone(facts.waylandDisplay))});
    add(lines, "D-Bus",
        {QStringLiteral("session bus: %1; system bus: %2")
             .arg(yesOrNo(facts.hasSessionBus), yesOrNo(network.hasSystemBus))});
    add(lines, "agent", {agentText(facts)});
    add(lines, "clipboard", {pasteboardText(facts)});
    add(lines, "pasting", {status ? status->pasteBackend : unknown});
    const QString advice = status ? trayAdvice(*status, facts.desktop) : QString();
    const QString tray = status ? ShownText::onOneLine(status->trayKind) : unknown;
    add(lines, "tray", {advice.isEmpty() ? tray : tray + QStringLiteral(": ") + advice});
    add(lines, "Avahi",
        {network.avahiRuns
             ? QStringLiteral("runs, %1").arg(ShownText::onOneLine(network.avahiVersion))
             : QStringLiteral("no daemon; phones are looked for without it")});
    if (status)
        add(lines, "discovery", {status->discovery});
    add(lines, "interfaces", interfaceLines(network));
    const QString error = network.multicastError.isEmpty()
                              ? QString()
                              : QStringLiteral(": ") + network.multicastError;
    add(lines, "multicast", {nameOf(network.multicast) + error});
    add(lines, "sync", {facts.syncEnabled ? QStringLiteral("on") : QStringLiteral("off")});
    add(lines, "phones", join(facts.registered, phoneText));
    add(lines, "other phones", join(facts.available, [](const auto &phone) {
            return phone.isLocal() ? phone.name + QStringLiteral(", on this computer") : phone.name;
        }));
    add(lines, "last refused", status ? refusalLines(*status) : QStringList(unknown));
    lines.append(QString());
    add(lines, "problems", problems);
    return lines;
}

} // namespace

Report examine(const Facts &facts) {
    Report report;
    report.problems = problemsOfAgent(facts) + problemsOfNetwork(facts) + problemsOfPhones(facts);
    report.lines = asLines(facts, report.problems);
    report.json = asJson(facts, report.problems);
    return report;
}

Facts factsOfThisSession() {
    Facts facts;
    facts.qtVersion = QString::fromLatin1(qVersion());
    facts.system =
        QStringLiteral("%1, %2 %3")
            .arg(QSysInfo::prettyProductName(), QSysInfo::kernelType(), QSysInfo::kernelVersion());
    facts.sessionType = qEnvironmentVariable("XDG_SESSION_TYPE");
    facts.desktop = qEnvironmentVariable("XDG_CURRENT_DESKTOP");
    facts.display = qEnvironmentVariable("DISPLAY");
    facts.waylandDisplay = qEnvironmentVariable("WAYLAND_DISPLAY");
    return facts;
}

} // namespace Doctor

} // namespace clipmule
