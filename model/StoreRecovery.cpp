// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "model/StoreRecovery.h"

#include "model/ClipboardStore.h"
#include "model/DataFile.h"
#include "model/ZRKClipmuleClipboard.h"
#include "platform/foundation/PlatformException.h"

#include <QDir>
#include <QRegularExpression>
#include <QSet>

#include <algorithm>

namespace clipmule::StoreRecovery {

namespace {

using Clipboard = std::shared_ptr<ZRKClipmuleClipboard>;
using Clips = ZRKClipmuleClipboard::Clips;

const QString customFile = QStringLiteral("Custom.clipboards");
const QString uuid = QStringLiteral("[0-9A-F]{8}-[0-9A-F]{4}-[0-9A-F]{4}-[0-9A-F]{4}-[0-9A-F]{12}");

// The name of a list that was set aside: the first group is the list's own file, the second the
// clipboard's id.
const QRegularExpression setAsideName(QStringLiteral(
    "^(Main\\.clipboard|Custom\\.clipboards|(.+)\\.clipboardItems)\\.unreadable[0-9]*$"));

// The name of a file left by a write that was cut short. Earlier versions wrote no "part-" before
// the random letters; without a capital among those it might be somebody's ".backup".
const QRegularExpression temporaryName(
    QStringLiteral("^(Main\\.clipboard|Custom\\.clipboards|(Main|%1)\\.clipboardItems|"
                   "%1\\.(imageData|nativeDictionary))\\.(part-|(?=[a-z]*[A-Z]))[A-Za-z]{6}$")
        .arg(uuid));

const QRegularExpression
    sweepableName(QStringLiteral("^%1\\.(imageData|nativeDictionary|clipboardItems)$").arg(uuid));

QStringList filesOf(const ClipboardStore &store, const QRegularExpression &pattern) {
    return QDir(store.dataPath())
        .entryList(QDir::Files | QDir::Hidden | QDir::NoSymLinks, QDir::Name)
        .filter(pattern);
}

/// Brings back what one run over the files finds.
class PuttingBack {
public:
    PuttingBack(ClipboardStore &store, QString title)
        : _store(store)
        , _title(std::move(title)) {
        for (const Clipboard &clipboard : store.allClipboards()) {
            for (const auto &clip : clipboard->items())
                know(*clip);
        }
    }

    Outcome putBack(const QString &name) {
        Outcome outcome;
        outcome.file = name;
        const QRegularExpressionMatch match = setAsideName.match(name);
        const auto taken =
            _store.read(QDir(_store.dataPath()).filePath(name), [&](const ArchiveValue &root) {
                if (match.captured(1) == customFile)
                    putBackClipboards(root, outcome);
                else if (!match.captured(2).isEmpty())
                    putBackClips(root, match.captured(2), outcome);
                else // The main clipboard's own archive holds nothing that is not known.
                    (void)root.objectOfClass<ZRKClipmuleClipboard>();
            });
        if (!taken)
            outcome.reason = taken.error().reason;
        return outcome;
    }

private:
    void know(const ZRKClipmuleData &clip) {
        _knownIds.insert(clip.oid());
        for (const auto &item : clip.items())
            _knownIds.insert(item->oid());
    }

    // Side files are named after the items: two clips must not share them.
    [[nodiscard]] bool isKnown(const ZRKClipmuleData &clip) const {
        const auto &items = clip.items();
        return _knownIds.contains(clip.oid()) ||
               std::any_of(items.begin(), items.end(),
                           [this](const auto &item) { return _knownIds.contains(item->oid()); });
    }

    void putBackClipboards(const ArchiveValue &root, Outcome &outcome) {
        const auto clipboards = root.objectsOfClass<ZRKClipmuleClipboard>();
        for (const Clipboard &clipboard : clipboards.value_or(QList<Clipboard>())) {
            if (_store.clipboardWithOID(clipboard->oid()))
                continue;
            _store.insertCustomClipboardAtIndex(clipboard, _store.customClipboards().size());
            for (const auto &clip : clipboard->items())
                know(*clip);
            ++outcome.boards;
        }
    }

