// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "phone/PhoneShelf.h"

#include "filters/FilterClasses.h"
#include "model/ArchivedSize.h"
#include "phone/PhoneLog.h"
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

PhoneShelf::PhoneShelf(const QString &folder, Delegate delegate, qint64 largestList)
    : _store(ClipboardStore::make(QDir(folder).absolutePath(), largestList))
    , _delegate(std::move(delegate))
    , _lock(QDir(folder).absoluteFilePath(QStringLiteral("clipmule-phone.lock"))) {
    // Only the end of the process that holds it frees the folder, however long that takes.
    _lock.setStaleLockTime(0);
}

PhoneShelf::~PhoneShelf() {
    if (!_isOpen)
        return;
    save();
    if (isAnythingUnsaved())
        _delegate.printError(QStringLiteral("%1: what changed could not be saved and is lost")
                                 .arg(_store->dataPath()));
    _store->setSavingDidChange({});
}

QString PhoneShelf::open() {
    const QString folder = _store->dataPath();
    if (!DataFile::makeFolder(folder))
        return QStringLiteral("%1: the folder cannot be made").arg(folder);
    if (!_lock.tryLock())
        return _lock.error() == QLockFile::LockFailedError
                   ? QStringLiteral("%1: in use by another clipmule-phone").arg(folder)
                   : QStringLiteral("%1: the folder cannot be written to").arg(folder);
    _isOpen = true;
    _store->start();
    _store->setSavingDidChange([this](const QString &failure) { savingDidChange(failure); });
    numberAll(*_store->mainClipboard());
    return {};
}

int PhoneShelf::keep(const PropertyList::Dictionary &dictionary) {
    const Clip clip = ZRKClipmuleData::initWithDictionary(dictionary);
    // Files are named after these ids. One that was chosen elsewhere might be in use here.
    for (const auto &item : clip->items())
        item->resetOID();
    if (!clip->creationDate())
        clip->setCreationDate(Date::now());
    const int number = insert(clip, *_store->mainClipboard());
    makeRoomInHistory();
    letMemoryGo();
    return number;
}

// Images are in their files after the next beat of the store, and need not be in memory any more.
void PhoneShelf::letMemoryGo() {
    _memoryTimer = RunLoop::current().performAfter(2 * ClipboardStore::saveInterval, [this] {
        save();
        _store->mainClipboard()->releaseCachedData();
        for (const Board &board : _store->customClipboards())
            board->releaseCachedData();
    });
}

void PhoneShelf::save() {
    _store->saveIfNeeded();
}

bool PhoneShelf::isAnythingUnsaved() {
    const auto isDirty = [](const Board &board) { return board->isDirty(); };
    const auto &boards = _store->customClipboards();
    return isDirty(_store->mainClipboard()) || std::any_of(boards.begin(), boards.end(), isDirty);
}

