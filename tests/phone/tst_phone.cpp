// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "phone/Phone.h"

#include "net/ZRKNetServiceClient.h"
#include "platform/dnssd/LocalAndNetwork.h"
#include "platform/dnssd/NetService.h"
#include "platform/foundation/QtRunLoop.h"
#include "platform/propertylist/PropertyListSerialization.h"
#include "platform/streams/LocalSockets.h"
#include "platform/streams/SocketStreams.h"
#include "tests/kit/FakeDnsSd.h"
#include "tests/kit/TestCase.h"

#include <QBuffer>
#include <QDir>
#include <QFile>
#include <QImage>
#include <QJsonArray>
#include <QJsonDocument>
#include <QTcpServer>
#include <QTemporaryDir>
#include <QTest>

using namespace clipmule;
using namespace clipmule::kit;

namespace {

QByteArray png() {
    QImage image(20, 10, QImage::Format_RGB32);
    image.fill(Qt::red);
    QByteArray bytes;
    QBuffer buffer(&bytes);
    image.save(&buffer, "PNG");
    return bytes;
}

PropertyList envelope(const QString &type, const PropertyList::Dictionary &payload) {
    return PropertyList(PropertyList::Dictionary{{type, PropertyList(payload)}});
}

} // namespace

// The stand-in with a desk that is a stream handler on a real connection.
class PhoneTest final : public kit::TestCase {
    Q_OBJECT

    void begin() override {
        _lines.clear();
        _received.clear();
        _quit = false;
        _folder = std::make_unique<QTemporaryDir>();
        Phone::Options options;
        options.name = u"Anna"_qs;
        options.saveFolder = _folder->filePath(u"images"_qs);
        start(options);
    }

    void end() override {
        _desk.reset();
        _phone.reset();
    }

private Q_SLOTS:
    void publishesItself() {
        QTRY_COMPARE(_backend.published().size(), 1);
        const auto publication = _backend.published().constFirst();
        QCOMPARE(publication.service.name, u"Anna"_qs);
        QCOMPARE(publication.service.type, u"_clipmule-s2._tcp"_qs);
        QCOMPARE(int(publication.port), _lines.constFirst()[u"port"_qs].toInt());
    }

    void tellsOfItselfWhenAConnectionOpens() {
        QCOMPARE(_received.constFirst(),
                 envelope(u"4"_qs, {{u"name"_qs, u"Anna"_qs}, {u"model"_qs, u"Linux"_qs}}));
        QCOMPARE(_lines.constLast()[u"event"_qs].toString(), u"opened"_qs);
        QCOMPARE(_lines.constLast()[u"desk"_qs].toString(), u"127.0.0.1"_qs);
    }

    void tellsUnderWhichNameItIsFound() {
        QTRY_VERIFY(!linesOf(u"published"_qs).isEmpty());
        QCOMPARE(linesOf(u"published"_qs).constFirst(),
                 (QJsonObject{{u"event"_qs, u"published"_qs}, {u"name"_qs, u"Anna"_qs}}));
        QList<QJsonObject> lines;
        Phone second(_backend, optionsWith({}, {}, u"Anna"_qs));
        second.onPrint = [&lines](const QByteArray &line) {
            lines.append(QJsonDocument::fromJson(line).object());
        };
        QVERIFY(second.start());
        QTRY_COMPARE(lines.constLast(), (QJsonObject{{u"event"_qs, u"published"_qs},
                                                     {u"name"_qs, u"Anna (2)"_qs},
                                                     {u"taken"_qs, u"Anna"_qs}}));
    }

