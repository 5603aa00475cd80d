// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "support/RegisteredPhones.h"
#include "tests/web/WebTestCase.h"

#include <QAbstractEventDispatcher>
#include <QBuffer>
#include <QFileInfo>
#include <QImage>
#include <QJsonArray>

using namespace clipmule;
using web_test::clipOf;
using web_test::Page;
using web_test::PageClient;

namespace {

QByteArray png(int side) {
    QImage image(side, side, QImage::Format_RGB32);
    // What cannot be compressed.
    for (int row = 0; row < side; ++row) {
        for (int column = 0; column < side; ++column)
            image.setPixel(column, row, qHash(row * side + column, 7) | 0xff000000);
    }
    QByteArray bytes;
    QBuffer buffer(&bytes);
    image.save(&buffer, "PNG");
    return bytes;
}

} // namespace

class WebProgramTest final : public kit::WebTestCase {
    Q_OBJECT

private Q_SLOTS:
    void aBrowserIsPairedByTheCode() {
        const auto page = paired();
        QVERIFY(page);
        QCOMPARE(_welcome[u"computer"_qs].toString(), u"desk"_qs);
        QCOMPARE(_welcome[u"name"_qs].toString(), u"Anna's phone"_qs);
        QCOMPARE(_welcome[u"keeps"_qs].toBool(), true);
        QCOMPARE(_welcome[u"limits"_qs][u"text"_qs].toInt(), 9'999'999);
        QCOMPARE(_welcome[u"limits"_qs][u"picture"_qs].toInt(), 9'999'999);
        QCOMPARE(_welcome[u"filters"_qs].toArray().size(), 10);
        QCOMPARE(page->hear(u"state"_qs)[u"desk"_qs].toString(), u"away"_qs);
        QCOMPARE(page->hear(u"clips"_qs)[u"clips"_qs].toArray().size(), 0);
        // It is a phone like any other.
        QTRY_COMPARE(_backend.published().size(), 1);
        QCOMPARE(_backend.published().constFirst().service.name, u"Anna's phone"_qs);
    }

    void aPairedBrowserComesBack() {
        const PageClient::Secrets secrets = resuming(paired());
        Page page(port(), secrets);
        QVERIFY(page.shakeHands());
        page.say({{u"is"_qs, u"resume"_qs}, {u"language"_qs, u"en"_qs}});
        QCOMPARE(page.hear(u"welcome"_qs)[u"name"_qs].toString(), u"Anna's phone"_qs);
        // Also to another run of the program.
        end();
        start();
        Page later(port(), secrets);
        QVERIFY(later.shakeHands());
        later.say({{u"is"_qs, u"resume"_qs}, {u"language"_qs, u"en"_qs}});
        QCOMPARE(later.hear(u"welcome"_qs)[u"name"_qs].toString(), u"Anna's phone"_qs);
        QCOMPARE(_backend.published().size(), 1);
    }

    void theKeysAreNobodyElses() {
        QVERIFY(paired());
        const QString file = _folder->filePath(u"data/browsers.json"_qs);
        QVERIFY(QFileInfo::exists(file));
        QCOMPARE(QFile::permissions(file) & 0x0077, QFileDevice::Permissions());
        QCOMPARE(QFile::permissions(_folder->filePath(u"data"_qs)) & 0x0077,
                 QFileDevice::Permissions());
    }

    void aClipOfTheDeskIsShown() {
        const auto page = paired();
        connectDesk();
        QCOMPARE(page->hear(u"state"_qs)[u"desk"_qs].toString(), u"away"_qs);
        QCOMPARE(page->hear(u"state"_qs)[u"desk"_qs].toString(), u"connected"_qs);
        _desk->outputObject(OutputObject::fixed(clipOf({{u"string"_qs, u"Grüße 🐴"_qs}})));
        const QJsonObject clip = page->hear(u"clip"_qs)[u"clip"_qs].toObject();
        QCOMPARE(clip[u"text"_qs].toString(), u"Grüße 🐴"_qs);
        QCOMPARE(clip[u"kind"_qs].toString(), u"text"_qs);
        QCOMPARE(clip[u"length"_qs].toInt(), 8);
        QCOMPARE(clip[u"at"_qs].toInteger(), 1678307200000);
    }

