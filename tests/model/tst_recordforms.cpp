// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "tests/kit/TestCase.h"
#include "tests/model/Archives.h"
#include "tests/model/Clipboards.h"
#include "tests/model/StoreFixture.h"

#include <QTest>

using namespace clipmule;
using namespace clipmule::kit;

namespace {

/// Notes what is written under which key, in that order.
class Notes final : public Encoder {
public:
    QStringList keys;
    QHash<QString, QByteArray> values;

    [[nodiscard]] bool allowsKeyedCoding() const override { return true; }
    void encodeObject(const ArchiveValue &value, const QString &key) override {
        note(KeyedArchiver::archivedData(value), key);
    }
    void encodeBool(bool value, const QString &key) override {
        note(value ? "true" : "false", key);
    }
    void encodeInteger(qint64 value, const QString &key) override {
        note(QByteArray::number(value), key);
    }
    void encodeReal(double value, const QString &key) override {
        note(QByteArray::number(value), key);
    }
    void encodeBytes(const QByteArray &value, const QString &key) override { note(value, key); }

private:
    void note(const QByteArray &value, const QString &key) {
        keys.append(key);
        values.insert(key, value);
    }
};

// The one value that is the same in every archive.
const QString version = QStringLiteral("cacheVersion");

} // namespace

/// Each form of a record writes its fields and reads every one of them again.
class RecordFormsTest final : public kit::TestCase {
    Q_OBJECT

    void begin() override { _fixture = std::make_unique<StoreFixture>(); }

    void end() override { _fixture.reset(); }

private Q_SLOTS:
    void anItem() {
        const auto item = fullItem();
        compareArchives(item, std::make_shared<ZRKClipmuleDataItem>(),
                        {u"oid"_qs, u"imageDataHash"_qs, u"string"_qs, u"url"_qs,
                         u"hasImageData"_qs, u"hasNativeDictionary"_qs, u"cacheDictionary"_qs,
                         version, u"createdBy"_qs});
        compareDictionaries(item, {u"createdBy"_qs, u"imageData"_qs, u"nativeDictionary"_qs,
                                   u"oid"_qs, u"string"_qs, u"url"_qs});
    }
    void aClip() {
        const auto clip = fullClip();
        const QStringList keys{u"oid"_qs, u"creationDate"_qs, u"title"_qs, u"items"_qs};
        compareArchives(clip, std::make_shared<ZRKClipmuleData>(), keys);
        compareDictionaries(clip, keys);
    }
    void aClipboard() {
        const auto board = _fixture->kept(named(QStringLiteral("a")));
        board->setIconName(QStringLiteral("star"));
        board->setCount(3);
        compareArchives(board, std::make_shared<ZRKClipmuleClipboard>(),
                        {u"oid"_qs, u"title"_qs, u"iconName"_qs, u"count"_qs});
    }

private:
    [[nodiscard]] std::shared_ptr<ZRKClipmuleDataItem> fullItem() const {
        const auto item = _fixture->kept(
            ZRKClipmuleDataItem::initWithNativeDictionary({{{QStringLiteral("type"), "bytes"}}}));
        item->setString(QStringLiteral("text"));
        item->setURL(QUrl(QStringLiteral("http://a/")));
        item->setImageData(QByteArray("image"));
        item->setCreatedBy(7);
        item->setPersistentCacheValueForKey(PropertyList(3), QStringLiteral("words"));
        return item;
    }
    [[nodiscard]] std::shared_ptr<ZRKClipmuleData> fullClip() const {
        auto clip = ZRKClipmuleData::initWithItems({fullItem()});
        clip->setTitle(QStringLiteral("title"));
        clip->setCreationDate(Date{1000});
        return clip;
    }

    template <typename Record>
    void compareArchives(const std::shared_ptr<Record> &full, const std::shared_ptr<Record> &bare,
                         const QStringList &claimed) {
        Notes notes;
        full->encodeWithCoder(notes);
        QCOMPARE(notes.keys, claimed);
        Notes empty;
        bare->encodeWithCoder(empty);
        const auto back = archivedAndBack(full, _fixture->store);
        Notes again;
        back->encodeWithCoder(again);
        QCOMPARE(again.keys, claimed);
        for (const QString &key : claimed) {
            QVERIFY2(key == version || notes.values[key] != empty.values[key], qPrintable(key));
            QVERIFY2(again.values[key] == notes.values[key], qPrintable(key));
        }
    }

    template <typename Record>
    static void compareDictionaries(const std::shared_ptr<Record> &full, QStringList claimed) {
        const PropertyList::Dictionary dictionary = full->toDictionary();
        claimed.sort();
        QCOMPARE(dictionary.keys(), claimed);
        QCOMPARE(PropertyList(Record::initWithDictionary(dictionary)->toDictionary()),
                 PropertyList(dictionary));
    }

    std::unique_ptr<StoreFixture> _fixture;
};

QTEST_GUILESS_MAIN(RecordFormsTest)
#include "tst_recordforms.moc"
