// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "net/OutputObject.h"
#include "platform/foundation/PlatformException.h"
#include "platform/propertylist/PropertyListSerialization.h"
#include "tests/kit/TestCase.h"

#include <QTest>

using namespace clipmule;

class OutputObjectTest final : public kit::TestCase {
    Q_OBJECT

private Q_SLOTS:
    void theFrameIsHeaderAndDocument() {
        const PropertyList value(QStringLiteral("text"));
        const QByteArray document = PropertyListSerialization::xml(value);
        const QByteArray frame = OutputObject::fixed(value).frame();
        QCOMPARE(StreamFrame::readWord(frame.constData()), 0x5A524B00u);
        QCOMPARE(StreamFrame::readWord(frame.constData() + 4), quint32(document.size()));
        QCOMPARE(frame.sliced(8), document);
    }

    void aFixedFrameIsMadeOnce() {
        const OutputObject object = OutputObject::fixed(PropertyList(QStringLiteral("text")));
        const QList<OutputObject> copies{object};
        const OutputObject &copy = copies.constFirst();
        QVERIFY(copy.isSameAs(object));
        // QCOMPARE would compare what is at the two addresses.
        const QByteArray first = object.frame();
        QVERIFY(copy.frame().constData() == first.constData());
    }

    void aLiveValueIsReadEachTime() {
        int reads = 0;
        const OutputObject object = OutputObject::live([&] { return PropertyList(++reads); });
        QCOMPARE(object.value(), PropertyList(1));
        QCOMPARE(object.frame().sliced(8), PropertyListSerialization::xml(PropertyList(2)));
        QCOMPARE(object.frame().sliced(8), PropertyListSerialization::xml(PropertyList(3)));
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
    }
};

QTEST_GUILESS_MAIN(OutputObjectTest)
#include "tst_outputobject.moc"