    void putBackClips(const ArchiveValue &root, const QString &id, Outcome &outcome) {
        Clips missing = root.objectsOfClass<ZRKClipmuleData>().value_or(Clips());
        missing.removeIf([this](const auto &clip) { return isKnown(*clip); });
        const Clipboard own = _store.clipboardWithOID(id);
        qsizetype room = 0;
        if (own)
            room = own->capacity() == 0
                       ? missing.size()
                       : std::max<qsizetype>(own->capacity() - own->items().size(), 0);
        const Clips ofOwn = missing.first(std::min(room, missing.size()));
        const Clips others = missing.sliced(ofOwn.size());
        const Clipboard refuge = others.isEmpty() ? nullptr : findRefuge();
        if ((!ofOwn.isEmpty() && !canHold(*own, ofOwn)) ||
            (!others.isEmpty() && refuge && !canHold(*refuge, others)))
            throw PlatformException(
                QStringLiteral("FileFailure"),
                QStringLiteral("with its clips the list would be larger than %1 bytes")
                    .arg(_store.largestList()));
        append(own, ofOwn);
        if (!others.isEmpty())
            append(refuge ? refuge : makeRefuge(), others);
        outcome.clips += missing.size();
    }

    [[nodiscard]] bool canHold(ZRKClipmuleClipboard &clipboard, const Clips &more) const {
        return archiveFits(clipboard.items() + more, _store.largestList());
    }

    void append(const Clipboard &clipboard, const Clips &clips) {
        for (const auto &clip : clips) {
            know(*clip);
            clipboard->insertClipmuleDataAtIndex(clip, clipboard->items().size());
        }
    }

    [[nodiscard]] Clipboard findRefuge() const {
        for (const Clipboard &clipboard : _store.customClipboards()) {
            if (clipboard->title() == _title)
                return clipboard;
        }
        return nullptr;
    }

    [[nodiscard]] Clipboard makeRefuge() {
        auto clipboard = std::make_shared<ZRKClipmuleClipboard>();
        clipboard->setTitle(_title);
        _store.insertCustomClipboardAtIndex(clipboard, _store.customClipboards().size());
        return clipboard;
    }

    ClipboardStore &_store;
    QString _title;
    /// The ids of every clip and item in the store.
    QSet<QString> _knownIds;
};

// The paths that the lists of a store speak of; nothing when one of the lists is not there or
// cannot be read.
std::optional<QSet<QString>> pathsSpokenOf(ClipboardStore &store) {
    QSet<QString> paths;
    for (const Clipboard &clipboard : store.allClipboards()) {
        const QString path = clipboard->itemsPath();
        paths.insert(path);
        // The list is not read through the clipboard, which would keep all of it in memory.
        const auto isThere = store.read(path, [&](const ArchiveValue &root) {
            for (const auto &clip : root.objectsOfClass<ZRKClipmuleData>().value_or(Clips())) {
                for (const auto &item : clip->items())
                    paths += {item->imageDataPath(), item->nativeDictionaryPath()};
            }
        });
        if (!isThere || (!*isThere && clipboard->count() != 0))
            return std::nullopt;
    }
    return paths;
}

} // namespace

QList<Outcome> putBack(ClipboardStore &store, const QString &title) {
    QStringList names = filesOf(store, setAsideName);
    if (names.isEmpty())
        return {};
    // Clipboards before their clips.
    std::stable_partition(names.begin(), names.end(),
                          [](const QString &name) { return name.startsWith(customFile); });
    PuttingBack puttingBack(store, title);
    QList<Outcome> outcomes;
    for (const QString &name : std::as_const(names))
        outcomes.append(puttingBack.putBack(name));
    store.saveIfNeeded();
    const auto clipboards = store.allClipboards();
    const bool isSaved =
        std::none_of(clipboards.begin(), clipboards.end(),
                     [](const Clipboard &clipboard) { return clipboard->isListDirty(); });
    for (Outcome &outcome : outcomes) {
        if (!outcome.reason.isEmpty())
            continue;
        if (isSaved)
            DataFile::remove(QDir(store.dataPath()).filePath(outcome.file));
        else
            outcome.reason = QStringLiteral("what it held could not be saved yet");
    }
    return outcomes;
}

qsizetype sweep(ClipboardStore &store) {
    const QDir folder(store.dataPath());
    QStringList doomed = filesOf(store, temporaryName);
    QStringList candidates = filesOf(store, sweepableName);
    // The list of clipboards decides whether a list of clips is still wanted.
    (void)store.allClipboards();
    if (!candidates.isEmpty() && filesOf(store, setAsideName).isEmpty() &&
        store.unreadablePaths().isEmpty() && folder.exists(customFile)) {
        if (const auto paths = pathsSpokenOf(store)) {
            candidates.removeIf(
                [&](const QString &name) { return paths->contains(folder.filePath(name)); });
            doomed += candidates;
        }
    }
    for (const QString &name : std::as_const(doomed))
        DataFile::remove(folder.filePath(name));
    return doomed.size();
}

} // namespace clipmule::StoreRecovery
