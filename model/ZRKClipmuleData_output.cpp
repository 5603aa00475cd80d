// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "model/ClipNotice.h"
#include "model/ImageFileName.h"
#include "model/Log.h"
#include "model/PasteboardServices.h"
#include "model/ZRKClipmuleData.h"
#include "platform/foundation/PlatformException.h"
#include "platform/foundation/PrivateFolder.h"
#include "platform/foundation/RunLoop.h"
#include "platform/pasteboard/Pasteboard.h"

#include <QCoreApplication>
#include <QFileInfo>

#include <algorithm>

namespace clipmule {

namespace {

// Before the paths are offered, so that whoever watches the clipboard finds finished files.
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

// Whether the files that the clip was copied from are still there is worth a line when a paste is
// looked into; the images are written out anew in any case.
void lookForOriginalFiles(const ZRKClipmuleDataItem &item) {
    // A look may take long on a network share, and the list comes from another machine.
    constexpr qsizetype mostLooks = 100;
    try {
        const std::optional<PropertyList> names =
            item.nativePropertyListForType(PasteboardType::NSFilenamesPboardType);
        if (!names)
            return;
        qsizetype present = 0;
        for (const PropertyList &name :
             names->list().first(std::min<qsizetype>(names->list().size(), mostLooks)))
            present += QFileInfo::exists(name.string()) ? 1 : 0;
        qCDebug(logModel) << present << "of" << names->list().size() << "copied files exist";
    } catch (const PlatformException &exception) {
        qCWarning(logModel).noquote() << "ERROR GETTING FILE DATA" << exception.reason();
    }
}

void writeByNativeTypes(const ZRKClipmuleDataItem &item,
                        const ZRKClipmuleDataItem::NativeDictionary &native,
                        Pasteboard &pasteboard) {
    using namespace PasteboardType;
    // The paths of the files just written win over those that were captured.
    const QStringList present = pasteboard.types();
    for (const auto &[type, stored] : native.asKeyValueRange()) {
        std::optional<QByteArray> bytes = stored;
        if (type == publicTiff || type == NSTIFFPboardType) {
            // Without the full-size image, what was stored is the capture's empty placeholder.
            bytes = native.value(NSTIFFPboardType);
            if (bytes->isEmpty())
                bytes = item.imageData();
        } else if (present.contains(type)) {
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
    lookForOriginalFiles(*_items.first());
    try {
        const PrivateFolder folder =
            PrivateFolder::makeEmpty(services.temporaryFolder, QStringLiteral("Clipmule"));
        const QDateTime localTime = Date::now().toDateTime().toLocalTime();
        PropertyList::List paths;
        for (qsizetype i = 0; i < _items.size(); ++i) {
            const ZRKClipmuleDataItem &item = *_items[i];
            const std::optional<QByteArray> image = item.imageData();
            if (!image)
                continue;
            const auto counter = _items.size() >= 2 ? std::optional(i + 1) : std::nullopt;
            const QString name = ImageFileName::make(_title, localTime, counter, extensionOf(item));
            folder.write(name, *image);
            paths.append(folder.path() + u'/' + name);
        }
        services.pasteboard.addTypes({PasteboardType::NSFilenamesPboardType});
        services.pasteboard.setPropertyListForType(paths, PasteboardType::NSFilenamesPboardType);
    } catch (const PlatformException &exception) {
        qCWarning(logModel).noquote() << "cannot write the image files:" << exception.reason();
        return;
    }
    RunLoop::current().pause(pauseAfterWriting);
}

void ZRKClipmuleData::pasteboardProvideDataForType(Pasteboard &, const QString &) {}

} // namespace clipmule
