// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "phone/PhoneShelf.h"

#include "filters/FilterClasses.h"
#include "model/ZRKClipmuleClipboard.h"
#include "phone/PhoneLog.h"
#include "phone/PhoneService.h"
#include "platform/foundation/PlatformException.h"

#include <QDir>
#include <QFileInfo>
#include <QJsonArray>

#include <algorithm>

namespace clipmule {

namespace {

QString nameOf(const ZRKClipmuleClipboard &board) {
    return board.title().value_or(QString());
}

QString preview(const QString &text) {
    QString line = text.simplified();
    if (line.size() <= PhoneShelf::longestPreview)
        return line;
    qsizetype end = PhoneShelf::longestPreview;
    if (line[end - 1].isHighSurrogate())
        --end;
    return line.first(end) + u'…';
}

QJsonArray optionsOf(const ZRKClipmuleFilter &filter) {
    QJsonArray options;
    for (const auto &option : filter.options())
        options.append(QJsonObject{{QStringLiteral("name"), option->name().value_or(QString())},
                                   {QStringLiteral("placeholder"), option->placeholder()}});
    return options;
}

} // namespace

PhoneShelf::PhoneShelf(const QString &folder, qint64 largestList)
    : _store(ClipboardStore::make(QDir(folder).absolutePath(), largestList))
    , _lock(QDir(folder).absoluteFilePath(QStringLiteral("clipmule-phone.lock"))) {
    // Only the end of the process that holds it frees the folder, however long that takes.
    _lock.setStaleLockTime(0);
}

PhoneShelf::~PhoneShelf() {
    if (!_isOpen)
        return;
    save();
    if (isAnythingUnsaved())
        onError(QStringLiteral("%1: what changed could not be saved and is lost")
                    .arg(_store->dataPath()));
    _store->onSavingDidChange = nullptr;
}

Result<void> PhoneShelf::open() {
    const QString folder = _store->dataPath();
    if (!DataFile::makeFolder(folder))
        return failure(QStringLiteral("%1: the folder cannot be made").arg(folder));
    if (!_lock.tryLock())
        return failure(_lock.error() == QLockFile::LockFailedError
                           ? QStringLiteral("%1: in use by another clipmule-phone").arg(folder)
                           : QStringLiteral("%1: the folder cannot be written to").arg(folder));
    if (auto checked =
            checkVersion(QDir(folder).filePath(QStringLiteral("clipmule-phone.version")));
        !checked)
        return checked;
    _isOpen = true;
    _store->start();
    _store->onSavingDidChange = [this](const QString &failure) { savingDidChange(failure); };
    numberAll(*_store->mainClipboard());
    return {};
}

// Folders of version 0.1.0 of this program have no such file, and are the same otherwise.
Result<void> PhoneShelf::checkVersion(const QString &path) {
    const QByteArray current = QByteArray::number(currentVersion) + '\n';
    const auto version = DataFile::read(path, current.size());
    if (version && !*version)
        return DataFile::write(path, current);
    if (version && **version == current)
        return {};
    return failure(
        QStringLiteral("%1: of another version of clipmule-phone, or damaged").arg(path));
}

void PhoneShelf::tell(const char *event, PhoneEntries entries) {
    onPrint(phoneEvent(event, entries));
}

int PhoneShelf::keep(const PropertyList::Dictionary &dictionary) {
    return keepIn(*_store->mainClipboard(), PhoneService::received(dictionary));
}

// Images are in their files after the next beat of the store, and need not be in memory any more.
void PhoneShelf::letMemoryGo() {
    _memoryTimer = RunLoop::current().performAfter(2 * ClipboardStore::saveInterval, [this] {
        save();
        for (const Board &board : _store->allClipboards())
            board->releaseCachedData();
    });
}

void PhoneShelf::save() {
    _store->saveIfNeeded();
}

bool PhoneShelf::isAnythingUnsaved() {
    const auto boards = _store->allClipboards();
    return std::any_of(boards.begin(), boards.end(),
                       [](const Board &board) { return board->isDirty(); });
}

void PhoneShelf::savingDidChange(const QString &failure) {
    if (failure.isEmpty())
        tell("saved");
    else
        onError(QStringLiteral("%1: what changed could not be saved, and is tried again: %2")
                    .arg(_store->dataPath(), failure));
}

// What is kept must be read again at the next start, so there is an end to it.
void PhoneShelf::makeRoomInHistory() {
    const Board main = _store->mainClipboard();
    qsizetype dropped = 0;
    while (main->items().size() > 1 && !archiveFits(main->items(), _store->largestList())) {
        main->removeClipmuleData(main->items().last());
        ++dropped;
    }
    if (dropped > 0)
        tell("dropped", {{"clips", dropped}, {"limit", _store->largestList()}});
}

void PhoneShelf::recover() {
    (void)putBack(StoreRecovery::putBack(*_store, restoredBoard));
    (void)StoreRecovery::sweep(*_store);
}

qsizetype PhoneShelf::putBack(const QList<StoreRecovery::Outcome> &outcomes) {
    qsizetype count = 0;
    for (const StoreRecovery::Outcome &outcome : outcomes) {
        if (outcome.reason.isEmpty()) {
            tell("restored",
                 {{"file", outcome.file}, {"clips", outcome.clips}, {"boards", outcome.boards}});
            ++count;
        } else {
            tell("set aside", {{"file", outcome.file}, {"reason", outcome.reason}});
        }
    }
    return count;
}

void PhoneShelf::restore() {
    const auto outcomes = StoreRecovery::putBack(*_store, restoredBoard);
    const qsizetype restored = putBack(outcomes);
    letMemoryGo();
    tell("restore", {{"files", outcomes.size()}, {"restored", restored}});
}

int PhoneShelf::numberOf(const Clip &clip) {
    const int known = _numbers.value(clip.get());
    // The memory of a clip that is gone may be another's by now.
    if (known != 0 && _clips.value(known).lock() == clip)
        return known;
    _clips.insert(++_lastNumber, clip);
    _numbers.insert(clip.get(), _lastNumber);
    return _lastNumber;
}

// Numbers the clips in the order in which they came.
void PhoneShelf::numberAll(ZRKClipmuleClipboard &board) {
    const auto &clips = board.items();
    for (auto clip = clips.rbegin(); clip != clips.rend(); ++clip)
        (void)numberOf(*clip);
}

int PhoneShelf::keepIn(ZRKClipmuleClipboard &board, const Clip &clip) {
    numberAll(board);
    board.insertClipmuleDataAtIndex(clip, 0);
    makeRoomInHistory();
    letMemoryGo();
    return numberOf(clip);
}

PhoneShelf::Clip PhoneShelf::clipOfNumber(int number) const {
    Clip clip = _clips.value(number).lock();
    if (clip && clip->clipboard())
        return clip;
    onError(QStringLiteral("there is no clip %1; “history” lists them").arg(number));
    return nullptr;
}

PhoneShelf::Board PhoneShelf::boardOfName(const QString &name) {
    const Board main = _store->mainClipboard();
    return name == nameOf(*main) ? main : customBoardOfName(name);
}

PhoneShelf::Board PhoneShelf::customBoardOfName(const QString &name) {
    for (const Board &board : _store->customClipboards()) {
        if (nameOf(*board) == name)
            return board;
    }
    onError(name == nameOf(*_store->mainClipboard())
                ? QStringLiteral("“%1” is the history and stays as it is").arg(name)
                : QStringLiteral("there is no board “%1”; “boards” lists them").arg(name));
    return nullptr;
}

bool PhoneShelf::isFreeName(const QString &name) {
    if (name.trimmed().isEmpty()) {
        onError(QStringLiteral("a board needs a name"));
        return false;
    }
    const auto boards = _store->allClipboards();
    if (std::none_of(boards.begin(), boards.end(),
                     [&](const Board &board) { return nameOf(*board) == name; }))
        return true;
    onError(QStringLiteral("there is a board “%1” already").arg(name));
    return false;
}

qsizetype PhoneShelf::positionOf(const Board &board) {
    return _store->customClipboards().indexOf(board) + 1;
}

// Describes a clip without a look at any image.
QJsonObject PhoneShelf::entry(const char *event, const Clip &clip) {
    QJsonObject entry =
        phoneEvent(event, {{"number", numberOf(clip)}, {"items", clip->itemCount()}});
    if (clip->clipboard())
        entry.insert(QStringLiteral("board"), nameOf(*clip->clipboard()));
    if (clip->creationDate())
        entry.insert(QStringLiteral("date"),
                     clip->creationDate()->toDateTime().toString(Qt::ISODate));
    if (clip->title())
        entry.insert(QStringLiteral("title"), preview(*clip->title()));
    if (clip->hasImageData())
        entry.insert(QStringLiteral("image"), true);
    for (const auto &item : clip->items()) {
        if (item->string() && !entry.contains(QStringLiteral("text")))
            entry.insert(QStringLiteral("text"), preview(*item->string()));
        if (item->url() && !entry.contains(QStringLiteral("url")))
            entry.insert(QStringLiteral("url"), preview(item->url()->toString()));
    }
    return entry;
}

void PhoneShelf::perform(const PhoneCommand &command) {
    using Verb = PhoneCommand::Verb;
    const auto onClip = [&](void (PhoneShelf::*act)(const Clip &, const PhoneCommand &)) {
        if (const Clip clip = clipOfNumber(command.number))
            (this->*act)(clip, command);
    };
    const auto onBoard = [&](void (PhoneShelf::*act)(const Board &, const PhoneCommand &)) {
        if (const Board board = customBoardOfName(command.texts[0]))
            (this->*act)(board, command);
    };
    switch (command.verb) {
    case Verb::History:
        return history(command.texts.isEmpty() ? _store->mainClipboard()
                                               : boardOfName(command.texts[0]));
    case Verb::Show:
        return onClip(&PhoneShelf::show);
    case Verb::Copy:
        return onClip(&PhoneShelf::copy);
    case Verb::File:
        return onClip(&PhoneShelf::file);
    case Verb::Forget:
        return onClip(&PhoneShelf::forget);
    case Verb::Filters:
        return onClip(&PhoneShelf::listFilters);
    case Verb::Filter:
        return onClip(&PhoneShelf::filter);
    case Verb::Boards:
        return listBoards();
    case Verb::NewBoard:
        return addBoard(command.texts[0]);
    case Verb::RenameBoard:
        return onBoard(&PhoneShelf::renameBoard);
    case Verb::MoveBoard:
        return onBoard(&PhoneShelf::moveBoard);
    case Verb::RemoveBoard:
        return onBoard(&PhoneShelf::removeBoard);
    case Verb::Restore:
        return restore();
    case Verb::Nothing:
    case Verb::Invalid:
    case Verb::Help:
    case Verb::Quit:
    case Verb::Text:
    case Verb::Url:
    case Verb::Image:
    case Verb::PropertyList:
        break; // not about what is kept
    }
}

void PhoneShelf::history(const Board &board) {
    if (!board)
        return;
    numberAll(*board);
    for (const Clip &clip : board->items())
        onPrint(entry("entry", clip));
    tell("history", {{"board", nameOf(*board)}, {"clips", board->items().size()}});
}

void PhoneShelf::show(const Clip &clip, const PhoneCommand &command) {
    tell("shown", {{"number", command.number},
                   {"board", nameOf(*clip->clipboard())},
                   {"clip", PhoneLog(QString()).clip(clip->toDictionary())}});
    clip->releaseCachedData();
}

void PhoneShelf::copy(const Clip &clip, const PhoneCommand &command) {
    if (onSend(clip->toDictionary()))
        tell("copied", {{"number", command.number}});
    clip->releaseCachedData();
}

// A copy with files of its own, so that neither the capacity of the history nor the loss of one of
// the two takes the other along.
void PhoneShelf::file(const Clip &clip, const PhoneCommand &command) {
    const Board board = boardOfName(command.texts[0]);
    if (!board)
        return;
    if (!board->isMain() &&
        !archiveFits(board->items() + ZRKClipmuleClipboard::Clips{clip}, _store->largestList())) {
        onError(QStringLiteral("“%1” is full: with this clip it would take more than %2 bytes on "
                               "disk")
                    .arg(command.texts[0])
                    .arg(_store->largestList()));
        return;
    }
    const Clip copy = clip->copyWithZone();
    copy->setCreationDate(clip->creationDate());
    const int number = keepIn(*board, copy);
    tell("filed", {{"number", number}, {"of", command.number}, {"board", nameOf(*board)}});
}

void PhoneShelf::forget(const Clip &clip, const PhoneCommand &) {
    const QJsonObject line = entry("forgotten", clip);
    clip->clipboard()->removeClipmuleData(clip);
    onPrint(line);
}

void PhoneShelf::listFilters(const Clip &clip, const PhoneCommand &command) {
    const auto filters = ZRKClipmuleFilter::filtersForClipmuleData(*clip);
    for (const auto &filter : filters)
        tell("filter", {{"title", filter->title()}, {"options", optionsOf(*filter)}});
    tell("filters", {{"number", command.number}, {"filters", filters.size()}});
}

void PhoneShelf::filter(const Clip &clip, const PhoneCommand &command) {
    const auto filter =
        FilterByName::find(ZRKClipmuleFilter::filtersForClipmuleData(*clip), command.texts[0]);
    if (!filter) {
        onError(QStringLiteral("no filter “%1” applies to clip %2; “filters %2” lists "
                               "those that do")
                    .arg(command.texts[0])
                    .arg(command.number));
        return;
    }
    filter->resetOptions();
    for (const QString &setting : command.texts.sliced(1)) {
        if (const auto set = FilterByName::set(*filter, setting); !set) {
            onError(set.error().reason);
            return;
        }
    }
    ZRKClipmuleData::Items items;
    for (const auto &item : clip->items()) {
        items.append(filter->filterClipmuleDataItem(item));
        items.last()->setCreatedBy(ZRKClipmuleDataItem::createdByPhone);
    }
    const Clip filtered = ZRKClipmuleData::initWithItems(items);
    (void)keepIn(*_store->mainClipboard(), filtered);
    QJsonObject line = entry("filtered", filtered);
    line.insert(QStringLiteral("of"), command.number);
    line.insert(QStringLiteral("filter"), filter->title());
    onPrint(line);
}

void PhoneShelf::listBoards() {
    const auto print = [this](const ZRKClipmuleClipboard &board, qsizetype position) {
        tell("board",
             {{"position", position}, {"name", nameOf(board)}, {"clips", qint64(board.count())}});
    };
    print(*_store->mainClipboard(), 0);
    for (const Board &board : _store->customClipboards())
        print(*board, positionOf(board));
    tell("boards", {{"boards", _store->customClipboards().size()}});
}

void PhoneShelf::addBoard(const QString &name) {
    if (!isFreeName(name))
        return;
    const Board board = std::make_shared<ZRKClipmuleClipboard>();
    board->setTitle(name);
    _store->insertCustomClipboardAtIndex(board, _store->customClipboards().size());
    tell("board added", {{"name", name}, {"position", positionOf(board)}});
}

void PhoneShelf::renameBoard(const Board &board, const PhoneCommand &command) {
    const QString &name = command.texts[1];
    if (!isFreeName(name))
        return;
    board->setTitle(name);
    tell("board renamed", {{"name", name}, {"was", command.texts[0]}});
}

void PhoneShelf::moveBoard(const Board &board, const PhoneCommand &command) {
    const qsizetype count = _store->customClipboards().size();
    if (command.number > count) {
        onError(QStringLiteral("positions go from 1 to %1").arg(count));
        return;
    }
    _store->moveClipboardAtIndexToIndex(positionOf(board) - 1, command.number - 1);
    tell("board moved", {{"name", command.texts[0]}, {"position", positionOf(board)}});
}

void PhoneShelf::removeBoard(const Board &board, const PhoneCommand &command) {
    // Their files stay until the next save, but nobody should find them any more.
    for (const Clip &clip : board->items())
        _clips.remove(_numbers.take(clip.get()));
    _store->removeCustomClipboard(board);
    tell("board removed", {{"name", command.texts[0]}, {"clips", board->items().size()}});
}

} // namespace clipmule
