// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "model/ZRKClipmuleClipboard.h"
#include "platform/archive/KeyedArchiver.h"
#include "platform/foundation/PlatformException.h"
#include "tests/kit/TestCase.h"
#include "tests/model/Clipboards.h"
#include "tests/model/StoreFixture.h"

#include <QRandomGenerator>
#include <QTest>

using namespace clipmule;
using namespace clipmule::kit;

namespace {

using NativeDictionary = ZRKClipmuleDataItem::NativeDictionary;

/// Clips of every kind that the program makes or takes: the same long text again and again, equal
/// representations, texts that archives treat in a special way, half characters.
class RandomClips {
public:
    explicit RandomClips(quint32 seed)
        : _random(seed) {}

    Clip clip() {
        ZRKClipmuleData::Items items;
        for (int count = _random.bounded(4); count > 0; --count)
            items.append(item());
        auto clip = ZRKClipmuleData::initWithItems(items);
        if (_random.bounded(3) == 0)
            clip->setTitle(text());
        clip->setCreationDate(Date{_random.bounded(1e9)});
        return clip;
    }
    int bounded(int limit) { return _random.bounded(limit); }

private:
    std::shared_ptr<ZRKClipmuleDataItem> item() {
        std::optional<NativeDictionary> native;
        if (_random.bounded(3) == 0) {
            native.emplace();
            for (int count = _random.bounded(20); count > 0; --count)
                native->insert(QString::number(count), bytes());
        }
        auto item = ZRKClipmuleDataItem::initWithNativeDictionary(native);
        if (_random.bounded(4) != 0)
            item->setString(text());
        if (_random.bounded(4) == 0)
            item->setURL(QUrl(QStringLiteral("http://example.com/%1").arg(_random.bounded(5))));
        if (_random.bounded(4) == 0)
            item->setImageData(bytes());
        if (_random.bounded(4) == 0)
            item->setPersistentCacheValueForKey(PropertyList(_random.bounded(100)), text().left(9));
        item->setCreatedBy(_random.bounded(3));
        return item;
    }
    QString text() {
        static const QStringList special{QString(),
                                         QStringLiteral("$null"),
                                         QStringLiteral("oid"),
                                         QStringLiteral("$class"),
                                         QChar(0xd800),
                                         QStringLiteral("a\0b"),
                                         QStringLiteral("ü😀"),
                                         QStringLiteral("NSObject"),
                                         QString(300'000, u'x'),
                                         QString(300'000, u'ü')};
        return special[_random.bounded(int(special.size()))];
    }
    QByteArray bytes() {
        static const QByteArray large(200'000, 'x');
        return large.first(_random.bounded(2) == 0 ? large.size() : _random.bounded(10));
    }

    QRandomGenerator _random;
};

/// All that a clipboard holds, item by item.
QStringList contentsOf(ZRKClipmuleClipboard &clipboard) {
    QStringList contents{clipboard.oid(), clipboard.title().value_or(QStringLiteral("-")),
                         QString::number(clipboard.count())};
    for (const auto &clip : clipboard.items()) {
        PropertyList::Dictionary dictionary = clip->toDictionary();
        contents.append(PropertyList(dictionary).description());
        for (const auto &item : clip->items())
            contents.append(QString::number(quint32(item->imageDataHash())));
    }
    return contents;
}

} // namespace

/// Whatever the store is given it saves, and what it saved it loads.
class StorePropertyTest final : public kit::TestCase {
    Q_OBJECT

    void begin() override { _fixture = std::make_unique<StoreFixture>(); }

    void end() override { _fixture.reset(); }

private Q_SLOTS:
    void whatIsMadeIsSavedAndLoaded_data() {
        QTest::addColumn<quint32>("seed");
        for (quint32 seed = 0; seed < 20; ++seed)
            QTest::addRow("seed %u", seed) << seed;
    }
    void whatIsMadeIsSavedAndLoaded() {
        QFETCH(quint32, seed);
        RandomClips random(seed);
        insertCustom({QStringLiteral("a"), QStringLiteral("$null"), QString()});
        QList<Clipboard> clipboards = all();
        for (int count = random.bounded(250); count > 0; --count) {
            const auto &clipboard = clipboards[random.bounded(int(clipboards.size()))];
            clipboard->insertClipmuleDataAtIndex(random.clip(), 0);
        }
        QList<QStringList> before;
        for (const auto &clipboard : std::as_const(clipboards)) {
            before.append(contentsOf(*clipboard));
            QVERIFY(archivedSize(clipboard->items()) >=
                    KeyedArchiver::archivedData(clipboard->items()).size());
        }
        for (const auto &clipboard : std::as_const(clipboards))
            clipboard->setDirty(true);
        _fixture->runLoop.advance(5);
        for (const auto &clipboard : std::as_const(clipboards))
            QVERIFY(!clipboard->isDirty());
        _fixture->restart();
        clipboards = all();
        QCOMPARE(clipboards.size(), before.size());
        for (qsizetype index = 0; index < before.size(); ++index)
            QVERIFY(contentsOf(*clipboards[index]) == before[index]);
        QVERIFY(_fixture->store->unreadablePaths().isEmpty());
    }

    // What was refused at the next start: small files that stand for long lists.
    void oneLongTextInEveryClip() {
        for (int number = 0; number < 200; ++number)
            main()->insertClipmuleDataAtIndex(textClip(QString(50'000, u'x')), 0);
        restart();
        QCOMPARE(main()->items().size(), 200);
        QVERIFY(texts(*main()) == QStringList(200, QString(50'000, u'x')));
    }

    void manyEqualRepresentations() {
        NativeDictionary native;
        for (int number = 0; number < 40; ++number)
            native.insert(QString::number(number), QByteArray(3'000'000, 'x'));
        main()->insertClipmuleDataAtIndex(
            ZRKClipmuleData::initWithItems({ZRKClipmuleDataItem::initWithNativeDictionary(native)}),
            0);
        restart();
        QVERIFY(main()->items().first()->firstItem()->nativeDictionary() == native);
    }

    void oneClipInManyPlaces() {
        const auto clip = ZRKClipmuleData::initWithStrings(QStringList(1000, QStringLiteral("x")));
        insertCustom({QStringLiteral("a")});
        for (int number = 0; number < 300; ++number)
            all()[1]->insertClipmuleDataAtIndex(clip, 0);
        restart();
        QCOMPARE(all()[1]->items().size(), 300);
        QCOMPARE(all()[1]->items().last()->itemCount(), 1000);
    }

    void tooLargeAListIsNotWritten_data() {
        QTest::addColumn<int>("excess");
        QTest::newRow("one below") << -1;
        QTest::newRow("at the limit") << 0;
        QTest::newRow("one above") << 1;
    }
    void tooLargeAListIsNotWritten() {
        QFETCH(int, excess);
        const auto clip = textClip(QString(5'000, u'x'));
        main()->insertClipmuleDataAtIndex(clip, 0);
        const qint64 size = KeyedArchiver::archivedData(main()->items()).size();
        const Clipboard before = _fixture->store->mainClipboard();
        _fixture->restart(size - excess);
        QStringList told;
        _fixture->store->onSavingDidChange = [&](const QString &failure) { told.append(failure); };
        const auto older = textClip(QStringLiteral("older"));
        main()->insertClipmuleDataAtIndex(older, 0);
        _fixture->runLoop.advance(5);
        QVERIFY(told.isEmpty());
        main()->removeClipmuleData(older);
        main()->insertClipmuleDataAtIndex(clip, 0);
        // Told once, however often it is tried.
        _fixture->runLoop.advance(15);
        QCOMPARE(told.size(), excess > 0 ? 1 : 0);
        QCOMPARE(main()->isDirty(), excess > 0);
        if (excess > 0)
            QVERIFY(told[0].contains(QStringLiteral("is larger than")));
        const auto saved = ClipboardStore::make(_fixture->path(), size - excess);
        QCOMPARE(texts(*saved->mainClipboard()), excess > 0 ? QStringList{QStringLiteral("older")}
                                                            : QStringList{QString(5'000, u'x')});
    }

private:
    static Clipboard main() { return ZRKClipmuleClipboard::mainClipboard(); }
    static QList<Clipboard> all() {
        return QList<Clipboard>{main()} + ZRKClipmuleClipboard::customClipboards();
    }
    void restart() {
        _fixture->runLoop.advance(5);
        _fixture->restart();
    }
    std::unique_ptr<StoreFixture> _fixture;
};

QTEST_GUILESS_MAIN(StorePropertyTest)
#include "tst_storeproperty.moc"
