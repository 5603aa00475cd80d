// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "net/ServiceDictionary.h"
#include "platform/dnssd/NetService.h"
#include "tests/kit/FakeDnsSd.h"
#include "tests/kit/ManualRunLoop.h"
#include "tests/kit/Settle.h"
#include "tests/kit/TestCase.h"
#include "tests/kit/Vectors.h"

#include <QTest>

using namespace clipmule;
using namespace clipmule::kit;
using namespace clipmule::ZRKNetServiceCategory;

namespace {

PropertyList text(const char *string) {
    return PropertyList(QString::fromUtf8(string));
}

// An entry with its length byte.
QByteArray entry(const QByteArray &bytes) {
    return char(bytes.size()) + bytes;
}

ServiceDictionary twoHundredValues() {
    ServiceDictionary dictionary;
    for (int i = 0; i < 200; ++i)
        dictionary.insert(QStringLiteral("k%1").arg(i, 3, 10, QLatin1Char('0')),
                          QString::number(i));
    return dictionary;
}

} // namespace

Q_DECLARE_METATYPE(ServiceDictionary)

class ServiceDictionaryTest final : public kit::TestCase {
    Q_OBJECT

private Q_SLOTS:
    void everyVectorHasARow() {
        QStringList rows;
        for (const auto &[name, dictionary] : vectors())
            rows += name;
        rows.sort();
        QCOMPARE(rows, kit::vectorsIn(QStringLiteral("txt")));
    }

    void readsTheVectors_data() {
        QTest::addColumn<QString>("name");
        QTest::addColumn<ServiceDictionary>("expected");
        for (const auto &[name, dictionary] : vectors())
            QTest::newRow(qPrintable(name)) << name << dictionary;
    }
    void readsTheVectors() {
        QFETCH(QString, name);
        QFETCH(ServiceDictionary, expected);
        const auto read = serviceDictionaryFromTXTData(kit::vectorBytes(name));
        QVERIFY(read);
        QCOMPARE(*read, expected);
    }

    void noRecordIsNoDictionary() { QVERIFY(!serviceDictionaryFromTXTData(std::nullopt)); }
    void noBytesAreNoDictionary() { QVERIFY(!serviceDictionaryFromTXTData(QByteArray())); }

    void theLongestRecordIsRead_data() {
        QTest::addColumn<qsizetype>("size");
        QTest::addColumn<bool>("readable");
        QTest::newRow("one below") << qsizetype(65534) << true;
        QTest::newRow("at the limit") << qsizetype(65535) << true;
        QTest::newRow("one above") << qsizetype(65536) << false;
    }
    void theLongestRecordIsRead() {
        QFETCH(qsizetype, size);
        QFETCH(bool, readable);
        // Empty entries, which are passed over, and one that says something.
        const QByteArray record = entry(QByteArrayLiteral("a=1")) + QByteArray(size - 4, '\0');
        const auto read = serviceDictionaryFromTXTData(record);
        QCOMPARE(bool(read), readable);
        if (readable)
            QCOMPARE(*read, (ServiceDictionary{{QStringLiteral("a"), text("1")}}));
    }

    void anEntryThatOverrunsEmptiesTheDictionary_data() {
        QTest::addColumn<QByteArray>("record");
        QTest::newRow("a length alone") << QByteArrayLiteral("\x01");
        QTest::newRow("one byte too few") << entry("a=1") + QByteArrayLiteral("\x04z=1");
        QTest::newRow("255 of nothing") << entry("a=1") + QByteArrayLiteral("\xff");
    }
    void anEntryThatOverrunsEmptiesTheDictionary() {
        QFETCH(QByteArray, record);
        const auto read = serviceDictionaryFromTXTData(record);
        QVERIFY(read);
        QVERIFY(read->isEmpty());
    }

