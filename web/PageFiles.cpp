// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "web/PageFiles.h"

#include <QCryptographicHash>
#include <QDirIterator>
#include <QFile>

namespace clipmule {

namespace {

QByteArray typeOf(const QString &name) {
    static const QHash<QString, QByteArray> types{
        {QStringLiteral("html"), "text/html; charset=utf-8"},
        {QStringLiteral("css"), "text/css; charset=utf-8"},
        {QStringLiteral("js"), "text/javascript; charset=utf-8"},
        {QStringLiteral("json"), "application/json"},
        {QStringLiteral("webmanifest"), "application/manifest+json"},
        {QStringLiteral("svg"), "image/svg+xml"},
        {QStringLiteral("png"), "image/png"},
    };
    return types.value(name.section(u'.', -1));
}

QByteArray contentsOf(const QString &path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

QByteArray tagOf(const QByteArray &bytes) {
    constexpr qsizetype digits = 20;
    return '"' + QCryptographicHash::hash(bytes, QCryptographicHash::Sha256).toHex().first(digits) +
           '"';
}

} // namespace

PageFiles::PageFiles(const QString &folder) {
    QDirIterator entries(folder, QDir::Files, QDirIterator::Subdirectories);
    while (entries.hasNext()) {
        const QString path = entries.next();
        const QByteArray type = typeOf(path);
        if (type.isEmpty())
            continue;
        File file{type, contentsOf(path), contentsOf(path + QStringLiteral(".gz")), {}, {}};
        file.plainTag = tagOf(file.plain);
        file.zippedTag = tagOf(file.zipped);
        const QByteArray name = path.sliced(folder.size()).toUtf8();
        _files.insert(name == "/index.html" ? QByteArray("/") : name, file);
    }
}

const PageFiles::File *PageFiles::find(const QByteArray &path) const {
    const auto found = _files.constFind(path);
    return found == _files.cend() ? nullptr : &*found;
}

} // namespace clipmule
