// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "model/ZRKClipmuleData.h"

#include "Common/Categories/ZRKNSCollectionCategories.h"
#include "Common/Categories/ZRKNSStringCategory.h"
#include "model/ClipCapture.h"
#include "model/PictureEcho.h"
#include "model/RecordForms.h"
#include "platform/foundation/Log.h"
#include "platform/foundation/PlatformException.h"
#include "platform/windows/ActiveApplication.h"

#include <algorithm>
#include <limits>

namespace clipmule {

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

std::optional<QString> ZRKClipmuleData::currentAppID(const PasteboardServices &services) {
    return services.activeApplication.identifier();
}

std::shared_ptr<ZRKClipmuleData>
ZRKClipmuleData::initFromPasteboard(const PasteboardServices &services) {
    const auto capture = ClipCapture::begin(services);
    return capture ? capture->clip(capture->read({}, false)) : nullptr;
}

std::optional<QByteArray>
ZRKClipmuleData::portableImageData(const std::optional<QByteArray> &imageData,
                                   NativeDictionary *nativeDictionary) {
    if (!imageData)
        return std::nullopt;
    PortablePicture::LargestFull anySize;
    if (nativeDictionary)
        anySize = [](qsizetype) { return std::numeric_limits<qint64>::max(); };
    try {
        const auto forms = PortablePicture::make(*imageData, anySize, false);
        if (nativeDictionary && forms && forms->full)
            nativeDictionary->insert(PasteboardType::NSTIFFPboardType, *forms->full);
        return forms ? std::optional(forms->portable) : std::nullopt;
    } catch (const PlatformException &exception) {
        qCWarning(logModel).noquote() << "ERROR CREATING IMAGE DATA" << exception.reason();
        return std::nullopt;
    }
}

} // namespace clipmule
