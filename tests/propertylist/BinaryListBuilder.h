// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include <QByteArray>
#include <QList>

#include <optional>

namespace clipmule::kit {

/// Composes a binary property list from the bytes of its objects, right or wrong.
struct BinaryListBuilder {
    QList<QByteArray> objects = {};
    quint64 root = 0;
    quint64 offsetWidth = 1;
    quint64 referenceWidth = 1;
    QByteArray magic = "bplist00";
    /// Instead of the true ones.
    std::optional<quint64> objectCount = {};
    std::optional<quint64> tableOffset = {};
    QList<quint64> offsets = {};
    QByteArray gapBeforeTrailer = {};

    static QByteArray bigEndian(quint64 number, quint64 width) {
        QByteArray bytes;
        for (quint64 i = width; i-- > 0;)
            bytes += i < 8 ? char(number >> (8 * i)) : '\0';
        return bytes;
    }

    [[nodiscard]] QByteArray bytes() const {
        QByteArray file = magic;
        QList<quint64> places;
        for (const QByteArray &object : objects) {
            places.append(quint64(file.size()));
            file += object;
        }
        const quint64 table = quint64(file.size());
        for (const quint64 place : offsets.isEmpty() ? places : offsets)
            file += bigEndian(place, offsetWidth);
        file += gapBeforeTrailer;
        file += QByteArray(6, '\0') + char(offsetWidth) + char(referenceWidth);
        file += bigEndian(objectCount.value_or(quint64(objects.size())), 8);
        file += bigEndian(root, 8);
        file += bigEndian(tableOffset.value_or(table), 8);
        return file;
    }
};

} // namespace clipmule::kit
