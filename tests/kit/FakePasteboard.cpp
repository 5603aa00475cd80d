// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "tests/kit/FakePasteboard.h"

#include "platform/foundation/PlatformException.h"

namespace clipmule {

void FakePasteboard::copyByAnotherApplication(const PasteboardContents &contents) {
    _isOwner = false;
    setContents(_watching ? contents : PasteboardContents());
    moveChangeCount();
}

void FakePasteboard::copyText(const QString &text) {
    copyByAnotherApplication(
        PasteboardContents({{PasteboardType::NSStringPboardType, text.toUtf8()}}));
}

void FakePasteboard::removeOwner() {
    _isOwner = false;
    setContents({});
}

void FakePasteboard::setWatching(bool watching) {
    _watching = watching;
    if (!watching && !_isOwner)
        setContents({});
}

void FakePasteboard::commit() {
    if (!_commitFailure.isEmpty())
        throw PlatformException(QStringLiteral("PasteboardFailure"), _commitFailure);
    StagedPasteboard::commit();
}

void FakePasteboard::prepareToQuit(std::function<void()> done) {
    _preparedToQuit = true;
    done();
}

void FakePasteboard::willRead() const {
    ++_readCount;
    if (!_readFailure.isEmpty())
        throw PlatformException(QStringLiteral("PasteboardFailure"), _readFailure);
}

} // namespace clipmule