    void tellsWhatWasSentAndToWhom() {
        const auto sent = [this] { return linesOf(u"sent"_qs); };
        _phone->perform("text 😀");
        QCOMPARE(sent().constLast(), (QJsonObject{{u"event"_qs, u"sent"_qs},
                                                  {u"what"_qs, u"text"_qs},
                                                  {u"units"_qs, 2},
                                                  {u"desk"_qs, u"127.0.0.1"_qs}}));
        _phone->perform("relay url http://a/");
        QCOMPARE(sent().constLast(), (QJsonObject{{u"event"_qs, u"sent"_qs},
                                                  {u"what"_qs, u"url"_qs},
                                                  {u"for"_qs, u"other phones"_qs},
                                                  {u"desk"_qs, u"127.0.0.1"_qs}}));
        const QByteArray bytes = png();
        _phone->perform("image " + write(u"a.png"_qs, bytes).toUtf8());
        QCOMPARE(sent().constLast()[u"what"_qs].toString(), u"image"_qs);
        QCOMPARE(sent().constLast()[u"format"_qs].toString(), u"png"_qs);
        QCOMPARE(sent().constLast()[u"bytes"_qs].toInt(), int(bytes.size()));
        QCOMPARE(sent().size(), 3);
        // What the stand-in tells of itself is not the user's doing.
        _desk->forgetCallbacks();
        _desk->close(false);
        QTRY_COMPARE(_lines.constLast()[u"event"_qs].toString(), u"closed"_qs);
        QCOMPARE(_lines.constLast()[u"desk"_qs].toString(), u"127.0.0.1"_qs);
        _phone->perform("text into the void");
        QCOMPARE(sent().size(), 3);
    }

    void refusesWhatIsNoImage() {
        const QString path = write(u"letter"_qs, "Dear Anna");
        _phone->perform("image " + path.toUtf8());
        QCOMPARE(_lines.constLast()[u"text"_qs].toString(),
                 path + u": no image of a known format"_qs);
        // A drawing can be shown, but is none of the formats that travel.
        const QString drawing = write(u"a.svg"_qs, "<svg xmlns=\"http://www.w3.org/2000/svg\"/>");
        _phone->perform("image " + drawing.toUtf8());
        QCOMPARE(_lines.constLast()[u"text"_qs].toString(),
                 drawing + u": no image of a known format"_qs);
    }

    void helps() {
        _phone->perform("help");
        const QJsonArray commands = _lines.constLast()[u"commands"_qs].toArray();
        QCOMPARE(commands.size(), 8);
        QCOMPARE(commands[0],
                 (QJsonObject{{u"command"_qs, u"text TEXT"_qs},
                              {u"purpose"_qs, u"send a text (\\n for a line break)"_qs}}));
        restartWithData();
        _phone->perform("?");
        QCOMPARE(_lines.constLast()[u"commands"_qs].toArray().size(), 21);
        QStringList text;
        Phone::Options options = optionsWith({}, {});
        options.isForPerson = true;
        Phone other(_backend, options);
        other.onPrint = [&text](const QByteArray &line) { text.append(QString::fromUtf8(line)); };
        other.perform("help");
        QCOMPARE(text.size(), 8);
        QCOMPARE(text[2], u"image FILE                      send an image"_qs);
    }

    void nothingForeignReachesTheTerminal() {
        QByteArray last;
        Phone other(_backend, optionsWith({}, {}));
        other.onPrint = [&last](const QByteArray &line) { last = line; };
        other.perform("\xc2\x9b"
                      "31m \xe2\x80\xae");
        QCOMPARE(last, QByteArray("{\"event\":\"error\",\"text\":\"unknown command: "
                                  "\\u009b31m\"}"));
    }

    void theFolderForImagesIsLookedAtFirst() {
        QFile file(write(u"file"_qs, {}));
        QList<QJsonObject> lines;
        Phone second(_backend, optionsWith(file.fileName(), {}));
        second.onPrint = [&lines](const QByteArray &line) {
            lines.append(QJsonDocument::fromJson(line).object());
        };
        QVERIFY(!second.start());
        QCOMPARE(lines.constFirst()[u"text"_qs].toString(),
                 file.fileName() + u": the folder cannot be written to"_qs);
        // It was made at the start, for this user alone.
        QVERIFY(!(QFile::permissions(_folder->filePath(u"images"_qs)) &
                  (QFile::ReadGroup | QFile::ReadOther | QFile::ExeGroup | QFile::ExeOther)));
    }

