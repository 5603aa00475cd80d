// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "Common/Categories/ZRKNSStringCategory.h"

#include <QCryptographicHash>
#include <QMessageAuthenticationCode>
#include <QUrl>
#include <QUuid>

namespace clipmule::ZRKNSStringCategory {

namespace {

QByteArray utf8UpToNul(const QString &string) {
    const qsizetype end = string.indexOf(QChar(u'\0'));
    return end < 0 ? string.toUtf8() : QStringView(string).first(end).toUtf8();
}

} // namespace

QString uuid() {
    return QUuid::createUuid().toString(QUuid::WithoutBraces).toUpper();
}

QString md5(const QString &string) {
    return QString::fromLatin1(
        QCryptographicHash::hash(utf8UpToNul(string), QCryptographicHash::Md5).toHex());
}

QString sha1(const QString &string) {
    return QString::fromLatin1(
        QCryptographicHash::hash(utf8UpToNul(string), QCryptographicHash::Sha1).toBase64());
}

QString hmacSHA1(const QString &string, const QString &key) {
    return QString::fromLatin1(
        QMessageAuthenticationCode::hash(string.toUtf8(), key.toUtf8(), QCryptographicHash::Sha1)
            .toBase64());
}

QString urlEncode(const QString &string) {
    return QString::fromLatin1(QUrl::toPercentEncoding(string));
}

} // namespace clipmule::ZRKNSStringCategory
