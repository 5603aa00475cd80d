// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/pasteboard/Pasteboard.h"

namespace clipmule::kit {

/// A clipboard in memory, which a test scripts: other applications copy to it, vanish, or fail.
class FakePasteboard final : public Pasteboard {
public:
    FakePasteboard() { setAccessible(true); }

    /// The desktop lets us at it, or does not.
    using Pasteboard::setAccessible;
    /// Another application copies: the change count moves and the contents are replaced, by nothing
    /// while nobody watches.
    void copyByAnotherApplication(const PasteboardContents &contents);
    /// Text, for short.
    void copyText(const QString &text);
    /// Another application copies and does not tell what.
    void copyWithoutAnswer();
    /// The application that owned the contents quits: there are none, and nothing counts as copied.
    void removeOwner();
    /// Every read from now on raises a PlatformException with this reason; an empty one ends that.
    void failReadsWith(const QString &reason) { _readFailure = reason; }
    /// So does every write, before anything changed.
    void failWritesWith(const QString &reason) { _writeFailure = reason; }

    /// How many times contents were written.
    [[nodiscard]] int writeCount() const { return _writeCount; }
    /// What is on the clipboard; reads nothing and never fails.
    [[nodiscard]] const PasteboardContents &clipboard() const { return Pasteboard::contents(); }
    /// The text on it; null without one.
    [[nodiscard]] QString text() const;
    /// How many times anybody asked for the contents.
    [[nodiscard]] int readCount() const { return _readCount; }
    [[nodiscard]] bool isWatching() const { return _watching; }

    [[nodiscard]] const PasteboardContents &contents() const override;
    void write(PasteboardContents contents) override;
    [[nodiscard]] QString description() const override { return QStringLiteral("fake"); }
    void setWatching(bool watching) override;
    void prepareToQuit(std::function<void()> done) override;
    [[nodiscard]] bool isPreparedToQuit() const { return _preparedToQuit; }

protected:
    void publish() override {
        ++_writeCount;
        _isOwner = true;
    }
    [[nodiscard]] bool ownsContents() const override { return _isOwner; }

private:
    QString _readFailure;
    QString _writeFailure;
    int _writeCount = 0;
    bool _watching = false;
    bool _isOwner = false;
    bool _preparedToQuit = false;
    mutable int _readCount = 0;
};

} // namespace clipmule::kit
