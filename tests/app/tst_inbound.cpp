// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/foundation/Memory.h"
#include "tests/app/AgentFixture.h"
#include "tests/kit/TestCase.h"

#include <QBuffer>
#include <QDir>
#include <QImage>
#include <QTest>

using namespace clipmule;
using namespace clipmule::kit;

namespace {

int trims = 0;

} // namespace

// The allocator's function as the program sees it.
extern "C" int malloc_trim(size_t) noexcept {
    ++trims;
    return 1;
}

namespace {

PropertyList clip(const PropertyList::List &items) {
    return PropertyList(PropertyList::Dictionary{
        {u"oid"_qs, u"C-1"_qs}, {u"creationDate"_qs, Date{400000000}}, {u"items"_qs, items}});
}

PropertyList textClip(const QString &text) {
    return clip({PropertyList(PropertyList::Dictionary{
        {u"oid"_qs, u"I-1"_qs}, {u"createdBy"_qs, 1}, {u"string"_qs, text}})});
}

PropertyList imageClip(const QByteArray &image) {
    return clip({PropertyList(PropertyList::Dictionary{
        {u"oid"_qs, u"I-1"_qs}, {u"createdBy"_qs, 1}, {u"imageData"_qs, image}})});
}

PropertyList record(const QString &name) {
    return PropertyList(PropertyList::Dictionary{{u"name"_qs, name}, {u"model"_qs, u"P1"_qs}});
}

// The messages among what a phone received that are of one type.
QList<PropertyList> payloads(const QList<PropertyList> &objects, const QString &type) {
    QList<PropertyList> found;
    for (const PropertyList &object : objects) {
        if (const PropertyList *payload = object.find(type))
            found.append(*payload);
    }
    return found;
}

} // namespace

class InboundTest final : public kit::TestCase {
    Q_OBJECT

    void begin() override { _agent = std::make_unique<AgentFixture>(); }

    void end() override { _agent.reset(); }

private Q_SLOTS:
    // A clip for this computer

    void writesAClipAndPastesIt() {
        const auto phone = _agent->connectedPhone(u"Anna"_qs);
        phone->send(u"1"_qs, textClip(u"Hello"_qs));
        _agent->settle();
        QCOMPARE(_agent->pasteboard.text(), u"Hello"_qs);
        QCOMPARE(_agent->pasteboard.writeCount(), 1);
        QCOMPARE(_agent->keyboard.pasteCount(), 1);
    }

    void theUserMayPasteByHand_data() {
        QTest::addColumn<QString>("all");
        QTest::addColumn<QString>("own");
        QTest::addColumn<bool>("pastes");
        QTest::newRow("by itself") << QString() << QString() << true;
        QTest::newRow("all: paste") << u"paste"_qs << QString() << true;
        QTest::newRow("all: clipboard") << u"clipboard"_qs << QString() << false;
        QTest::newRow("this one: clipboard") << QString() << u"clipboard"_qs << false;
        QTest::newRow("this one: clipboard, all: paste") << u"paste"_qs << u"clipboard"_qs << false;
        QTest::newRow("this one: paste, all: clipboard") << u"clipboard"_qs << u"paste"_qs << true;
    }
    void theUserMayPasteByHand() {
        QFETCH(QString, all);
        QFETCH(QString, own);
        QFETCH(bool, pastes);
        const auto phone = _agent->connectedPhone(u"Anna"_qs);
        PropertyList::Dictionary entry{{u"serverService"_qs, u"Anna"_qs}};
        if (!own.isEmpty())
            entry.insert(u"pasteMode"_qs, own);
        // Whatever holds for another phone.
        const PropertyList::Dictionary other{
            {u"serverService"_qs, u"Ben"_qs},
            {u"pasteMode"_qs, pastes ? u"clipboard"_qs : u"paste"_qs}};
        _agent->shared->setObjectForKey(
            PropertyList(PropertyList::List{PropertyList(other), PropertyList(entry)}),
            u"serverServices"_qs);
        if (!all.isEmpty())
            _agent->shared->setObjectForKey(PropertyList(all), u"pasteMode"_qs);
        phone->send(u"1"_qs, textClip(u"Hello"_qs));
        _agent->settle();
        QCOMPARE(_agent->keyboard.pasteCount(), pastes ? 1 : 0);
        // On the clipboard, counted and not sent back in any case; and no refusal.
        QCOMPARE(_agent->pasteboard.text(), u"Hello"_qs);
        QCOMPARE(_agent->statistic(u"dataReceived"_qs), PropertyList(5));
        _agent->advance(1);
        QVERIFY(payloads(phone->received(), u"1"_qs).isEmpty());
        QVERIFY(_agent->app->refusals().isEmpty());
    }

