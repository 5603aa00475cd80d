// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "tests/desktop/RecordedPrograms.h"

#include <QBuffer>
#include <QDir>
#include <QImage>
#include <QImageWriter>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

namespace clipmule::kit {

namespace {

// More goes in pieces, as every owner does it.
constexpr qsizetype largestAnswer = 200'000;

QList<QJsonObject> readAll() {
    const QDir folder(QStringLiteral(CLIPMULE_TEST_DATA "/programs"));
    QList<QJsonObject> files;
    for (const QString &name : folder.entryList({QStringLiteral("*.json")}, QDir::Files)) {
        QFile file(folder.filePath(name));
        if (!file.open(QIODevice::ReadOnly))
            qFatal("%s: %s", qPrintable(file.fileName()), qPrintable(file.errorString()));
        const QJsonDocument document = QJsonDocument::fromJson(file.readAll());
        if (!document.isObject())
            qFatal("%s: no JSON object", qPrintable(file.fileName()));
        files.append(document.object());
    }
    return files;
}

// "PNG 640x480" of about so many bytes: as many rows as that takes cannot be compressed.
QByteArray picture(const QString &description, qsizetype bytes) {
    const QString format = description.section(u' ', 0, 0);
    const QString size = description.section(u' ', 1);
    QImage image(size.section(u'x', 0, 0).toInt(), size.section(u'x', 1).toInt(),
                 QImage::Format_RGB32);
    image.fill(Qt::white);
    quint32 state = 1;
    for (qsizetype pixel = 0;
         pixel < std::min(bytes / 3, qsizetype(image.width()) * image.height()); ++pixel) {
        state = state * 1664525U + 1013904223U;
        reinterpret_cast<quint32 *>(image.bits())[pixel] = 0xff000000U | (state >> 8U);
    }
    QBuffer buffer;
    buffer.open(QIODevice::WriteOnly);
    QImageWriter writer(&buffer, format.startsWith(u"BMP") ? "bmp" : format.toLower().toLatin1());
    writer.write(image);
    return buffer.data();
}

// The folder's name is in texts of either encoding.
QByteArray at(const QString &folder, QByteArray data) {
    const auto utf16 = [](const QString &text) {
        return QByteArray(reinterpret_cast<const char *>(text.data()), 2 * text.size());
    };
    const QString name = QStringLiteral("$FOLDER");
    return data.replace(name.toUtf8(), folder.toUtf8()).replace(utf16(name), utf16(folder));
}

X11TestOwner::Answer answer(const QJsonObject &entry, const QString &folder) {
    const auto bytes = qsizetype(entry[u"bytes"].toInteger());
    const QByteArray name = at(folder, entry[u"target"].toString().toUtf8());
    QByteArray data;
    if (entry.contains(u"text"))
        data = at(folder, entry[u"text"].toString().toUtf8());
    else if (entry.contains(u"base64"))
        data = at(folder, QByteArray::fromBase64(entry[u"base64"].toString().toLatin1()));
    else if (entry.contains(u"picture") && !entry[u"picture"].toString().isEmpty())
        data = picture(entry[u"picture"].toString(), bytes);
    else
        data = entry[u"begins"].toString().toUtf8().leftJustified(bytes, 'x');
    const bool isLong = data.size() > largestAnswer;
    return {.target = name,
            .data = data,
            // Offered, and then not to be had.
            .isRefused = data.isEmpty(),
            .pieceBytes = isLong ? largestAnswer : 0};
}

Offers offersIn(const QJsonValue &list, const QString &folder) {
    Offers offers;
    for (const QJsonValue &entry : list.toArray())
        offers.append(answer(entry.toObject(), folder));
    return offers;
}

QStringList names(const QJsonValue &list) {
    QStringList names;
    for (const QJsonValue &name : list.toArray())
        names.append(name.toString());
    return names;
}

} // namespace

QList<RecordedCopy> recordedCopies(const QString &folder) {
    QList<RecordedCopy> copies;
    for (const QJsonObject &file : readAll()) {
        const QJsonObject kinds = file[u"copies"].toObject();
        for (auto kind = kinds.begin(); kind != kinds.end(); ++kind)
            copies.append({file[u"program"].toString(), kind.key(), offersIn(*kind, folder)});
    }
    return copies;
}

QList<RecordedPaste> recordedPastes() {
    QList<RecordedPaste> pastes;
    for (const QJsonObject &file : readAll()) {
        const QJsonObject kinds = file[u"pastes"].toObject();
        for (auto kind = kinds.begin(); kind != kinds.end(); ++kind)
            pastes.append({file[u"program"].toString(), kind.key(), names((*kind)[u"offered"]),
                           names((*kind)[u"asked"])});
    }
    return pastes;
}

QList<RecordedTakeover> recordedTakeovers() {
    QList<RecordedTakeover> takeovers;
    for (const QJsonObject &file : readAll()) {
        const QJsonObject kinds = file[u"takeovers"].toObject();
        for (auto kind = kinds.begin(); kind != kinds.end(); ++kind)
            takeovers.append({file[u"manager"].toString(), kind.key(),
                              offersIn((*kind)[u"offered"], {}), names((*kind)[u"asked"]),
                              offersIn((*kind)[u"afterwards"], {})});
    }
    return takeovers;
}

} // namespace clipmule::kit
