// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "net/OutputObject.h"
#include "platform/foundation/PlatformException.h"
#include "tests/kit/TestCase.h"

#include <QTest>

using namespace clipmule;
using namespace Qt::StringLiterals;

class MessageEnvelopeTest final : public kit::TestCase {
    Q_OBJECT

private Q_SLOTS:
    void hasOneEntry() {
        const PropertyList envelope =
            MessageEnvelope::make(MessageEnvelope::Type::DeviceRecord, PropertyList(5));
        QCOMPARE(envelope, PropertyList(PropertyList::Dictionary{{QStringLiteral("4"), 5}}));
        QVERIFY(MessageEnvelope::type(envelope) == MessageEnvelope::Type::DeviceRecord);
        QCOMPARE(*MessageEnvelope::payload(envelope), PropertyList(5));
    }

    void readsTheTypeAsACInteger_data() {
        using Type = MessageEnvelope::Type;
        QTest::addColumn<QString>("key");
        QTest::addColumn<std::optional<Type>>("type");
        const auto row = [](const char *name, const QString &key, std::optional<Type> type) {
            QTest::newRow(name) << key << type;
        };
        row("clip", u"1"_s, Type::Clip);
        row("leading digits", u"2nd"_s, Type::ClipForDevices);
        row("devices", u"3"_s, Type::ConnectedDevices);
        row("white space and sign", u" +4"_s, Type::DeviceRecord);
        row("no digits", u"one"_s, std::nullopt);
        row("empty", u""_s, std::nullopt);
        row("below the first", u"0"_s, std::nullopt);
        row("above the last", u"5"_s, std::nullopt);
        row("negative", u"-1"_s, std::nullopt);
        row("one and 32 bits", u"4294967297"_s, std::nullopt);
    }
    void readsTheTypeAsACInteger() {
        QFETCH(QString, key);
        QFETCH(std::optional<MessageEnvelope::Type>, type);
        QVERIFY(MessageEnvelope::type(PropertyList(PropertyList::Dictionary{{key, 0}})) == type);
    }

    void ofSeveralEntriesTheLastCounts() {
        const PropertyList envelope(PropertyList::Dictionary{{u"1"_s, u"a"_s}, {u"4"_s, u"b"_s}});
        QVERIFY(MessageEnvelope::type(envelope) == MessageEnvelope::Type::DeviceRecord);
        QCOMPARE(*MessageEnvelope::payload(envelope), PropertyList(u"b"_s));
    }

    void withoutEntriesThereIsNoPayload() {
        QVERIFY(!MessageEnvelope::type(PropertyList()));
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
