// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "tests/kit/Vectors.h"

#include <QDir>
#include <QJsonDocument>

namespace clipmule::kit {

namespace {

QString pathOf(const QString &name) {
    return QStringLiteral(CLIPMULE_TEST_DATA "/vectors/") + name;
}

QJsonObject readExpected() {
    QJsonParseError error;
    const auto document =
        QJsonDocument::fromJson(vectorBytes(QStringLiteral("expected.json")), &error);
    if (error.error != QJsonParseError::NoError)
        qFatal("expected.json: %s", qPrintable(error.errorString()));
    return document.object();
}

} // namespace

QByteArray vectorBytes(const QString &name) {
    QFile file(pathOf(name));
    if (!file.open(QIODevice::ReadOnly))
        qFatal("%s: %s", qPrintable(file.fileName()), qPrintable(file.errorString()));
    return file.readAll();
}

QStringList vectorsIn(const QString &folder) {
    QStringList names = QDir(pathOf(folder)).entryList(QDir::Files, QDir::Name);
    if (names.isEmpty())
        qFatal("no files in %s", qPrintable(pathOf(folder)));
    for (QString &name : names)
        name.prepend(folder + u'/');
    return names;
}

QJsonObject expectedValue(const QString &name) {
    static const QJsonObject expected = readExpected();
    return expected[name][u"value"].toObject();
}

} // namespace clipmule::kit
