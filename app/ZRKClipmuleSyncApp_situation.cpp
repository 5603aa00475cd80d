// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "app/ZRKClipmuleSyncApp.h"

// How things stand, for people who look into why something does not work.

namespace clipmule {

QList<AgentStatus::Phone> ZRKClipmuleSyncApp::phoneStates() const {
    QList<AgentStatus::Phone> states;
    for (const RegisteredPhone &phone : registeredPhones()) {
        const Contact contact = _contacts.value(phone.serverService);
        AgentStatus::Phone state{.service = phone.serverService,
                                 .name = phone.serverName.value_or(phone.serverService),
                                 .state = AgentStatus::PhoneState::NotSeen,
                                 .lastSeen = contact.lastSeen,
                                 .lastError = contact.lastError,
                                 .lastErrorDate = contact.lastErrorDate};
        if (const auto client = _clientsDictionary.value(phone.serverService)) {
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

void ZRKClipmuleSyncApp::refuseClip(const QString &reason) {
    _lastRefusedClip = RefusedClip{reason, Date::now()};
    situationDidChange();
}

void ZRKClipmuleSyncApp::situationDidChange() {
    if (_services.situationDidChange)
        _services.situationDidChange();
}

} // namespace clipmule
