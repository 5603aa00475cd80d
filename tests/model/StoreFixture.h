// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "model/ClipboardStore.h"
#include "model/ZRKClipmuleClipboard.h"
#include "tests/kit/ManualRunLoop.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <memory>

namespace clipmule::kit {

/// A store in a folder of its own, with a clock of its own.
struct StoreFixture {
    kit::ManualRunLoop runLoop;
    RunLoop::Installation runLoopInstallation{runLoop};
    QTemporaryDir folder;
    std::shared_ptr<ClipboardStore> store;

    StoreFixture() { restart(); }

    /// The program ends without a word and is started again.
    void restart(qint64 largestList = DataFile::largest) {
        store = ClipboardStore::make(path(), largestList);
        store->start();
        ZRKClipmuleClipboard::handOver(store);
    }
    /// What is kept there, as if it were in a clipboard.
    template <typename T>
    std::shared_ptr<T> kept(std::shared_ptr<T> object) const {
        object->setStore(store);
        return object;
    }
    [[nodiscard]] QString path(const QString &name = {}) const {
        const QString data = folder.filePath(QStringLiteral("data"));
        return name.isEmpty() ? data : data + u'/' + name;
    }
    [[nodiscard]] QStringList files() const {
        return QDir(path()).entryList(QDir::Files | QDir::Hidden, QDir::Name);
    }
    [[nodiscard]] QByteArray contents(const QString &name) const {
        QFile file(path(name));
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("(no file)");
    }
    void write(const QString &name, const QByteArray &bytes) const {
        QDir().mkpath(path());
        QFile file(path(name));
        if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size())
            qFatal("cannot write %s", qPrintable(name));
    }
};

} // namespace clipmule::kit