    void aWrittenClipIsNotSentBack() {
        const auto phone = _agent->connectedPhone(u"Anna"_qs);
        phone->send(u"1"_qs, textClip(u"Hello"_qs));
        _agent->settle();
        const int reads = _agent->pasteboard.readCount();
        _agent->advance(2);
        QVERIFY(payloads(phone->received(), u"1"_qs).isEmpty());
        // It is not even looked at.
        QCOMPARE(_agent->pasteboard.readCount(), reads);
        // Nor is it when a clipboard manager takes it over.
        _agent->pasteboard.copyText(u"Hello"_qs);
        _agent->advance(0.5);
        QVERIFY(payloads(phone->received(), u"1"_qs).isEmpty());
    }

    // Another desk's, which phones only pass on.
    void aClipThatOnlyDesktopsReadIsNotSentBack() {
        const auto phone = _agent->connectedPhone(u"Anna"_qs);
        const PropertyList::Dictionary native{{u"public.html"_qs, QByteArray("<b>")}};
        phone->send(u"1"_qs, clip({PropertyList(PropertyList::Dictionary{
                                 {u"createdBy"_qs, 2}, {u"nativeDictionary"_qs, native}})}));
        _agent->settle();
        QCOMPARE(_agent->pasteboard.writeCount(), 1);
        const PasteboardContents contents{.html = "<b>"};
        QCOMPARE(_agent->pasteboard.clipboard(), contents);
        _agent->pasteboard.copyByAnotherApplication(contents);
        _agent->advance(0.5);
        QVERIFY(payloads(phone->received(), u"1"_qs).isEmpty());
    }

    // Read back it has other bytes, and so another hash.
    void aWrittenImageIsNotSentBack() {
        const auto phone = _agent->connectedPhone(u"Anna"_qs);
        QImage image(4, 4, QImage::Format_RGB32);
        image.fill(Qt::blue);
        QByteArray jpeg;
        QBuffer buffer(&jpeg);
        QVERIFY(image.save(&buffer, "JPG"));
        phone->send(u"1"_qs,
                    clip({PropertyList(PropertyList::Dictionary{{u"imageData"_qs, jpeg}})}));
        _agent->settle();
        QCOMPARE(_agent->pasteboard.writeCount(), 1);
        _agent->advance(2);
        QVERIFY(payloads(phone->received(), u"1"_qs).isEmpty());
    }

    // As the phone asks: its clipboard is empty, and so is the desk's.
    void aClipWithoutItemsEmptiesTheClipboard() {
        const auto phone = _agent->connectedPhone(u"Anna"_qs);
        _agent->pasteboard.copyText(u"before"_qs);
        phone->send(u"1"_qs, PropertyList(PropertyList::Dictionary()));
        _agent->settle();
        QVERIFY(_agent->pasteboard.contents().isEmpty());
        QCOMPARE(_agent->keyboard.pasteCount(), 1);
        QCOMPARE(_agent->statistic(u"textItems"_qs), PropertyList(1));
        QCOMPARE(_agent->statistic(u"dataReceived"_qs), PropertyList(0));
    }

