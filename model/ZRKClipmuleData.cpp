// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "model/ZRKClipmuleData.h"

#include "Common/Categories/ZRKNSCollectionCategories.h"
#include "Common/Categories/ZRKNSImageCategory.h"
#include "Common/Categories/ZRKNSStringCategory.h"
#include "model/RecordForms.h"
#include "platform/foundation/FileHandle.h"
#include "platform/foundation/Log.h"
#include "platform/foundation/PlatformException.h"
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

// The key of the items, whose number is looked at before they are read.
const QString itemsKey = QStringLiteral("items");

} // namespace

ZRKClipmuleData::ZRKClipmuleData()
    : _creationDate(Date::now()) {}

ZRKClipmuleData::~ZRKClipmuleData() {
    for (const auto &item : _items) {
        if (item->data() == this)
            item->setData(nullptr);
    }
}

void ZRKClipmuleData::append(const std::shared_ptr<ZRKClipmuleDataItem> &item) {
    item->setData(this);
    _items.append(item);
}

std::shared_ptr<ZRKClipmuleData> ZRKClipmuleData::initWithItems(const Items &items) {
    auto clip = std::make_shared<ZRKClipmuleData>();
    for (const auto &item : items)
        clip->append(item);
    return clip;
}

std::shared_ptr<ZRKClipmuleData> ZRKClipmuleData::initWithStrings(const QStringList &strings) {
    auto clip = std::make_shared<ZRKClipmuleData>();
    for (const QString &string : strings) {
        clip->append(std::make_shared<ZRKClipmuleDataItem>());
        clip->_items.last()->setString(string);
    }
    return clip;
}

std::shared_ptr<ZRKClipmuleData>
ZRKClipmuleData::initWithImageDatas(const QList<QByteArray> &imageDatas) {
    auto clip = std::make_shared<ZRKClipmuleData>();
    for (const QByteArray &imageData : imageDatas) {
        clip->append(std::make_shared<ZRKClipmuleDataItem>());
        clip->_items.last()->setImageData(imageData);
    }
    return clip;
}

// All that the forms of a clip hold, in the order of archives without keys.
template <typename Clip, typename Form>
void ZRKClipmuleData::list(Clip &clip, Form &form) {
    form.both(QStringLiteral("oid"), clip._oid);
    form.both(QStringLiteral("creationDate"), clip._creationDate);
    form.both(QStringLiteral("title"), clip._title);
    form.both(
        itemsKey, [&] { return clip._items; },
        [&](const auto &items) {
            for (const auto &item : items)
                clip.append(item);
        });
}

std::shared_ptr<ZRKClipmuleData>
ZRKClipmuleData::initWithDictionary(const PropertyList::Dictionary &dictionary) {
    const PropertyList *const items = find(dictionary, itemsKey);
    if (items && items->list().size() > mostItems)
        throw PlatformException(QStringLiteral("InvalidArgument"),
                                QStringLiteral("a clip of %1 items; at most %2 are accepted")
                                    .arg(items->list().size())
                                    .arg(mostItems));
    auto clip = std::make_shared<ZRKClipmuleData>();
    RecordForms::DictionaryReader reader(dictionary);
    list(*clip, reader);
    return clip;
}

PropertyList::Dictionary ZRKClipmuleData::toDictionary() const {
    if (!_creationDate)
        throw PlatformException(QStringLiteral("InvalidArgument"),
                                QStringLiteral("the clip has no creation date"));
    (void)oid();
    RecordForms::DictionaryWriter writer;
    list(*this, writer);
    return writer.dictionary;
}

QString ZRKClipmuleData::oid() const {
    if (!_oid)
        _oid = ZRKNSStringCategory::uuid();
    return *_oid;
}

void ZRKClipmuleData::setTitle(const std::optional<QString> &title) {
    if (_title && title && *_title == *title)
        return;
    _title = title;
    _isDirty = true;
}

std::shared_ptr<ZRKClipmuleDataItem> ZRKClipmuleData::firstItem() const {
    return ZRKNSArrayCategory::firstObject(_items).value_or(nullptr);
}

