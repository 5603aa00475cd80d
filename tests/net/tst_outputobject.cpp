// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/foundation/PlatformException.h"
#include "platform/propertylist/PropertyListSerialization.h"
#include "tests/kit/TestCase.h"
#include "tests/net/Recorder.h"

#include <QTest>

#include <malloc.h>

using namespace clipmule;

Q_DECLARE_METATYPE(clipmule::PropertyList)

class OutputObjectTest final : public kit::TestCase {
    Q_OBJECT

private Q_SLOTS:
    void theFrameIsHeaderAndDocument_data() {
        QTest::addColumn<PropertyList>("value");
        QTest::newRow("short") << PropertyList(QStringLiteral("text"));
        // What is short of a piece, what ends about where it does, and what takes several.
        for (const qsizetype size : {100'000, 250'000, 255'000, 257'000, 520'000, 3'000'000}) {
            QTest::addRow("text, %lld units", size) << PropertyList(QString(size, u'x'));
            QTest::addRow("data, %lld bytes", size) << PropertyList(QByteArray(size, 'd'));
        }
        QTest::newRow("every unit escaped") << PropertyList(QString(300'000, u'&'));
        QTest::newRow("pairs") << PropertyList(QStringLiteral("x") +
                                               QStringLiteral("😀").repeated(300'000));
        QTest::newRow("a long key") << PropertyList(
            PropertyList::Dictionary{{QString(400'000, u'k'), QByteArray(400'000, 'v')}});
    }
    void theFrameIsHeaderAndDocument() {
        QFETCH(PropertyList, value);
        const QByteArray document = PropertyListSerialization::xml(value);
        const OutputFrame frame = OutputObject::fixed(value).frame();
        const QByteArray bytes = kit::bytesOf(frame);
        QCOMPARE(frame.size(), bytes.size());
        QCOMPARE(StreamFrame::readWord(bytes.constData()), 0x5A524B00u);
        QCOMPARE(StreamFrame::readWord(bytes.constData() + 4), quint32(document.size()));
        QVERIFY(bytes.sliced(8) == document);
    }

    void aPieceIsNoLargerThanItMayBe() {
        OutputFrame frame = OutputObject::fixed(PropertyList(QByteArray(3'000'000, 'd'))).frame();
        int pieces = 0;
        for (; !frame.isAtEnd(); ++pieces) {
            const qsizetype size = frame.rest().size();
            QVERIFY(size > 0 && size <= OutputFrame::pieceSize);
            frame.advance(size);
        }
        QVERIFY(pieces >= 16 && pieces < 18);
    }

    void aFixedFrameIsMadeOnce() {
        const OutputObject object = OutputObject::fixed(PropertyList(QStringLiteral("text")));
        const QList<OutputObject> copies{object};
        const OutputObject &copy = copies.constFirst();
        QVERIFY(copy.isSameAs(object));
        // Though nobody has kept the first one.
        const char *const first = object.frame().rest().data();
        QVERIFY(copy.frame().rest().data() == first);
    }

    void thePiecesOfALongFrameAreShared() {
        const OutputObject object = OutputObject::fixed(PropertyList(QByteArray(900'000, 'd')));
        OutputFrame first = object.frame();
        OutputFrame second = object.frame();
        while (!first.isAtEnd()) {
            QVERIFY(second.rest().data() == first.rest().data());
            QCOMPARE(second.rest().size(), first.rest().size());
            first.advance(first.rest().size());
            second.advance(second.rest().size());
        }
        QVERIFY(second.isAtEnd());
    }

    void oneThatIsBehindFindsWhatTheOthersLeft() {
        const PropertyList value(QByteArray(900'000, 'd'));
        const OutputObject object = OutputObject::fixed(value);
        const OutputFrame behind = object.frame();
        QCOMPARE(kit::bytesOf(object.frame()), kit::objectFrame(value));
        QCOMPARE(kit::bytesOf(behind), kit::objectFrame(value));
    }

    // Counted by the allocator's large blocks, in which the pieces are.
    void whatEverybodyHasLeftIsLetGoOf() {
        ::mallopt(M_MMAP_THRESHOLD, 128 << 10);
        const OutputObject object = OutputObject::fixed(PropertyList(QByteArray(9'000'000, 'd')));
        OutputFrame first = object.frame();
        OutputFrame second = object.frame();
        const size_t before = mallinfo2().hblkhd;
        size_t most = 0;
        while (!first.isAtEnd()) {
            first.advance(first.rest().size());
            second.advance(second.rest().size());
            most = std::max(most, mallinfo2().hblkhd);
        }
        QVERIFY2(most <= before + 3 * size_t(OutputFrame::pieceSize),
                 qPrintable(QString::number(most - before)));
    }

    void aLiveValueIsReadEachTime() {
        int reads = 0;
        const OutputObject object = OutputObject::live([&] { return PropertyList(++reads); });
        QCOMPARE(object.value(), PropertyList(1));
        QCOMPARE(kit::bytesOf(object.frame()), kit::objectFrame(PropertyList(2)));
        QCOMPARE(kit::bytesOf(object.frame()), kit::objectFrame(PropertyList(3)));
    }

    // What was read stays as it is while it is on the way.
    void aFrameIsOfTheValueAtItsBeginning() {
        PropertyList::Dictionary value{{QStringLiteral("a"), QByteArray(400'000, 'x')},
                                       {QStringLiteral("b"), QByteArray(400'000, 'y')}};
        const PropertyList then(value);
        const OutputObject object = OutputObject::live([&] { return PropertyList(value); });
        OutputFrame frame = object.frame();
        QByteArray bytes = frame.rest().toByteArray();
        frame.advance(bytes.size());
        value[QStringLiteral("b")] = QByteArray("z");
        value.remove(QStringLiteral("a"));
        QVERIFY(bytes + kit::bytesOf(frame) == kit::objectFrame(then));
    }

    void equalityIsByValueAsItStandsNow() {
        QString current = QStringLiteral("a");
        const OutputObject live = OutputObject::live([&] { return PropertyList(current); });
        const OutputObject a = OutputObject::fixed(PropertyList(QStringLiteral("a")));
        const OutputObject otherA = OutputObject::fixed(PropertyList(QStringLiteral("a")));
        const OutputObject b = OutputObject::fixed(PropertyList(QStringLiteral("b")));
        QVERIFY(a == otherA && !a.isSameAs(otherA));
        QVERIFY(!(a == b));
        QVERIFY(live == a);
        current = QStringLiteral("b");
        QVERIFY(live == b && !(live == a));
        QVERIFY(live == live);
    }

    void aRelayIsAFixedOneThatSaysSo() {
        const OutputObject relay = OutputObject::relay(PropertyList(QStringLiteral("a")));
        QVERIFY(relay.isRelay());
        QVERIFY(!OutputObject::fixed(PropertyList(QStringLiteral("a"))).isRelay());
        QVERIFY(relay == OutputObject::fixed(PropertyList(QStringLiteral("a"))));
    }

    void theWeightIsAboutTheMemory() {
        const auto weight = [](const PropertyList &value) {
            return OutputObject::fixed(value).weight();
        };
        QCOMPARE(weight(PropertyList(1)), 64);
        QCOMPARE(weight(PropertyList(QStringLiteral("abc"))), 64 + 6);
        QCOMPARE(weight(PropertyList(QByteArray("abc"))), 64 + 3);
        QCOMPARE(weight(PropertyList(PropertyList::List{PropertyList(1), PropertyList(2)})),
                 3 * 64);
        QCOMPARE(weight(PropertyList(PropertyList::Dictionary{{QStringLiteral("key"), 1}})),
                 3 * 64 + 6);
        QCOMPARE(OutputObject::live([] { return PropertyList(QString(1000, u'x')); }).weight(), 64);
    }

    void whatStandsForAnother() {
        const auto fixed = [](const char *text) {
            return OutputObject::fixed(PropertyList(QString::fromUtf8(text)));
        };
        const auto live = [](const char *text) {
            return OutputObject::live([text] { return PropertyList(QString::fromUtf8(text)); });
        };
        QVERIFY(fixed("a").standsFor(fixed("a")));
        QVERIFY(!fixed("a").standsFor(fixed("b")));
        QVERIFY(live("a").standsFor(live("a")));
        QVERIFY(!live("a").standsFor(live("b")));
        QVERIFY(!live("a").standsFor(fixed("a")));
        QVERIFY(!fixed("a").standsFor(live("a")));
        // One that is not even equal to itself, by value.
        int reads = 0;
        const OutputObject counter = OutputObject::live([&] { return PropertyList(++reads); });
        QVERIFY(counter.standsFor(counter));
        QVERIFY(counter == counter);
    }

    void aValueThatIsTooDeepRaises() {
        PropertyList value;
        for (int level = 0; level <= PropertyListSerialization::maximumDepth; ++level)
            value = PropertyList(PropertyList::List{value});
        const OutputObject object = OutputObject::fixed(value);
        QVERIFY_EXCEPTION_THROWN((void)object.frame(), PlatformException);
        QVERIFY_EXCEPTION_THROWN((void)object.frame(), PlatformException);
        // Found before the first byte of it goes out, though it stands behind many.
        const OutputObject behind =
            OutputObject::fixed(PropertyList(PropertyList::List{QByteArray(900'000, 'd'), value}));
        QVERIFY_EXCEPTION_THROWN((void)behind.frame(), PlatformException);
    }
};

QTEST_GUILESS_MAIN(OutputObjectTest)
#include "tst_outputobject.moc"
