// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "model/DataFile.h"
#include "platform/archive/ArchiveValue.h"
#include "platform/foundation/RunLoop.h"

#include <QList>
#include <QSet>
#include <QString>

#include <functional>
#include <memory>
#include <optional>

namespace clipmule {

class ZRKClipmuleClipboard;
class ZRKClipmuleData;

/// The state that all clipboards share: the main clipboard, the list of custom ones, what waits to
/// be erased, and the folder of their files. What changed is saved every 5 seconds.
///
/// Clipboards, clips and items that are kept know their store, whose lifetime they do not prolong:
/// without it they have no files. There may be several at once. Main thread only.
///
/// Files are replaced as a whole. One that cannot be read is kept under another name before it is
/// replaced, and what waits to be erased waits until the archives no longer speak of it.
class ClipboardStore final : public std::enable_shared_from_this<ClipboardStore> {
    struct Private {};

public:
    using Clipboards = QList<std::shared_ptr<ZRKClipmuleClipboard>>;
    static constexpr RunLoop::Seconds saveInterval{5.0};

    /// A list of clips of more bytes than the limit is neither written nor read.
    [[nodiscard]] static std::shared_ptr<ClipboardStore>
    make(const QString &dataPath, qint64 largestList = DataFile::largest);
    /// See make().
    ClipboardStore(Private, QString dataPath, qint64 largestList);
    Q_DISABLE_COPY_MOVE(ClipboardStore)

    /// Saves what changed every 5 seconds from now on.
    void start();
    /// The folder of the user's own store.
    [[nodiscard]] static QString userPath();

    /// The folder of all files.
    [[nodiscard]] const QString &dataPath() const { return _dataPath; }
    /// The path of the file that belongs to an id.
    [[nodiscard]] QString path(const QString &oid, const QString &extension) const;

    /// The main clipboard, loaded or made when it is first asked for.
    [[nodiscard]] std::shared_ptr<ZRKClipmuleClipboard> mainClipboard();
    /// The custom clipboards in the user's order, loaded when they are first asked for.
    [[nodiscard]] const Clipboards &customClipboards();
    /// The main clipboard, and then the custom ones.
    [[nodiscard]] Clipboards allClipboards();
    /// The main clipboard or the first custom one with this id; null when there is none.
    [[nodiscard]] std::shared_ptr<ZRKClipmuleClipboard> clipboardWithOID(const QString &oid);
    /// The clip with this id, looked for in the main clipboard, then in the custom ones; null when
    /// there is none.
    [[nodiscard]] std::shared_ptr<ZRKClipmuleData> clipmuleDataWithOID(const QString &oid);
    /// A clipboard that was removed and comes back before the next save keeps its files. An index
    /// beyond the end raises a PlatformException named "RangeException".
    void insertCustomClipboardAtIndex(const std::shared_ptr<ZRKClipmuleClipboard> &clipboard,
                                      qsizetype index);
    /// Removes a clipboard. Its files are erased at the next save.
    void removeCustomClipboard(const std::shared_ptr<ZRKClipmuleClipboard> &clipboard);
    /// The destination counts in the list without the clipboard. Nothing happens when either index
    /// is not that of a clipboard.
    void moveClipboardAtIndexToIndex(qsizetype from, qsizetype to);
    /// Writes what changed, then deletes what was removed.
    void saveIfNeeded();
    /// Called when a save has failed, with the reason, and when one has succeeded again, with an
    /// empty text; not at every beat in between.
    std::function<void(const QString &failure)> onSavingDidChange;
    /// The files of lists that could not be read since the store was made.
    [[nodiscard]] const QSet<QString> &unreadablePaths() const { return _unreadablePaths; }
    [[nodiscard]] qint64 largestList() const { return _largestList; }

    /// Erases the files of a clip that was removed from its clipboard at the next save.
    void eraseClipLater(const std::shared_ptr<ZRKClipmuleData> &clip) {
        _deletedDatas.append(clip);
    }
    /// Keeps the files of a clip that was removed and is inserted again before the next save.
    void keepClip(const std::shared_ptr<ZRKClipmuleData> &clip) { _deletedDatas.removeAll(clip); }

    /// Hands the root of a keyed archive to the function, which may raise a PlatformException when
    /// it is of the wrong kind. False when there is no such file, when it has no root, or, with a
    /// line in the log, when it cannot be read; of the last two save() keeps the old file.
    bool load(const QString &path, const std::function<void(const ArchiveValue &root)> &take);
    /// The same without a trace: whether there is such a file, or why it cannot be read or taken.
    [[nodiscard]] Result<bool> read(const QString &path,
                                    const std::function<void(const ArchiveValue &root)> &take);
    /// Replaces the file by a keyed archive; false when that fails, and the file stays as it was.
    [[nodiscard]] bool save(const ArchiveValue &root, const QString &path);
    /// Replaces an item's side file, or deletes it where there are no bytes. The log is told of the
    /// first failure.
    [[nodiscard]] bool saveSideFile(const std::optional<QByteArray> &bytes, const QString &path);

private:
    void tellOfSaving();
    void noteFailure(const QString &reason);
    [[nodiscard]] bool write(const QByteArray &bytes, const QString &path, qint64 limit);
    [[nodiscard]] bool saveMainClipboard();
    [[nodiscard]] bool saveCustomClipboards();

    QString _dataPath;
    qint64 _largestList;
    std::shared_ptr<ZRKClipmuleClipboard> _mainClipboard;
    std::optional<Clipboards> _customClipboards;
    bool _customIsDirty = false;
    Clipboards _deletedClipboards;
    QList<std::shared_ptr<ZRKClipmuleData>> _deletedDatas;
    QSet<QString> _unreadablePaths;
    /// The side files whose failure is in the log.
    QSet<QString> _unsavedSideFiles;
    /// The first failure of the current save; empty when there is none.
    QString _failure;
    bool _isFailureTold = false;
    RunLoop::Timer _saveTimer;
};

} // namespace clipmule
