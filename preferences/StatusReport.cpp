// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "preferences/StatusReport.h"

#include "platform/foundation/Log.h"
#include "preferences/PanelTexts.h"

#include <QJsonArray>

#include <algorithm>
#include <limits>

namespace clipmule::StatusReport {

namespace {

using Agent = StatusReader::Agent;

// More refusals are in the JSON form.
constexpr qsizetype mostRefusalsShown = 5;

const AgentStatus::Phone *told(const Facts &facts, const QString &service) {
    if (!facts.status)
        return nullptr;
    const auto &phones = facts.status->phones;
    const auto found = std::find_if(phones.begin(), phones.end(), [&service](const auto &phone) {
        return phone.service == service;
    });
    return found == phones.end() ? nullptr : &*found;
}

QString stateText(const AgentStatus::Phone *phone) {
    return phone ? nameOf(phone->state) : QStringLiteral("unknown");
}

QString agentText(Agent agent) {
    switch (agent) {
    case Agent::Unknown:
        return QStringLiteral("unknown (no session bus)");
    case Agent::NotRunning:
        return QStringLiteral("not running");
    case Agent::Silent:
        return QStringLiteral("running, but it does not answer");
    case Agent::Running:
        break;
    }
    return QStringLiteral("running");
}

QString phoneLine(const Facts &facts, const RegisteredPhones::Phone &phone) {
    const AgentStatus::Phone *const known = told(facts, phone.service);
    QString text = u'\t' + ShownText::onOneLine(phone.service) + u'\t' +
                   ShownText::onOneLine(phone.shownName()) + u'\t' + stateText(known);
    if (known && known->state != AgentStatus::PhoneState::Connected) {
        if (known->lastSeen && known->state == AgentStatus::PhoneState::NotSeen)
            text += QStringLiteral(", last seen %1").arg(plainDate(known->lastSeen));
        if (!known->lastError.isEmpty())
            text += QStringLiteral(", last error: %1").arg(ShownText::onOneLine(known->lastError));
    }
    if (!phone.address.isEmpty())
        text += QStringLiteral(", at %1").arg(ShownText::onOneLine(phone.address));
    if (phone.pasteMode)
        text += QStringLiteral(", paste mode %1").arg(Settings::wordFor(*phone.pasteMode));
    return text;
}

QJsonObject json(const Facts &facts, const RegisteredPhones::Phone &phone) {
    const AgentStatus::Phone *const known = told(facts, phone.service);
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
    switch (state) {
    case AgentStatus::PhoneState::Connected:
        return QStringLiteral("connected");
    case AgentStatus::PhoneState::Seen:
        return QStringLiteral("seen");
    case AgentStatus::PhoneState::NotSeen:
        break;
    }
    return QStringLiteral("not seen");
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

QStringList lines(const Facts &facts) {
    const auto &counted = facts.statistics;
    QStringList result{facts.syncEnabled ? QStringLiteral("sync: on") : QStringLiteral("sync: off"),
                       QStringLiteral("agent: %1").arg(agentText(facts.agent)),
                       QStringLiteral("paste mode: %1").arg(Settings::wordFor(facts.pasteMode)),
                       QStringLiteral("paired phones: %1").arg(facts.phones.size())};
    for (const auto &phone : facts.phones)
        result.append(phoneLine(facts, phone));
    result.append(QStringLiteral("sent: %1 bytes, received: %2 bytes")
                      .arg(counted.bytesSent)
                      .arg(counted.bytesReceived));
    result.append(QStringLiteral("clips: %1 text, %2 images")
                      .arg(quint32(counted.textItems))
                      .arg(quint32(counted.imageItems)));
    const QList<Refusal> refusals = facts.status ? facts.status->refusals : QList<Refusal>();
    for (const Refusal &refusal : refusals.first(std::min(refusals.size(), mostRefusalsShown)))
        result.append(QStringLiteral("refused: %1").arg(line(refusal)));
    return result;
}

QJsonObject json(const Facts &facts) {
    const auto &counted = facts.statistics;
    QJsonArray phones;
    for (const auto &phone : facts.phones)
        phones.append(json(facts, phone));
    QJsonArray refusals;
    for (const Refusal &refusal : facts.status ? facts.status->refusals : QList<Refusal>())
        refusals.append(json(refusal));
    const QJsonObject counters{
        {QStringLiteral("dataSent"), jsonNumber(counted.bytesSent)},
        {QStringLiteral("dataReceived"), jsonNumber(counted.bytesReceived)},
        {QStringLiteral("textItems"), jsonNumber(quint32(counted.textItems))},
        {QStringLiteral("imageItems"), jsonNumber(quint32(counted.imageItems))}};
    const bool isKnown = facts.agent != Agent::Unknown;
    return {{QStringLiteral("enabled"), facts.syncEnabled},
            {QStringLiteral("agentRuns"),
             isKnown ? QJsonValue(facts.agent != Agent::NotRunning) : QJsonValue(QJsonValue::Null)},
            {QStringLiteral("pasteMode"), Settings::wordFor(facts.pasteMode)},
            {QStringLiteral("phones"), phones},
            {QStringLiteral("refusals"), refusals},
            {QStringLiteral("statistics"), counters}};
}

} // namespace clipmule::StatusReport