void PhoneShelf::savingDidChange(const QString &failure) {
    if (failure.isEmpty())
        _delegate.print({{QStringLiteral("event"), QStringLiteral("saved")}});
    else
        _delegate.printError(
            QStringLiteral("%1: what changed could not be saved, and is tried again: %2")
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
        _delegate.print({{QStringLiteral("event"), QStringLiteral("dropped")},
                         {QStringLiteral("clips"), dropped},
                         {QStringLiteral("limit"), _store->largestList()}});
}

void PhoneShelf::recover() {
    (void)putBack(StoreRecovery::putBack(*_store, restoredBoard));
    (void)StoreRecovery::sweep(*_store);
}

qsizetype PhoneShelf::putBack(const QList<StoreRecovery::Outcome> &outcomes) {
    qsizetype count = 0;
    for (const StoreRecovery::Outcome &outcome : outcomes) {
        QJsonObject line{{QStringLiteral("file"), outcome.file}};
        if (outcome.reason.isEmpty()) {
            line.insert(QStringLiteral("event"), QStringLiteral("restored"));
            line.insert(QStringLiteral("clips"), outcome.clips);
            line.insert(QStringLiteral("boards"), outcome.boards);
            ++count;
        } else {
            line.insert(QStringLiteral("event"), QStringLiteral("set aside"));
            line.insert(QStringLiteral("reason"), outcome.reason);
        }
        _delegate.print(line);
    }
    return count;
}

void PhoneShelf::perform(const PhoneCommand::Restore &) {
    const auto outcomes = StoreRecovery::putBack(*_store, restoredBoard);
    const qsizetype restored = putBack(outcomes);
    letMemoryGo();
    _delegate.print({{QStringLiteral("event"), QStringLiteral("restore")},
                     {QStringLiteral("files"), outcomes.size()},
                     {QStringLiteral("restored"), restored}});
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

int PhoneShelf::insert(const Clip &clip, ZRKClipmuleClipboard &board) {
    numberAll(board);
    board.insertClipmuleDataAtIndex(clip, 0);
    return numberOf(clip);
}

PhoneShelf::Clip PhoneShelf::clipOfNumber(int number) const {
    Clip clip = _clips.value(number).lock();
    if (clip && clip->clipboard())
        return clip;
    _delegate.printError(QStringLiteral("there is no clip %1; “history” lists them").arg(number));
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
    _delegate.printError(
        name == nameOf(*_store->mainClipboard())
            ? QStringLiteral("“%1” is the history and stays as it is").arg(name)
            : QStringLiteral("there is no board “%1”; “boards” lists them").arg(name));
    return nullptr;
}

bool PhoneShelf::isFreeName(const QString &name) {
    if (name.trimmed().isEmpty()) {
        _delegate.printError(QStringLiteral("a board needs a name"));
        return false;
    }
    const auto &boards = _store->customClipboards();
    if (name != nameOf(*_store->mainClipboard()) &&
        std::none_of(boards.begin(), boards.end(),
                     [&](const Board &board) { return nameOf(*board) == name; }))
        return true;
    _delegate.printError(QStringLiteral("there is a board “%1” already").arg(name));
    return false;
}

qsizetype PhoneShelf::positionOf(const Board &board) {
    return _store->customClipboards().indexOf(board) + 1;
}

// Describes a clip without a look at any image.
QJsonObject PhoneShelf::entry(const Clip &clip) {
    QJsonObject entry{{QStringLiteral("number"), numberOf(clip)},
                      {QStringLiteral("items"), clip->itemCount()}};
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

void PhoneShelf::perform(const PhoneCommand::History &command) {
    const Board board = command.board ? boardOfName(*command.board) : _store->mainClipboard();
    if (!board)
        return;
    numberAll(*board);
    for (const Clip &clip : board->items()) {
        QJsonObject line = entry(clip);
        line.insert(QStringLiteral("event"), QStringLiteral("entry"));
        _delegate.print(line);
    }
    _delegate.print({{QStringLiteral("event"), QStringLiteral("history")},
                     {QStringLiteral("board"), nameOf(*board)},
                     {QStringLiteral("clips"), board->items().size()}});
}

void PhoneShelf::perform(const PhoneCommand::Show &command) {
    const Clip clip = clipOfNumber(command.number);
    if (!clip)
        return;
    _delegate.print({{QStringLiteral("event"), QStringLiteral("shown")},
                     {QStringLiteral("number"), command.number},
                     {QStringLiteral("board"), nameOf(*clip->clipboard())},
                     {QStringLiteral("clip"), PhoneLog(QString()).clip(clip->toDictionary())}});
    clip->releaseCachedData();
}

void PhoneShelf::perform(const PhoneCommand::Copy &command) {
    const Clip clip = clipOfNumber(command.number);
    if (!clip)
        return;
    if (_delegate.send(clip->toDictionary()))
        _delegate.print({{QStringLiteral("event"), QStringLiteral("copied")},
                         {QStringLiteral("number"), command.number}});
    clip->releaseCachedData();
}

// A copy with files of its own, so that neither the capacity of the history nor the loss of one of
// the two takes the other along.
void PhoneShelf::perform(const PhoneCommand::File &command) {
    const Clip clip = clipOfNumber(command.number);
    const Board board = clip ? boardOfName(command.board) : nullptr;
    if (!board)
        return;
    if (!board->isMain() &&
        !archiveFits(board->items() + ZRKClipmuleClipboard::Clips{clip}, _store->largestList())) {
        _delegate.printError(QStringLiteral("“%1” is full: with this clip it would take more than "
                                            "%2 bytes on disk")
                                 .arg(command.board)
                                 .arg(_store->largestList()));
        return;
    }
    const Clip copy = clip->copyWithZone();
    copy->setCreationDate(clip->creationDate());
    const int number = insert(copy, *board);
    makeRoomInHistory();
    letMemoryGo();
    _delegate.print({{QStringLiteral("event"), QStringLiteral("filed")},
                     {QStringLiteral("number"), number},
                     {QStringLiteral("of"), command.number},
                     {QStringLiteral("board"), nameOf(*board)}});
}

void PhoneShelf::perform(const PhoneCommand::Forget &command) {
    const Clip clip = clipOfNumber(command.number);
    if (!clip)
        return;
    QJsonObject line = entry(clip);
    line.insert(QStringLiteral("event"), QStringLiteral("forgotten"));
    clip->clipboard()->removeClipmuleData(clip);
    _delegate.print(line);
}

void PhoneShelf::perform(const PhoneCommand::Filters &command) {
    const Clip clip = clipOfNumber(command.number);
    if (!clip)
        return;
    const auto filters = ZRKClipmuleFilter::filtersForClipmuleData(*clip);
    for (const auto &filter : filters)
        _delegate.print({{QStringLiteral("event"), QStringLiteral("filter")},
                         {QStringLiteral("title"), filter->title()},
                         {QStringLiteral("options"), optionsOf(*filter)}});
    _delegate.print({{QStringLiteral("event"), QStringLiteral("filters")},
                     {QStringLiteral("number"), command.number},
                     {QStringLiteral("filters"), filters.size()}});
}

void PhoneShelf::perform(const PhoneCommand::Filter &command) {
    const Clip clip = clipOfNumber(command.number);
    if (!clip)
        return;
    const auto filter =
        FilterByName::find(ZRKClipmuleFilter::filtersForClipmuleData(*clip), command.title);
    if (!filter) {
        _delegate.printError(QStringLiteral("no filter “%1” applies to clip %2; “filters %2” lists "
                                            "those that do")
                                 .arg(command.title)
                                 .arg(command.number));
        return;
    }
    filter->resetOptions();
    for (const QString &setting : command.settings) {
        if (const auto set = FilterByName::set(*filter, setting); !set) {
            _delegate.printError(set.error().reason);
            return;
        }
    }
    ZRKClipmuleData::Items items;
    for (const auto &item : clip->items()) {
        items.append(filter->filterClipmuleDataItem(item));
        items.last()->setCreatedBy(ZRKClipmuleDataItem::createdByPhone);
    }
    const Clip filtered = ZRKClipmuleData::initWithItems(items);
    (void)insert(filtered, *_store->mainClipboard());
    makeRoomInHistory();
    letMemoryGo();
    QJsonObject line = entry(filtered);
    line.insert(QStringLiteral("event"), QStringLiteral("filtered"));
    line.insert(QStringLiteral("of"), command.number);
    line.insert(QStringLiteral("filter"), filter->title());
    _delegate.print(line);
}

void PhoneShelf::perform(const PhoneCommand::Boards &) {
    const auto print = [this](const ZRKClipmuleClipboard &board, qsizetype position) {
        _delegate.print({{QStringLiteral("event"), QStringLiteral("board")},
                         {QStringLiteral("position"), position},
                         {QStringLiteral("name"), nameOf(board)},
                         {QStringLiteral("clips"), qint64(board.count())}});
    };
    print(*_store->mainClipboard(), 0);
    for (const Board &board : _store->customClipboards())
        print(*board, positionOf(board));
    _delegate.print({{QStringLiteral("event"), QStringLiteral("boards")},
                     {QStringLiteral("boards"), _store->customClipboards().size()}});
}

void PhoneShelf::perform(const PhoneCommand::NewBoard &command) {
    if (!isFreeName(command.name))
        return;
    const Board board = std::make_shared<ZRKClipmuleClipboard>();
    board->setTitle(command.name);
    _store->insertCustomClipboardAtIndex(board, _store->customClipboards().size());
    _delegate.print({{QStringLiteral("event"), QStringLiteral("board added")},
                     {QStringLiteral("name"), command.name},
                     {QStringLiteral("position"), positionOf(board)}});
}

void PhoneShelf::perform(const PhoneCommand::RenameBoard &command) {
    const Board board = customBoardOfName(command.name);
    if (!board || !isFreeName(command.newName))
        return;
    board->setTitle(command.newName);
    _delegate.print({{QStringLiteral("event"), QStringLiteral("board renamed")},
                     {QStringLiteral("name"), command.newName},
                     {QStringLiteral("was"), command.name}});
}

void PhoneShelf::perform(const PhoneCommand::MoveBoard &command) {
    const Board board = customBoardOfName(command.name);
    if (!board)
        return;
    const qsizetype count = _store->customClipboards().size();
    if (command.position > count) {
        _delegate.printError(QStringLiteral("positions go from 1 to %1").arg(count));
        return;
    }
    _store->moveClipboardAtIndexToIndex(positionOf(board) - 1, command.position - 1);
    _delegate.print({{QStringLiteral("event"), QStringLiteral("board moved")},
                     {QStringLiteral("name"), command.name},
                     {QStringLiteral("position"), positionOf(board)}});
}

void PhoneShelf::perform(const PhoneCommand::RemoveBoard &command) {
    const Board board = customBoardOfName(command.name);
    if (!board)
        return;
    // Their files stay until the next save, but nobody should find them any more.
    for (const Clip &clip : board->items())
        _clips.remove(_numbers.take(clip.get()));
    _store->removeCustomClipboard(board);
    _delegate.print({{QStringLiteral("event"), QStringLiteral("board removed")},
                     {QStringLiteral("name"), command.name},
                     {QStringLiteral("clips"), board->items().size()}});
}

} // namespace clipmule
