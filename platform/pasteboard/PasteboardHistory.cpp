// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/pasteboard/PasteboardHistory.h"

#include <algorithm>

namespace clipmule {

void PasteboardHistory::setLast(const PasteboardContents &contents) {
    if (!contents.isEmpty())
        _last = PasteboardFingerprint(contents);
}

void PasteboardHistory::remember(const PasteboardContents &contents, Owner owner) {
    _last.reset();
    _contents.emplace_back(contents);
    if (_contents.size() > mostRemembered)
        _contents.pop_front();
    if (!contents.others.contains(PasteboardMarker::passwordHint))
        return;
    _secrets.push_back({PasteboardFingerprint(contents), owner});
    if (_secrets.size() > mostRemembered)
        _secrets.pop_front();
}

void PasteboardHistory::forgetOwner(Owner owner) {
    for (Secret &secret : _secrets) {
        if (secret.owner == owner)
            secret.owner = 0;
    }
}

bool PasteboardHistory::isTakeover(const PasteboardContents &contents, const Taking &taking,
                                   Owner owner) const {
    // A manager that fills an empty clipboard from its history may say so.
    static const QString replacement = QStringLiteral("application/x-kde-onlyReplaceEmpty");
    if (contents.others.contains(replacement) || isSecretWithoutItsMark(contents, owner))
        return true;
    if (!taking.mayBeTakeover())
        return false;
    // Only the manager knows what a program had that quit before anybody read it.
    if (!_last)
        return taking.followsAnEnd;
    const PasteboardFingerprint fingerprint(contents);
    if (fingerprint.isWithin(*_last))
        return true;
    // Managers that keep texts only put the newest of them in the place of a picture or a secret.
    return taking.fillsAGap() &&
           (taking.isTheManagers || taking.hasOwnedBefore || hasBeenHere(fingerprint));
}

// Managers that put a password back leave out what marked it as one, and need not be quick. The
// program that marked it knows what it does.
bool PasteboardHistory::isSecretWithoutItsMark(const PasteboardContents &contents,
                                               Owner owner) const {
    if (_secrets.empty() || contents.others.contains(PasteboardMarker::passwordHint))
        return false;
    const PasteboardFingerprint fingerprint(contents);
    return std::any_of(_secrets.cbegin(), _secrets.cend(), [&](const Secret &secret) {
        return (owner == 0 || secret.owner != owner) && fingerprint.isWithin(secret.fingerprint);
    });
}

bool PasteboardHistory::hasBeenHere(const PasteboardFingerprint &contents) const {
    return std::any_of(
        _contents.cbegin(), _contents.cend(),
        [&](const PasteboardFingerprint &older) { return contents.isWithin(older); });
}

} // namespace clipmule
