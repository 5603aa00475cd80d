// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include <QByteArray>
#include <QHash>
#include <QList>
#include <QString>
#include <QStringList>

#include <optional>

namespace clipmule {

/// What a clipboard holds: representations in their owner's order, no type twice. A representation
/// may be declared without bytes.
class PasteboardContents {
public:
    struct Representation {
        QString type;
        std::optional<QByteArray> data;
        friend bool operator==(const Representation &, const Representation &) = default;
    };

    PasteboardContents() = default;
    /// When a type is named twice, its first representation counts.
    PasteboardContents(const QList<Representation> &representations);

    [[nodiscard]] const QList<Representation> &representations() const { return _representations; }
    [[nodiscard]] bool isEmpty() const { return _representations.isEmpty(); }
    [[nodiscard]] QStringList types() const;
    [[nodiscard]] bool contains(const QString &type) const;
    /// The bytes of a type; nothing when the type is missing or has no bytes.
    [[nodiscard]] std::optional<QByteArray> data(const QString &type) const;
    /// Appends the type without bytes, unless it is there.
    void declare(const QString &type);
    /// Replaces the bytes of a type, which is appended when it is not there.
    void set(const QString &type, const QByteArray &data);
    /// The same contents without the types that have no bytes.
    [[nodiscard]] PasteboardContents withoutEmptyDeclarations() const;

    friend bool operator==(const PasteboardContents &, const PasteboardContents &) = default;

private:
    // The places by type: a phone may send any number of types.
    QHash<QString, qsizetype> _places;
    QList<Representation> _representations;
};

} // namespace clipmule