void ZRKClipmuleData::removeItem(const std::shared_ptr<ZRKClipmuleDataItem> &item) {
    // Held here: the argument may be an element of the list.
    const auto removed = item;
    if (removed->data() == this)
        removed->setData(nullptr);
    _items.removeIf([&](const std::shared_ptr<ZRKClipmuleDataItem> &candidate) {
        if (!candidate->isEqual(*removed))
            return false;
        if (candidate->data() == this)
            candidate->setData(nullptr);
        return true;
    });
    _isDirty = true;
}

bool ZRKClipmuleData::anyItem(bool (ZRKClipmuleDataItem::*isSo)() const) const {
    return std::any_of(_items.begin(), _items.end(),
                       [isSo](const auto &item) { return (*item.*isSo)(); });
}

quint64 ZRKClipmuleData::size() const {
    quint64 size = _title ? quint64(_title->size()) : 0;
    for (const auto &item : _items)
        size += item->size();
    return size;
}

void ZRKClipmuleData::setStore(const std::shared_ptr<ClipboardStore> &store) {
    for (const auto &item : _items)
        item->setStore(store);
}

void ZRKClipmuleData::releaseCachedData() {
    for (const auto &item : _items)
        item->releaseCachedData();
}

void ZRKClipmuleData::erase() {
    for (const auto &item : _items)
        item->erase();
}

bool ZRKClipmuleData::isEqual(const Object &other) const {
    const auto *clip = dynamic_cast<const ZRKClipmuleData *>(&other);
    if (!clip)
        return false;
    if (oid() == clip->oid())
        return true;
    return std::equal(_items.begin(), _items.end(), clip->_items.begin(), clip->_items.end(),
                      [](const auto &left, const auto &right) { return left->isEqual(*right); });
}

size_t ZRKClipmuleData::hash() const {
    return ZRKNSArrayCategory::deepHash(_items);
}

size_t ZRKClipmuleData::contentHash() const {
    const size_t portable = hash();
    if (portable != 0)
        return portable;
    size_t native = 0;
    bool isEmpty = true;
    for (const auto &item : _items) {
        const auto dictionary = item->nativeDictionary();
        if (!dictionary)
            continue;
        for (const auto &[type, bytes] : dictionary->asKeyValueRange()) {
            native += qHashMulti(size_t(0), type, bytes);
            isEmpty = false;
        }
    }
    return native == 0 && !isEmpty ? 1 : native;
}

std::shared_ptr<ZRKClipmuleData> ZRKClipmuleData::copyWithZone() {
    Items copies;
    copies.reserve(_items.size());
    for (const auto &item : _items)
        copies.append(item->copyWithZone());
    auto copy = initWithItems(copies);
    copy->setTitle(_title);
    return copy;
}

QString ZRKClipmuleData::description() const {
    QStringList texts;
    for (const auto &item : _items)
        texts.append(item->description());
    return QStringLiteral("(%1)").arg(texts.join(QStringLiteral(", ")));
}

void ZRKClipmuleData::encodeWithCoder(Encoder &coder) {
    (void)oid();
    RecordForms::ArchiveWriter writer(coder);
    list(*this, writer);
    _isDirty = false;
    _isSaved = true;
}

void ZRKClipmuleData::initWithCoder(Decoder &coder) {
    RecordForms::ArchiveReader reader(coder);
    list(*this, reader);
    if (!_creationDate)
        _creationDate = Date::now();
    // Some archives note the origin for the clip instead of for each item.
    const QString createdByKey = QStringLiteral("createdBy");
    if (coder.containsValueForKey(createdByKey)) {
        const bool isOfDesktop = coder.decodeInteger(createdByKey) != 0;
        for (const auto &item : std::as_const(_items))
            item->setCreatedBy(isOfDesktop ? ZRKClipmuleDataItem::createdByDesktop
                                           : ZRKClipmuleDataItem::createdByPhone);
    }
    _isDirty = false;
    _isSaved = true;
}

// From the desktop's clipboard

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
    const auto file = RegularFile::read(path, ZRKClipmuleData::largestFileSet);
    if (!file || !*file)
        return nullptr;
    const std::optional<QByteArray> image = ZRKClipmuleData::portableImageData(**file, nullptr);
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
        const ApplicationRole role = roleOf(currentAppID(services));
        if (role != ApplicationRole::FileManager && role != ApplicationRole::PhotoManager)
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
