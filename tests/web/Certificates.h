// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include <QFile>
#include <QProcess>
#include <QSslCertificate>

namespace clipmule::web_test {

/// A certificate of its own, BASE.pem with BASE.key, for so many days, which may be over, and for
/// these names and addresses in the words of openssl. Null when it cannot be made.
[[nodiscard]] inline QSslCertificate
certify(const QString &base, int days,
        const QByteArray &names = QByteArrayLiteral("IP:127.0.0.1")) {
    const auto openssl = [](const QStringList &words) {
        QProcess process;
        process.start(QStringLiteral("openssl"), words);
        return process.waitForFinished() && process.exitCode() == 0;
    };
    const QString key = base + QStringLiteral(".key");
    const QString request = base + QStringLiteral(".request");
    const QString certificate = base + QStringLiteral(".pem");
    QFile extensions(base + QStringLiteral(".extensions"));
    const auto sign = [&](const QStringList &validity) {
        return openssl(QStringList{QStringLiteral("x509"), QStringLiteral("-req"),
                                   QStringLiteral("-in"), request, QStringLiteral("-signkey"), key,
                                   QStringLiteral("-extfile"), extensions.fileName(),
                                   QStringLiteral("-out"), certificate} +
                       validity);
    };
    const bool isMade =
        extensions.open(QIODevice::WriteOnly) &&
        extensions.write("subjectAltName=" + names + '\n') > 0 && extensions.flush() &&
        openssl({QStringLiteral("req"), QStringLiteral("-new"), QStringLiteral("-newkey"),
                 QStringLiteral("ec"), QStringLiteral("-pkeyopt"),
                 QStringLiteral("ec_paramgen_curve:prime256v1"), QStringLiteral("-nodes"),
                 QStringLiteral("-subj"), QStringLiteral("/CN=desk"), QStringLiteral("-keyout"),
                 key, QStringLiteral("-out"), request}) &&
        (sign({QStringLiteral("-days"), QString::number(days)}) ||
         // What is over is said so to newer versions, which the older ones do not know.
         (days < 0 && sign({QStringLiteral("-not_before"), QStringLiteral("20200101000000Z"),
                            QStringLiteral("-not_after"), QStringLiteral("20200102000000Z")})));
    return isMade ? QSslCertificate::fromPath(certificate).value(0) : QSslCertificate();
}

} // namespace clipmule::web_test
