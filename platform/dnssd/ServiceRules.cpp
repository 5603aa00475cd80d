// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/dnssd/ServiceRules.h"

#include <QNetworkInterface>

#include <algorithm>
#include <tuple>

namespace clipmule::dnssd {

namespace {

bool isPlain(char byte) {
    return (byte >= 'a' && byte <= 'z') || (byte >= 'A' && byte <= 'Z') ||
           (byte >= '0' && byte <= '9') || byte == '-' || byte == '_';
}

bool isServiceType(const QString &type) {
    const QByteArray bytes = type.toUtf8();
    const qsizetype dot = bytes.indexOf('.');
    if (dot < 2 || dot > maximumNameBytes || !bytes.startsWith('_'))
        return false;
    const QByteArray protocol = bytes.mid(dot);
    return std::all_of(bytes.begin(), bytes.begin() + dot, isPlain) &&
           (protocol == "._tcp" || protocol == "._udp");
}

/// An IPv4 address that is written as an IPv6 one, as the IPv4 one that it is.
QHostAddress unmapped(const QHostAddress &address) {
    bool isIpv4 = false;
    const quint32 ipv4 = address.toIPv4Address(&isIpv4);
    return isIpv4 ? QHostAddress(ipv4) : address;
}

} // namespace

bool ByServiceName::operator()(const ServiceName &left, const ServiceName &right) const {
    return std::tie(left.type, left.name, left.domain) <
           std::tie(right.type, right.name, right.domain);
}

QByteArray emptyTxtRecord() {
    return QByteArray(1, '\0');
}

QString reasonToRefuse(const ServiceName &service) {
    const qsizetype length = service.name.toUtf8().size();
    if (length == 0)
        return QStringLiteral("the service name is empty");
    if (length > maximumNameBytes)
        return QStringLiteral("the service name has %1 bytes, more than %2")
            .arg(length)
            .arg(maximumNameBytes);
    if (service.name.contains(QChar(u'\0')))
        return QStringLiteral("the service name contains a null character");
    if (!isServiceType(service.type))
        return QStringLiteral("\"%1\" is not a service type").arg(service.type);
    return {};
}

QString reasonToRefuseTxtRecord(const QByteArray &txtRecord) {
    if (txtRecord.size() > maximumTxtRecordBytes)
        return QStringLiteral("the TXT record has %1 bytes, more than %2")
            .arg(txtRecord.size())
            .arg(maximumTxtRecordBytes);
    for (qsizetype position = 0; position < txtRecord.size();) {
        position += 1 + quint8(txtRecord[position]);
        if (position > txtRecord.size())
            return QStringLiteral("the TXT record ends inside an entry");
    }
    return {};
}

QString reasonToRefuse(const ServiceName &service, const QByteArray &txtRecord) {
    const QString reason = reasonToRefuse(service);
    return reason.isEmpty() ? reasonToRefuseTxtRecord(txtRecord) : reason;
}

QList<QByteArray> txtRecordEntries(const QByteArray &txtRecord) {
    QList<QByteArray> entries;
    for (qsizetype position = 0; position < txtRecord.size();) {
        const qsizetype length = quint8(txtRecord[position]);
        if (length > 0)
            entries.append(txtRecord.mid(position + 1, length));
        position += 1 + length;
    }
    return entries;
}

QString nameForAttempt(const QString &name, int attempt) {
    if (attempt <= 1)
        return name;
    const QString suffix = QStringLiteral(" (%1)").arg(attempt);
    QByteArray base = name.toUtf8();
    qsizetype room = maximumNameBytes - suffix.size();
    if (base.size() > room) {
        // A character is not cut in the middle: its further bytes are 10xxxxxx.
        while (room > 0 && (quint8(base[room]) & 0xC0U) == 0x80U)
            --room;
        base.truncate(room);
    }
    return QString::fromUtf8(base) + suffix;
}

QString escapedFullName(const ServiceName &service) {
    QString label;
    for (const char byte : service.name.toUtf8()) {
        if (isPlain(byte))
            label += QLatin1Char(byte);
        else if (byte == '.' || byte == '\\')
            label += u'\\' + QString(QLatin1Char(byte));
        else
            label += QStringLiteral("\\%1").arg(quint8(byte), 3, 10, QLatin1Char('0'));
    }
    return label + u'.' + service.type + u'.' + service.domain;
}

QString reasonToAvoid(const QHostAddress &address) {
    const QHostAddress plain = unmapped(address);
    const bool isNobodys = plain.isNull() || plain == QHostAddress(QHostAddress::AnyIPv6) ||
                           plain.isInSubnet(QHostAddress(QHostAddress::AnyIPv4), 8);
    if (isNobodys || plain.isMulticast() || plain.isBroadcast())
        return QStringLiteral("%1 is not the address of one computer").arg(address.toString());
    return {};
}

QString reasonToAvoidAnnounced(const QHostAddress &address, bool overLoopback) {
    if (!overLoopback && unmapped(address).isLoopback())
        return QStringLiteral("%1 is this computer's own, announced by another")
            .arg(address.toString());
    return reasonToAvoid(address);
}

bool isLoopbackInterface(int index) {
    return QNetworkInterface::interfaceFromIndex(index).flags().testFlag(
        QNetworkInterface::IsLoopBack);
}

void sortEndpoints(QList<Endpoint> &endpoints) {
    std::stable_partition(endpoints.begin(), endpoints.end(), [](const Endpoint &endpoint) {
        return endpoint.address.protocol() == QAbstractSocket::IPv4Protocol;
    });
}

} // namespace clipmule::dnssd
