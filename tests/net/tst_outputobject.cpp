// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "net/OutputObject.h"
#include "net/StreamFrame.h"
#include "platform/foundation/PlatformException.h"
#include "platform/foundation/PropertyListSerialization.h"

#include <QTest>

using namespace clipmule;

class OutputObjectTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init() { QTest::failOnWarning(QRegularExpression(QStringLiteral(".*"))); }

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
        const OutputObject copy = object;
        QVERIFY(copy.isSameAs(object));
        QCOMPARE(copy.frame().constData(), object.frame().constData());
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
