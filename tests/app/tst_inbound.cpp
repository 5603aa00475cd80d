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
using namespace Qt::StringLiterals;

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
        {u"oid"_s, u"C-1"_s}, {u"creationDate"_s, Date{400000000}}, {u"items"_s, items}});
}

PropertyList textClip(const QString &text) {
    return clip({PropertyList(
        PropertyList::Dictionary{{u"oid"_s, u"I-1"_s}, {u"createdBy"_s, 1}, {u"string"_s, text}})});
}

PropertyList imageClip(const QByteArray &image) {
    return clip({PropertyList(PropertyList::Dictionary{
        {u"oid"_s, u"I-1"_s}, {u"createdBy"_s, 1}, {u"imageData"_s, image}})});
}

PropertyList record(const QString &name) {
    return PropertyList(PropertyList::Dictionary{{u"name"_s, name}, {u"model"_s, u"P1"_s}});
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
        const auto phone = _agent->connectedPhone(u"Anna"_s);
        phone->send(u"1"_s, textClip(u"Hello"_s));
        _agent->settle();
        QCOMPARE(_agent->pasteboard.text(), u"Hello"_s);
        QCOMPARE(_agent->pasteboard.writeCount(), 1);
        QCOMPARE(_agent->keyboard.pasteCount(), 1);
    }

    void theUserMayPasteByHand_data() {
        QTest::addColumn<QString>("all");
        QTest::addColumn<QString>("own");
        QTest::addColumn<bool>("pastes");
        QTest::newRow("by itself") << QString() << QString() << true;
        QTest::newRow("all: paste") << u"paste"_s << QString() << true;
        QTest::newRow("all: clipboard") << u"clipboard"_s << QString() << false;
        QTest::newRow("this one: clipboard") << QString() << u"clipboard"_s << false;
        QTest::newRow("this one: clipboard, all: paste") << u"paste"_s << u"clipboard"_s << false;
        QTest::newRow("this one: paste, all: clipboard") << u"clipboard"_s << u"paste"_s << true;
    }
    void theUserMayPasteByHand() {
        QFETCH(QString, all);
        QFETCH(QString, own);
        QFETCH(bool, pastes);
        const auto phone = _agent->connectedPhone(u"Anna"_s);
        PropertyList::Dictionary entry{{u"serverService"_s, u"Anna"_s}};
        if (!own.isEmpty())
            entry.insert(u"pasteMode"_s, own);
        // Whatever holds for another phone.
        const PropertyList::Dictionary other{
            {u"serverService"_s, u"Ben"_s}, {u"pasteMode"_s, pastes ? u"clipboard"_s : u"paste"_s}};
        QVERIFY(_agent->shared->setObjectForKey(
            PropertyList(PropertyList::List{PropertyList(other), PropertyList(entry)}),
            u"serverServices"_s));
        if (!all.isEmpty())
            QVERIFY(_agent->shared->setObjectForKey(PropertyList(all), u"pasteMode"_s));
        phone->send(u"1"_s, textClip(u"Hello"_s));
        _agent->settle();
        QCOMPARE(_agent->keyboard.pasteCount(), pastes ? 1 : 0);
        // On the clipboard, counted and not sent back in any case; and no refusal.
        QCOMPARE(_agent->pasteboard.text(), u"Hello"_s);
        QCOMPARE(_agent->statistic(u"dataReceived"_s), PropertyList(5));
        _agent->advance(1);
        QVERIFY(payloads(phone->received(), u"1"_s).isEmpty());
        QVERIFY(_agent->app->refusals().isEmpty());
    }

    void aWrittenClipIsNotSentBack() {
        const auto phone = _agent->connectedPhone(u"Anna"_s);
        phone->send(u"1"_s, textClip(u"Hello"_s));
        _agent->settle();
        const int reads = _agent->pasteboard.readCount();
        _agent->advance(2);
        QVERIFY(payloads(phone->received(), u"1"_s).isEmpty());
        // It is not even looked at.
        QCOMPARE(_agent->pasteboard.readCount(), reads);
        // Nor is it when a clipboard manager takes it over.
        _agent->pasteboard.copyText(u"Hello"_s);
        _agent->advance(0.5);
        QVERIFY(payloads(phone->received(), u"1"_s).isEmpty());
    }

    // Another desk's, which phones only pass on.
    void aClipThatOnlyDesktopsReadIsNotSentBack() {
        const auto phone = _agent->connectedPhone(u"Anna"_s);
        const PropertyList::Dictionary native{{u"public.html"_s, QByteArray("<b>")}};
        phone->send(u"1"_s, clip({PropertyList(PropertyList::Dictionary{
                                {u"createdBy"_s, 2}, {u"nativeDictionary"_s, native}})}));
        _agent->settle();
        QCOMPARE(_agent->pasteboard.writeCount(), 1);
        const PasteboardContents contents{.html = "<b>"};
        QCOMPARE(_agent->pasteboard.clipboard(), contents);
        _agent->pasteboard.copyByAnotherApplication(contents);
        _agent->advance(0.5);
        QVERIFY(payloads(phone->received(), u"1"_s).isEmpty());
    }

    // Read back it has other bytes, and so another hash.
    void aWrittenImageIsNotSentBack() {
        const auto phone = _agent->connectedPhone(u"Anna"_s);
        QImage image(4, 4, QImage::Format_RGB32);
        image.fill(Qt::blue);
        QByteArray jpeg;
        QBuffer buffer(&jpeg);
        QVERIFY(image.save(&buffer, "JPG"));
        phone->send(u"1"_s, clip({PropertyList(PropertyList::Dictionary{{u"imageData"_s, jpeg}})}));
        _agent->settle();
        QCOMPARE(_agent->pasteboard.writeCount(), 1);
        _agent->advance(2);
        QVERIFY(payloads(phone->received(), u"1"_s).isEmpty());
    }

    // As the phone asks: its clipboard is empty, and so is the desk's.
    void aClipWithoutItemsEmptiesTheClipboard() {
        const auto phone = _agent->connectedPhone(u"Anna"_s);
        _agent->pasteboard.copyText(u"before"_s);
        phone->send(u"1"_s, PropertyList(PropertyList::Dictionary()));
        _agent->settle();
        QVERIFY(_agent->pasteboard.contents().isEmpty());
        QCOMPARE(_agent->keyboard.pasteCount(), 1);
        QCOMPARE(_agent->statistic(u"textItems"_s), PropertyList(1));
        QCOMPARE(_agent->statistic(u"dataReceived"_s), PropertyList(0));
    }

    // The clip is there; what a broken file counts is no reason to call it refused.
    void aDamagedCounterStartsAgain_data() {
        QTest::addColumn<PropertyList>("stored");
        QTest::addColumn<int>("sum");
        QTest::newRow("list") << PropertyList(PropertyList::List()) << 5;
        QTest::newRow("dictionary") << PropertyList(PropertyList::Dictionary()) << 5;
        QTest::newRow("data") << PropertyList(QByteArray("7")) << 5;
        QTest::newRow("date") << PropertyList(Date{7}) << 5;
        QTest::newRow("text") << PropertyList(u"seven"_s) << 5;
        QTest::newRow("digits") << PropertyList(u"7"_s) << 12;
        QTest::newRow("number") << PropertyList(7) << 12;
    }
    void aDamagedCounterStartsAgain() {
        QFETCH(PropertyList, stored);
        QFETCH(int, sum);
        for (const QString &key : {u"dataReceived"_s, u"textItems"_s, u"dataSent"_s}) {
            QVERIFY(_agent->database.setValue(statisticsDomain, key, stored));
            if (sum == 5)
                QTest::ignoreMessage(QtWarningMsg,
                                     QRegularExpression(u"setting %1 .* not used"_s.arg(key)));
        }
        const auto phone = _agent->connectedPhone(u"Anna"_s);
        phone->send(u"1"_s, textClip(u"Hello"_s));
        _agent->settle();
        QCOMPARE(_agent->statistic(u"dataReceived"_s), PropertyList(sum));
        _agent->advance(0.5);
        _agent->pasteboard.copyText(u"from here"_s);
        _agent->advance(0.5);
        QCOMPARE(payloads(phone->received(), u"1"_s).size(), 1);
        QVERIFY(_agent->app->refusals().isEmpty());
        QVERIFY(_agent->notice.messages.isEmpty());
        // Counted on from there, without another word.
        phone->send(u"1"_s, textClip(u"Hello"_s));
        _agent->settle();
        _agent->pasteboard.copyText(u"and on"_s);
        _agent->advance(0.5);
        QCOMPARE(_agent->statistic(u"dataReceived"_s), PropertyList(sum + 5));
    }

    // In the encoding that it likes best, and later again.
    void aPictureThatAManagerOwnsAnewIsNotSentBack() {
        const auto anna = _agent->connectedPhone(u"Anna"_s);
        const auto ben = _agent->connectedPhone(u"Ben"_s);
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
        anna->send(u"1"_s, imageClip(jpeg));
        _agent->advance(2);
        for (const QByteArray &copied : {jpeg, png, png}) {
            _agent->pasteboard.copyByAnotherApplication({.images = {copied}});
            _agent->advance(0.5);
            QVERIFY(payloads(anna->received(), u"1"_s).isEmpty());
            QVERIFY(payloads(ben->received(), u"1"_s).isEmpty());
        }
        // After another clip a person may copy it and means it.
        _agent->pasteboard.copyText(u"between"_s);
        _agent->advance(0.5);
        _agent->pasteboard.copyByAnotherApplication({.images = {png}});
        _agent->advance(0.5);
        QCOMPARE(payloads(ben->received(), u"1"_s).size(), 2);
    }

    void picturesForPastingGoWithTheAgent() {
        const auto files = [this] {
            return QDir(_agent->folder.filePath(u"Clipmule"_s)).entryList(QDir::Files);
        };
        const auto phone = _agent->connectedPhone(u"Anna"_s);
        phone->send(u"1"_s, imageClip("\x89PNG"));
        _agent->settle();
        QCOMPARE(files().size(), 1);
        _agent->app->applicationShouldTerminate();
        QCOMPARE(files(), QStringList());
        // One that was killed leaves them to the next.
        QFile left(_agent->folder.filePath(u"Clipmule/left.png"_s));
        QVERIFY(left.open(QIODevice::WriteOnly));
        _agent->launch();
        QCOMPARE(files(), QStringList());
    }

    void whatHeldTheKeyboardLetsGoBeforeThePaste() {
        SyncServices services = _agent->services();
        QList<int> pastesBefore;
        services.prepareToPaste = [&] { pastesBefore += _agent->keyboard.pasteCount(); };
        _agent->setRegistered({u"Anna"_s});
        _agent->app = std::make_unique<ZRKClipmuleSyncApp>(services);
        _agent->app->finishLaunching();
        const auto phone = _agent->appear(u"Anna"_s);
        phone->send(u"1"_s, textClip(u"Hello"_s));
        _agent->settle();
        QCOMPARE(pastesBefore, QList{0});
        QCOMPARE(_agent->keyboard.pasteCount(), 1);
    }

    void countsWhatIsReceived() {
        const auto phone = _agent->connectedPhone(u"Anna"_s);
        phone->send(u"1"_s, textClip(u"Hello"_s));
        _agent->settle();
        QCOMPARE(_agent->statistic(u"dataReceived"_s), PropertyList(5));
        QCOMPARE(_agent->statistic(u"textItems"_s), PropertyList(1));
        _agent->advance(1);
        phone->send(
            u"1"_s,
            clip({PropertyList(PropertyList::Dictionary{
                {u"createdBy"_s, 1}, {u"imageData"_s, QByteArray("no image, but bytes")}})}));
        _agent->settle();
        QCOMPARE(_agent->statistic(u"dataReceived"_s), PropertyList(5 + 19));
        QCOMPARE(_agent->statistic(u"imageItems"_s), PropertyList(1));
    }

    void theMemoryOfALargeClipIsGivenBack() {
        const auto phone = _agent->connectedPhone(u"Anna"_s);
        const auto trimsAfter = [&](int size) {
            trims = 0;
            phone->send(u"1"_s, textClip(QString(size, u'x')));
            _agent->settle();
            _agent->advance(HeapTrimmer::delay.count());
            return trims;
        };
        QCOMPARE(trimsAfter(HeapTrimmer::largestUntrimmed), 0);
        QCOMPARE(trimsAfter(HeapTrimmer::largestUntrimmed + 1), 1);
    }

    void aRefusedClipChangesNothing() {
        const auto phone = _agent->connectedPhone(u"Anna"_s);
        _agent->pasteboard.copyText(u"before"_s);
        _agent->advance(0.5);
        (void)phone->received();
        phone->send(
            u"1"_s,
            clip({PropertyList(PropertyList::Dictionary{{u"string"_s, u"text"_s}}),
                  PropertyList(PropertyList::Dictionary{{u"imageData"_s, QByteArray("bytes")}})}));
        _agent->settle();
        QCOMPARE(_agent->notice.messages,
                 QStringList{u"Pasting of mixed content clips is not supported."_s});
        QCOMPARE(_agent->pasteboard.text(), u"before"_s);
        QCOMPARE(_agent->keyboard.pasteCount(), 0);
        QCOMPARE(_agent->statistic(u"dataReceived"_s), PropertyList(u"missing"_s));
        // The guard still knows the last clip sent.
        _agent->pasteboard.copyText(u"before"_s);
        _agent->advance(0.5);
        QVERIFY(payloads(phone->received(), u"1"_s).isEmpty());
    }

    void aFailingClipboardIsLogged() {
        const auto phone = _agent->connectedPhone(u"Anna"_s);
        _agent->pasteboard.failWritesWith(u"clipboard lost"_s);
        QTest::ignoreMessage(QtWarningMsg, "ERROR DECODING DATA PasteboardFailure: clipboard lost");
        phone->send(u"1"_s, textClip(u"Hello"_s));
        _agent->settle();
        QCOMPARE(_agent->keyboard.pasteCount(), 0);
        QVERIFY(_agent->app->isConnected());
    }

    // Device records

    void everyRecordGoesToEveryPhone() {
        const auto anna = _agent->connectedPhone(u"Anna"_s);
        const auto ben = _agent->connectedPhone(u"Ben"_s);
        anna->send(u"4"_s, record(u"A"_s));
        _agent->settle();
        const PropertyList first(PropertyList::Dictionary{{u"Anna"_s, record(u"A"_s)}});
        QCOMPARE(payloads(anna->received(), u"3"_s), QList<PropertyList>{first});
        QCOMPARE(payloads(ben->received(), u"3"_s), QList<PropertyList>{first});
        ben->send(u"4"_s, record(u"B"_s));
        _agent->settle();
        const PropertyList both(
            PropertyList::Dictionary{{u"Anna"_s, record(u"A"_s)}, {u"Ben"_s, record(u"B"_s)}});
        QCOMPARE(payloads(anna->received(), u"3"_s), QList<PropertyList>{both});
        QCOMPARE(payloads(ben->received(), u"3"_s), QList<PropertyList>{both});
    }

    void whatIsQueuedIsWrittenAsItStandsThen() {
        const auto anna = _agent->connectedPhone(u"Anna"_s);
        const auto ben = _agent->connectedPhone(u"Ben"_s);
        ben->connection().setRoom(0);
        anna->send(u"4"_s, record(u"first"_s));
        anna->send(u"4"_s, record(u"second"_s));
        _agent->settle();
        ben->connection().setRoom(kit::MemoryConnection::unlimited);
        _agent->settle();
        const auto received = payloads(ben->received(), u"3"_s);
        QVERIFY(!received.isEmpty());
        for (const PropertyList &devices : received)
            QCOMPARE(devices.find(u"Anna"_s)->find(u"name"_s)->string(), u"second"_s);
    }

    void aServiceThatGoesTakesItsRecordWithIt() {
        const auto anna = _agent->connectedPhone(u"Anna"_s);
        const auto ben = _agent->connectedPhone(u"Ben"_s);
        anna->send(u"4"_s, record(u"A"_s));
        ben->send(u"4"_s, record(u"B"_s));
        _agent->settle();
        (void)anna->received();
        _agent->backend.vanish(ben->service);
        _agent->settle();
        QCOMPARE(_agent->app->connectedDeviceNames(), QStringList{u"A"_s});
        QCOMPARE(payloads(anna->received(), u"3"_s),
                 QList<PropertyList>{
                     PropertyList(PropertyList::Dictionary{{u"Anna"_s, record(u"A"_s)}})});
    }

    void whoLeavesIsStillKnownWhenTheStatusChanges() {
        struct Observer final : Object {
            void look() { names.append(app->connectedDeviceNames()); }
            ZRKClipmuleSyncApp *app = nullptr;
            QList<QStringList> names;
        } observer;
        const auto anna = _agent->connectedPhone(u"Anna"_s);
        anna->send(u"4"_s, record(u"A"_s));
        _agent->settle();
        observer.app = _agent->app.get();
        auto &center = ZRKNotificationCenter::platformDefault();
        center.addObserver(&observer, selector<&Observer::look>("look"),
                           ZRKClipmuleSyncStatusDidChange);
        _agent->backend.vanish(anna->service);
        _agent->settle();
        center.removeObserver(&observer);
        QCOMPARE(observer.names, QList<QStringList>{QStringList{u"A"_s}});
        QVERIFY(_agent->app->connectedDeviceNames().isEmpty());
    }

    void aDroppedConnectionKeepsTheRecord() {
        const auto anna = _agent->connectedPhone(u"Anna"_s);
        anna->send(u"4"_s, record(u"A"_s));
        _agent->settle();
        anna->connection().end();
        _agent->settle();
        QCOMPARE(_agent->app->connectedDeviceNames(), QStringList{u"A"_s});
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
        const auto phone = _agent->connectedPhone(u"Anna"_s);
        const qsizetype around = PropertyListSerialization::xml(record(QString())).size();
        const QString name(size - around, u'x');
        if (!kept)
            QTest::ignoreMessage(QtWarningMsg,
                                 "ERROR DECODING DATA a device record of more than 65536 bytes");
        phone->send(u"4"_s, record(name));
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
        row("devices", PropertyList(Dictionary{{u"3"_s, PropertyList(Dictionary())}}),
            u"COULDN'T HANDLE {3: {}}"_s);
        row("empty", PropertyList(Dictionary()), u"COULDN'T HANDLE {}"_s);
        row("no number", PropertyList(Dictionary{{u"x1"_s, 5}}), u"COULDN'T HANDLE {x1: 5}"_s);
        row("unknown", PropertyList(Dictionary{{u"99"_s, 5}}), u"COULDN'T HANDLE {99: 5}"_s);
        row("beyond all numbers", PropertyList(Dictionary{{u"4294967297"_s, 5}}),
            u"COULDN'T HANDLE {4294967297: 5}"_s);
        row("a string", PropertyList(u"text"_s),
            u"ERROR DECODING DATA InvalidArgument: expected a dictionary, found a string"_s);
        row("a clip that is none", PropertyList(Dictionary{{u"1"_s, u"text"_s}}),
            u"ERROR DECODING DATA InvalidArgument: expected a dictionary, found a string"_s);
        row("a record that is none", PropertyList(Dictionary{{u"4"_s, 5}}),
            u"ERROR DECODING DATA a device record is a dictionary, not an integer"_s);
    }
    void whatIsNotHandledIsLogged() {
        QFETCH(PropertyList, object);
        QFETCH(QString, logged);
        const auto phone = _agent->connectedPhone(u"Anna"_s);
        QTest::ignoreMessage(QtWarningMsg, qPrintable(logged));
        phone->send(object);
        phone->send(u"4"_s, record(u"still there"_s));
        _agent->settle();
        QCOMPARE(_agent->app->connectedDeviceNames(), QStringList{u"still there"_s});
        QVERIFY(_agent->pasteboard.contents().isEmpty());
        QCOMPARE(_agent->keyboard.pasteCount(), 0);
    }

    void theNumberIsReadFromTheStartOfTheKey() {
        const auto phone = _agent->connectedPhone(u"Anna"_s);
        phone->send(u"4 and more"_s, record(u"A"_s));
        _agent->settle();
        QCOMPARE(_agent->app->connectedDeviceNames(), QStringList{u"A"_s});
    }

    void relaysWhateverThePayloadIs() {
        const auto anna = _agent->connectedPhone(u"Anna"_s);
        const auto ben = _agent->connectedPhone(u"Ben"_s);
        anna->send(u"2"_s, PropertyList(u"no clip at all"_s));
        _agent->settle();
        QCOMPARE(payloads(ben->received(), u"1"_s),
                 QList<PropertyList>{PropertyList(u"no clip at all"_s)});
    }

private:
    std::unique_ptr<AgentFixture> _agent;
};

QTEST_GUILESS_MAIN(InboundTest)
#include "tst_inbound.moc"
