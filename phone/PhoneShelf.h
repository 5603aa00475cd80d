// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "model/ClipboardStore.h"
#include "model/StoreRecovery.h"
#include "model/ZRKClipmuleClipboard.h"
#include "phone/PhoneCommand.h"
#include "phone/PhoneLog.h"
#include "platform/foundation/Result.h"

#include <QHash>
#include <QJsonObject>
#include <QLockFile>
#include <QMap>

#include <functional>
#include <memory>

namespace clipmule {

/// What the phone stand-in keeps of what it receives: a history of the latest clips and boards of
/// the user's own, in a folder that one process at a time uses.
///
/// Clips are known by numbers that stay the same as long as the program runs, whatever comes or
/// goes. Answers are JSON objects; bad use is answered by an error and changes nothing.
class PhoneShelf final {
public:
    /// The beginning of a text that a list shows, in UTF-16 units.
    static constexpr qsizetype longestPreview = 80;

    /// The form of the folder, which a file in it names. To be raised when an older program would
    /// misread what a newer one has kept; a folder of another version is not opened.
    static constexpr int currentVersion = 1;

    /// Where clips go that come back and have no room in their board.
    static inline const QString restoredBoard = QStringLiteral("Restored");

    /// A history or a board does not grow beyond the limit, in bytes on disk.
    explicit PhoneShelf(const QString &folder, qint64 largestList = DataFile::largest);
    ~PhoneShelf();
    Q_DISABLE_COPY_MOVE(PhoneShelf)

    // All three are set before open().
    std::function<void(const QJsonObject &line)> onPrint;
    std::function<void(const QString &text)> onError;
    /// Sends a clip to the desk; false, after an error was printed, when nobody is connected.
    std::function<bool(const PropertyList::Dictionary &clip)> onSend;

    /// Takes the folder, which is made when it is missing, and its store into use.
    [[nodiscard]] Result<void> open();
    /// Puts back what was set aside and can be read now, and deletes what a killed program left
    /// over; prints what came of it.
    void recover();
    /// Keeps a received clip, in dictionary form, as the newest of the history, and returns its
    /// number. A PlatformException when it is malformed; then nothing has changed. The oldest clips
    /// go where it makes the history too large to be saved, which is printed.
    int keep(const PropertyList::Dictionary &dictionary);
    /// Writes what changed since the last beat of the store. That saving fails is printed once, and
    /// that it works again.
    void save();

    /// Does what a command about what is kept says; any other does nothing.
    void perform(const PhoneCommand &command);

private:
    using Clip = std::shared_ptr<ZRKClipmuleData>;
    using Board = std::shared_ptr<ZRKClipmuleClipboard>;

    [[nodiscard]] static Result<void> checkVersion(const QString &path);
    void tell(const char *event, PhoneEntries entries = {});
    int numberOf(const Clip &clip);
    void numberAll(ZRKClipmuleClipboard &board);
    int keepIn(ZRKClipmuleClipboard &board, const Clip &clip);
    // Null, after an error was printed, when there is none.
    [[nodiscard]] Clip clipOfNumber(int number) const;
    [[nodiscard]] Board boardOfName(const QString &name);
    [[nodiscard]] Board customBoardOfName(const QString &name);
    [[nodiscard]] bool isFreeName(const QString &name);
    [[nodiscard]] QJsonObject entry(const char *event, const Clip &clip);
    [[nodiscard]] qsizetype positionOf(const Board &board);
    void history(const Board &board);
    void show(const Clip &clip, const PhoneCommand &command);
    void copy(const Clip &clip, const PhoneCommand &command);
    void file(const Clip &clip, const PhoneCommand &command);
    void forget(const Clip &clip, const PhoneCommand &command);
    void listFilters(const Clip &clip, const PhoneCommand &command);
    void filter(const Clip &clip, const PhoneCommand &command);
    void listBoards();
    void addBoard(const QString &name);
    void renameBoard(const Board &board, const PhoneCommand &command);
    void moveBoard(const Board &board, const PhoneCommand &command);
    void removeBoard(const Board &board, const PhoneCommand &command);
    void restore();
    void letMemoryGo();
    void makeRoomInHistory();
    void savingDidChange(const QString &failure);
    [[nodiscard]] bool isAnythingUnsaved();
    // How many files were put back.
    qsizetype putBack(const QList<StoreRecovery::Outcome> &outcomes);

    std::shared_ptr<ClipboardStore> _store;
    QLockFile _lock;
    bool _isOpen = false;
    QMap<int, std::weak_ptr<ZRKClipmuleData>> _clips;
    QHash<const ZRKClipmuleData *, int> _numbers;
    int _lastNumber = 0;
    RunLoop::Timer _memoryTimer;
};

} // namespace clipmule