    void sendsTexts() {
        _phone->perform("strings A | B");
        const PropertyList::List items = nextClip(u"1"_qs);
        QCOMPARE(items.size(), 2);
        QCOMPARE(items[0].find(u"string"_qs)->string(), u"A"_qs);
        QCOMPARE(items[1].find(u"string"_qs)->string(), u"B"_qs);
        QCOMPARE(items[0].find(u"createdBy"_qs)->integerValue(), 1);
        QVERIFY(items[0].find(u"oid"_qs)->string() != items[1].find(u"oid"_qs)->string());
    }

    void sendsUrls() {
        _phone->perform("url https://example.org/\xC3\xBC?a=1");
        QCOMPARE(nextClip(u"1"_qs)[0].find(u"url"_qs)->string(),
                 u"https://example.org/%C3%BC?a=1"_qs);
        _phone->perform("url no scheme");
        QCOMPARE(_lines.constLast()[u"text"_qs].toString(), u"not a URL: no scheme"_qs);
    }

    void sendsImages() {
        const QByteArray bytes = png();
        const QString path = write(u"a b.png"_qs, bytes);
        _phone->perform("image " + path.toUtf8());
        QCOMPARE(nextClip(u"1"_qs)[0].find(u"imageData"_qs)->data(), bytes);
    }

    void refusesFilesThatAreNone() {
        _phone->perform("image /no/such/file");
        QCOMPARE(_lines.constLast()[u"text"_qs].toString(), u"/no/such/file: no such file"_qs);
        _phone->perform("image " + _folder->path().toUtf8());
        QCOMPARE(_lines.constLast()[u"text"_qs].toString(), _folder->path() + u": no such file"_qs);
    }

    void refusesAFileThatIsTooLarge() {
        QFile file(_folder->filePath(u"large"_qs));
        QVERIFY(file.open(QIODevice::WriteOnly));
        QVERIFY(file.resize(Phone::largestFile + 1));
        _phone->perform("image " + file.fileName().toUtf8());
        QVERIFY(
            _lines.constLast()[u"text"_qs].toString().endsWith(u"larger than 50331648 bytes"_qs));
    }

    void relays() {
        _phone->perform("relay text for the others");
        QCOMPARE(nextClip(u"2"_qs)[0].find(u"string"_qs)->string(), u"for the others"_qs);
    }

    void sendsAnyPropertyList() {
        const QString path = write(u"any.plist"_qs, "{ 99 = (a, b); }");
        _phone->perform("plist " + path.toUtf8());
        QTRY_COMPARE(_received.size(), 2);
        QCOMPARE(_received.constLast().find(u"99"_qs)->list().size(), 2);
        const QString broken = write(u"broken.plist"_qs, "<<<");
        _phone->perform("plist " + broken.toUtf8());
        QVERIFY(_lines.constLast()[u"text"_qs].toString().startsWith(broken + u": "_qs));
    }

    void printsAClip() {
        const QByteArray bytes = png();
        _desk->outputObject(OutputObject::fixed(envelope(
            u"1"_qs,
            {{u"title"_qs, u"T"_qs},
             {u"items"_qs, PropertyList::List{PropertyList(PropertyList::Dictionary{
                               {u"string"_qs, u"täxt"_qs}, {u"imageData"_qs, bytes}})}}})));
        const QJsonObject line = nextLine(u"clip"_qs);
        const QJsonObject item = line[u"clip"_qs][u"items"_qs][0].toObject();
        QCOMPARE(line[u"clip"_qs][u"title"_qs].toString(), u"T"_qs);
        QCOMPARE(item[u"string"_qs].toString(), u"täxt"_qs);
        const QJsonObject image = item[u"imageData"_qs].toObject();
        QCOMPARE(image[u"format"_qs].toString(), u"png"_qs);
        QCOMPARE(image[u"width"_qs].toInt(), 20);
        QCOMPARE(image[u"height"_qs].toInt(), 10);
        QFile saved(image[u"file"_qs].toString());
        QVERIFY(saved.open(QIODevice::ReadOnly));
        QCOMPARE(saved.readAll(), bytes);
        QVERIFY(!(saved.permissions() & (QFile::ReadGroup | QFile::ReadOther)));
    }

