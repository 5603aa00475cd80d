// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "Common/Categories/ZRKNSCollectionCategories.h"
#include "tests/kit/TestCase.h"

#include <QTest>

#include <limits>

using namespace clipmule;

namespace {

struct Hashed {
    size_t value;
    [[nodiscard]] size_t hash() const { return value; }
};

} // namespace

class CollectionCategoriesTest final : public kit::TestCase {
    Q_OBJECT

private Q_SLOTS:
    void emptyCollectionsHashToZero() {
        QCOMPARE(ZRKNSArrayCategory::deepHash(PropertyList::List()), size_t(0));
        QCOMPARE(ZRKNSDictionaryCategory::deepHash({}), size_t(0));
    }

    void hashOfAListIsTheSumOfItsElements() {
        const PropertyList a(QStringLiteral("a"));
        const PropertyList b(7);
        QCOMPARE(ZRKNSArrayCategory::deepHash({a, b}), a.hash() + b.hash());
        QVERIFY(ZRKNSArrayCategory::deepHash({a, b}) != ZRKNSArrayCategory::deepHash({a, a}));
    }

    void hashOfAListIgnoresTheOrder() {
        const PropertyList a(QStringLiteral("a"));
        const PropertyList b(QStringLiteral("b"));
        QCOMPARE(ZRKNSArrayCategory::deepHash({a, b}), ZRKNSArrayCategory::deepHash({b, a}));
    }

    void hashOfADictionarySumsKeysAndValues() {
        const QString key = QStringLiteral("key");
        const QString other = QStringLiteral("other");
        const PropertyList value(1);
        QCOMPARE(ZRKNSDictionaryCategory::deepHash({{key, value}}),
                 PropertyList(key).hash() + value.hash());
        // A sum over entries: which key has which value, and in what order, makes no difference.
        QCOMPARE(
            ZRKNSDictionaryCategory::deepHash({{key, PropertyList(1)}, {other, PropertyList(2)}}),
            ZRKNSDictionaryCategory::deepHash({{other, PropertyList(1)}, {key, PropertyList(2)}}));
    }

    void nestedCollectionsContributeTheirDeepHash() {
        const PropertyList a(QStringLiteral("a"));
        const PropertyList b(QStringLiteral("b"));
        const PropertyList::List nested{a, b};
        const PropertyList::Dictionary dictionary{{QStringLiteral("key"), PropertyList(nested)}};
        QCOMPARE(ZRKNSArrayCategory::deepHash({PropertyList(nested)}), a.hash() + b.hash());
        QCOMPARE(ZRKNSArrayCategory::deepHash({PropertyList(dictionary)}),
                 ZRKNSDictionaryCategory::deepHash(dictionary));
        QCOMPARE(ZRKNSDictionaryCategory::deepHash(dictionary),
                 PropertyList(QStringLiteral("key")).hash() + a.hash() + b.hash());
    }

    void hashOfObjectsIsTheSumOfTheirHashes() {
        const QList<std::shared_ptr<Hashed>> objects{std::make_shared<Hashed>(Hashed{3}),
                                                     std::make_shared<Hashed>(Hashed{4})};
        QCOMPARE(ZRKNSArrayCategory::deepHash(objects), size_t(7));
    }

    void hashWraps() {
        const QList<std::shared_ptr<Hashed>> objects{
            std::make_shared<Hashed>(Hashed{std::numeric_limits<size_t>::max()}),
            std::make_shared<Hashed>(Hashed{5})};
        QCOMPARE(ZRKNSArrayCategory::deepHash(objects), size_t(4));
    }

    void reversedArray() {
        QCOMPARE(ZRKNSArrayCategory::reversedArray(QList<int>{1, 2, 3}), (QList<int>{3, 2, 1}));
        QCOMPARE(ZRKNSArrayCategory::reversedArray(QList<int>()), QList<int>());
    }

    void reverseArray() {
        QList<QString> list{QStringLiteral("a"), QStringLiteral("b")};
        const QList<QString> untouched = list;
        ZRKNSArrayCategory::reverseArray(list);
        QCOMPARE(list, (QList<QString>{QStringLiteral("b"), QStringLiteral("a")}));
        QCOMPARE(untouched.first(), QStringLiteral("a"));
    }

    void firstObject() {
        QCOMPARE(ZRKNSArrayCategory::firstObject(QList<int>{4, 5}), std::optional<int>(4));
        QCOMPARE(ZRKNSArrayCategory::firstObject(QList<int>()), std::optional<int>());
    }
};

QTEST_GUILESS_MAIN(CollectionCategoriesTest)
#include "tst_collectioncategories.moc"
