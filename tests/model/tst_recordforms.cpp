// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "tests/kit/TestCase.h"
#include "tests/model/Archives.h"
#include "tests/model/Clipboards.h"
#include "tests/model/StoreFixture.h"

#include <QTest>

using namespace clipmule;
using namespace clipmule::kit;
using namespace Qt::StringLiterals;

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
                        {u"oid"_s, u"imageDataHash"_s, u"string"_s, u"url"_s, u"hasImageData"_s,
                         u"hasNativeDictionary"_s, u"cacheDictionary"_s, version, u"createdBy"_s});
        compareDictionaries(item, {u"createdBy"_s, u"imageData"_s, u"nativeDictionary"_s, u"oid"_s,
                                   u"string"_s, u"url"_s});
    }
    void aClip() {
        const auto clip = fullClip();
        const QStringList keys{u"oid"_s, u"creationDate"_s, u"title"_s, u"items"_s};
        compareArchives(clip, std::make_shared<ZRKClipmuleData>(), keys);
        compareDictionaries(clip, keys);
    }
    void aClipboard() {
        const auto board = _fixture->kept(named(QStringLiteral("a")));
        board->setIconName(QStringLiteral("star"));
        board->setCount(3);
        compareArchives(board, std::make_shared<ZRKClipmuleClipboard>(),
                        {u"oid"_s, u"title"_s, u"iconName"_s, u"count"_s});
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
