// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "model/ClipCapture.h"

#include "Common/Categories/ZRKNSStringCategory.h"
#include "model/PictureEcho.h"
#include "platform/foundation/FileHandle.h"
#include "platform/foundation/Log.h"
#include "platform/foundation/PlatformException.h"
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
    if (std::optional<QString> text = textOfRtf(data))
        return text;
    // Bytes without markup are a text that somebody set for the type. Markup that cannot be read is
    // no text, nor is a rich-text folder.
    const bool isMarkup = QByteArrayView(data).trimmed().startsWith("{\\");
    return isMarkup || (mayBeFolder && data.startsWith("rtfd")) ? std::nullopt : utf8(data);
}

const QStringList otherTexts{NSRTFDPboardType, NSTabularTextPboardType,
                             NSMultipleTextSelectionPboardType, NSInkTextPboardType};

// The first of the text readings that exists, its lines ended as the phones end them.
std::optional<QString> textOf(const PasteboardContents &contents) {
    std::optional<QString> text;
    if (contents.text)
        text = QString::fromUtf8(*contents.text);
    else if (contents.rtf)
        text = styledText(*contents.rtf, false);
    for (const QString &type : otherTexts) {
        if (const auto data = contents.others.value(type); data && !text)
            text = type == NSRTFDPboardType ? styledText(*data, true) : utf8(*data);
    }
    if (!text)
        return std::nullopt;
    return ZRKNSStringCategory::stringByReplacingCharactersInSetWithString(
        *text, ZRKNSStringCategory::NewlineCharacterSet(), QStringLiteral("\n"));
}

