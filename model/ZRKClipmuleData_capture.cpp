// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "model/ZRKClipmuleData.h"
#include "platform/foundation/Log.h"

#include "Common/Categories/ZRKNSImageCategory.h"
#include "Common/Categories/ZRKNSStringCategory.h"
#include "platform/foundation/PlatformException.h"
#include "platform/foundation/RegularFile.h"
#include "platform/images/ImageCodec.h"
#include "platform/pasteboard/Pasteboard.h"
#include "platform/pasteboard/RtfText.h"
#include "platform/propertylist/PropertyListSerialization.h"
#include "platform/windows/ActiveApplication.h"

#include <QFileInfo>
#include <QStringDecoder>

#include <algorithm>

namespace clipmule {

using namespace PasteboardType;

namespace {

using Dictionary = ZRKClipmuleDataItem::NativeDictionary;

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

bool isVetoed(const PasteboardContents &contents) {
    const auto hint = contents.others.constFind(PasteboardMarker::passwordHint);
    return (hint != contents.others.cend() && isHintOfSecrets(*hint)) ||
           std::any_of(vetoTypes.begin(), vetoTypes.end(),
                       [&](const QString &type) { return contents.others.contains(type); });
}

PropertyList::List listOf(const QStringList &texts) {
    return {texts.cbegin(), texts.cend()};
}

// All that the contents hold; of images an empty placeholder, since the image itself travels as the
// item's.
Dictionary dictionaryOf(const PasteboardContents &contents) {
    Dictionary dictionary;
    for (const auto &[type, data] : contents.others.asKeyValueRange()) {
        if (type == publicTiff || type == NSTIFFPboardType)
            dictionary.insert(type, QByteArray(""));
        else if (data && type != NSPICTPboardType && type != applePict)
            dictionary.insert(type, *data);
    }
    if (contents.text)
        dictionary.insert(NSStringPboardType, *contents.text);
    if (contents.html)
        dictionary.insert(publicHtml, *contents.html);
    if (contents.rtf)
        dictionary.insert(NSRTFPboardType, *contents.rtf);
    if (!contents.images.isEmpty())
        dictionary.insert(NSTIFFPboardType, QByteArray(""));
    if (!contents.files.isEmpty())
        dictionary.insert(NSFilenamesPboardType,
                          PropertyListSerialization::xml(listOf(contents.files)));
    if (contents.url)
        dictionary.insert(NSURLPboardType,
                          PropertyListSerialization::xml(
                              listOf({QString::fromLatin1(contents.url->toEncoded()), QString()})));
    if (!contents.title.isEmpty())
        dictionary.insert(publicUrlName, contents.title.toUtf8());
    return dictionary;
}

// Nothing for bytes that are not UTF-8.
std::optional<QString> utf8(const QByteArray &data) {
    QStringDecoder decoder(QStringDecoder::Utf8);
    const QString text = decoder(data);
    return decoder.hasError() ? std::nullopt : std::optional(text);
}

std::optional<QString> styledText(const QByteArray &data, bool mayBeFolder) {
    if (const std::optional<QString> text = textOfRtf(data))
        return text;
    // Bytes without markup are a text that somebody set for the type. Markup that cannot be read is
    // no text, nor is a rich-text folder.
    const bool isMarkup = QByteArrayView(data).trimmed().startsWith("{\\");
    return isMarkup || (mayBeFolder && data.startsWith("rtfd")) ? std::nullopt : utf8(data);
}

// The first of the text readings that exists, its lines ended as the phones end them.
std::optional<QString> textOf(const PasteboardContents &contents) {
    std::optional<QString> text;
    if (contents.text)
        text = QString::fromUtf8(*contents.text);
    else if (contents.rtf)
        text = styledText(*contents.rtf, false);
    for (const QString &type : {NSRTFDPboardType, NSTabularTextPboardType,
                                NSMultipleTextSelectionPboardType, NSInkTextPboardType}) {
        if (const auto data = contents.others.value(type); data && !text)
            text = type == NSRTFDPboardType ? styledText(*data, true) : utf8(*data);
    }
    if (!text)
        return std::nullopt;
    return ZRKNSStringCategory::stringByReplacingCharactersInSetWithString(
        *text, ZRKNSStringCategory::NewlineCharacterSet(), QStringLiteral("\n"));
}

std::optional<QByteArray> imageOf(const PasteboardContents &contents) {
    if (!contents.images.isEmpty())
        return contents.images.first();
    const std::optional<QByteArray> png = contents.others.value(publicPng);
    return png ? png : contents.others.value(applePng);
}

// Some file managers copy files without any text: their names, then, one on each line.
std::optional<QString> namesOfFiles(const QStringList &paths) {
    QStringList names;
    for (const QString &path : paths) {
        // A folder's path may end with a slash; the root has no other name.
        const QString name = path.section(u'/', -1, -1, QString::SectionSkipEmpty);
        names.append(name.isEmpty() ? path : name);
    }
    return names.isEmpty() ? std::nullopt : std::optional(names.join(u'\n'));
}

// Null when the file is no image, or cannot be read.
std::shared_ptr<ZRKClipmuleDataItem> itemOfImageFile(const QString &path) {
    const RegularFile::Contents file = RegularFile::read(path, ZRKClipmuleData::largestFileSet);
    if (file.outcome != RegularFile::Contents::Outcome::Read)
        return nullptr;
    const std::optional<QByteArray> image = ZRKClipmuleData::portableImageData(file.bytes, nullptr);
    if (!image)
        return nullptr;
    auto item = ZRKClipmuleDataItem::initWithNativeDictionary(Dictionary());
    item->setImageData(image);
    item->setString(QFileInfo(path).fileName());
    return item;
}

bool isRasterImage(const QString &type) {
    return QStringList{NSTIFFPboardType, publicPng, applePng}.contains(type);
}

// Whether a type holds what the phones read, in the form that desktops read it back from.
bool isReading(const QString &type) {
    return QStringList{NSStringPboardType, NSURLPboardType, publicUrlName, NSFilenamesPboardType}
        .contains(type);
}

quint64 sizeOf(const Dictionary &dictionary) {
    quint64 size = 0;
    for (const auto &[type, bytes] : dictionary.asKeyValueRange())
        size += quint64(type.size()) + quint64(bytes.size());
    return size;
}

using OptionalDictionary = std::optional<Dictionary>;

// Leaves out the bulkiest representations until the clip, whose portable readings are so large, is
// as small as it should be. Where even the readings' own forms are too much there is none: such a
// clip is read as one from a phone is.
OptionalDictionary reduced(Dictionary dictionary, quint64 portable, bool hasImage) {
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
    return isVetoed(pasteboard.contents());
}

std::optional<QString> ZRKClipmuleData::currentAppID(const PasteboardServices &services) {
    return services.activeApplication.identifier();
}

std::shared_ptr<ZRKClipmuleData>
ZRKClipmuleData::initFromPasteboard(const PasteboardServices &services) {
    const PasteboardContents &contents = services.pasteboard.contents();
    // Without contents the clipboard has no owner: that is no clip, not even an empty one.
    if (contents.isEmpty() || isVetoed(contents))
        return nullptr;
    auto clip = std::make_shared<ZRKClipmuleData>();
    if (!clip->loadFromFiles(services, contents.files, dictionaryOf(contents)))
        clip->loadFromReadings(contents);
    return clip;
}

void ZRKClipmuleData::loadFromReadings(const PasteboardContents &contents) {
    Dictionary nativeDictionary = dictionaryOf(contents);
    const std::optional<QByteArray> image = portableImageData(imageOf(contents), &nativeDictionary);
    std::optional<QString> text = textOf(contents);
    if (!text && !image && !contents.url)
        text = namesOfFiles(contents.files);
    if (!contents.title.isEmpty())
        _title = contents.title;

    const auto fill = [&](ZRKClipmuleDataItem &item) {
        item.setString(text);
        item.setImageData(image);
        item.setURL(contents.url);
    };
    ZRKClipmuleDataItem readings;
    fill(readings);
    // The size of a clip that has no items yet is that of its title.
    const auto item = ZRKClipmuleDataItem::initWithNativeDictionary(
        reduced(std::move(nativeDictionary), readings.size() + size(), image.has_value()));
    fill(*item);
    append(item);
}

bool ZRKClipmuleData::loadFromFiles(const PasteboardServices &services, const QStringList &files,
                                    NativeDictionary nativeDictionary) {
    try {
        const std::optional<QString> application = currentAppID(services);
        if (application != fileManagerID && application != photoManagerID)
            return false;
        // Each file is looked at, and may lie on a slow file system.
        if (files.isEmpty() || files.size() > mostFiles)
            return false;
        qint64 total = 0;
        for (const QString &file : files) {
            total += QFileInfo(file).size();
            if (total > largestFileSet)
                return false;
        }
        Items items;
        quint64 portable = 0;
        for (const QString &file : files) {
            const auto item = itemOfImageFile(file);
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
