// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include <QFile>
#include <QSet>
#include <QStringList>

#include <sys/inotify.h>
#include <unistd.h>

#include <array>
#include <map>
#include <utility>

namespace clipmule::kit {

/// What happens to the files of a folder, as the kernel tells it. Temporary files count for
/// nothing: nobody finds them any more when one asks.
class FileWatch {
public:
    explicit FileWatch(const QString &folder)
        : _folder(folder)
        , _descriptor(::inotify_init1(IN_NONBLOCK | IN_CLOEXEC)) {
        if (::inotify_add_watch(_descriptor, QFile::encodeName(folder).constData(),
                                IN_ACCESS | IN_CREATE | IN_MOVED_TO | IN_DELETE) < 0)
            qFatal("cannot watch %s", qPrintable(folder));
    }
    ~FileWatch() { ::close(_descriptor); }
    FileWatch(const FileWatch &) = delete;
    FileWatch &operator=(const FileWatch &) = delete;
    FileWatch(FileWatch &&) = delete;
    FileWatch &operator=(FileWatch &&) = delete;

    // Names of the files to which it happened since the last question, each once, sorted.
    [[nodiscard]] QStringList read() { return take(IN_ACCESS); }
    [[nodiscard]] QStringList written() { return take(IN_CREATE | IN_MOVED_TO); }
    [[nodiscard]] QStringList deleted() { return take(IN_DELETE, false); }

private:
    QStringList take(uint32_t kinds, bool exist = true) {
        alignas(inotify_event) std::array<char, 65536> buffer{};
        for (;;) {
            const ssize_t length = ::read(_descriptor, buffer.data(), buffer.size());
            if (length <= 0)
                break;
            for (ssize_t at = 0; at < length;) {
                const auto *event = reinterpret_cast<const inotify_event *>(&buffer[size_t(at)]);
                if (event->mask & IN_Q_OVERFLOW)
                    qFatal("too much happened to be told");
                _names[event->mask].insert(QFile::decodeName(event->name));
                at += ssize_t(sizeof(inotify_event) + event->len);
            }
        }
        QStringList sorted;
        for (auto &[kind, names] : _names) {
            if (!(kind & kinds))
                continue;
            for (const QString &name : std::exchange(names, {})) {
                if (QFile::exists(_folder + u'/' + name) == exist && !sorted.contains(name))
                    sorted.append(name);
            }
        }
        sorted.sort();
        return sorted;
    }

    QString _folder;
    int _descriptor;
    std::map<uint32_t, QSet<QString>> _names;
};

} // namespace clipmule::kit