    void onlyPrintableAsciiKeysAreRead() {
        const auto read =
            serviceDictionaryFromTXTData(entry("a\x1f=1") + entry("b\x7f=1") + entry("\xc3\xa4=1") +
                                         entry("~=1") + entry(" =2"));
        QCOMPARE(*read, (ServiceDictionary{{QStringLiteral("~"), text("1")},
                                           {QStringLiteral(" "), text("2")}}));
    }

    void valuesAreTextWhereTheyCanBe() {
        const auto read = serviceDictionaryFromTXTData(
            entry(QByteArray("zero=a\0b", 8)) + entry("mark=\xef\xbb\xbfx") +
            entry("emoji=\xf0\x9f\x93\x8b") + entry("half=\xf0\x9f\x93"));
        QCOMPARE(*read,
                 (ServiceDictionary{
                     {QStringLiteral("zero"), PropertyList(QStringLiteral("a") + QChar(0) + u'b')},
                     {QStringLiteral("mark"), PropertyList(QStringLiteral("\ufeffx"))},
                     {QStringLiteral("emoji"), text("\xf0\x9f\x93\x8b")},
                     {QStringLiteral("half"), PropertyList(QByteArray("\xf0\x9f\x93"))}}));
    }

    void writesInOrderOfTheKeys() {
        const auto record = txtDataFromServiceDictionary(
            {{QStringLiteral("b"), text("\xc3\xa4")},
             {QStringLiteral("a"), PropertyList(QByteArray("\x00\xff", 2))},
             {QStringLiteral("c"), text("")}});
        QCOMPARE(*record, entry(QByteArray("a=\x00\xff", 4)) + entry("b=\xc3\xa4") + entry("c="));
    }

    void anEmptyDictionaryIsOneZeroByte() {
        QCOMPARE(*txtDataFromServiceDictionary({}), QByteArray(1, '\0'));
    }

    void ofEqualKeysTheLaterOneReplacesTheEarlier() {
        // "A" sorts before "a".
        const auto record = txtDataFromServiceDictionary(
            {{QStringLiteral("A"), text("1")}, {QStringLiteral("a"), text("2")}});
        QCOMPARE(*record, entry("a=2"));
    }

    void oneBadEntryFailsTheWhole_data() {
        QTest::addColumn<QString>("key");
        QTest::addColumn<QByteArray>("value");
        QTest::addColumn<bool>("writable");
        QTest::newRow("empty key") << QString() << QByteArray("x") << false;
        QTest::newRow("key that is not ASCII") << QString(QChar(0xe4)) << QByteArray("x") << false;
        QTest::newRow("key with a line break") << QStringLiteral("a\n") << QByteArray("x") << false;
        QTest::newRow("key with an equals sign")
            << QStringLiteral("a=") << QByteArray("x") << false;
        QTest::newRow("254 bytes") << QStringLiteral("k") << QByteArray(252, 'v') << true;
        QTest::newRow("255 bytes") << QStringLiteral("k") << QByteArray(253, 'v') << true;
        QTest::newRow("256 bytes") << QStringLiteral("k") << QByteArray(254, 'v') << false;
    }
    void oneBadEntryFailsTheWhole() {
        QFETCH(QString, key);
        QFETCH(QByteArray, value);
        QFETCH(bool, writable);
        const auto record = txtDataFromServiceDictionary(
            {{QStringLiteral("good"), text("1")}, {key, PropertyList(value)}});
        QCOMPARE(bool(record), writable);
    }

    void aValueOfAnotherKindFails() {
        QVERIFY(!txtDataFromServiceDictionary({{QStringLiteral("a"), PropertyList(1)}}));
    }

    void aRecordThatNoLengthCanSayFails() {
        ServiceDictionary dictionary;
        const auto add = [&](int i) {
            dictionary.insert(QStringLiteral("%1").arg(i, 4, 10, QLatin1Char('0')),
                              PropertyList(QByteArray(250, 'v')));
        };
        for (int i = 0; i < 255; ++i) // 256 bytes each with the length byte
            add(i);
        QVERIFY(txtDataFromServiceDictionary(dictionary));
        add(255);
        QVERIFY(!txtDataFromServiceDictionary(dictionary));
    }