// Whether textOf() would hold the run loop.
bool hasLongText(const PasteboardContents &contents) {
    const auto isLong = [](const std::optional<QByteArray> &data) {
        return data && data->size() > ClipCapture::longText;
    };
    return isLong(contents.text) || isLong(contents.rtf) ||
           std::any_of(otherTexts.begin(), otherTexts.end(),
                       [&](const QString &type) { return isLong(contents.others.value(type)); });
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

// The size that a clip may have whose portable readings are so large. Without them the dictionary
// is all that there is.
quint64 mostOf(quint64 portable) {
    return portable == 0 ? ZRKClipmuleData::largestTravelling
                         : std::min(ZRKClipmuleData::largestTravelling,
                                    std::max(ZRKClipmuleData::smallClip,
                                             portable * ZRKClipmuleData::mostTimesItsReadings));
}

using OptionalDictionary = std::optional<Dictionary>;

// Leaves out the bulkiest representations until the clip, whose portable readings are so large, is
// as small as it should be. Where even the readings' own forms are too much there is none: such a
// clip is read as one from a phone is.
OptionalDictionary reduced(Dictionary dictionary, quint64 portable, bool hasImage) {
    const quint64 most = mostOf(portable);
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

bool areImageFiles(const PasteboardServices &services, const QStringList &files) {
    const ApplicationRole role = roleOf(ZRKClipmuleData::currentAppID(services));
    // Each file is looked at, and may lie on a slow file system.
    return (role == ApplicationRole::FileManager || role == ApplicationRole::PhotoManager) &&
           !files.isEmpty() && files.size() <= ZRKClipmuleData::mostFiles;
}

} // namespace

std::shared_ptr<const ClipCapture> ClipCapture::begin(const PasteboardServices &services) {
    const PasteboardContents &contents = services.pasteboard.contents();
    // Without contents the clipboard has no owner: that is no clip, not even an empty one.
    if (contents.isEmpty() || isVetoed(contents))
        return nullptr;
    return std::make_shared<const ClipCapture>(contents, areImageFiles(services, contents.files));
}

ClipCapture::ClipCapture(const PasteboardContents &contents, bool mayBeImageFiles)
    : _contents(contents)
    , _mayBeImageFiles(mayBeImageFiles)
    , _hasLongText(hasLongText(contents))
    , _text(_hasLongText ? std::nullopt : textOf(contents))
    , _image(imageOf(contents)) {
    ZRKClipmuleDataItem readings;
    readings.setString(_text);
    readings.setURL(contents.url);
    _smallSize = readings.size() + quint64(contents.title.size());
}

bool ClipCapture::isSecret(const Pasteboard &pasteboard) {
    return isVetoed(pasteboard.contents());
}

ClipCapture::Readings ClipCapture::read(const PictureEcho &received,
                                        const std::atomic_bool &isAbandoned) const {
    Readings readings;
    if (_mayBeImageFiles && readFiles(readings, received, isAbandoned))
        return readings;
    readings.files.clear();
    if (_hasLongText)
        readings.longText = textOf(_contents);
    if (readings.longText)
        readings.longTextHash = qHash(*readings.longText);
    if (!_image)
        return readings;
    const quint64 smallSize = _smallSize + quint64(readings.longText.value_or(QString()).size());
    readings.forms = portable(
        *_image,
        [smallSize](qsizetype portable) {
            const quint64 size = smallSize + quint64(portable);
            return qint64(mostOf(size)) - qint64(size);
        },
        readings.failures, isAbandoned);
    readings.isReceived = readings.forms && received.hasPixelsOf(*_image, isAbandoned);
    return readings;
}

std::optional<PortablePicture::Forms>
ClipCapture::portable(const QByteArray &picture, const PortablePicture::LargestFull &largestFull,
                      QStringList &failures, const std::atomic_bool &isAbandoned) {
    try {
        return PortablePicture::make(picture, largestFull, isAbandoned);
    } catch (const PlatformException &exception) {
        failures.append(exception.reason());
        return std::nullopt;
    }
}

bool ClipCapture::readFiles(Readings &readings, const PictureEcho &received,
                            const std::atomic_bool &isAbandoned) const {
    qint64 total = 0;
    for (const QString &file : _contents.files) {
        total += QFileInfo(file).size();
        if (total > ZRKClipmuleData::largestFileSet)
            return false;
    }
    for (const QString &path : _contents.files) {
        const auto file = RegularFile::read(path, ZRKClipmuleData::largestFileSet);
        const auto forms = file && *file ? portable(**file, nullptr, readings.failures, isAbandoned)
                                         : std::nullopt;
        if (!forms)
            return false;
        readings.isReceived =
            _contents.files.size() == 1 && received.hasPixelsOf(**file, isAbandoned);
        readings.files.append({QFileInfo(path).fileName(), forms->portable});
    }
    return true;
}

std::shared_ptr<ZRKClipmuleData> ClipCapture::clip(const Readings &readings) const {
    for (const QString &failure : readings.failures)
        qCWarning(logModel).noquote() << "ERROR CREATING IMAGE DATA" << failure;
    return readings.files.isEmpty() ? clipOfReadings(readings) : clipOfFiles(readings.files);
}

std::shared_ptr<ZRKClipmuleData> ClipCapture::clipOfReadings(const Readings &made) const {
    const std::optional<PortablePicture::Forms> &picture = made.forms;
    const std::optional<QString> &text = _hasLongText ? made.longText : _text;
    Dictionary nativeDictionary = dictionaryOf(_contents);
    // The type says TIFF although the bytes are PNG or JPEG: the output offers an image under
    // this type, and so the full image comes back on this desktop.
    if (picture && picture->full)
        nativeDictionary.insert(NSTIFFPboardType, *picture->full);
    const bool isNothingElse = !text && !picture && !_contents.url;
    const auto fill = [&](ZRKClipmuleDataItem &item) {
        item.setString(isNothingElse ? namesOfFiles(_contents.files) : text);
        if (picture)
            item.setImageData(picture->portable);
        item.setURL(_contents.url);
    };
    ZRKClipmuleDataItem readings;
    fill(readings);
    const auto item = ZRKClipmuleDataItem::initWithNativeDictionary(
        reduced(std::move(nativeDictionary), readings.size() + quint64(_contents.title.size()),
                picture.has_value()));
    fill(*item);
    if (made.longText)
        item->setStringHash(made.longTextHash);
    auto clip = ZRKClipmuleData::initWithItems({item});
    if (!_contents.title.isEmpty())
        clip->setTitle(_contents.title);
    return clip;
}

std::shared_ptr<ZRKClipmuleData> ClipCapture::clipOfFiles(const QList<ImageFile> &files) const {
    const auto fill = [](ZRKClipmuleDataItem &item, const ImageFile &file) {
        item.setImageData(file.portable);
        item.setString(file.name);
    };
    ZRKClipmuleData::Items items;
    quint64 portable = 0;
    for (const ImageFile &file : files) {
        items.append(ZRKClipmuleDataItem::initWithNativeDictionary(Dictionary()));
        fill(*items.last(), file);
        portable += items.last()->size();
    }
    // The clipboard's own representations go with the first item.
    items.first() = ZRKClipmuleDataItem::initWithNativeDictionary(
        reduced(dictionaryOf(_contents), portable, true));
    fill(*items.first(), files.first());
    auto clip = ZRKClipmuleData::initWithItems(items);
    if (files.size() == 1)
        clip->setTitle(nameWithoutExtension(files.first().name));
    return clip;
}

} // namespace clipmule