    // The clip is there; what a broken file counts is no reason to call it refused.
    void aDamagedCounterStartsAgain_data() {
        QTest::addColumn<PropertyList>("stored");
        QTest::addColumn<int>("sum");
        QTest::newRow("list") << PropertyList(PropertyList::List()) << 5;
        QTest::newRow("dictionary") << PropertyList(PropertyList::Dictionary()) << 5;
        QTest::newRow("data") << PropertyList(QByteArray("7")) << 5;
        QTest::newRow("date") << PropertyList(Date{7}) << 5;
        QTest::newRow("text") << PropertyList(u"seven"_qs) << 5;
        QTest::newRow("digits") << PropertyList(u"7"_qs) << 12;
        QTest::newRow("number") << PropertyList(7) << 12;
    }
    void aDamagedCounterStartsAgain() {
        QFETCH(PropertyList, stored);
        QFETCH(int, sum);
        for (const QString &key : {u"dataReceived"_qs, u"textItems"_qs, u"dataSent"_qs}) {
            _agent->database.setValue(statisticsDomain, key, stored);
            if (sum == 5)
                QTest::ignoreMessage(QtWarningMsg,
                                     QRegularExpression(u"setting %1 .* not used"_qs.arg(key)));
        }
        const auto phone = _agent->connectedPhone(u"Anna"_qs);
        phone->send(u"1"_qs, textClip(u"Hello"_qs));
        _agent->settle();
        QCOMPARE(_agent->statistic(u"dataReceived"_qs), PropertyList(sum));
        _agent->advance(0.5);
        _agent->pasteboard.copyText(u"from here"_qs);
        _agent->advance(0.5);
        QCOMPARE(payloads(phone->received(), u"1"_qs).size(), 1);
        QVERIFY(_agent->app->refusals().isEmpty());
        QVERIFY(_agent->notice.messages.isEmpty());
        // Counted on from there, without another word.
        phone->send(u"1"_qs, textClip(u"Hello"_qs));
        _agent->settle();
        _agent->pasteboard.copyText(u"and on"_qs);
        _agent->advance(0.5);
        QCOMPARE(_agent->statistic(u"dataReceived"_qs), PropertyList(sum + 5));
    }

    // In the encoding that it likes best, and later again.
    void aPictureThatAManagerOwnsAnewIsNotSentBack() {
        const auto anna = _agent->connectedPhone(u"Anna"_qs);
        const auto ben = _agent->connectedPhone(u"Ben"_qs);
        QImage image(40, 30, QImage::Format_RGB32);
        image.fill(Qt::darkCyan);
        const auto encoded = [](const QImage &picture, const char *format) {
            QBuffer buffer;
            buffer.open(QIODevice::WriteOnly);
            picture.save(&buffer, format);
            return buffer.data();
        };
        const QByteArray jpeg = encoded(image, "jpeg");
        const QByteArray png = encoded(QImage::fromData(jpeg), "png");
        anna->send(u"1"_qs, imageClip(jpeg));
        _agent->advance(2);
        for (const QByteArray &copied : {jpeg, png, png}) {
            _agent->pasteboard.copyByAnotherApplication({.images = {copied}});
            _agent->advance(0.5);
            QVERIFY(payloads(anna->received(), u"1"_qs).isEmpty());
            QVERIFY(payloads(ben->received(), u"1"_qs).isEmpty());
        }
        // After another clip a person may copy it and means it.
        _agent->pasteboard.copyText(u"between"_qs);
        _agent->advance(0.5);
        _agent->pasteboard.copyByAnotherApplication({.images = {png}});
        _agent->advance(0.5);
        QCOMPARE(payloads(ben->received(), u"1"_qs).size(), 2);
    }

    void picturesForPastingGoWithTheAgent() {
        const auto files = [this] {
            return QDir(_agent->folder.filePath(u"Clipmule"_qs)).entryList(QDir::Files);
        };
        const auto phone = _agent->connectedPhone(u"Anna"_qs);
        phone->send(u"1"_qs, imageClip("\x89PNG"));
        _agent->settle();
        QCOMPARE(files().size(), 1);
        _agent->app->applicationShouldTerminate();
        QCOMPARE(files(), QStringList());
        // One that was killed leaves them to the next.
        QFile left(_agent->folder.filePath(u"Clipmule/left.png"_qs));
        QVERIFY(left.open(QIODevice::WriteOnly));
        _agent->launch();
        QCOMPARE(files(), QStringList());
    }

