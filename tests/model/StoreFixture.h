// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "model/ClipboardStore.h"
#include "tests/kit/ManualRunLoop.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <memory>

namespace clipmule::test {

/// A store in a folder of its own, with a clock of its own.
struct StoreFixture {
    kit::ManualRunLoop runLoop;
    RunLoop::Installation runLoopInstallation{runLoop};
    QTemporaryDir folder;
    std::unique_ptr<ClipboardStore> store;
    std::unique_ptr<ClipboardStore::Installation> installation;

    StoreFixture() { restart(); }

    /// The program ends without a word and is started again.
    void restart() {
        installation.reset();
        store = std::make_unique<ClipboardStore>(path());
        installation = std::make_unique<ClipboardStore::Installation>(*store);
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

} // namespace clipmule::test
