// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/foundation/HostAndPort.h"

#include "platform/foundation/Log.h"

#include <QCoreApplication>
#include <QUrl>

#include <algorithm>
#include <optional>

namespace clipmule {

namespace {

constexpr qsizetype longestHostName = 253;

auto wrongForm() {
    return failure(QCoreApplication::translate(
        "Clipmule", "an address has the form HOST:PORT, or [ADDRESS]:PORT for IPv6"));
}

std::optional<quint16> portOf(QStringView text) {
    const bool areDigits = std::all_of(text.begin(), text.end(),
                                       [](QChar unit) { return unit >= u'0' && unit <= u'9'; });
    bool isNumber = false;
    const ushort port = text.toUShort(&isNumber);
    if (!areDigits || !isNumber || port == 0)
        return {};
    return port;
}

bool isPlainIpv6(const QString &text) {
    const bool isSpelled = std::all_of(text.begin(), text.end(), [](QChar unit) {
        return (unit >= u'0' && unit <= u'9') || (unit >= u'a' && unit <= u'f') ||
               (unit >= u'A' && unit <= u'F') || unit == u':' || unit == u'.';
    });
    QUrl url;
    url.setHost(u'[' + text + u']', QUrl::StrictMode);
    return isSpelled && !url.host().isEmpty();
}

bool isIpv6(const QString &text) {
    const qsizetype percent = text.indexOf(u'%');
    if (percent < 0)
        return isPlainIpv6(text);
    const QStringView scope = QStringView(text).sliced(percent + 1);
    const bool isScope = !scope.isEmpty() && scope.size() <= longestScope &&
                         std::all_of(scope.begin(), scope.end(), [](QChar unit) {
                             return unit > u' ' && unit < u'\x7f' && unit != u'/' && unit != u'%';
                         });
    return isScope && isPlainIpv6(text.first(percent));
}

bool isHostName(const QString &text) {
    if (text.isEmpty() || text.size() > longestHostName || text.startsWith(u'.'))
        return false;
    const bool isSpelled = std::all_of(text.begin(), text.end(), [](QChar unit) {
        return unit == u'-' || unit == u'.' || unit == u'_' || unit.isLetterOrNumber();
    });
    QUrl url;
    if (isSpelled)
        url.setHost(text, QUrl::StrictMode);
    return !url.host().isEmpty();
}

} // namespace

QString HostAndPort::text() const {
    return (host.contains(u':') ? u'[' + host + u']' : host) + u':' + QString::number(port);
}

Result<HostAndPort> parseHostAndPort(const QString &text) {
    const QString trimmed = text.trimmed();
    const qsizetype colon = trimmed.lastIndexOf(u':');
    if (colon < 0 || trimmed.size() > longestHostAndPort)
        return wrongForm();
    QString host = trimmed.first(colon);
    const bool isBracketed = host.startsWith(u'[') && host.endsWith(u']');
    if (!isBracketed && host.contains(u':'))
        return wrongForm();
    if (isBracketed)
        host = host.sliced(1, host.size() - 2);
    const auto port = portOf(QStringView(trimmed).sliced(colon + 1));
    if (!port)
        return failure(
            QCoreApplication::translate("Clipmule", "the port must be a number from 1 to 65535"));
    if (isBracketed ? !isIpv6(host) : !isHostName(host))
        return failure(
            QCoreApplication::translate("Clipmule", "\"%1\" is neither a host name nor an address")
                .arg(onOneLine(host, shownInLabel)));
    return HostAndPort{host, *port};
}

} // namespace clipmule
