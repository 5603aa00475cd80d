// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/dnssd/backends/local/Announcement.h"

#include "platform/dnssd/ServiceRules.h"

#include <QCryptographicHash>
#include <QtEndian>

namespace clipmule::dnssd {

namespace {

const QByteArray version = QByteArrayLiteral("cms1");

QByteArray withLength(const QString &text) {
    const QByteArray bytes = text.toUtf8();
    return char(bytes.size()) + bytes;
}

// The next so many bytes of the packet; a null array when there are not as many.
QByteArray take(QByteArray &rest, qsizetype count) {
    if (rest.size() < count)
        return {};
    QByteArray taken = rest.first(count);
    rest = rest.sliced(count);
    return taken;
}

std::optional<QString> takeText(QByteArray &rest) {
    const QByteArray length = take(rest, 1);
    const QByteArray bytes = length.isNull() ? QByteArray() : take(rest, quint8(length[0]));
    const QString text = QString::fromUtf8(bytes);
    if (bytes.isNull() || text.toUtf8() != bytes)
        return std::nullopt;
    return text;
}

} // namespace

QByteArray packetOf(const Announcement &announcement) {
    QByteArray port(2, Qt::Uninitialized);
    qToBigEndian(announcement.port, port.data());
    return version + port + withLength(announcement.service.name) +
           withLength(announcement.service.type) + announcement.txtRecord;
}

Result<Announcement> announcementIn(const QByteArray &packet) {
    QByteArray rest = packet;
    if (take(rest, version.size()) != version)
        return failure(QStringLiteral("it is of another version"));
    const QByteArray port = take(rest, 2);
    const auto name = takeText(rest);
    const auto type = name ? takeText(rest) : std::nullopt;
    if (!type)
        return failure(QStringLiteral("it is cut off, or no text"));
    const Announcement result{
        {*name, *type, QStringLiteral("local")}, qFromBigEndian<quint16>(port.constData()), rest};
    if (const QString refusal = reasonToRefuse(result.service, result.txtRecord);
        !refusal.isEmpty())
        return failure(refusal);
    if (result.port == 0)
        return failure(QStringLiteral("it has no port"));
    return result;
}

QByteArray fileOf(const QString &name, const QString &type) {
    const QByteArray hash =
        QCryptographicHash::hash(type.toUtf8() + '\0' + name.toUtf8(), QCryptographicHash::Sha256);
    return fileBeginning + hash.first(16).toHex();
}

} // namespace clipmule::dnssd
