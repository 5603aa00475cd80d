// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/pasteboard/PasteboardHistory.h"

#include <algorithm>

namespace clipmule {

void PasteboardHistory::setLast() {
    if (!_contents.empty())
        _last = _contents.back();
}

void PasteboardHistory::remember(const Known &known, Owner owner) {
    _last.reset();
    _contents.push_back(known.fingerprint);
    if (_contents.size() > mostRemembered)
        _contents.pop_front();
    if (!known.contents.others.contains(PasteboardMarker::passwordHint))
        return;
    _secrets.push_back({known.fingerprint, owner});
    if (_secrets.size() > mostRemembered)
        _secrets.pop_front();
}

void PasteboardHistory::forgetOwner(Owner owner) {
    for (Secret &secret : _secrets) {
        if (secret.owner == owner)
            secret.owner = 0;
    }
}

bool PasteboardHistory::isTakeover(const Known &known, const Taking &taking, Owner owner) const {
    // A manager that fills an empty clipboard from its history may say so.
    static const QString replacement = QStringLiteral("application/x-kde-onlyReplaceEmpty");
    if (known.contents.others.contains(replacement) || isSecretWithoutItsMark(known, owner))
        return true;
    if (!taking.mayBeTakeover())
        return false;
    // Only the manager knows what a program had that quit before anybody read it.
    if (!_last)
        return taking.followsAnEnd;
    if (known.fingerprint.isWithin(*_last))
        return true;
    // Managers that keep texts only put the newest of them in the place of a picture or a secret.
    return taking.fillsAGap() &&
           (taking.isTheManagers || taking.hasOwnedBefore || hasBeenHere(known.fingerprint));
}

// Managers that put a password back leave out what marked it as one, and need not be quick. The
// program that marked it knows what it does.
bool PasteboardHistory::isSecretWithoutItsMark(const Known &known, Owner owner) const {
    if (known.contents.others.contains(PasteboardMarker::passwordHint))
        return false;
    return std::any_of(_secrets.cbegin(), _secrets.cend(), [&](const Secret &secret) {
        return (owner == 0 || secret.owner != owner) &&
               known.fingerprint.isWithin(secret.fingerprint);
    });
}

bool PasteboardHistory::hasBeenHere(const PasteboardFingerprint &contents) const {
    return std::any_of(
        _contents.cbegin(), _contents.cend(),
        [&](const PasteboardFingerprint &older) { return contents.isWithin(older); });
}

} // namespace clipmule