    void whatHeldTheKeyboardLetsGoBeforeThePaste() {
        SyncServices services = _agent->services();
        QList<int> pastesBefore;
        services.prepareToPaste = [&] { pastesBefore += _agent->keyboard.pasteCount(); };
        _agent->setRegistered({u"Anna"_qs});
        _agent->app = std::make_unique<ZRKClipmuleSyncApp>(services);
        _agent->app->finishLaunching();
        const auto phone = _agent->appear(u"Anna"_qs);
        phone->send(u"1"_qs, textClip(u"Hello"_qs));
        _agent->settle();
        QCOMPARE(pastesBefore, QList{0});
        QCOMPARE(_agent->keyboard.pasteCount(), 1);
    }

    void countsWhatIsReceived() {
        const auto phone = _agent->connectedPhone(u"Anna"_qs);
        phone->send(u"1"_qs, textClip(u"Hello"_qs));
        _agent->settle();
        QCOMPARE(_agent->statistic(u"dataReceived"_qs), PropertyList(5));
        QCOMPARE(_agent->statistic(u"textItems"_qs), PropertyList(1));
        _agent->advance(1);
        phone->send(
            u"1"_qs,
            clip({PropertyList(PropertyList::Dictionary{
                {u"createdBy"_qs, 1}, {u"imageData"_qs, QByteArray("no image, but bytes")}})}));
        _agent->settle();
        QCOMPARE(_agent->statistic(u"dataReceived"_qs), PropertyList(5 + 19));
        QCOMPARE(_agent->statistic(u"imageItems"_qs), PropertyList(1));
    }

    void theMemoryOfALargeClipIsGivenBack() {
        const auto phone = _agent->connectedPhone(u"Anna"_qs);
        const auto trimsAfter = [&](int size) {
            trims = 0;
            phone->send(u"1"_qs, textClip(QString(size, u'x')));
            _agent->settle();
            _agent->advance(HeapTrimmer::delay.count());
            return trims;
        };
        QCOMPARE(trimsAfter(HeapTrimmer::largestUntrimmed), 0);
        QCOMPARE(trimsAfter(HeapTrimmer::largestUntrimmed + 1), 1);
    }

    void aRefusedClipChangesNothing() {
        const auto phone = _agent->connectedPhone(u"Anna"_qs);
        _agent->pasteboard.copyText(u"before"_qs);
        _agent->advance(0.5);
        (void)phone->received();
        phone->send(
            u"1"_qs,
            clip({PropertyList(PropertyList::Dictionary{{u"string"_qs, u"text"_qs}}),
                  PropertyList(PropertyList::Dictionary{{u"imageData"_qs, QByteArray("bytes")}})}));
        _agent->settle();
        QCOMPARE(_agent->notice.messages,
                 QStringList{u"Pasting of mixed content clips is not supported."_qs});
        QCOMPARE(_agent->pasteboard.text(), u"before"_qs);
        QCOMPARE(_agent->keyboard.pasteCount(), 0);
        QCOMPARE(_agent->statistic(u"dataReceived"_qs), PropertyList(u"missing"_qs));
        // The guard still knows the last clip sent.
        _agent->pasteboard.copyText(u"before"_qs);
        _agent->advance(0.5);
        QVERIFY(payloads(phone->received(), u"1"_qs).isEmpty());
    }

    void aFailingClipboardIsLogged() {
        const auto phone = _agent->connectedPhone(u"Anna"_qs);
        _agent->pasteboard.failWritesWith(u"clipboard lost"_qs);
        QTest::ignoreMessage(QtWarningMsg, "ERROR DECODING DATA PasteboardFailure: clipboard lost");
        phone->send(u"1"_qs, textClip(u"Hello"_qs));
        _agent->settle();
        QCOMPARE(_agent->keyboard.pasteCount(), 0);
        QVERIFY(_agent->app->isConnected());
    }

    // Device records

