// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "tests/kit/FakePasteboard.h"

#include "platform/foundation/PlatformException.h"

namespace clipmule::kit {

void FakePasteboard::copyByAnotherApplication(const PasteboardContents &contents) {
    _isOwner = false;
    setContents(_watching ? contents : PasteboardContents());
    moveChangeCount();
    tellChange();
}

void FakePasteboard::copyText(const QString &text) {
    copyByAnotherApplication({.text = text.toUtf8()});
}

void FakePasteboard::copyWithoutAnswer() {
    moveUnansweredCount();
    tellChange();
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

QString FakePasteboard::text() const {
    return clipboard().text ? QString::fromUtf8(*clipboard().text) : QString();
}

void FakePasteboard::write(PasteboardContents contents) {
    if (!_writeFailure.isEmpty())
        throw PlatformException(QStringLiteral("PasteboardFailure"), _writeFailure);
    Pasteboard::write(std::move(contents));
}

void FakePasteboard::prepareToQuit(std::function<void()> done) {
    _preparedToQuit = true;
    done();
}

const PasteboardContents &FakePasteboard::contents() const {
    ++_readCount;
    if (!_readFailure.isEmpty())
        throw PlatformException(QStringLiteral("PasteboardFailure"), _readFailure);
    return Pasteboard::contents();
}

} // namespace clipmule::kit
