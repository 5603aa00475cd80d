// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "model/ClipNotice.h"
#include "model/ImageFileName.h"
#include "model/PasteboardServices.h"
#include "model/ZRKClipmuleData.h"
#include "platform/foundation/Log.h"
#include "platform/foundation/PlatformException.h"
#include "platform/foundation/PrivateFolder.h"
#include "platform/foundation/RunLoop.h"
#include "platform/pasteboard/Pasteboard.h"

#include <QCoreApplication>

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

void writeByNativeTypes(const ZRKClipmuleDataItem &item,
                        const ZRKClipmuleDataItem::NativeDictionary &native,
                        Pasteboard &pasteboard) {
    using namespace PasteboardType;
    const QStringList present = pasteboard.types();
    for (const auto &[type, stored] : native.asKeyValueRange()) {
        std::optional<QByteArray> bytes = stored;
        if (type == publicTiff || type == NSTIFFPboardType) {
            // Without the full-size image, what was stored is the capture's empty placeholder.
            bytes = native.value(NSTIFFPboardType);
            if (bytes->isEmpty())
                bytes = item.imageData();
        } else if (type == NSFilenamesPboardType || present.contains(type)) {
            // Stored paths are another machine's, or were named by somebody who wants a file of
            // this one: only files just written are offered.
            continue;
        }
        if (!bytes)
            continue;
        pasteboard.addTypes({type});
        pasteboard.setDataForType(*bytes, type);
    }
}

void writeByReadings(const ZRKClipmuleDataItem &item, Pasteboard &pasteboard) {
    using namespace PasteboardType;
    if (const std::optional<QByteArray> image = item.imageData()) {
        pasteboard.addTypes({NSTIFFPboardType});
        pasteboard.setDataForType(*image, NSTIFFPboardType);
    }
    if (item.hasString()) {
        pasteboard.addTypes({NSStringPboardType});
        pasteboard.setStringForType(*item.string(), NSStringPboardType);
    }
    if (item.hasURL()) {
        pasteboard.addTypes({NSURLPboardType});
        pasteboard.writeUrl(*item.url());
    }
}

QString joined(const ZRKClipmuleData::Items &items) {
    QString text;
    for (const auto &item : items) {
        if (!text.isEmpty())
            text += QStringLiteral("\n\n");
        text += *item->string();
    }
    return text;
}

} // namespace

bool ZRKClipmuleData::writeToPasteboard(const PasteboardServices &services) const {
    const bool hasSeveral = itemCount() >= 2;
    const bool isAllText = !hasSeveral || allHaveStrings(_items);
    if (!isAllText && !allHaveImages(_items)) {
        services.notice.displayMessage(QCoreApplication::translate(
            "Clipmule", "Pasting of mixed content clips is not supported."));
        return false;
    }
    Pasteboard &pasteboard = services.pasteboard;
    pasteboard.declareTypes({});
    addImageFilenames(services);
    if (const auto first = firstItem()) {
        const std::optional<NativeDictionary> native =
            first->isNative() ? first->nativeDictionary() : std::nullopt;
        if (native)
            writeByNativeTypes(*first, *native, pasteboard);
        else
            writeByReadings(*first, pasteboard);
    }
    if (hasSeveral && isAllText) {
        pasteboard.addTypes({PasteboardType::NSStringPboardType});
        pasteboard.setStringForType(joined(_items), PasteboardType::NSStringPboardType);
    }
    pasteboard.commit();
    return true;
}

void ZRKClipmuleData::addImageFilenames(const PasteboardServices &services) const {
    if (_items.isEmpty() || !allHaveImages(_items))
        return;
    tellOriginalFiles(*_items.first());
    try {
        const PrivateFolder folder =
            PrivateFolder::makeEmpty(services.temporaryFolder, imageFolder);
        const QDateTime localTime = Date::now().toDateTime().toLocalTime();
        PropertyList::List paths;
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
            const QString name = ImageFileName::make(_title, localTime, counter, extensionOf(item));
            folder.write(name, *image);
            paths.append(folder.path() + u'/' + name);
        }
        if (paths.isEmpty())
            return;
        services.pasteboard.addTypes({PasteboardType::NSFilenamesPboardType});
        services.pasteboard.setPropertyListForType(paths, PasteboardType::NSFilenamesPboardType);
    } catch (const PlatformException &exception) {
        qCWarning(logModel).noquote() << "cannot write the image files:" << exception.reason();
        return;
    }
    RunLoop::current().pause(pauseAfterWriting);
}

void ZRKClipmuleData::deleteImageFiles(const PasteboardServices &services) {
    try {
        (void)PrivateFolder::makeEmpty(services.temporaryFolder, imageFolder);
    } catch (const PlatformException &exception) {
        qCWarning(logModel).noquote() << "cannot delete the image files:" << exception.reason();
    }
}

void ZRKClipmuleData::pasteboardProvideDataForType(Pasteboard &, const QString &) {}

} // namespace clipmule