    void everyRecordGoesToEveryPhone() {
        const auto anna = _agent->connectedPhone(u"Anna"_qs);
        const auto ben = _agent->connectedPhone(u"Ben"_qs);
        anna->send(u"4"_qs, record(u"A"_qs));
        _agent->settle();
        const PropertyList first(PropertyList::Dictionary{{u"Anna"_qs, record(u"A"_qs)}});
        QCOMPARE(payloads(anna->received(), u"3"_qs), QList<PropertyList>{first});
        QCOMPARE(payloads(ben->received(), u"3"_qs), QList<PropertyList>{first});
        ben->send(u"4"_qs, record(u"B"_qs));
        _agent->settle();
        const PropertyList both(
            PropertyList::Dictionary{{u"Anna"_qs, record(u"A"_qs)}, {u"Ben"_qs, record(u"B"_qs)}});
        QCOMPARE(payloads(anna->received(), u"3"_qs), QList<PropertyList>{both});
        QCOMPARE(payloads(ben->received(), u"3"_qs), QList<PropertyList>{both});
    }

    void whatIsQueuedIsWrittenAsItStandsThen() {
        const auto anna = _agent->connectedPhone(u"Anna"_qs);
        const auto ben = _agent->connectedPhone(u"Ben"_qs);
        ben->connection().setRoom(0);
        anna->send(u"4"_qs, record(u"first"_qs));
        anna->send(u"4"_qs, record(u"second"_qs));
        _agent->settle();
        ben->connection().setRoom(kit::MemoryConnection::unlimited);
        _agent->settle();
        const auto received = payloads(ben->received(), u"3"_qs);
        QVERIFY(!received.isEmpty());
        for (const PropertyList &devices : received)
            QCOMPARE(devices.find(u"Anna"_qs)->find(u"name"_qs)->string(), u"second"_qs);
    }

    void aServiceThatGoesTakesItsRecordWithIt() {
        const auto anna = _agent->connectedPhone(u"Anna"_qs);
        const auto ben = _agent->connectedPhone(u"Ben"_qs);
        anna->send(u"4"_qs, record(u"A"_qs));
        ben->send(u"4"_qs, record(u"B"_qs));
        _agent->settle();
        (void)anna->received();
        _agent->backend.vanish(ben->service);
        _agent->settle();
        QCOMPARE(_agent->app->connectedDeviceNames(), QStringList{u"A"_qs});
        QCOMPARE(payloads(anna->received(), u"3"_qs),
                 QList<PropertyList>{
                     PropertyList(PropertyList::Dictionary{{u"Anna"_qs, record(u"A"_qs)}})});
    }

    void whoLeavesIsStillKnownWhenTheStatusChanges() {
        struct Observer final : Object {
            void look() { names.append(app->connectedDeviceNames()); }
            ZRKClipmuleSyncApp *app = nullptr;
            QList<QStringList> names;
        } observer;
        const auto anna = _agent->connectedPhone(u"Anna"_qs);
        anna->send(u"4"_qs, record(u"A"_qs));
        _agent->settle();
        observer.app = _agent->app.get();
        auto &center = ZRKNotificationCenter::platformDefault();
        center.addObserver(&observer, selector<&Observer::look>("look"),
                           ZRKClipmuleSyncStatusDidChange);
        _agent->backend.vanish(anna->service);
        _agent->settle();
        center.removeObserver(&observer);
        QCOMPARE(observer.names, QList<QStringList>{QStringList{u"A"_qs}});
        QVERIFY(_agent->app->connectedDeviceNames().isEmpty());
    }

    void aDroppedConnectionKeepsTheRecord() {
        const auto anna = _agent->connectedPhone(u"Anna"_qs);
        anna->send(u"4"_qs, record(u"A"_qs));
        _agent->settle();
        anna->connection().end();
        _agent->settle();
        QCOMPARE(_agent->app->connectedDeviceNames(), QStringList{u"A"_qs});
    }