    void printsOfUnknownImagesHowLargeTheyAre() {
        _desk->outputObject(OutputObject::fixed(envelope(
            u"1"_qs,
            {{u"items"_qs, PropertyList::List{PropertyList(PropertyList::Dictionary{
                               {u"imageData"_qs, QByteArray("<svg xmlns='http://www.w3.org/2000/"
                                                            "svg' width='9' height='9'/>")}})}}})));
        const QJsonObject image =
            nextLine(u"clip"_qs)[u"clip"_qs][u"items"_qs][0][u"imageData"_qs].toObject();
        QCOMPARE(image[u"format"_qs].toString(), QString());
        QCOMPARE(image[u"width"_qs].toInt(), -1);
        QVERIFY(image[u"bytes"_qs].toInt() > 50);
    }

    // A small message may refer to one value from many places.
    void refusesToPrintWhatGrows() {
        PhoneLog log(_folder->filePath(u"images"_qs));
        const auto clipOf = [](qsizetype count, const PropertyList &item) {
            return envelope(u"1"_qs, {{u"items"_qs, PropertyList::List(count, item)}});
        };
        const auto least = [](qsizetype count) {
            return PropertyList(PropertyList::List(count, PropertyList(1)));
        };
        // The envelope, the clip, their keys and the list.
        const qint64 others = 5;
        QVERIFY(!log.received(clipOf(PhoneLog::mostValues - others, PropertyList(1)))
                     .contains(u"refused"_qs));
        const QJsonObject line = log.received(clipOf(PhoneLog::mostValues - others + 1, 1));
        QCOMPARE(line[u"event"_qs].toString(), u"clip"_qs);
        QCOMPARE(line[u"type"_qs].toString(), u"1"_qs);
        QVERIFY(line.contains(u"refused"_qs));
        QVERIFY(!line.contains(u"clip"_qs));
        QVERIFY(!log.received(least(PhoneLog::mostValues - 1)).contains(u"refused"_qs));
        QCOMPARE(log.received(least(PhoneLog::mostValues))[u"event"_qs].toString(), u"object"_qs);
        QVERIFY(log.received(least(PhoneLog::mostValues)).contains(u"refused"_qs));
        const QJsonObject devices =
            log.received(envelope(u"3"_qs, {{u"Anna"_qs, least(PhoneLog::mostValues)}}));
        QCOMPARE(devices.keys(), (QStringList{u"event"_qs, u"refused"_qs}));
        QCOMPARE(devices[u"event"_qs].toString(), u"object"_qs);
        // One picture in very many items: none of them is written.
        const PropertyList::Dictionary item{{u"imageData"_qs, QByteArray(1'000'000, 'x')}};
        QVERIFY(log.received(clipOf(200, PropertyList(item))).contains(u"refused"_qs));
        QVERIFY(QDir(_folder->filePath(u"images"_qs)).isEmpty());
    }

    void keepsWhatAnEarlierRunSaved() {
        const QString earlier = write(u"images/image-0001.png"_qs, "earlier");
        _desk->outputObject(OutputObject::fixed(envelope(
            u"1"_qs, {{u"items"_qs, PropertyList::List{PropertyList(
                                        PropertyList::Dictionary{{u"imageData"_qs, png()}})}}})));
        const QString saved =
            nextLine(u"clip"_qs)[u"clip"_qs][u"items"_qs][0][u"imageData"_qs][u"file"_qs]
                .toString();
        QVERIFY(saved.endsWith(u"image-0002.png"_qs));
        QFile file(earlier);
        QVERIFY(file.open(QIODevice::ReadOnly));
        QCOMPARE(file.readAll(), QByteArray("earlier"));
    }

    void printsTheDevices() {
        _desk->outputObject(OutputObject::fixed(envelope(
            u"3"_qs,
            {{u"Ben"_qs, PropertyList(PropertyList::Dictionary{{u"name"_qs, u"B"_qs}})}})));
        QCOMPARE(nextLine(u"devices"_qs)[u"devices"_qs][u"Ben"_qs][u"name"_qs].toString(), u"B"_qs);
    }

