// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/pasteboard/StagedPasteboard.h"

namespace clipmule {

/// A clipboard in memory, which a test scripts: other applications copy to it, vanish, or fail.
class FakePasteboard final : public StagedPasteboard {
public:
    /// Another application copies: the change count moves and the contents are replaced, by nothing
    /// while nobody watches. Types are named as the program names them (PasteboardType).
    void copyByAnotherApplication(const PasteboardContents &contents);
    /// Text, for short.
    void copyText(const QString &text);
    /// Another application copies and does not tell what.
    void copyWithoutAnswer() { moveUnansweredCount(); }
    /// The application that owned the contents quits: there are none, and nothing counts as copied.
    void removeOwner();
    /// Every read from now on raises a PlatformException with this reason; an empty one ends that.
    void failReadsWith(const QString &reason) { _readFailure = reason; }
    /// So does every commit, before anything changed.
    void failCommitsWith(const QString &reason) { _commitFailure = reason; }

    /// How many times contents were written by commit().
    [[nodiscard]] int commitCount() const { return _commitCount; }
    /// What is on the clipboard, staged contents aside; reads nothing and never fails.
    [[nodiscard]] const PasteboardContents &clipboard() const { return contents(); }
    /// How many times anybody asked for types, bytes or a reading.
    [[nodiscard]] int readCount() const { return _readCount; }
    [[nodiscard]] bool isWatching() const { return _watching; }

    void commit() override;
    [[nodiscard]] QString description() const override { return QStringLiteral("fake"); }
    void setWatching(bool watching) override;
    void prepareToQuit(std::function<void()> done) override;
    [[nodiscard]] bool isPreparedToQuit() const { return _preparedToQuit; }

protected:
    void publish() override {
        ++_commitCount;
        _isOwner = true;
    }
    [[nodiscard]] bool ownsContents() const override { return _isOwner; }
    void willRead() const override;

private:
    QString _readFailure;
    QString _commitFailure;
    int _commitCount = 0;
    bool _watching = false;
    bool _isOwner = false;
    bool _preparedToQuit = false;
    mutable int _readCount = 0;
};

} // namespace clipmule
