// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/pasteboard/Pasteboard.h"
#include "platform/pasteboard/PasteboardContents.h"

namespace clipmule {

/// What the backends have in common: the contents that reading answers from, the contents being
/// staged, the change count, and the readings of bytes as text, property list and URL.
///
/// The bytes of a type have one form on every backend: NSStringPboardType and "public.url-name"
/// UTF-8 text, NSFilenamesPboardType a property list (any format) of absolute paths,
/// NSURLPboardType a property list of the URL's text and an empty base.
///
/// Adding and setting without a declareTypes() before them does nothing, as commit() does.
class StagedPasteboard : public Pasteboard {
public:
    [[nodiscard]] qint64 changeCount() const override { return _changeCount; }
    [[nodiscard]] qint64 unansweredCount() const override { return _unansweredCount; }
    [[nodiscard]] QStringList types() const override;
    [[nodiscard]] std::optional<QByteArray> dataForType(const QString &type) const override;
    [[nodiscard]] std::optional<QString> stringForType(const QString &type) const override;
    [[nodiscard]] std::optional<PropertyList>
    propertyListForType(const QString &type) const override;
    [[nodiscard]] std::optional<QUrl> url() const override;

    void declareTypes(const QStringList &types) override;
    void addTypes(const QStringList &types) override;
    void setDataForType(const QByteArray &data, const QString &type) override;
    void setStringForType(const QString &string, const QString &type) override;
    void setPropertyListForType(const PropertyList &value, const QString &type) override;
    void writeUrl(const QUrl &url) override;
    void commit() override;
    /// Lets go of contents of more than a megabyte; less is not worth it.
    void releaseContents() override;

protected:
    /// Whether the contents are what we committed: others read them from us.
    [[nodiscard]] virtual bool ownsContents() const = 0;
    /// Makes the committed contents the desktop's clipboard. They are already what reading answers
    /// and the change count has moved.
    virtual void publish() = 0;
    /// Called before every read; a backend may raise a PlatformException here.
    virtual void willRead() const {}

    /// What the clipboard holds, staged contents aside.
    [[nodiscard]] const PasteboardContents &contents() const { return _contents; }
    void setContents(PasteboardContents contents) { _contents = std::move(contents); }
    void moveChangeCount() { ++_changeCount; }
    void moveUnansweredCount() { ++_unansweredCount; }

private:
    [[nodiscard]] const PasteboardContents &readable() const;
    PasteboardContents _contents;
    std::optional<PasteboardContents> _staged;
    qint64 _changeCount = 0;
    qint64 _unansweredCount = 0;
};

} // namespace clipmule
