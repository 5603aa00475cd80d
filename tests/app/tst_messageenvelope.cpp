// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "model/MessageEnvelope.h"
#include "platform/foundation/PlatformException.h"

#include <QTest>

using namespace clipmule;

class MessageEnvelopeTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init() { QTest::failOnWarning(QRegularExpression(QStringLiteral(".*"))); }

    void hasOneEntry() {
        const PropertyList envelope =
            MessageEnvelope::make(MessageEnvelope::Type::DeviceRecord, PropertyList(5));
        QCOMPARE(envelope, PropertyList(PropertyList::Dictionary{{QStringLiteral("4"), 5}}));
        QCOMPARE(MessageEnvelope::type(envelope), MessageEnvelope::Type::DeviceRecord);
        QCOMPARE(*MessageEnvelope::payload(envelope), PropertyList(5));
    }

    void readsTheTypeAsACInteger_data() {
        QTest::addColumn<QString>("key");
        QTest::addColumn<int>("type");
        QTest::newRow("digits") << u"1"_qs << 1;
        QTest::newRow("leading digits") << u"2nd"_qs << 2;
        QTest::newRow("white space and sign") << u" +4"_qs << 4;
        QTest::newRow("no digits") << u"one"_qs << 0;
        QTest::newRow("empty") << u""_qs << 0;
        QTest::newRow("negative") << u"-1"_qs << 0;
        QTest::newRow("largest") << u"2147483647"_qs << 2147483647;
        QTest::newRow("one above") << u"2147483648"_qs << 0;
    }
    void readsTheTypeAsACInteger() {
        QFETCH(QString, key);
        QFETCH(int, type);
        QCOMPARE(int(MessageEnvelope::type(PropertyList(PropertyList::Dictionary{{key, 0}}))),
                 type);
    }

    void ofSeveralEntriesTheLastCounts() {
        const PropertyList envelope(
            PropertyList::Dictionary{{u"1"_qs, u"a"_qs}, {u"4"_qs, u"b"_qs}});
        QCOMPARE(MessageEnvelope::type(envelope), MessageEnvelope::Type::DeviceRecord);
        QCOMPARE(*MessageEnvelope::payload(envelope), PropertyList(u"b"_qs));
    }

    void withoutEntriesThereIsNoPayload() {
        QCOMPARE(int(MessageEnvelope::type(PropertyList())), 0);
        QVERIFY(!MessageEnvelope::payload(PropertyList()));
    }

    void whatIsNoDictionaryRaises() {
        QVERIFY_EXCEPTION_THROWN((void)MessageEnvelope::type(PropertyList(5)), PlatformException);
        QVERIFY_EXCEPTION_THROWN((void)MessageEnvelope::payload(PropertyList(5)),
                                 PlatformException);
    }
};

QTEST_GUILESS_MAIN(MessageEnvelopeTest)
#include "tst_messageenvelope.moc"