    void aPictureOfTheDeskIsFetched() {
        const auto page = paired();
        connectDesk();
        const QByteArray bytes = png(400);
        QVERIFY(bytes.size() > 300'000);
        _desk->outputObject(OutputObject::fixed(clipOf({{u"imageData"_qs, bytes}})));
        const QJsonObject clip = page->hear(u"clip"_qs)[u"clip"_qs].toObject();
        QCOMPARE(clip[u"kind"_qs].toString(), u"picture"_qs);
        QCOMPARE(clip[u"picture"_qs][u"type"_qs].toString(), u"image/png"_qs);
        QCOMPARE(clip[u"picture"_qs][u"size"_qs].toInteger(), bytes.size());
        QCOMPARE(clip[u"picture"_qs][u"width"_qs].toInt(), 400);
        QCOMPARE(clip[u"picture"_qs][u"height"_qs].toInt(), 400);
        page->say({{u"is"_qs, u"fetch"_qs},
                   {u"clip"_qs, clip[u"id"_qs]},
                   {u"what"_qs, u"picture"_qs},
                   {u"transfer"_qs, 1}});
        QVERIFY(page->hearData(1) == bytes);
    }

    void aClipSaysWhereItIsFrom() {
        const auto page = paired();
        connectDesk();
        const auto from = [&](qint64 createdBy) {
            _desk->outputObject(OutputObject::fixed(
                clipOf({{u"string"_qs, u"a"_qs}, {u"createdBy"_qs, createdBy}})));
            return page->hear(u"clip"_qs)[u"clip"_qs][u"from"_qs].toString();
        };
        const auto tellOf = [&](const QStringList &names) {
            PropertyList::Dictionary devices{
                {u"Anna's phone"_qs, PropertyList::Dictionary{{u"name"_qs, u"Anna's phone"_qs}}}};
            for (const QString &name : names)
                devices.insert(u"service of "_qs + name,
                               PropertyList::Dictionary{{u"name"_qs, name}});
            _desk->outputObject(OutputObject::fixed(MessageEnvelope::make(
                MessageEnvelope::Type::ConnectedDevices, PropertyList(devices))));
        };
        QCOMPARE(from(2), u"desk"_qs);
        QCOMPARE(from(1), QString());
        tellOf({u"Ben \n 2"_qs});
        QCOMPARE(from(2), u"desk"_qs);
        QCOMPARE(from(1), u"Ben 2"_qs);
        // Of two phones it could be either.
        tellOf({u"Ben"_qs, u"Cleo"_qs});
        QCOMPARE(from(1), QString());
        tellOf({});
        QCOMPARE(from(1), QString());
    }

    void whatADeskHasNoReasonToSayIsPassedOver() {
        const auto page = paired();
        connectDesk();
        using Type = MessageEnvelope::Type;
        const PropertyList item(PropertyList::Dictionary{{u"string"_qs, u"no"_qs}});
        const PropertyList clip(PropertyList::Dictionary{{u"items"_qs, PropertyList::List{item}}});
        for (const PropertyList &message :
             {MessageEnvelope::make(Type::ClipForDevices, clip),
              MessageEnvelope::make(Type::DeviceRecord, clip), clip,
              PropertyList(PropertyList::Dictionary{}),
              MessageEnvelope::make(Type::ConnectedDevices,
                                    PropertyList(PropertyList::Dictionary{{u"a"_qs, u"b"_qs}})),
              // Nothing that a page can show.
              clipOf({{u"other"_qs, QByteArray("x")}})})
            _desk->outputObject(OutputObject::fixed(message));
        QTest::ignoreMessage(QtWarningMsg,
                             QRegularExpression(u"^a message of the desk is not taken: "_qs));
        _desk->outputObject(OutputObject::fixed(MessageEnvelope::make(
            Type::Clip, PropertyList(PropertyList::Dictionary{{u"items"_qs, u"none"_qs}}))));
        _desk->outputObject(OutputObject::fixed(clipOf({{u"string"_qs, u"yes"_qs}})));
        QCOMPARE(page->hear(u"clip"_qs)[u"clip"_qs][u"text"_qs].toString(), u"yes"_qs);
    }

    void aTextOfThePageReachesTheDesk() {
        const auto page = paired();
        connectDesk();
        page->say({{u"is"_qs, u"send"_qs},
                   {u"transfer"_qs, 1},
                   {u"size"_qs, 7},
                   {u"kind"_qs, u"text"_qs},
                   {u"relay"_qs, false}});
        page->sendPiece(1, "Grü");
        page->sendPiece(1, "ße");
        QCOMPARE(page->hear(u"sent"_qs)[u"for"_qs].toInt(), 1);
        QTRY_COMPARE(_received.size(), 2);
        const auto items = _received[1].find(u"1"_qs)->find(u"items"_qs)->list();
        QCOMPARE(items[0].find(u"string"_qs)->string(), u"Grüße"_qs);
    }

    void aBrowserThatForgetsLeavesNothingBehind() {
        const auto other = paired(u"Ben's phone"_qs);
        const auto page = paired();
        const auto folder = [this](const std::unique_ptr<Page> &one) {
            return _folder->filePath(u"data/"_qs +
                                     QString::fromLatin1(one->client().browserId().toHex()));
        };
        QVERIFY(QDir().mkpath(folder(page)));
        QVERIFY(QDir().mkpath(folder(other)));
        page->say({{u"is"_qs, u"forget"_qs}});
        QVERIFY(!page->hear(u"revoked"_qs).isEmpty());
        QTRY_COMPARE(_backend.published().size(), 1);
        QVERIFY(!QFileInfo::exists(folder(page)));
        QVERIFY(QFileInfo(folder(other)).isDir());
        // And not known to another run either.
        end();
        start();
        Page later(port(), resuming(page));
        QVERIFY(!later.shakeHands());
        Page others(port(), resuming(other));
        QVERIFY(others.shakeHands());
    }
    void whatCannotBeSentWaitsForTheDesk() {
        const auto page = paired();
        sendText(*page, 1, "one");
        QCOMPARE(page->hear(u"waiting"_qs)[u"for"_qs].toInt(), 1);
        sendText(*page, 3, "two", true);
        QCOMPARE(page->hear(u"waiting"_qs)[u"for"_qs].toInt(), 3);
        connectDesk();
        QCOMPARE(page->hear(u"sent"_qs)[u"for"_qs].toInt(), 1);
        QCOMPARE(page->hear(u"sent"_qs)[u"for"_qs].toInt(), 3);
        QTRY_COMPARE(_received.size(), 3);
        QCOMPARE(
            _received[1].find(u"1"_qs)->find(u"items"_qs)->list()[0].find(u"string"_qs)->string(),
            u"one"_qs);
        QCOMPARE(lastItems(u"2"_qs)[0].find(u"string"_qs)->string(), u"two"_qs);
    }

    void whatWaitsOutlivesTheProgram() {
        const auto page = paired();
        sendText(*page, 1, "one", true);
        QCOMPARE(page->hear(u"waiting"_qs)[u"for"_qs].toInt(), 1);
        end();
        start();
        connectDesk();
        QTRY_COMPARE(_received.size(), 2);
        QCOMPARE(lastItems(u"2"_qs)[0].find(u"string"_qs)->string(), u"one"_qs);
        // It was sent, and is not sent again.
        end();
        start();
        connectDesk();
        const auto later = resumed(resuming(page));
        sendText(*later, 1, "two");
        QTRY_COMPARE(_received.size(), 2);
        QCOMPARE(lastItems(u"1"_qs)[0].find(u"string"_qs)->string(), u"two"_qs);
    }

    void whereNothingIsKeptNothingWaits() {
        end();
        start(false);
        const auto page = paired();
        QCOMPARE(_welcome[u"keeps"_qs].toBool(true), false);
        sendText(*page, 1, "one");
        QCOMPARE(page->hear(u"notSent"_qs)[u"why"_qs].toString(), u"noDesk"_qs);
        connectDesk();
        _desk->outputObject(OutputObject::fixed(clipOf({{u"string"_qs, u"shown"_qs}})));
        const QJsonObject clip = page->hear(u"clip"_qs)[u"clip"_qs].toObject();
        QCOMPARE(clip[u"text"_qs].toString(), u"shown"_qs);
        // As long as a page is open it can be fetched.
        const auto second = resumed(resuming(page));
        QCOMPARE(second->hear(u"clips"_qs)[u"clips"_qs].toArray().size(), 1);
        page->socket().socket().close();
        second->socket().socket().close();
        QTRY_COMPARE(_web->list()[0][u"pages"_qs].toInt(), 0);
        QCOMPARE(resumed(resuming(page))->hear(u"clips"_qs)[u"clips"_qs].toArray().size(), 0);
        QVERIFY(!QDir(_folder->filePath(u"data"_qs))
                     .entryList()
                     .contains(_web->list()[0][u"id"_qs].toString()));
    }

    void whatAnEarlierRunKeptGoesWhereNothingIsToBe() {
        const auto page = paired();
        const QString folder = _folder->filePath(
            u"data/"_qs + QString::fromLatin1(page->client().browserId().toHex()));
        connectDesk();
        _desk->outputObject(OutputObject::fixed(clipOf({{u"string"_qs, u"kept"_qs}})));
        QVERIFY(!page->hear(u"clip"_qs).isEmpty());
        end();
        QVERIFY(QFileInfo::exists(folder));
        start(false);
        QVERIFY(!QFileInfo::exists(folder));
        QCOMPARE(resumed(resuming(page))->hear(u"clips"_qs)[u"clips"_qs].toArray().size(), 0);
        // What the page was promised to be kept for the desk comes there with the next run that
        // may.
        end();
        start();
        const auto later = resumed(resuming(page));
        connectDesk();
        _desk->outputObject(OutputObject::fixed(clipOf({{u"string"_qs, u"kept"_qs}})));
        QVERIFY(!later->hear(u"clip"_qs).isEmpty());
        _desk.reset();
        QCOMPARE(later->hear(u"state"_qs)[u"desk"_qs].toString(), u"away"_qs);
        sendText(*later, 1, "waits");
        QVERIFY(!later->hear(u"waiting"_qs).isEmpty());
        end();
        start(false);
        QVERIFY(QFileInfo::exists(folder));
        end();
        start();
        QCOMPARE(resumed(resuming(page))->hear(u"clips"_qs)[u"clips"_qs].toArray().size(), 0);
        connectDesk();
        QTRY_COMPARE(_received.size(), 2);
        QCOMPARE(lastItems(u"1"_qs)[0].find(u"string"_qs)->string(), u"waits"_qs);
    }

    void whatCameMeanwhileIsThere() {
        const auto page = paired();
        const PageClient::Secrets secrets = resuming(page);
        connectDesk();
        page->socket().socket().close();
        for (int number = 0; number < 52; ++number)
            _desk->outputObject(
                OutputObject::fixed(clipOf({{u"string"_qs, u"text %1"_qs.arg(number)}})));
        const auto shown = [&] {
            const auto later = resumed(secrets);
            QJsonArray clips = later->hear(u"clips"_qs)[u"clips"_qs].toArray();
            return clips;
        };
        QTRY_COMPARE(shown()[0][u"text"_qs].toString(), u"text 51"_qs);
        QCOMPARE(shown().size(), 50);
        QCOMPARE(shown()[49][u"text"_qs].toString(), u"text 2"_qs);
        end();
        start();
        QCOMPARE(shown().size(), 50);
        QCOMPARE(shown()[0][u"text"_qs].toString(), u"text 51"_qs);
    }

    void longClipsComeInSeveralMessages() {
        const auto page = paired();
        connectDesk();
        for (int number = 0; number < 6; ++number) {
            _desk->outputObject(OutputObject::fixed(
                clipOf({{u"string"_qs, QString(20'000, QChar(u'a' + number))}})));
            const QJsonObject clip = page->hear(u"clip"_qs)[u"clip"_qs].toObject();
            QCOMPARE(clip[u"length"_qs].toInt(), 20'000);
            QCOMPARE(clip[u"text"_qs].toString().size(), 16'000);
        }
        const auto later = resumed(resuming(page));
        const QJsonObject first = later->hear(u"clips"_qs);
        QCOMPARE(first[u"more"_qs].toBool(), true);
        QCOMPARE(first[u"clips"_qs].toArray().size(), 4);
        const QJsonObject second = later->hear(u"clips"_qs);
        QVERIFY(!second.contains(u"more"_qs));
        QCOMPARE(second[u"clips"_qs].toArray().size(), 2);
        const QString id = second[u"clips"_qs][1][u"id"_qs].toString();
        later->say({{u"is"_qs, u"fetch"_qs},
                    {u"clip"_qs, id},
                    {u"what"_qs, u"text"_qs},
                    {u"transfer"_qs, 1}});
        QCOMPARE(later->hearData(1), QByteArray(20'000, 'a'));
    }

    void pagesOfOneBrowserShowTheSame() {
        const auto page = paired();
        const auto other = resumed(resuming(page));
        const auto stranger = paired(u"Ben's phone"_qs);
        (void)page->hear(u"clips"_qs);
        (void)other->hear(u"clips"_qs);
        _desk.reset();
        QTRY_COMPARE(_backend.published().size(), 2);
        _desk = ZRKStreamHandler::initWithInputStreamOutputStream(connectingStreamPair(
            {{QHostAddress(QHostAddress::LocalHost), _backend.published().constFirst().port}},
            RunLoop::Seconds(10)));
        _desk->outputObject(OutputObject::fixed(clipOf({{u"string"_qs, u"both"_qs}})));
        const QString id = page->hear(u"clip"_qs)[u"clip"_qs][u"id"_qs].toString();
        QVERIFY(!id.isEmpty());
        QCOMPARE(other->hear(u"clip"_qs)[u"clip"_qs][u"id"_qs].toString(), id);
        page->say({{u"is"_qs, u"remove"_qs}, {u"clip"_qs, id}});
        QCOMPARE(other->hear(u"gone"_qs)[u"clips"_qs].toArray(), QJsonArray{id});
        other->say({{u"is"_qs, u"fetch"_qs},
                    {u"clip"_qs, id},
                    {u"what"_qs, u"text"_qs},
                    {u"transfer"_qs, 1}});
        QCOMPARE(other->hear(u"refused"_qs)[u"why"_qs].toString(), u"gone"_qs);
        page->say({{u"is"_qs, u"rename"_qs}, {u"name"_qs, u" My \n phone "_qs}});
        QCOMPARE(other->hear(u"renamed"_qs)[u"name"_qs].toString(), u"My phone"_qs);
        // Nothing of it is the other browser's.
        stranger->say({{u"is"_qs, u"ping"_qs}});
        while (const auto plain = stranger->next()) {
            QVERIFY(!plain->contains("both") && !plain->contains("gone") &&
                    !plain->contains("renamed"));
            if (plain->contains("pong"))
                break;
        }
    }

    void aDeskWithPhonesEnoughGetsNoneMore() {
        using namespace RegisteredPhones;
        PropertyList list(PropertyList::List{});
        for (int number = 1; number < mostPhones; ++number)
            list = changed(list, QString::number(number), {});
        QVERIFY(_settings->set(Settings::Key::ServerServices, list));
        const auto stored = [this] { return _settings->value(Settings::Key::ServerServices); };
        QVERIFY(paired(u"Ben's phone"_qs));
        QVERIFY(phone(stored(), u"local/Ben's phone"_qs));
        QTest::ignoreMessage(
            QtWarningMsg, QRegularExpression(u"^the desk is not told of it: .*paired already"_qs));
        QVERIFY(paired());
        QVERIFY(stored() == changed(list, u"local/Ben's phone"_qs, {.name = u"Ben's phone"_qs}));
    }

    void theDeskIsToldOfABrowser() {
        using RegisteredPhones::phones;
        const auto stored = [this] {
            return phones(_settings->value(Settings::Key::ServerServices));
        };
        const auto page = paired();
        QCOMPARE(stored().size(), 1);
        QCOMPARE(stored()[0].service, u"local/Anna's phone"_qs);
        QCOMPARE(stored()[0].name, u"Anna's phone"_qs);
        QVERIFY(_web->renameNamed(u"Anna's phone"_qs, u"Mum"_qs));
        QCOMPARE(stored().size(), 1);
        QCOMPARE(stored()[0].service, u"local/Anna's phone"_qs);
        QCOMPARE(stored()[0].name, u"Mum"_qs);
        QVERIFY(_web->revokeNamed(u"Mum"_qs));
        QCOMPARE(stored().size(), 0);
        QVERIFY(!page->hear(u"revoked"_qs).isEmpty());
        QVERIFY(page->socket().closes());
        QTRY_COMPARE(_backend.published().size(), 0);
        QVERIFY(!_web->revokeNamed(u"Mum"_qs));
    }

    void aBrowserThatTheDeskUnpairedStaysSo() {
        const auto page = paired();
        QVERIFY(RegisteredPhones::remove(*_settings, u"local/Anna's phone"_qs));
        page->say({{u"is"_qs, u"rename"_qs}, {u"name"_qs, u"Mum"_qs}});
        QCOMPARE(page->hear(u"renamed"_qs)[u"name"_qs].toString(), u"Mum"_qs);
        QVERIFY(
            RegisteredPhones::phones(_settings->value(Settings::Key::ServerServices)).isEmpty());
    }

    void aPageThatReadsSlowlyHearsItsEnd() {
        const auto page = paired();
        connectDesk();
        _desk->outputObject(
            OutputObject::fixed(clipOf({{u"string"_qs, QString(9'900'000, u'x')}})));
        const QString id = page->hear(u"clip"_qs)[u"clip"_qs][u"id"_qs].toString();
        // More than the sockets between them hold.
        QTcpSocket &socket = page->socket().socket();
        socket.setReadBufferSize(1000);
        for (const int transfer : {1, 3, 5})
            page->say({{u"is"_qs, u"fetch"_qs},
                       {u"clip"_qs, id},
                       {u"what"_qs, u"text"_qs},
                       {u"transfer"_qs, transfer}});
        QTRY_VERIFY(socket.bytesAvailable() > 0);
        const auto untilNothingMoves = [] {
            while (QAbstractEventDispatcher::instance()->processEvents(QEventLoop::AllEvents)) {
            }
        };
        untilNothingMoves();
        QVERIFY(_web->revokeNamed(u"Anna's phone"_qs));
        untilNothingMoves();
        // The rest of the texts is not waited for.
        socket.setReadBufferSize(0);
        qsizetype bytes = 0;
        std::optional<QByteArray> plain;
        while ((plain = page->next()) && plain->startsWith('\1'))
            bytes += plain->size();
        while (plain && !plain->contains("revoked"))
            plain = page->next();
        QVERIFY(plain);
        QVERIFY(bytes < 3 * 9'900'000);
        QVERIFY(page->socket().closes());
    }

    void aSyncThatIsSwitchedOffIsSaid() {
        const auto page = paired();
        QCOMPARE(page->hear(u"state"_qs)[u"desk"_qs].toString(), u"away"_qs);
        QVERIFY(_settings->set(Settings::Key::SyncEnabled, PropertyList(false)));
        QCOMPARE(page->hear(u"state"_qs)[u"desk"_qs].toString(), u"off"_qs);
    }

    void aCodeIsUsedOnce() {
        const QByteArray shown = code();
        Page first(port(), PageClient::withCode(shown));
        Page second(port(), PageClient::withCode(shown));
        QVERIFY(first.shakeHands());
        QVERIFY(second.shakeHands());
        const QJsonObject pair{
            {u"is"_qs, u"pair"_qs}, {u"name"_qs, u"A"_qs}, {u"language"_qs, u"en"_qs}};
        first.say(pair);
        QVERIFY(!first.hear(u"welcome"_qs).isEmpty());
        // Whoever was quicker with the hello has nothing of it.
        second.say(pair);
        QVERIFY(second.hear(u"welcome"_qs).isEmpty());
        QVERIFY(second.socket().closes());
        Page third(port(), PageClient::withCode(shown));
        QVERIFY(!third.shakeHands());
        QCOMPARE(_web->list().size(), 1);
        // A new code ends the one before.
        const QByteArray old = code();
        QVERIFY(paired(u"B"_qs));
        Page late(port(), PageClient::withCode(old));
        QVERIFY(!late.shakeHands());
    }

    void filtersAreAppliedByTheProgram() {
        const auto page = paired();
        const auto german = resumed(resuming(page), u"de-AT"_qs);
        QStringList labels;
        for (const auto &filter : _welcome[u"filters"_qs].toArray())
            labels += filter[u"label"_qs].toString();
        QVERIFY2(labels.contains(u"In Großbuchstaben umwandeln"_qs), qPrintable(labels.join(u'|')));
        const auto ask = [&](int transfer, const QString &name, const QByteArray &text) {
            page->say({{u"is"_qs, u"filter"_qs},
                       {u"transfer"_qs, transfer},
                       {u"size"_qs, text.size()},
                       {u"filter"_qs, name}});
            page->sendPiece(quint32(transfer), text);
        };
        ask(1, u"ZRKClipmuleUppercaseFilter"_qs, "grüße");
        QCOMPARE(page->hearData(1), QByteArray("GRÜSSE"));
        ask(3, u"NoSuchFilter"_qs, "a");
        QCOMPARE(page->hear(u"refused"_qs)[u"why"_qs].toString(), u"filter"_qs);
        ask(5, u"ZRKClipmuleUppercaseFilter"_qs, "\xff");
        QCOMPARE(page->hear(u"refused"_qs)[u"why"_qs].toString(), u"malformed"_qs);
        connectDesk();
        _desk->outputObject(OutputObject::fixed(clipOf({{u"string"_qs, u"abc"_qs}})));
        const QString id = page->hear(u"clip"_qs)[u"clip"_qs][u"id"_qs].toString();
        page->say({{u"is"_qs, u"filter"_qs},
                   {u"transfer"_qs, 7},
                   {u"clip"_qs, id},
                   {u"filter"_qs, u"ZRKClipmuleUppercaseFilter"_qs}});
        QCOMPARE(page->hearData(7), QByteArray("ABC"));
    }

    void aPictureOfThePageReachesTheDesk() {
        const auto page = paired();
        connectDesk();
        const QByteArray bytes = png(300);
        const auto announce = [&](int transfer, qsizetype size) {
            page->say({{u"is"_qs, u"send"_qs},
                       {u"transfer"_qs, transfer},
                       {u"size"_qs, size},
                       {u"kind"_qs, u"picture"_qs},
                       {u"type"_qs, u"image/png"_qs}});
        };
        announce(1, bytes.size());
        for (qsizetype at = 0; at < bytes.size(); at += 65'000)
            page->sendPiece(1, bytes.mid(at, 65'000));
        QCOMPARE(page->hear(u"sent"_qs)[u"for"_qs].toInt(), 1);
        QTRY_COMPARE(_received.size(), 2);
        QVERIFY(lastItems(u"1"_qs)[0].find(u"imageData"_qs)->data() == bytes);
        announce(3, 4);
        page->sendPiece(3, "none");
        QCOMPARE(page->hear(u"notSent"_qs)[u"why"_qs].toString(), u"malformed"_qs);
        announce(5, 10'000'000);
        QCOMPARE(page->hear(u"notSent"_qs)[u"why"_qs].toString(), u"tooLarge"_qs);
        // What was on its way then is passed over.
        page->sendPiece(5, "more");
        page->say({{u"is"_qs, u"ping"_qs}});
        QVERIFY(!page->hear(u"pong"_qs).isEmpty());
    }

    void aLinkIsSentAsALink() {
        const auto page = paired();
        connectDesk();
        sendText(*page, 1, " https://example.org/a?b=1 \n");
        (void)page->hear(u"sent"_qs);
        QTRY_COMPARE(_received.size(), 2);
        QVERIFY(lastItems(u"1"_qs)[0].find(u"url"_qs));
        sendText(*page, 3, "javascript:alert(1)");
        (void)page->hear(u"sent"_qs);
        QTRY_COMPARE(_received.size(), 3);
        QCOMPARE(lastItems(u"1"_qs)[0].find(u"string"_qs)->string(), u"javascript:alert(1)"_qs);
        _desk->outputObject(OutputObject::fixed(clipOf({{u"url"_qs, u"javascript:alert(1)"_qs}})));
        const QJsonObject clip = page->hear(u"clip"_qs)[u"clip"_qs].toObject();
        QCOMPARE(clip[u"kind"_qs].toString(), u"text"_qs);
        QVERIFY(!clip.contains(u"url"_qs));
    }
};

QTEST_GUILESS_MAIN(WebProgramTest)
#include "tst_webprogram.moc"
