// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "model/RecordFields.h"
#include "tests/model/Archives.h"
#include "tests/model/Clipboards.h"
#include "tests/model/StoreFixture.h"

#include <QRegularExpression>
#include <QTest>

using namespace clipmule;
using namespace clipmule::test;

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

/// Each form of a record holds every field that the record's list says it does.
class RecordFieldsTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init() {
        QTest::failOnWarning(QRegularExpression(QStringLiteral(".*")));
        _fixture = std::make_unique<StoreFixture>();
    }
    void cleanup() { _fixture.reset(); }

    void anItem() {
        const auto item = fullItem();
        compareArchives(item, std::make_shared<ZRKClipmuleDataItem>());
        compareDictionaries(item);
    }
    void aClip() {
        const auto clip = fullClip();
        compareArchives(clip, std::make_shared<ZRKClipmuleData>());
        compareDictionaries(clip);
    }
    void aClipboard() {
        const auto board = _fixture->kept(named(QStringLiteral("a")));
        board->setIconName(QStringLiteral("star"));
        board->setCount(3);
        compareArchives(board, std::make_shared<ZRKClipmuleClipboard>());
    }
    void keysStandOnceInEachList() {
        keysStandOnce(ZRKClipmuleDataItem::fields());
        keysStandOnce(ZRKClipmuleData::fields());
        keysStandOnce(ZRKClipmuleClipboard::fields());
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
    static void keysStandOnce(const RecordFields<Record> &fields) {
        QSet<QString> keys;
        for (const auto &field : fields) {
            keys.insert(field.key);
            // What is written is read.
            QVERIFY(field.decode || !field.encode);
            QCOMPARE(bool(field.write), bool(field.read));
            QVERIFY(field.decode || field.read);
        }
        QCOMPARE(keys.size(), fields.size());
    }

    template <typename Record>
    void compareArchives(const std::shared_ptr<Record> &full, const std::shared_ptr<Record> &bare) {
        QStringList claimed;
        for (const auto &field : Record::fields()) {
            if (field.encode)
                claimed.append(field.key);
        }
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
    static void compareDictionaries(const std::shared_ptr<Record> &full) {
        QSet<QString> claimed;
        for (const auto &field : Record::fields()) {
            if (field.write)
                claimed.insert(field.key);
        }
        const PropertyList::Dictionary dictionary = full->toDictionary();
        const QStringList keys = dictionary.keys();
        QCOMPARE(QSet<QString>(keys.begin(), keys.end()), claimed);
        QCOMPARE(PropertyList(Record::initWithDictionary(dictionary)->toDictionary()),
                 PropertyList(dictionary));
    }

    std::unique_ptr<StoreFixture> _fixture;
};

QTEST_GUILESS_MAIN(RecordFieldsTest)
#include "tst_recordfields.moc"
