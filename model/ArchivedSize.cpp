// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "model/ArchivedSize.h"

#include <QSet>

#include <algorithm>

namespace clipmule {

namespace {

// Bytes of one object's records, references, numbers and offsets and of its entry in the list. The
// figure is generous, and a test holds it against real archives.
constexpr qint64 sizeOfAnObject = 512;
// Bytes of a text's marker and length.
constexpr qint64 sizeOfAMarker = 16;

/// Adds up the distinct texts.
class Texts {
public:
    void add(const QString &text) {
        const qsizetype before = _known.size();
        _known.insert(text);
        if (_known.size() == before)
            return;
        const bool isAscii =
            std::all_of(text.begin(), text.end(), [](QChar unit) { return unit.unicode() < 0x80; });
        _size += sizeOfAMarker + text.size() * (isAscii ? 1 : 2);
    }
    [[nodiscard]] qint64 size() const { return _size; }

private:
    QSet<QString> _known;
    qint64 _size = 0;
};

/// Adds up their lengths, each as often as it is met.
class Lengths {
public:
    void add(const QString &text) { _size += sizeOfAMarker + 2 * text.size(); }
    [[nodiscard]] qint64 size() const { return _size; }

private:
    qint64 _size = 0;
};

template <typename Sum>
qint64 sizeBy(const ZRKClipmuleClipboard::Clips &clips) {
    Sum texts;
    qint64 objects = 1;
    for (const auto &clip : clips) {
        texts.add(clip->oid());
        texts.add(clip->title().value_or(QString()));
        objects += 1 + clip->itemCount();
        for (const auto &item : clip->items()) {
            texts.add(item->oid());
            texts.add(item->string().value_or(QString()));
            texts.add(item->urlText());
        }
    }
    return objects * sizeOfAnObject + texts.size();
}

} // namespace

qint64 archivedSize(const ZRKClipmuleClipboard::Clips &clips) {
    return sizeBy<Texts>(clips);
}

bool archiveFits(const ZRKClipmuleClipboard::Clips &clips, qint64 limit) {
    return sizeBy<Lengths>(clips) <= limit || archivedSize(clips) <= limit;
}

} // namespace clipmule
