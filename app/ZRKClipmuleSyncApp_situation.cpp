// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "app/ZRKClipmuleSyncApp.h"
#include "model/ClipNotice.h"
#include "platform/foundation/Log.h"
#include "support/ZRKNotificationCenter.h"

// How things stand, for people who look into why something does not work.

namespace clipmule {

QList<AgentStatus::Phone> ZRKClipmuleSyncApp::phoneStates() const {
    QList<AgentStatus::Phone> states;
    for (const RegisteredPhones::Phone &phone : registeredPhones()) {
        const Contact contact = _contacts.value(phone.service);
        AgentStatus::Phone state{.service = phone.service,
                                 .name = phone.shownName(),
                                 .state = AgentStatus::PhoneState::NotSeen,
                                 .lastSeen = contact.lastSeen,
                                 .lastError = contact.lastError,
                                 .lastErrorDate = contact.lastErrorDate};
        if (const auto client = _clientsDictionary.value(phone.service)) {
            if (client->isEstablished())
                state.state = AgentStatus::PhoneState::Connected;
            else if (!client->services().isEmpty())
                state.state = AgentStatus::PhoneState::Seen;
        }
        states.append(state);
    }
    return states;
}

void ZRKClipmuleSyncApp::clientServiceDidChangeConnection(NetService &service,
                                                          const QString &failure) {
    Contact &contact = _contacts[service.name()];
    if (failure.isEmpty()) {
        contact.lastSeen = Date::now();
        contact.lastError.clear();
        contact.lastErrorDate.reset();
    } else {
        contact.lastError = failure;
        contact.lastErrorDate = Date::now();
    }
    situationDidChange();
}

QString ZRKClipmuleSyncApp::displayName(const QString &serviceName) const {
    const auto phone = RegisteredPhones::phone(serverServices(), serviceName);
    return phone ? phone->shownName() : serviceName;
}

Refusal::Kind ZRKClipmuleSyncApp::kindOf(const ZRKClipmuleData &clip) {
    if (clip.hasImageData())
        return Refusal::Kind::Image;
    return clip.hasString() ? Refusal::Kind::Text : Refusal::Kind::Clip;
}

QString ZRKClipmuleSyncApp::descriptionForLog(const ZRKClipmuleData &clip) {
    return QStringLiteral("%1 of %2 bytes").arg(nameOf(kindOf(clip))).arg(clip.size());
}

void ZRKClipmuleSyncApp::refuse(Refusal refusal, const QString &message) {
    if (enter(std::move(refusal)))
        _services.pasteboard.notice.displayMessage(
            message.isEmpty() ? userText(_refusals.newestFirst().constFirst()) : message);
}

bool ZRKClipmuleSyncApp::enter(Refusal refusal) {
    const bool isNews = _refusals.add(std::move(refusal));
    if (isNews)
        qCInfo(logApp).noquote() << englishText(_refusals.newestFirst().constFirst());
    ZRKNotificationCenter::platformDefault().postNotificationName(ZRKClipmuleSyncDidRefuse);
    situationDidChange();
    return isNews;
}

std::optional<Refusal> ZRKClipmuleSyncApp::lastRefusal() const {
    const QList<Refusal> &all = _refusals.newestFirst();
    return all.isEmpty() ? std::nullopt : std::optional(all.constFirst());
}

void ZRKClipmuleSyncApp::situationDidChange() {
    if (_services.situationDidChange)
        _services.situationDidChange();
}

} // namespace clipmule
