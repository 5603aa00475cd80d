// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "preferences/StatusReport.h"

#include "platform/foundation/Log.h"
#include "preferences/PanelTexts.h"
#include "preferences/PhoneList.h"

#include <QJsonArray>
#include <QMap>

#include <algorithm>
#include <limits>

namespace clipmule::StatusReport {

namespace {

using Agent = StatusReader::Agent;

// More refusals are in the JSON form.
constexpr qsizetype mostRefusalsShown = 5;

QString stateText(const AgentStatus::Phone *phone) {
    return phone ? nameOf(phone->state) : QStringLiteral("unknown");
}

QString agentText(Agent agent) {
    static const QMap<Agent, QString> texts{
        {Agent::Unknown, QStringLiteral("unknown (no session bus)")},
        {Agent::NotRunning, QStringLiteral("not running")},
        {Agent::Silent, QStringLiteral("running, but it does not answer")},
        {Agent::Running, QStringLiteral("running")}};
    return texts.value(agent);
}

QList<RegisteredPhones::Phone> phonesIn(const SettingsStores &settings) {
    return RegisteredPhones::phones(settings.value(Settings::Key::ServerServices));
}

QList<Refusal> refusalsOf(const StatusReader &agent) {
    return agent.status() ? agent.status()->refusals : QList<Refusal>();
}

QString phoneLine(const StatusReader &agent, const RegisteredPhones::Phone &phone) {
    const AgentStatus::Phone *const known = phoneIn(agent.status(), phone.service);
    QString text = u'\t' + ShownText::onOneLine(phone.service) + u'\t' +
                   ShownText::onOneLine(phone.shownName()) + u'\t' + stateText(known);
    if (known && known->state != AgentStatus::PhoneState::Connected) {
        if (known->lastSeen && known->state == AgentStatus::PhoneState::NotSeen)
            text += QStringLiteral(", last seen %1").arg(plainDate(known->lastSeen));
        if (!known->lastError.isEmpty())
            text += QStringLiteral(", last error: %1").arg(ShownText::onOneLine(known->lastError));
    }
    if (LocalNames::isLocal(phone.service))
        text += QStringLiteral(", on this computer");
    if (!phone.address.isEmpty())
        text += QStringLiteral(", at %1").arg(ShownText::onOneLine(phone.address));
    if (phone.pasteMode)
        text += QStringLiteral(", paste mode %1").arg(Settings::wordFor(*phone.pasteMode));
    return text;
}

QJsonObject json(const StatusReader &agent, const RegisteredPhones::Phone &phone) {
    const AgentStatus::Phone *const known = phoneIn(agent.status(), phone.service);
    QJsonObject result = StatusReport::json(phone);
    result.insert(QStringLiteral("state"), stateText(known));
    result.insert(QStringLiteral("lastSeen"), jsonDate(known ? known->lastSeen : std::nullopt));
    result.insert(QStringLiteral("lastError"), known ? known->lastError : QString());
    return result;
}

// JSON has signed numbers only.
qint64 jsonNumber(quint64 number) {
    return qint64(std::min(number, quint64(std::numeric_limits<qint64>::max())));
}

} // namespace

QString nameOf(AgentStatus::PhoneState state) {
    static const QMap<AgentStatus::PhoneState, QString> names{
        {AgentStatus::PhoneState::Connected, QStringLiteral("connected")},
        {AgentStatus::PhoneState::Seen, QStringLiteral("seen")},
        {AgentStatus::PhoneState::NotSeen, QStringLiteral("not seen")}};
    return names.value(state);
}

QJsonObject json(const RegisteredPhones::Phone &phone) {
    QJsonObject result{{QStringLiteral("service"), phone.service},
                       {QStringLiteral("name"), phone.shownName()}};
    if (!phone.address.isEmpty())
        result.insert(QStringLiteral("address"), phone.address);
    if (phone.pasteMode)
        result.insert(QStringLiteral("pasteMode"), Settings::wordFor(*phone.pasteMode));
    return result;
}

QString plainDate(const std::optional<Date> &date) {
    return date ? date->toDateTime().toString(Qt::ISODate) : QString();
}

QJsonValue jsonDate(const std::optional<Date> &date) {
    return date ? QJsonValue(plainDate(date)) : QJsonValue(QJsonValue::Null);
}

QString line(const Refusal &refusal) {
    // The text is a sentence or two of our own, with a name and a detail in it.
    return plainDate(refusal.date) + QStringLiteral(", ") +
           onOneLine(englishText(refusal), 4 * shownInLabel);
}

QJsonObject json(const Refusal &refusal) {
    return {{QStringLiteral("direction"), clipmule::nameOf(refusal.direction)},
            {QStringLiteral("reason"), clipmule::nameOf(refusal.reason)},
            {QStringLiteral("kind"), clipmule::nameOf(refusal.kind)},
            {QStringLiteral("phone"), refusal.phone},
            {QStringLiteral("size"), jsonNumber(refusal.size)},
            {QStringLiteral("limit"), jsonNumber(refusal.limit)},
            {QStringLiteral("count"), jsonNumber(refusal.count)},
            {QStringLiteral("date"), jsonDate(refusal.date)},
            {QStringLiteral("text"), englishText(refusal)}};
}

QStringList lines(const SettingsStores &settings, const StatusReader &agent) {
    const auto counted = settings.statistics();
    const auto phones = phonesIn(settings);
    QStringList result{
        settings.isOn(Settings::Key::SyncEnabled) ? QStringLiteral("sync: on")
                                                  : QStringLiteral("sync: off"),
        QStringLiteral("agent: %1").arg(agentText(agent.agent())),
        QStringLiteral("paste mode: %1").arg(Settings::wordFor(settings.pasteMode())),
        QStringLiteral("paired phones: %1").arg(phones.size())};
    for (const auto &phone : phones)
        result.append(phoneLine(agent, phone));
    result.append(QStringLiteral("sent: %1 bytes, received: %2 bytes")
                      .arg(counted.bytesSent)
                      .arg(counted.bytesReceived));
    result.append(QStringLiteral("clips: %1 text, %2 images")
                      .arg(quint32(counted.textItems))
                      .arg(quint32(counted.imageItems)));
    const QList<Refusal> refusals = refusalsOf(agent);
    for (const Refusal &refusal : refusals.first(std::min(refusals.size(), mostRefusalsShown)))
        result.append(QStringLiteral("refused: %1").arg(line(refusal)));
    return result;
}

QJsonObject json(const SettingsStores &settings, const StatusReader &agent) {
    const auto counted = settings.statistics();
    QJsonArray phones;
    for (const auto &phone : phonesIn(settings))
        phones.append(json(agent, phone));
    QJsonArray refusals;
    for (const Refusal &refusal : refusalsOf(agent))
        refusals.append(json(refusal));
    const QJsonObject counters{
        {QStringLiteral("dataSent"), jsonNumber(counted.bytesSent)},
        {QStringLiteral("dataReceived"), jsonNumber(counted.bytesReceived)},
        {QStringLiteral("textItems"), jsonNumber(quint32(counted.textItems))},
        {QStringLiteral("imageItems"), jsonNumber(quint32(counted.imageItems))}};
    const bool isKnown = agent.agent() != Agent::Unknown;
    return {{QStringLiteral("enabled"), settings.isOn(Settings::Key::SyncEnabled)},
            {QStringLiteral("agentRuns"), isKnown ? QJsonValue(agent.agent() != Agent::NotRunning)
                                                  : QJsonValue(QJsonValue::Null)},
            {QStringLiteral("pasteMode"), Settings::wordFor(settings.pasteMode())},
            {QStringLiteral("phones"), phones},
            {QStringLiteral("refusals"), refusals},
            {QStringLiteral("statistics"), counters}};
}

} // namespace clipmule::StatusReport
