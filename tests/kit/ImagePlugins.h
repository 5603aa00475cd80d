// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include <QFile>
#include <QFileInfo>
#include <QStringList>

namespace clipmule::kit {

/// The toolkit's plug-ins for kinds of pictures that this process has loaded so far, by the names
/// of their files, sorted. They are never unloaded.
inline QStringList loadedImagePlugins() {
    QStringList plugins;
    QFile maps(QStringLiteral("/proc/self/maps"));
    if (!maps.open(QIODevice::ReadOnly))
        return plugins;
    for (const QByteArray &line : maps.readAll().split('\n')) {
        const QString path = QString::fromLocal8Bit(line.mid(line.indexOf('/')));
        if (path.contains(QLatin1String("/imageformats/")))
            plugins.append(QFileInfo(path).fileName());
    }
    plugins.removeDuplicates();
    plugins.sort();
    return plugins;
}

} // namespace clipmule::kit