    void printsWhatItDoesNotKnow() {
        _desk->outputObject(OutputObject::fixed(PropertyList(u"word"_qs)));
        QCOMPARE(nextLine(u"object"_qs)[u"object"_qs].toString(), u"word"_qs);
        _desk->outputObject(OutputObject::fixed(envelope(u"77"_qs, {{u"date"_qs, Date{0}}})));
        QTRY_COMPARE(_lines.constLast()[u"type"_qs].toString(), u"77"_qs);
        QCOMPARE(_lines.constLast()[u"object"_qs][u"date"_qs].toString(),
                 u"2001-01-01T00:00:00.000Z"_qs);
    }

    void saysWhenNobodyListens() {
        _desk->forgetCallbacks();
        _desk->close(false);
        QTRY_COMPARE(_lines.constLast()[u"event"_qs].toString(), u"closed"_qs);
        _phone->perform("text into the void");
        QCOMPARE(_lines.constLast()[u"text"_qs].toString(), u"nobody is connected"_qs);
    }

    void keepsNothingWithoutAFolder() {
        _phone->perform("history");
        QCOMPARE(_lines.constLast()[u"text"_qs].toString(),
                 u"nothing is kept: start with --data DIR"_qs);
    }

    void keepsWhatItReceivesAndSendsItBack() {
        restartWithData();
        _desk->outputObject(OutputObject::fixed(envelope(
            u"1"_qs, {{u"creationDate"_qs, Date{0}},
                      {u"items"_qs, PropertyList::List{PropertyList(
                                        PropertyList::Dictionary{{u"string"_qs, u"kept"_qs}})}}})));
        QCOMPARE(nextLine(u"clip"_qs)[u"number"_qs].toInt(), 1);
        // A message of another type is not kept.
        _desk->outputObject(
            OutputObject::fixed(envelope(u"2"_qs, {{u"items"_qs, PropertyList::List()}})));
        QVERIFY(!nextLine(u"object"_qs).contains(u"number"_qs));
        restartWithData();
        _phone->perform("copy 1");
        QCOMPARE(nextClip(u"1"_qs)[0].find(u"string"_qs)->string(), u"kept"_qs);
        QCOMPARE(_lines.constLast()[u"event"_qs].toString(), u"copied"_qs);
    }

    void saysThatAMalformedClipIsNotKept() {
        restartWithData();
        _desk->outputObject(OutputObject::fixed(envelope(u"1"_qs, {{u"items"_qs, u"no list"_qs}})));
        const QString text = nextLine(u"error"_qs)[u"text"_qs].toString();
        QVERIFY2(text.startsWith(u"the clip is not kept: "_qs), qPrintable(text));
        QCOMPARE(_lines[_lines.size() - 2][u"clip"_qs][u"items"_qs].toString(), u"no list"_qs);
    }

    void doesNotStartWithAFolderThatIsInUse() {
        restartWithData();
        QList<QJsonObject> lines;
        Phone second(_backend, optionsWith({}, _folder->filePath(u"data"_qs)));
        second.onPrint = [&lines](const QByteArray &line) {
            lines.append(QJsonDocument::fromJson(line).object());
        };
        QVERIFY(!second.start());
        QVERIFY(lines.constLast()[u"text"_qs].toString().contains(u"in use"_qs));
    }

    void quits() {
        _phone->perform("");
        QVERIFY(!_quit);
        _phone->perform("quit");
        QVERIFY(_quit);
    }

    // Without the network.

