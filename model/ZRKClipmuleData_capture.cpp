// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "model/PasteboardServices.h"
#include "model/ZRKClipmuleData.h"
#include "platform/foundation/Log.h"

#include "Common/Categories/ZRKNSImageCategory.h"
#include "Common/Categories/ZRKNSStringCategory.h"
#include "platform/foundation/PlatformException.h"
#include "platform/foundation/RegularFile.h"
#include "platform/images/ImageCodec.h"
#include "platform/pasteboard/Pasteboard.h"
#include "platform/windows/ActiveApplication.h"

#include <QFileInfo>

#include <algorithm>

namespace clipmule {

namespace {

// Types that mark contents as not to be kept or passed on: those of programs that use the clipboard
// to type, of password managers, and of any other owner that says so.
const QStringList vetoTypes{PasteboardMarker::generator, PasteboardMarker::clipping,
                            PasteboardMarker::transient};

// Whether the hint marks a secret; its value may end in NULs, as other texts of programs do. A hint
// that is named without a value counts as one: a copy that was held back can be made again, a
// secret that was sent cannot be taken back.
bool isHintOfSecrets(const std::optional<QByteArray> &hint) {
    if (!hint)
        return true;
    QByteArray value = *hint;
    value.replace('\0', ' ');
    return value.trimmed().toLower() == "secret";
}

const QString fileManagerID = QStringLiteral("com.apple.finder");
const QString photoManagerID = QStringLiteral("com.apple.iPhoto");

bool isVetoed(const Pasteboard &pasteboard, const QStringList &types) {
    const auto isVeto = [&](const QString &type) {
        return vetoTypes.contains(type) || (type == PasteboardMarker::passwordHint &&
                                            isHintOfSecrets(pasteboard.dataForType(type)));
    };
    return std::any_of(types.begin(), types.end(), isVeto);
}

ZRKClipmuleDataItem::NativeDictionary nativeDictionaryOf(const Pasteboard &pasteboard,
                                                         const QStringList &types) {
    using namespace PasteboardType;
    ZRKClipmuleDataItem::NativeDictionary dictionary;
    for (const QString &type : types) {
        if (type == NSPICTPboardType || type == applePict)
            continue;
        // The image itself travels as the item's image.
        if (type == publicTiff || type == NSTIFFPboardType)
            dictionary.insert(type, QByteArray(""));
        else if (const std::optional<QByteArray> bytes = pasteboard.dataForType(type))
            dictionary.insert(type, *bytes);
    }
    return dictionary;
}

std::optional<QString> textOf(const Pasteboard &pasteboard) {
    using namespace PasteboardType;
    for (const QString &type :
         {NSStringPboardType, NSRTFPboardType, NSRTFDPboardType, NSTabularTextPboardType,
          NSMultipleTextSelectionPboardType, NSInkTextPboardType}) {
        if (const std::optional<QString> text = pasteboard.stringForType(type)) {
            return ZRKNSStringCategory::stringByReplacingCharactersInSetWithString(
                *text, ZRKNSStringCategory::NewlineCharacterSet(), QStringLiteral("\n"));
        }
    }
    return std::nullopt;
}

std::optional<QByteArray> imageOf(const Pasteboard &pasteboard) {
    using namespace PasteboardType;
    for (const QString &type : {NSTIFFPboardType, publicPng, applePng}) {
        if (std::optional<QByteArray> bytes = pasteboard.dataForType(type))
            return bytes;
    }
    return std::nullopt;
}

// Some file managers copy files without any text: their names, then, one on each line.
std::optional<QString> namesOfFiles(const Pasteboard &pasteboard) {
    const std::optional<PropertyList> paths =
        pasteboard.propertyListForType(PasteboardType::NSFilenamesPboardType);
    if (!paths || !paths->isList())
        return std::nullopt;
    QStringList names;
    for (const PropertyList &entry : paths->list()) {
        const auto *path = entry.as<QString>();
        // A folder's path may end with a slash; the root has no other name.
        const QString name =
            path ? path->section(u'/', -1, -1, QString::SectionSkipEmpty) : QString();
        if (path && !path->isEmpty())
            names.append(name.isEmpty() ? *path : name);
    }
    if (names.isEmpty())
        return std::nullopt;
    return names.join(u'\n');
}

// Null when the file is no image, or cannot be read.
std::shared_ptr<ZRKClipmuleDataItem> itemOfImageFile(const QString &path) {
    const RegularFile::Contents file = RegularFile::read(path, ZRKClipmuleData::largestFileSet);
    if (file.outcome != RegularFile::Contents::Outcome::Read)
        return nullptr;
    const std::optional<QByteArray> image = ZRKClipmuleData::portableImageData(file.bytes, nullptr);
    if (!image)
        return nullptr;
    auto item =
        ZRKClipmuleDataItem::initWithNativeDictionary(ZRKClipmuleDataItem::NativeDictionary());
    item->setImageData(image);
    item->setString(QFileInfo(path).fileName());
    return item;
}

bool isRasterImage(const QString &type) {
    using namespace PasteboardType;
    return QStringList{NSTIFFPboardType, publicPng, applePng}.contains(type);
}

// Whether a type holds what the phones read, in the form that desktops read it back from.
bool isReading(const QString &type) {
    using namespace PasteboardType;
    return QStringList{NSStringPboardType, NSURLPboardType, publicUrlName, NSFilenamesPboardType}
        .contains(type);
}

quint64 sizeOf(const ZRKClipmuleDataItem::NativeDictionary &dictionary) {
    quint64 size = 0;
    for (const auto &[type, bytes] : dictionary.asKeyValueRange())
        size += quint64(type.size()) + quint64(bytes.size());
    return size;
}

using OptionalDictionary = std::optional<ZRKClipmuleDataItem::NativeDictionary>;

// Leaves out the bulkiest representations until the clip, whose portable readings are so large, is
// as small as it should be. Where even the readings' own forms are too much there is none: such a
// clip is read as one from a phone is.
OptionalDictionary reduced(ZRKClipmuleDataItem::NativeDictionary dictionary, quint64 portable,
                           bool hasImage) {
    using namespace PasteboardType;
    // Without portable readings the dictionary is all that there is.
    const quint64 most = portable == 0
                             ? ZRKClipmuleData::largestTravelling
                             : std::min(ZRKClipmuleData::largestTravelling,
                                        std::max(ZRKClipmuleData::smallClip,
                                                 portable * ZRKClipmuleData::mostTimesItsReadings));
    while (portable + sizeOf(dictionary) > most) {
        QString bulkiest;
        qsizetype size = 0;
        for (const auto &[type, bytes] : dictionary.asKeyValueRange()) {
            if (bytes.size() > size && !isReading(type)) {
                bulkiest = type;
                size = bytes.size();
            }
        }
        if (bulkiest.isEmpty())
            break;
        dictionary.remove(bulkiest);
        // The clip's own image stands for it.
        if (isRasterImage(bulkiest) && hasImage)
            dictionary.insert(NSTIFFPboardType, QByteArray(""));
    }
    if (portable > 0 && portable + sizeOf(dictionary) > ZRKClipmuleData::largestTravelling)
        return std::nullopt;
    return dictionary;
}

QString nameWithoutExtension(const QString &name) {
    const QString base = QFileInfo(name).completeBaseName();
    // A name like ".png" is the whole name.
    return base.isEmpty() ? name : base;
}

} // namespace

bool ZRKClipmuleData::isSecret(const Pasteboard &pasteboard) {
    return isVetoed(pasteboard, pasteboard.types());
}

std::optional<QString> ZRKClipmuleData::currentAppID(const PasteboardServices &services) {
    return services.activeApplication.identifier();
}

std::shared_ptr<ZRKClipmuleData>
ZRKClipmuleData::initFromPasteboard(const PasteboardServices &services) {
    const Pasteboard &pasteboard = services.pasteboard;
    const QStringList types = pasteboard.types();
    // Without types the clipboard has no owner: that is no clip, not even an empty one.
    if (types.isEmpty() || isVetoed(pasteboard, types))
        return nullptr;
    NativeDictionary native = nativeDictionaryOf(pasteboard, types);
    auto clip = std::make_shared<ZRKClipmuleData>();
    if (!clip->loadFromFiles(services, native))
        clip->loadFromReadings(services, std::move(native));
    return clip;
}

void ZRKClipmuleData::loadFromReadings(const PasteboardServices &services,
                                       NativeDictionary nativeDictionary) {
    const Pasteboard &pasteboard = services.pasteboard;
    const std::optional<QByteArray> image =
        portableImageData(imageOf(pasteboard), &nativeDictionary);
    const std::optional<QUrl> url = pasteboard.url();
    std::optional<QString> text = textOf(pasteboard);
    if (!text && !image && !url)
        text = namesOfFiles(pasteboard);
    const std::optional<PropertyList> title =
        pasteboard.propertyListForType(PasteboardType::publicUrlName);
    if (title && title->isString())
        _title = title->string();

    const auto fill = [&](ZRKClipmuleDataItem &item) {
        item.setString(text);
        item.setImageData(image);
        item.setURL(url);
    };
    ZRKClipmuleDataItem readings;
    fill(readings);
    // The size of a clip that has no items yet is that of its title.
    const auto item = ZRKClipmuleDataItem::initWithNativeDictionary(
        reduced(std::move(nativeDictionary), readings.size() + size(), image.has_value()));
    fill(*item);
    append(item);
}

bool ZRKClipmuleData::loadFromFiles(const PasteboardServices &services,
                                    NativeDictionary nativeDictionary) {
    try {
        const std::optional<QString> application = currentAppID(services);
        if (application != fileManagerID && application != photoManagerID)
            return false;
        const std::optional<PropertyList> names =
            services.pasteboard.propertyListForType(PasteboardType::NSFilenamesPboardType);
        if (!names || names->list().isEmpty())
            return false;
        // Each file is looked at, and may lie on a slow file system.
        if (names->list().size() > mostFiles)
            return false;
        qint64 total = 0;
        for (const PropertyList &name : names->list()) {
            total += QFileInfo(name.string()).size();
            if (total > largestFileSet)
                return false;
        }
        Items items;
        quint64 portable = 0;
        for (const PropertyList &name : names->list()) {
            const auto item = itemOfImageFile(name.string());
            if (!item)
                return false;
            portable += item->size();
            items.append(item);
        }
        // The clipboard's own representations go with the first item.
        const auto first = ZRKClipmuleDataItem::initWithNativeDictionary(
            reduced(std::move(nativeDictionary), portable, true));
        first->setClipmuleDataItem(*items.first());
        items.first() = first;
        if (items.size() == 1)
            _title = nameWithoutExtension(*items.first()->string());
        for (const auto &item : items)
            append(item);
        return true;
    } catch (const PlatformException &) {
        return false;
    }
}

std::optional<QByteArray>
ZRKClipmuleData::portableImageData(const std::optional<QByteArray> &imageData,
                                   NativeDictionary *nativeDictionary) {
    if (!imageData)
        return std::nullopt;
    try {
        const std::optional<QImage> image = ImageCodec::decode(*imageData);
        if (!image)
            return std::nullopt;
        std::optional<QByteArray> bytes = ImageCodec::png(*image, largestPng);
        if (!bytes)
            bytes = ImageCodec::jpeg(*image, jpegCompressionFactor);
        if (qint64(image->width()) * image->height() <= mostPixels)
            return bytes;
        // The type says TIFF although the bytes are PNG or JPEG: the output offers an image under
        // this type, and so the full image comes back on this desktop.
        if (nativeDictionary)
            nativeDictionary->insert(PasteboardType::NSTIFFPboardType, *bytes);
        return ImageCodec::jpeg(
            ZRKNSImageCategory::copyWithMaxSize(*image, {reducedSide, reducedSide}),
            jpegCompressionFactor);
    } catch (const PlatformException &exception) {
        qCWarning(logModel).noquote() << "ERROR CREATING IMAGE DATA" << exception.reason();
        return std::nullopt;
    }
}

} // namespace clipmule
