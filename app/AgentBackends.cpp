// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "app/AgentBackends.h"

#include "platform/foundation/PrivateFolder.h"

namespace clipmule {

namespace {

// The keys that paste in the window in front. Where they paste the selection, the clip is offered
// as the selection, too.
std::optional<QString> pasteKeys(const ActiveApplication &inFront, Pasteboard &pasteboard) {
    const ActiveApplication::Pasting pasting = inFront.pasting();
    if (pasting.isFromSelection)
        pasteboard.offerAsSelection();
    return pasting.keys;
}

} // namespace

PasteboardAudience audienceOf(const ActiveApplication &inFront) {
    switch (roleOf(inFront.identifier())) {
    case ApplicationRole::FileManager:
    case ApplicationRole::PhotoManager:
        return PasteboardAudience::FileManager;
    case ApplicationRole::Spreadsheet:
        return PasteboardAudience::Spreadsheet;
    case ApplicationRole::Other:
        return PasteboardAudience::Other;
    case ApplicationRole::Unknown:
        break;
    }
    return PasteboardAudience::Unknown;
}

AgentBackends makeAgentBackends(const Bundle &bundle) {
    AgentBackends made;
    made.session = openSession();
    made.database = makePreferencesDatabase();
    made.notifications = makeDistributedNotifications();
    made.power = makeSystemPower();
    made.dnssd = dnssd::makeBackend();
    made.activeApplication = makeActiveApplication(
        made.session,
        bundle.pathForResource(QStringLiteral("applications"), QStringLiteral("plist")),
        preferencesFolder() + QStringLiteral("/applications.plist"));
    const std::shared_ptr<ActiveApplication> inFront = made.activeApplication;
    made.pasteboard = makePasteboard(made.session, [inFront] { return audienceOf(*inFront); });
    Pasteboard &pasteboard = *made.pasteboard;
    inFront->onChange = [&pasteboard] { pasteboard.audienceChanged(); };
    made.keyboard = makeKeyboardEvents(
        made.session, [inFront, &pasteboard] { return pasteKeys(*inFront, pasteboard); });
    made.sessionPrograms = makeSessionPrograms();
    made.statusInterface = makeStatusInterface();
    made.temporaryFolder = PrivateFolder::temporaryPath();
    return made;
}

} // namespace clipmule