    void aPhoneOfTheSessionIsReachedThereAlone() {
        const QByteArray runtime = _folder->path().toLocal8Bit();
        const auto phones = dnssd::makeLocalBackend(runtime);
        Phone::Options options;
        options.name = u"Bert"_qs;
        options.calls = localPortCalls(runtime);
        Phone phone(*phones, options);
        QList<QJsonObject> lines;
        phone.onPrint = [&lines](const QByteArray &line) {
            lines.append(QJsonDocument::fromJson(line).object());
        };
        QVERIFY(phone.start());
        // As the agent has it.
        dnssd::LocalAndNetwork desks(dnssd::makeLocalBackend(runtime),
                                     std::make_unique<FakeDnsSd>());
        const auto desk =
            ZRKNetServiceClient::initWithTypeName(desks, u"_clipmule-s2._tcp"_qs, u"local/Bert"_qs);
        QList<PropertyList> received;
        desk->onReceiveObject = [&](NetService &, const PropertyList &object) {
            received.append(object);
        };
        desk->start();
        QTRY_COMPARE(received.size(), 1);
        QCOMPARE(received[0],
                 envelope(u"4"_qs, {{u"name"_qs, u"Bert"_qs}, {u"model"_qs, u"Linux"_qs}}));
        QTRY_COMPARE(lines.constLast()[u"event"_qs].toString(), u"opened"_qs);
        QCOMPARE(lines.constLast()[u"desk"_qs].toString(), u"localhost"_qs);
        phone.perform("text there");
        QTRY_COMPARE(received.size(), 2);
        desk->outputObject(OutputObject::fixed(envelope(u"77"_qs, {})));
        QTRY_COMPARE(lines.constLast()[u"event"_qs].toString(), u"object"_qs);
        // Its port is none of the computer's.
        QTcpServer other;
        QVERIFY(other.listen(QHostAddress::AnyIPv4, quint16(lines[0][u"port"_qs].toInt())));
        phone.stop();
        QTRY_VERIFY(desk->services().isEmpty());
        QVERIFY(!desk->isConnected());
    }

private:
    static Phone::Options optionsWith(const QString &saveFolder, const QString &dataFolder,
                                      const QString &name = QStringLiteral("Ben")) {
        Phone::Options options;
        options.name = name;
        options.saveFolder = saveFolder;
        options.dataFolder = dataFolder;
        return options;
    }

    QList<QJsonObject> linesOf(const QString &event) const {
        QList<QJsonObject> lines;
        for (const QJsonObject &line : _lines) {
            if (line[u"event"_qs].toString() == event)
                lines.append(line);
        }
        return lines;
    }

    void start(const Phone::Options &options) {
        _phone = std::make_unique<Phone>(_backend, options);
        _phone->onPrint = [this](const QByteArray &line) {
            _lines.append(QJsonDocument::fromJson(line).object());
        };
        _phone->onQuit = [this] { _quit = true; };
        QVERIFY(_phone->start());
        const auto port = quint16(_lines.constFirst()[u"port"_qs].toInt());
        _desk = ZRKStreamHandler::initWithInputStreamOutputStream(connectingStreamPair(
            {{QHostAddress(QHostAddress::LocalHost), port}}, RunLoop::Seconds(10)));
        _desk->onReceiveObject = [this](ZRKStreamHandler &, const PropertyList &object) {
            _received.append(object);
        };
        QTRY_COMPARE(_received.size(), 1);
    }

    void restartWithData() {
        end();
        _lines.clear();
        _received.clear();
        Phone::Options options;
        options.name = u"Anna"_qs;
        options.dataFolder = _folder->filePath(u"data"_qs);
        start(options);
    }

    QString write(const QString &name, const QByteArray &bytes) {
        QFile file(_folder->filePath(name));
        if (!file.open(QIODevice::WriteOnly))
            qFatal("no file");
        file.write(bytes);
        return file.fileName();
    }

    PropertyList::List nextClip(const QString &type) {
        const qsizetype before = _received.size();
        if (!QTest::qWaitFor([&] { return _received.size() > before; }))
            return {};
        return _received.constLast().find(type)->find(u"items"_qs)->list();
    }

    QJsonObject nextLine(const QString &event) {
        const bool came =
            QTest::qWaitFor([&] { return _lines.constLast()[u"event"_qs].toString() == event; });
        return came ? _lines.constLast() : QJsonObject();
    }

    QtRunLoop _runLoop;
    const RunLoop::Installation _installation{_runLoop};
    FakeDnsSd _backend;
    std::unique_ptr<QTemporaryDir> _folder;
    std::unique_ptr<Phone> _phone;
    std::shared_ptr<ZRKStreamHandler> _desk;
    QList<QJsonObject> _lines;
    QList<PropertyList> _received;
    bool _quit = false;
};

QTEST_GUILESS_MAIN(PhoneTest)
#include "tst_phone.moc"
