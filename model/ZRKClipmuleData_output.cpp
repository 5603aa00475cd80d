// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "model/ZRKClipmuleData.h"
#include "platform/foundation/ForeignUrl.h"
#include "platform/foundation/Log.h"
#include "platform/foundation/PlatformException.h"
#include "platform/foundation/PrivateFolder.h"
#include "platform/foundation/RunLoop.h"
#include "platform/foundation/Utf8.h"
#include "platform/pasteboard/Pasteboard.h"
#include "platform/propertylist/PropertyListSerialization.h"

#include <QCoreApplication>
#include <QLocale>

#include <algorithm>

namespace clipmule {

namespace {

// The pause before the paths are offered, so that whoever watches the clipboard finds finished
// files.
constexpr RunLoop::Seconds pauseAfterWriting{0.66};

QString extensionOf(const ZRKClipmuleDataItem &item) {
    if (item.hasJPEG())
        return QStringLiteral("jpg");
    return item.hasPNG() ? QStringLiteral("png") : QStringLiteral("tiff");
}

bool allHaveStrings(const ZRKClipmuleData::Items &items) {
    return std::all_of(items.begin(), items.end(),
                       [](const auto &item) { return item->hasString(); });
}

bool allHaveImages(const ZRKClipmuleData::Items &items) {
    return std::all_of(items.begin(), items.end(),
                       [](const auto &item) { return item->hasImageData(); });
}

const QString imageFolder = QStringLiteral("Clipmule");

// The files that the clip was copied from are worth a line when a paste is looked into; the images
// are written out anew in any case. Nobody looks whether they exist: the paths come from another
// machine, and a look at one may take long, or mount what it names.
void tellOriginalFiles(const ZRKClipmuleDataItem &item) {
    constexpr qsizetype mostLooks = 100;
    try {
        const std::optional<PropertyList> names =
            item.nativePropertyListForType(PasteboardType::NSFilenamesPboardType);
        if (!names)
            return;
        for (const PropertyList &name :
             names->list().first(std::min<qsizetype>(names->list().size(), mostLooks)))
            qCDebug(logModel).noquote() << "copied from the file" << cutForLog(name.string());
    } catch (const PlatformException &exception) {
        qCWarning(logModel).noquote() << "ERROR GETTING FILE DATA" << exception.reason();
    }
}

// The most bytes of a URL, or of a title, that are read: a link with its title has some hundred.
constexpr qsizetype longestLink = 256 * 1024;

// The URL in stored bytes: a property list whose first string it is, or its bare text. Nothing
// unless it is valid and has a scheme.
std::optional<QUrl> urlIn(const QByteArray &data) {
    if (data.size() > longestLink)
        return std::nullopt;
    const auto value = PropertyListSerialization::parse(data);
    const auto *list = value ? value->as<PropertyList::List>() : nullptr;
    const auto *text = list && !list->isEmpty() ? list->first().as<QString>() : nullptr;
    const QUrl url = urlFromForeignText(text ? *text : QString::fromUtf8(data).trimmed());
    return url.isValid() && !url.scheme().isEmpty() ? std::optional(url) : std::nullopt;
}

// What a native dictionary holds but its text, with the image in the place of an image's
// placeholder. The paths in it are another machine's, or were named by somebody who wants a file of
// this one: only files just written are offered.
PasteboardContents contentsOf(const ZRKClipmuleDataItem::NativeDictionary &dictionary,
                              const std::optional<QByteArray> &image) {
    using namespace PasteboardType;
    PasteboardContents contents;
    for (const auto &[type, data] : dictionary.asKeyValueRange()) {
        if (type == publicHtml) {
            contents.html = data;
        } else if (type == NSRTFPboardType) {
            contents.rtf = data;
        } else if (type == publicPng || type == applePng) {
            contents.images.prepend(data);
        } else if (type == NSTIFFPboardType || type == publicTiff) {
            // Without the full-size image, what was stored is the capture's empty placeholder.
            const QByteArray full = dictionary.value(NSTIFFPboardType);
            if (!full.isEmpty() || image)
                contents.images.append(full.isEmpty() ? *image : full);
        } else if (type == NSURLPboardType) {
            contents.url = urlIn(data);
        } else if (type == publicUrlName) {
            if (data.size() <= longestLink)
                contents.title = QString::fromUtf8(data);
        } else if (type != NSStringPboardType && type != NSFilenamesPboardType) {
            contents.others.insert(type, data);
        }
    }
    return contents;
}

PasteboardContents contentsOf(const ZRKClipmuleDataItem &item) {
    const auto native = item.isNative() ? item.nativeDictionary() : std::nullopt;
    if (native)
        return contentsOf(*native, item.imageData());
    PasteboardContents contents;
    if (const std::optional<QByteArray> image = item.imageData())
        contents.images.append(*image);
    if (item.hasURL())
        contents.url = urlIn(item.url()->toEncoded());
    return contents;
}

QString joined(const QStringList &texts) {
    QString all;
    for (const QString &text : texts) {
        if (!all.isEmpty())
            all += QStringLiteral("\n\n");
        all += text;
    }
    return all;
}

// They came from another machine: what is no UTF-8 in them becomes U+FFFD.
QByteArray wellFormed(const QByteArray &utf8) {
    return utf8.isValidUtf8() ? utf8 : QString::fromUtf8(utf8).toUtf8();
}

// Bytes of a file name, on every file system in use.
constexpr qsizetype longestName = 255;

// Whether a character may stand in a file name. Invisible characters that change how the rest is
// shown are as bad as a slash: a name shown from right to left seems to have another extension.
bool canStandInName(char32_t character) {
    constexpr char32_t nonJoiner = 0x200c; // these two belong to the spelling of some scripts
    constexpr char32_t joiner = 0x200d;
    switch (QChar::category(character)) {
    case QChar::Other_Control:
    case QChar::Separator_Line:
    case QChar::Separator_Paragraph:
        return false;
    case QChar::Other_Format:
        return character == nonJoiner || character == joiner;
    default:
        return character != u'/';
    }
}

QString safe(const QString &title) {
    QString name;
    for (qsizetype position = 0; position < title.size();) {
        const qsizetype start = position;
        const char32_t character = nextCharacter(title, position);
        // Half a pair has no bytes of its own: what becomes of it on the way to the file system
        // depends on the toolkit's version, and nobody sees the name again.
        if (QChar::isSurrogate(character))
            name += u'?';
        else if (canStandInName(character))
            name += QStringView(title).sliced(start, position - start);
        else
            name += u'-';
    }
    if (name == u"." || name == u"..")
        name.fill(u'-');
    return name;
}

QString cut(const QString &name, qsizetype bytes) {
    QByteArray utf8 = name.toUtf8();
    if (utf8.size() <= bytes)
        return name;
    // Goes back to the first byte of a character.
    qsizetype end = bytes;
    while (end > 0 && (quint8(utf8[end]) & 0xc0U) == 0x80)
        --end;
    utf8.truncate(end);
    return QString::fromUtf8(utf8);
}

} // namespace

std::function<QByteArray()> ZRKClipmuleData::writtenText() const {
    if (_items.isEmpty())
        return {};
    if (itemCount() >= 2 && allHaveStrings(_items)) {
        QStringList texts;
        for (const auto &item : _items)
            texts.append(*item->string());
        return [texts] { return joined(texts).toUtf8(); };
    }
    const ZRKClipmuleDataItem &first = *_items.first();
    if (const auto native = first.isNative() ? first.nativeDictionary() : std::nullopt) {
        const auto text = native->constFind(PasteboardType::NSStringPboardType);
        if (text == native->cend())
            return {};
        return [utf8 = *text] { return wellFormed(utf8); };
    }
    if (!first.hasString())
        return {};
    return [text = *first.string()] { return text.toUtf8(); };
}

std::function<QList<size_t>()> ZRKClipmuleData::stringHashes() const {
    QStringList strings;
    for (const auto &item : _items)
        strings.append(item->string().value_or(QString()));
    return [strings] {
        QList<size_t> hashes;
        for (const QString &string : strings)
            hashes.append(qHash(string));
        return hashes;
    };
}

void ZRKClipmuleData::setStringHashes(const QList<size_t> &hashes) {
    for (qsizetype i = 0; i < std::min(hashes.size(), _items.size()); ++i)
        _items[i]->setStringHash(hashes[i]);
}

bool ZRKClipmuleData::writeToPasteboard(const PasteboardServices &services,
                                        std::optional<QByteArray> text) const {
    if (itemCount() >= 2 && !allHaveStrings(_items) && !allHaveImages(_items)) {
        services.notice(QCoreApplication::translate(
            "Clipmule", "Pasting of mixed content clips is not supported."));
        return false;
    }
    PasteboardContents contents =
        _items.isEmpty() ? PasteboardContents() : contentsOf(*_items.first());
    addImageFilenames(services, contents);
    if (const auto makeText = text ? nullptr : writtenText())
        text = makeText();
    contents.text = std::move(text);
    services.pasteboard.write(std::move(contents));
    return true;
}

std::optional<QByteArray> ZRKClipmuleData::writtenImage() const {
    if (_items.isEmpty())
        return std::nullopt;
    const PasteboardContents contents = contentsOf(*_items.first());
    return contents.images.isEmpty() ? std::nullopt : std::optional(contents.images.first());
}

void ZRKClipmuleData::addImageFilenames(const PasteboardServices &services,
                                        PasteboardContents &contents) const {
    if (_items.isEmpty() || !allHaveImages(_items))
        return;
    tellOriginalFiles(*_items.first());
    const auto written = writeImages(services);
    if (!written) {
        qCWarning(logModel).noquote() << "cannot write the image files:" << written.error().reason;
        return;
    }
    if (written->isEmpty())
        return;
    contents.files = *written;
    RunLoop::current().pause(pauseAfterWriting);
}

Result<QStringList> ZRKClipmuleData::writeImages(const PasteboardServices &services) const {
    const auto folder = PrivateFolder::makeEmpty(services.temporaryFolder, imageFolder);
    if (!folder)
        return tl::unexpected(folder.error());
    const QDateTime localTime = Date::now().toDateTime().toLocalTime();
    QStringList paths;
    qint64 total = 0;
    for (qsizetype i = 0; i < _items.size(); ++i) {
        const ZRKClipmuleDataItem &item = *_items[i];
        const std::optional<QByteArray> image = item.imageData();
        if (!image)
            continue;
        total += image->size();
        if (total > largestWrittenSet) {
            qCWarning(logModel) << "the images of the clip are too large together;" << i << "of"
                                << _items.size() << "are written to files";
            break;
        }
        const auto counter = _items.size() >= 2 ? std::optional(i + 1) : std::nullopt;
        const QString name = imageFileName(_title, localTime, counter, extensionOf(item));
        if (auto written = folder->write(name, *image); !written)
            return tl::unexpected(written.error());
        paths.append(folder->path() + u'/' + name);
    }
    return paths;
}

QString ZRKClipmuleData::imageFileName(const std::optional<QString> &title,
                                       const QDateTime &localTime, std::optional<qsizetype> counter,
                                       const QString &extension) {
    const QString base =
        title && !title->trimmed().isEmpty()
            ? safe(*title)
            : QStringLiteral("Clipmule ") +
                  QLocale::c().toString(localTime, QStringLiteral("yyyy-MM-dd HH.mm.ss AP"));
    QString end = u'.' + extension;
    if (counter)
        end.prepend(QStringLiteral(" %1").arg(*counter));
    return cut(base, longestName - end.toUtf8().size()) + end;
}

void ZRKClipmuleData::deleteImageFiles(const PasteboardServices &services) {
    const auto emptied = PrivateFolder::makeEmpty(services.temporaryFolder, imageFolder);
    if (!emptied)
        qCWarning(logModel).noquote() << "cannot delete the image files:" << emptied.error().reason;
}

void ZRKClipmuleData::pasteboardProvideDataForType(Pasteboard &, const QString &) {}

} // namespace clipmule
