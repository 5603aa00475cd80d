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
using namespace Qt::StringLiterals;

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
        options.name = u"Anna"_s;
        options.saveFolder = _folder->filePath(u"images"_s);
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
        QCOMPARE(publication.service.name, u"Anna"_s);
        QCOMPARE(publication.service.type, u"_clipmule-s2._tcp"_s);
        QCOMPARE(int(publication.port), _lines.constFirst()[u"port"_s].toInt());
    }

    void tellsOfItselfWhenAConnectionOpens() {
        QCOMPARE(_received.constFirst(),
                 envelope(u"4"_s, {{u"name"_s, u"Anna"_s}, {u"model"_s, u"Linux"_s}}));
        QCOMPARE(_lines.constLast()[u"event"_s].toString(), u"opened"_s);
        QCOMPARE(_lines.constLast()[u"desk"_s].toString(), u"127.0.0.1"_s);
    }

    void tellsUnderWhichNameItIsFound() {
        QTRY_VERIFY(!linesOf(u"published"_s).isEmpty());
        QCOMPARE(linesOf(u"published"_s).constFirst(),
                 (QJsonObject{{u"event"_s, u"published"_s}, {u"name"_s, u"Anna"_s}}));
        QList<QJsonObject> lines;
        Phone second(_backend, optionsWith({}, {}, u"Anna"_s));
        second.onPrint = [&lines](const QByteArray &line) {
            lines.append(QJsonDocument::fromJson(line).object());
        };
        QVERIFY(second.start());
        QTRY_COMPARE(lines.constLast(), (QJsonObject{{u"event"_s, u"published"_s},
                                                     {u"name"_s, u"Anna (2)"_s},
                                                     {u"taken"_s, u"Anna"_s}}));
    }

    void tellsWhatWasSentAndToWhom() {
        const auto sent = [this] { return linesOf(u"sent"_s); };
        _phone->perform("text 😀");
        QCOMPARE(sent().constLast(), (QJsonObject{{u"event"_s, u"sent"_s},
                                                  {u"what"_s, u"text"_s},
                                                  {u"units"_s, 2},
                                                  {u"desk"_s, u"127.0.0.1"_s}}));
        _phone->perform("relay url http://a/");
        QCOMPARE(sent().constLast(), (QJsonObject{{u"event"_s, u"sent"_s},
                                                  {u"what"_s, u"url"_s},
                                                  {u"for"_s, u"other phones"_s},
                                                  {u"desk"_s, u"127.0.0.1"_s}}));
        const QByteArray bytes = png();
        _phone->perform("image " + write(u"a.png"_s, bytes).toUtf8());
        QCOMPARE(sent().constLast()[u"what"_s].toString(), u"image"_s);
        QCOMPARE(sent().constLast()[u"format"_s].toString(), u"png"_s);
        QCOMPARE(sent().constLast()[u"bytes"_s].toInt(), int(bytes.size()));
        QCOMPARE(sent().size(), 3);
        // What the stand-in tells of itself is not the user's doing.
        _desk->forgetCallbacks();
        _desk->close(false);
        QTRY_COMPARE(_lines.constLast()[u"event"_s].toString(), u"closed"_s);
        QCOMPARE(_lines.constLast()[u"desk"_s].toString(), u"127.0.0.1"_s);
        _phone->perform("text into the void");
        QCOMPARE(sent().size(), 3);
    }

    void refusesWhatIsNoImage() {
        const QString path = write(u"letter"_s, "Dear Anna");
        _phone->perform("image " + path.toUtf8());
        QCOMPARE(_lines.constLast()[u"text"_s].toString(),
                 path + u": no image of a known format"_s);
        // A drawing can be shown, but is none of the formats that travel.
        const QString drawing = write(u"a.svg"_s, "<svg xmlns=\"http://www.w3.org/2000/svg\"/>");
        _phone->perform("image " + drawing.toUtf8());
        QCOMPARE(_lines.constLast()[u"text"_s].toString(),
                 drawing + u": no image of a known format"_s);
    }

    void helps() {
        _phone->perform("help");
        const QJsonArray commands = _lines.constLast()[u"commands"_s].toArray();
        QCOMPARE(commands.size(), 8);
        QCOMPARE(commands[0],
                 (QJsonObject{{u"command"_s, u"text TEXT"_s},
                              {u"purpose"_s, u"send a text (\\n for a line break)"_s}}));
        restartWithData();
        _phone->perform("?");
        QCOMPARE(_lines.constLast()[u"commands"_s].toArray().size(), 21);
        QStringList text;
        Phone::Options options = optionsWith({}, {});
        options.isForPerson = true;
        Phone other(_backend, options);
        other.onPrint = [&text](const QByteArray &line) { text.append(QString::fromUtf8(line)); };
        other.perform("help");
        QCOMPARE(text.size(), 8);
        QCOMPARE(text[2], u"image FILE                      send an image"_s);
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
        QFile file(write(u"file"_s, {}));
        QList<QJsonObject> lines;
        Phone second(_backend, optionsWith(file.fileName(), {}));
        second.onPrint = [&lines](const QByteArray &line) {
            lines.append(QJsonDocument::fromJson(line).object());
        };
        QVERIFY(!second.start());
        QCOMPARE(lines.constFirst()[u"text"_s].toString(),
                 file.fileName() + u": the folder cannot be written to"_s);
        // It was made at the start, for this user alone.
        QVERIFY(!(QFile::permissions(_folder->filePath(u"images"_s)) &
                  (QFile::ReadGroup | QFile::ReadOther | QFile::ExeGroup | QFile::ExeOther)));
    }

    void sendsTexts() {
        _phone->perform("strings A | B");
        const PropertyList::List items = nextClip(u"1"_s);
        QCOMPARE(items.size(), 2);
        QCOMPARE(items[0].find(u"string"_s)->string(), u"A"_s);
        QCOMPARE(items[1].find(u"string"_s)->string(), u"B"_s);
        QCOMPARE(items[0].find(u"createdBy"_s)->integerValue(), 1);
        QVERIFY(items[0].find(u"oid"_s)->string() != items[1].find(u"oid"_s)->string());
    }

    void sendsUrls() {
        _phone->perform("url https://example.org/\xC3\xBC?a=1");
        QCOMPARE(nextClip(u"1"_s)[0].find(u"url"_s)->string(), u"https://example.org/%C3%BC?a=1"_s);
        _phone->perform("url no scheme");
        QCOMPARE(_lines.constLast()[u"text"_s].toString(), u"not a URL: no scheme"_s);
    }

    void sendsImages() {
        const QByteArray bytes = png();
        const QString path = write(u"a b.png"_s, bytes);
        _phone->perform("image " + path.toUtf8());
        QCOMPARE(nextClip(u"1"_s)[0].find(u"imageData"_s)->data(), bytes);
    }

    void refusesFilesThatAreNone() {
        _phone->perform("image /no/such/file");
        QCOMPARE(_lines.constLast()[u"text"_s].toString(), u"/no/such/file: no such file"_s);
        _phone->perform("image " + _folder->path().toUtf8());
        QCOMPARE(_lines.constLast()[u"text"_s].toString(), _folder->path() + u": no such file"_s);
    }

    void refusesAFileThatIsTooLarge() {
        QFile file(_folder->filePath(u"large"_s));
        QVERIFY(file.open(QIODevice::WriteOnly));
        QVERIFY(file.resize(Phone::largestFile + 1));
        _phone->perform("image " + file.fileName().toUtf8());
        QVERIFY(_lines.constLast()[u"text"_s].toString().endsWith(u"larger than 50331648 bytes"_s));
    }

    void relays() {
        _phone->perform("relay text for the others");
        QCOMPARE(nextClip(u"2"_s)[0].find(u"string"_s)->string(), u"for the others"_s);
    }

    void sendsAnyPropertyList() {
        const QString path = write(u"any.plist"_s, "{ 99 = (a, b); }");
        _phone->perform("plist " + path.toUtf8());
        QTRY_COMPARE(_received.size(), 2);
        QCOMPARE(_received.constLast().find(u"99"_s)->list().size(), 2);
        const QString broken = write(u"broken.plist"_s, "<<<");
        _phone->perform("plist " + broken.toUtf8());
        QVERIFY(_lines.constLast()[u"text"_s].toString().startsWith(broken + u": "_s));
    }

    void printsAClip() {
        const QByteArray bytes = png();
        _desk->outputObject(OutputObject::fixed(envelope(
            u"1"_s, {{u"title"_s, u"T"_s},
                     {u"items"_s, PropertyList::List{PropertyList(PropertyList::Dictionary{
                                      {u"string"_s, u"täxt"_s}, {u"imageData"_s, bytes}})}}})));
        const QJsonObject line = nextLine(u"clip"_s);
        const QJsonObject item = line[u"clip"_s][u"items"_s][0].toObject();
        QCOMPARE(line[u"clip"_s][u"title"_s].toString(), u"T"_s);
        QCOMPARE(item[u"string"_s].toString(), u"täxt"_s);
        const QJsonObject image = item[u"imageData"_s].toObject();
        QCOMPARE(image[u"format"_s].toString(), u"png"_s);
        QCOMPARE(image[u"width"_s].toInt(), 20);
        QCOMPARE(image[u"height"_s].toInt(), 10);
        QFile saved(image[u"file"_s].toString());
        QVERIFY(saved.open(QIODevice::ReadOnly));
        QCOMPARE(saved.readAll(), bytes);
        QVERIFY(!(saved.permissions() & (QFile::ReadGroup | QFile::ReadOther)));
    }

    void printsOfUnknownImagesHowLargeTheyAre() {
        _desk->outputObject(OutputObject::fixed(envelope(
            u"1"_s,
            {{u"items"_s, PropertyList::List{PropertyList(PropertyList::Dictionary{
                              {u"imageData"_s, QByteArray("<svg xmlns='http://www.w3.org/2000/"
                                                          "svg' width='9' height='9'/>")}})}}})));
        const QJsonObject image =
            nextLine(u"clip"_s)[u"clip"_s][u"items"_s][0][u"imageData"_s].toObject();
        QCOMPARE(image[u"format"_s].toString(), QString());
        QCOMPARE(image[u"width"_s].toInt(), -1);
        QVERIFY(image[u"bytes"_s].toInt() > 50);
    }

    // A small message may refer to one value from many places.
    void refusesToPrintWhatGrows() {
        PhoneLog log(_folder->filePath(u"images"_s));
        const auto clipOf = [](qsizetype count, const PropertyList &item) {
            return envelope(u"1"_s, {{u"items"_s, PropertyList::List(count, item)}});
        };
        const auto least = [](qsizetype count) {
            return PropertyList(PropertyList::List(count, PropertyList(1)));
        };
        // The envelope, the clip, their keys and the list.
        const qint64 others = 5;
        QVERIFY(!log.received(clipOf(PhoneLog::mostValues - others, PropertyList(1)))
                     .contains(u"refused"_s));
        const QJsonObject line = log.received(clipOf(PhoneLog::mostValues - others + 1, 1));
        QCOMPARE(line[u"event"_s].toString(), u"clip"_s);
        QCOMPARE(line[u"type"_s].toString(), u"1"_s);
        QVERIFY(line.contains(u"refused"_s));
        QVERIFY(!line.contains(u"clip"_s));
        QVERIFY(!log.received(least(PhoneLog::mostValues - 1)).contains(u"refused"_s));
        QCOMPARE(log.received(least(PhoneLog::mostValues))[u"event"_s].toString(), u"object"_s);
        QVERIFY(log.received(least(PhoneLog::mostValues)).contains(u"refused"_s));
        const QJsonObject devices =
            log.received(envelope(u"3"_s, {{u"Anna"_s, least(PhoneLog::mostValues)}}));
        QCOMPARE(devices.keys(), (QStringList{u"event"_s, u"refused"_s}));
        QCOMPARE(devices[u"event"_s].toString(), u"object"_s);
        // One picture in very many items: none of them is written.
        const PropertyList::Dictionary item{{u"imageData"_s, QByteArray(1'000'000, 'x')}};
        QVERIFY(log.received(clipOf(200, PropertyList(item))).contains(u"refused"_s));
        QVERIFY(QDir(_folder->filePath(u"images"_s)).isEmpty());
    }

    void keepsWhatAnEarlierRunSaved() {
        const QString earlier = write(u"images/image-0001.png"_s, "earlier");
        _desk->outputObject(OutputObject::fixed(
            envelope(u"1"_s, {{u"items"_s, PropertyList::List{PropertyList(PropertyList::Dictionary{
                                               {u"imageData"_s, png()}})}}})));
        const QString saved =
            nextLine(u"clip"_s)[u"clip"_s][u"items"_s][0][u"imageData"_s][u"file"_s].toString();
        QVERIFY(saved.endsWith(u"image-0002.png"_s));
        QFile file(earlier);
        QVERIFY(file.open(QIODevice::ReadOnly));
        QCOMPARE(file.readAll(), QByteArray("earlier"));
    }

    void printsTheDevices() {
        _desk->outputObject(OutputObject::fixed(envelope(
            u"3"_s, {{u"Ben"_s, PropertyList(PropertyList::Dictionary{{u"name"_s, u"B"_s}})}})));
        QCOMPARE(nextLine(u"devices"_s)[u"devices"_s][u"Ben"_s][u"name"_s].toString(), u"B"_s);
    }

    void printsWhatItDoesNotKnow() {
        _desk->outputObject(OutputObject::fixed(PropertyList(u"word"_s)));
        QCOMPARE(nextLine(u"object"_s)[u"object"_s].toString(), u"word"_s);
        _desk->outputObject(OutputObject::fixed(envelope(u"77"_s, {{u"date"_s, Date{0}}})));
        QTRY_COMPARE(_lines.constLast()[u"type"_s].toString(), u"77"_s);
        QCOMPARE(_lines.constLast()[u"object"_s][u"date"_s].toString(),
                 u"2001-01-01T00:00:00.000Z"_s);
    }

    void saysWhenNobodyListens() {
        _desk->forgetCallbacks();
        _desk->close(false);
        QTRY_COMPARE(_lines.constLast()[u"event"_s].toString(), u"closed"_s);
        _phone->perform("text into the void");
        QCOMPARE(_lines.constLast()[u"text"_s].toString(), u"nobody is connected"_s);
    }

    void keepsNothingWithoutAFolder() {
        _phone->perform("history");
        QCOMPARE(_lines.constLast()[u"text"_s].toString(),
                 u"nothing is kept: start with --data DIR"_s);
    }

    void keepsWhatItReceivesAndSendsItBack() {
        restartWithData();
        _desk->outputObject(OutputObject::fixed(
            envelope(u"1"_s, {{u"creationDate"_s, Date{0}},
                              {u"items"_s, PropertyList::List{PropertyList(PropertyList::Dictionary{
                                               {u"string"_s, u"kept"_s}})}}})));
        QCOMPARE(nextLine(u"clip"_s)[u"number"_s].toInt(), 1);
        // A message of another type is not kept.
        _desk->outputObject(
            OutputObject::fixed(envelope(u"2"_s, {{u"items"_s, PropertyList::List()}})));
        QVERIFY(!nextLine(u"object"_s).contains(u"number"_s));
        restartWithData();
        _phone->perform("copy 1");
        QCOMPARE(nextClip(u"1"_s)[0].find(u"string"_s)->string(), u"kept"_s);
        QCOMPARE(_lines.constLast()[u"event"_s].toString(), u"copied"_s);
    }

    void saysThatAMalformedClipIsNotKept() {
        restartWithData();
        _desk->outputObject(OutputObject::fixed(envelope(u"1"_s, {{u"items"_s, u"no list"_s}})));
        const QString text = nextLine(u"error"_s)[u"text"_s].toString();
        QVERIFY2(text.startsWith(u"the clip is not kept: "_s), qPrintable(text));
        QCOMPARE(_lines[_lines.size() - 2][u"clip"_s][u"items"_s].toString(), u"no list"_s);
    }

    void doesNotStartWithAFolderThatIsInUse() {
        restartWithData();
        QList<QJsonObject> lines;
        Phone second(_backend, optionsWith({}, _folder->filePath(u"data"_s)));
        second.onPrint = [&lines](const QByteArray &line) {
            lines.append(QJsonDocument::fromJson(line).object());
        };
        QVERIFY(!second.start());
        QVERIFY(lines.constLast()[u"text"_s].toString().contains(u"in use"_s));
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
        options.name = u"Bert"_s;
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
            ZRKNetServiceClient::initWithTypeName(desks, u"_clipmule-s2._tcp"_s, u"local/Bert"_s);
        QList<PropertyList> received;
        desk->onReceiveObject = [&](NetService &, const PropertyList &object) {
            received.append(object);
        };
        desk->start();
        QTRY_COMPARE(received.size(), 1);
        QCOMPARE(received[0], envelope(u"4"_s, {{u"name"_s, u"Bert"_s}, {u"model"_s, u"Linux"_s}}));
        QTRY_COMPARE(lines.constLast()[u"event"_s].toString(), u"opened"_s);
        QCOMPARE(lines.constLast()[u"desk"_s].toString(), u"localhost"_s);
        phone.perform("text there");
        QTRY_COMPARE(received.size(), 2);
        desk->outputObject(OutputObject::fixed(envelope(u"77"_s, {})));
        QTRY_COMPARE(lines.constLast()[u"event"_s].toString(), u"object"_s);
        // Its port is none of the computer's.
        QTcpServer other;
        QVERIFY(other.listen(QHostAddress::AnyIPv4, quint16(lines[0][u"port"_s].toInt())));
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
            if (line[u"event"_s].toString() == event)
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
        const auto port = quint16(_lines.constFirst()[u"port"_s].toInt());
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
        options.name = u"Anna"_s;
        options.dataFolder = _folder->filePath(u"data"_s);
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
        return _received.constLast().find(type)->find(u"items"_s)->list();
    }

    QJsonObject nextLine(const QString &event) {
        const bool came =
            QTest::qWaitFor([&] { return _lines.constLast()[u"event"_s].toString() == event; });
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