    void whatWasWrittenIsRead() {
        const ServiceDictionary dictionary{
            {QStringLiteral("name"), text("M\xc3\xb6"
                                          "bius = strip")},
            {QStringLiteral("raw"), PropertyList(QByteArray("\xff\xfe\x00", 3))},
            {QStringLiteral("empty"), text("")}};
        QCOMPARE(*serviceDictionaryFromTXTData(txtDataFromServiceDictionary(dictionary)),
                 dictionary);
    }

    void isTheRecordOfAService() {
        kit::ManualRunLoop runLoop;
        const RunLoop::Installation installation(runLoop);
        FakeDnsSd backend;
        const auto service = NetService::initWithDomainTypeNamePort(
            backend, QString(), QStringLiteral("_x._tcp"), QStringLiteral("Name"), 1);
        QVERIFY(!serviceDictionary(*service));
        const ServiceDictionary dictionary{{QStringLiteral("a"), text("1")}};
        setServiceDictionary(*service, dictionary);
        QCOMPARE(*serviceDictionary(*service), dictionary);
        QCOMPARE(*service->txtRecordData(), entry("a=1"));
    }

    void aDictionaryThatCannotBeWrittenChangesNothing() {
        kit::ManualRunLoop runLoop;
        const RunLoop::Installation installation(runLoop);
        FakeDnsSd backend;
        const auto service = NetService::initWithDomainTypeNamePort(
            backend, QString(), QStringLiteral("_x._tcp"), QStringLiteral("Name"), 1);
        setServiceDictionary(*service, {{QStringLiteral("a"), text("1")}});
        QTest::ignoreMessage(QtWarningMsg,
                             QRegularExpression(QStringLiteral("^ERROR ENCODING TXT RECORD .+")));
        setServiceDictionary(*service, {{QString(), text("1")}});
        QCOMPARE(*service->txtRecordData(), entry("a=1"));
    }

private:
    static QList<std::pair<QString, ServiceDictionary>> vectors() {
        const auto name = [](const char *file) {
            return QStringLiteral("txt/") + QString::fromLatin1(file);
        };
        return {
            {name("bad_only_length.bin"), {}},
            {name("duplicate_first_wins.bin"),
             {{QStringLiteral("a"), text("1")}, {QStringLiteral("b"), text("x")}}},
            {name("empty_one_zero.bin"), {}},
            {name("equals_in_value.bin"), {{QStringLiteral("k"), text("a=b=c")}}},
            {name("invalid_utf8_value.bin"),
             {{QStringLiteral("ok"), text("text")},
              {QStringLiteral("raw"), PropertyList(QByteArray("\xff\xfe\x00\x80", 4))}}},
            {name("max_255.bin"), {{QStringLiteral("k"), PropertyList(QString(253, u'v'))}}},
            {name("missing_key_ignored.bin"), {{QStringLiteral("a"), text("1")}}},
            {name("no_value_and_empty_value.bin"),
             {{QStringLiteral("flag"), text("")},
              {QStringLiteral("empty"), text("")},
              {QStringLiteral("x"), text("y")}}},
            {name("rfc_example.bin"),
             {{QStringLiteral("txtvers"), text("1")},
              {QStringLiteral("pdl"), text("application/pdf")},
              {QStringLiteral("note"), text("")},
              {QStringLiteral("x"), text("")}}},
            {name("simple.bin"),
             {{QStringLiteral("name"), text("My Phone")},
              {QStringLiteral("ver"), text("1")},
              {QStringLiteral("path"), text("/a=b")}}},
            {name("spaces_in_key.bin"), {{QStringLiteral(" k "), text(" v ")}}},
            {name("two_hundred_values.bin"), twoHundredValues()},
        };
    }
};

QTEST_GUILESS_MAIN(ServiceDictionaryTest)
#include "tst_servicedictionary.moc"
