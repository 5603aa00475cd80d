// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/archive/KeyedArchiver.h"
#include "tests/archive/KeyedArchives.h"
#include "tests/kit/Results.h"
#include "tests/kit/TestCase.h"

#include <QTest>

using namespace clipmule;
using namespace clipmule::kit;

namespace {

/// An object that holds a thousand texts.
ArchiveValue thousandTexts() {
    return probe([](Encoder &coder) {
        coder.encodeObject(ArchiveValue::List(1000, QStringLiteral("x")), QStringLiteral("texts"));
    });
}

/// How many texts each of such objects in an archive held, as they were decoded.
QList<qsizetype> textsIn(const QByteArray &archive) {
    QList<qsizetype> counts;
    decodeProbe(archive, [&](Decoder &coder) {
        const ArchiveValue texts = coder.decodeObject(QStringLiteral("texts"));
        counts.append(texts.as<ArchiveValue::List>()->size());
    });
    return counts;
}

} // namespace

/// What archives store once although many refer to it: all that is written can be read.
class KeyedArchiveSharingTest final : public kit::TestCase {
    Q_OBJECT

private Q_SLOTS:
    void objectsCountForTheExpansionOfWhatHoldsThem() {
        // An object that holds a thousand texts, held many times by a list: a walk over all of
        // them is far longer than the archive.
        const auto read = [](qsizetype times) {
            const QByteArray bytes = PropertyListSerialization::binary(
                KeyedArchiver::archivedPropertyList(ArchiveValue::List(times, thousandTexts())));
            return reasonOf([&] { (void)textsIn(bytes); });
        };
        QCOMPARE(read(10), QString());
        QVERIFY(read(3000).contains(u"expand"));
    }

    void longLeavesAreShared() {
        // A history in which one text stands in every clip, and one representation in every item.
        QList<std::shared_ptr<ArchivedItem>> items;
        for (int number = 0; number < 200; ++number) {
            items.append(std::make_shared<ArchivedItem>());
            items.last()->string = QString(300'000, u'x');
        }
        const ArchiveValue texts = items;
        const ArchiveValue data = ArchiveValue::List(50, ArchiveValue(QByteArray(3'000'000, 'x')));
        for (const ArchiveValue &value : {texts, data}) {
            const QByteArray bytes = KeyedArchiver::archivedData(value);
            QVERIFY(bytes.size() < 4'000'000);
            const auto back =
                kit::valueOf(KeyedUnarchiver::unarchivedObject(bytes, archivedClasses()));
            QCOMPARE(back.as<ArchiveValue::List>()->size(), value.as<ArchiveValue::List>()->size());
        }
    }

    // Otherwise it would write what it does not read.
    void objectsAreWrittenOutWhereSharingThemWouldBeRefused() {
        const auto few =
            textsIn(KeyedArchiver::archivedData(ArchiveValue::List(10, thousandTexts())));
        QCOMPARE(few.size(), 1);
        const auto many =
            textsIn(KeyedArchiver::archivedData(ArchiveValue::List(3000, thousandTexts())));
        QCOMPARE(many, QList<qsizetype>(3000, 1000));
    }

    void whatRefersToItselfIsSharedAlways() {
        // An object that holds itself, beside more than may be shared.
        auto self = std::make_shared<Probe>();
        self->encode = [&](Encoder &coder) {
            coder.encodeObject(self, QStringLiteral("self"));
            coder.encodeObject(ArchiveValue::List(3000, thousandTexts()), QStringLiteral("texts"));
        };
        const QByteArray bytes = KeyedArchiver::archivedData(self);
        self->encode = nullptr;
        bool isItself = false;
        decodeProbe(bytes, [&](Decoder &coder) {
            // The objects among the texts are of this class, too, and hold no such key.
            if (!coder.containsValueForKey(QStringLiteral("self")))
                return;
            const auto held = coder.decodeObjectOfClass<Probe>(QStringLiteral("self"));
            isItself = coder.decodeObjectOfClass<Probe>(QStringLiteral("self")) == held;
            (void)coder.decodeObject(QStringLiteral("texts"));
        });
        QVERIFY(isItself);
    }

    void whatIsSharedBeyondMeasureIsNotWritten() {
        // Each holds the next one twice: 2^40 objects.
        std::shared_ptr<Coding> object = std::make_shared<ArchivedItem>();
        for (int level = 0; level < 40; ++level) {
            auto holder = std::make_shared<Probe>();
            holder->encode = [held = object](Encoder &coder) {
                coder.encodeObject(held, QStringLiteral("a"));
                coder.encodeObject(held, QStringLiteral("b"));
            };
            object = holder;
        }
        QCOMPARE(reasonOf([&] { (void)KeyedArchiver::archivedData(object); }),
                 QStringLiteral("InvalidArgument"));
    }
};

QTEST_GUILESS_MAIN(KeyedArchiveSharingTest)
#include "tst_keyed_archive_sharing.moc"
