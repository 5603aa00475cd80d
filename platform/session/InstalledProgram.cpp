// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/session/InstalledProgram.h"

#include "platform/foundation/Callbacks.h"

#include <QFile>

#include <sys/stat.h>

namespace clipmule {

InstalledProgram::InstalledProgram(const QString &path)
    : _path(path)
    , _known(identity()) {
    if (!_known)
        return;
    _watcher.addPath(_path);
    QObject::connect(&_watcher, &QFileSystemWatcher::fileChanged, &_watcher, [this] {
        _look = RunLoop::current().performAfter(settleTime, [this] { lookAgain(); });
    });
}

std::optional<InstalledProgram::Identity> InstalledProgram::identity() const {
    struct stat status {};
    if (::stat(QFile::encodeName(_path).constData(), &status) != 0)
        return std::nullopt;
    return Identity{status.st_dev, status.st_ino};
}

void InstalledProgram::lookAgain() {
    const auto found = identity();
    if (!found) {
        callCopyOf(onRemoved);
        return;
    }
    // The watch is that of the file that was there before, as long as it runs.
    _watcher.removePath(_path);
    _watcher.addPath(_path);
    if (found != _known) {
        _known = found;
        callCopyOf(onReplaced);
    }
}

} // namespace clipmule