    void aRecordHasAMeasure_data() {
        QTest::addColumn<int>("size");
        QTest::addColumn<bool>("kept");
        QTest::newRow("one below") << int(PhoneMessages::largestDeviceRecord) - 1 << true;
        QTest::newRow("at the limit") << int(PhoneMessages::largestDeviceRecord) << true;
        QTest::newRow("one above") << int(PhoneMessages::largestDeviceRecord) + 1 << false;
    }
    void aRecordHasAMeasure() {
        QFETCH(int, size);
        QFETCH(bool, kept);
        const auto phone = _agent->connectedPhone(u"Anna"_qs);
        const qsizetype around = PropertyListSerialization::xml(record(QString())).size();
        const QString name(size - around, u'x');
        if (!kept)
            QTest::ignoreMessage(QtWarningMsg,
                                 "ERROR DECODING DATA a device record of more than 65536 bytes");
        phone->send(u"4"_qs, record(name));
        _agent->settle();
        QCOMPARE(_agent->app->connectedDeviceNames(), kept ? QStringList{name} : QStringList());
    }

    // What is no message

    void whatIsNotHandledIsLogged_data() {
        QTest::addColumn<PropertyList>("object");
        QTest::addColumn<QString>("logged");
        const auto row = [](const char *name, const PropertyList &object, const QString &text) {
            QTest::newRow(name) << object << text;
        };
        using Dictionary = PropertyList::Dictionary;
        row("devices", PropertyList(Dictionary{{u"3"_qs, PropertyList(Dictionary())}}),
            u"COULDN'T HANDLE {3: {}}"_qs);
        row("empty", PropertyList(Dictionary()), u"COULDN'T HANDLE {}"_qs);
        row("no number", PropertyList(Dictionary{{u"x1"_qs, 5}}), u"COULDN'T HANDLE {x1: 5}"_qs);
        row("unknown", PropertyList(Dictionary{{u"99"_qs, 5}}), u"COULDN'T HANDLE {99: 5}"_qs);
        row("beyond all numbers", PropertyList(Dictionary{{u"4294967297"_qs, 5}}),
            u"COULDN'T HANDLE {4294967297: 5}"_qs);
        row("a string", PropertyList(u"text"_qs),
            u"ERROR DECODING DATA InvalidArgument: expected a dictionary, found a string"_qs);
        row("a clip that is none", PropertyList(Dictionary{{u"1"_qs, u"text"_qs}}),
            u"ERROR DECODING DATA InvalidArgument: expected a dictionary, found a string"_qs);
        row("a record that is none", PropertyList(Dictionary{{u"4"_qs, 5}}),
            u"ERROR DECODING DATA a device record is a dictionary, not an integer"_qs);
    }
    void whatIsNotHandledIsLogged() {
        QFETCH(PropertyList, object);
        QFETCH(QString, logged);
        const auto phone = _agent->connectedPhone(u"Anna"_qs);
        QTest::ignoreMessage(QtWarningMsg, qPrintable(logged));
        phone->send(object);
        phone->send(u"4"_qs, record(u"still there"_qs));
        _agent->settle();
        QCOMPARE(_agent->app->connectedDeviceNames(), QStringList{u"still there"_qs});
        QVERIFY(_agent->pasteboard.contents().isEmpty());
        QCOMPARE(_agent->keyboard.pasteCount(), 0);
    }

    void theNumberIsReadFromTheStartOfTheKey() {
        const auto phone = _agent->connectedPhone(u"Anna"_qs);
        phone->send(u"4 and more"_qs, record(u"A"_qs));
        _agent->settle();
        QCOMPARE(_agent->app->connectedDeviceNames(), QStringList{u"A"_qs});
    }

    void relaysWhateverThePayloadIs() {
        const auto anna = _agent->connectedPhone(u"Anna"_qs);
        const auto ben = _agent->connectedPhone(u"Ben"_qs);
        anna->send(u"2"_qs, PropertyList(u"no clip at all"_qs));
        _agent->settle();
        QCOMPARE(payloads(ben->received(), u"1"_qs),
                 QList<PropertyList>{PropertyList(u"no clip at all"_qs)});
    }

private:
    std::unique_ptr<AgentFixture> _agent;
};

QTEST_GUILESS_MAIN(InboundTest)
#include "tst_inbound.moc"
