// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/foundation/Date.h"
#include "platform/foundation/Result.h"
#include "web/PageKeys.h"

#include <QString>

#include <list>
#include <optional>

namespace clipmule {

/// The browsers that may come back, with their keys: a file that only this user can read, replaced
/// as a whole with every change.
class PairedBrowsers final {
public:
    struct Browser {
        PageKey key;
        /// What the person calls it.
        QString name;
        /// What its phone is found by, which stays as it is when it is renamed. Each has another.
        QString service;
        Date created;
        Date lastSeen;

        /// The first digits of its id, to tell two of one name apart.
        [[nodiscard]] QString shortId() const;
    };

    /// Each is a phone, with a socket and a list of clips.
    static constexpr size_t mostBrowsers = 32;
    /// In bytes of UTF-8: the agent's settings know the service by "local/" and this, which is a
    /// DNS label together. A name for people has no need of more.
    static constexpr qsizetype longestName = 57;
    /// In bytes; a browser takes some 300.
    static constexpr qint64 largestFile = 64 * 1024;
    /// When a browser was seen is not written down more often: each time waits for the disk.
    static constexpr double seenInterval = 3600;

    /// A path of a file, whose folder is made when it is needed.
    explicit PairedBrowsers(QString path)
        : _path(std::move(path)) {}

    /// Without a file there are none. A damaged one is a failure, and stays as it is.
    [[nodiscard]] Result<void> load();
    [[nodiscard]] const std::list<Browser> &all() const { return _browsers; }
    /// The key of an id that comes from outside. The time does not tell how near one it is.
    [[nodiscard]] std::optional<SecretKey> keyOf(QByteArrayView id) const;
    /// Null when there is none.
    [[nodiscard]] const Browser *withId(QByteArrayView id) const;
    /// The one of that service as the agent knows it, or of that name, or whose id begins so; a
    /// failure when that is none or more than one.
    [[nodiscard]] Result<const Browser *> find(const QString &nameOrId) const;

    // After a failure nothing has changed. A browser stays where it is in memory until it is
    // removed.
    [[nodiscard]] Result<const Browser *> add(const PageKey &key, const QString &name);
    [[nodiscard]] Result<void> rename(const QByteArray &id, const QString &name);
    [[nodiscard]] Result<void> remove(const QByteArray &id);
    /// It is there now.
    void sawNow(const QByteArray &id);

    /// The name as it is kept: on one line, without what a terminal or a label would act on, cut
    /// to its longest. "Browser" where nothing is left.
    [[nodiscard]] static QString cleaned(const QString &name);

private:
    [[nodiscard]] std::list<Browser>::iterator at(QByteArrayView id);
    [[nodiscard]] Result<void> save() const;
    [[nodiscard]] QString freeService(const QString &name) const;

    QString _path;
    std::list<Browser> _browsers;
};

} // namespace clipmule
