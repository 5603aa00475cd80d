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
using namespace Qt::StringLiterals;
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
        QCOMPARE(_welcome[u"computer"_s].toString(), u"desk"_s);
        QCOMPARE(_welcome[u"name"_s].toString(), u"Anna's phone"_s);
        QCOMPARE(_welcome[u"keeps"_s].toBool(), true);
        QCOMPARE(_welcome[u"limits"_s][u"text"_s].toInt(), 9'999'999);
        QCOMPARE(_welcome[u"limits"_s][u"picture"_s].toInt(), 9'999'999);
        QCOMPARE(_welcome[u"filters"_s].toArray().size(), 10);
        QCOMPARE(page->hear(u"state"_s)[u"desk"_s].toString(), u"away"_s);
        QCOMPARE(page->hear(u"clips"_s)[u"clips"_s].toArray().size(), 0);
        // It is a phone like any other.
        QTRY_COMPARE(_backend.published().size(), 1);
        QCOMPARE(_backend.published().constFirst().service.name, u"Anna's phone"_s);
    }

    void aPairedBrowserComesBack() {
        const PageClient::Secrets secrets = resuming(paired());
        Page page(port(), secrets);
        QVERIFY(page.shakeHands());
        page.say({{u"is"_s, u"resume"_s}, {u"language"_s, u"en"_s}});
        QCOMPARE(page.hear(u"welcome"_s)[u"name"_s].toString(), u"Anna's phone"_s);
        // Also to another run of the program.
        end();
        start();
        Page later(port(), secrets);
        QVERIFY(later.shakeHands());
        later.say({{u"is"_s, u"resume"_s}, {u"language"_s, u"en"_s}});
        QCOMPARE(later.hear(u"welcome"_s)[u"name"_s].toString(), u"Anna's phone"_s);
        QCOMPARE(_backend.published().size(), 1);
    }

    void theKeysAreNobodyElses() {
        QVERIFY(paired());
        const QString file = _folder->filePath(u"data/browsers.json"_s);
        QVERIFY(QFileInfo::exists(file));
        QCOMPARE(QFile::permissions(file) & 0x0077, QFileDevice::Permissions());
        QCOMPARE(QFile::permissions(_folder->filePath(u"data"_s)) & 0x0077,
                 QFileDevice::Permissions());
    }

    void aClipOfTheDeskIsShown() {
        const auto page = paired();
        connectDesk();
        QCOMPARE(page->hear(u"state"_s)[u"desk"_s].toString(), u"away"_s);
        QCOMPARE(page->hear(u"state"_s)[u"desk"_s].toString(), u"connected"_s);
        _desk->outputObject(OutputObject::fixed(clipOf({{u"string"_s, u"Grüße 🐴"_s}})));
        const QJsonObject clip = page->hear(u"clip"_s)[u"clip"_s].toObject();
        QCOMPARE(clip[u"text"_s].toString(), u"Grüße 🐴"_s);
        QCOMPARE(clip[u"kind"_s].toString(), u"text"_s);
        QCOMPARE(clip[u"length"_s].toInt(), 8);
        QCOMPARE(clip[u"at"_s].toInteger(), 1678307200000);
    }

    void aPictureOfTheDeskIsFetched() {
        const auto page = paired();
        connectDesk();
        const QByteArray bytes = png(400);
        QVERIFY(bytes.size() > 300'000);
        _desk->outputObject(OutputObject::fixed(clipOf({{u"imageData"_s, bytes}})));
        const QJsonObject clip = page->hear(u"clip"_s)[u"clip"_s].toObject();
        QCOMPARE(clip[u"kind"_s].toString(), u"picture"_s);
        QCOMPARE(clip[u"picture"_s][u"type"_s].toString(), u"image/png"_s);
        QCOMPARE(clip[u"picture"_s][u"size"_s].toInteger(), bytes.size());
        QCOMPARE(clip[u"picture"_s][u"width"_s].toInt(), 400);
        QCOMPARE(clip[u"picture"_s][u"height"_s].toInt(), 400);
        page->say({{u"is"_s, u"fetch"_s},
                   {u"clip"_s, clip[u"id"_s]},
                   {u"what"_s, u"picture"_s},
                   {u"transfer"_s, 1}});
        QVERIFY(page->hearData(1) == bytes);
    }

    void aClipSaysWhereItIsFrom() {
        const auto page = paired();
        connectDesk();
        const auto from = [&](qint64 createdBy) {
            _desk->outputObject(
                OutputObject::fixed(clipOf({{u"string"_s, u"a"_s}, {u"createdBy"_s, createdBy}})));
            return page->hear(u"clip"_s)[u"clip"_s][u"from"_s].toString();
        };
        const auto tellOf = [&](const QStringList &names) {
            PropertyList::Dictionary devices{
                {u"Anna's phone"_s, PropertyList::Dictionary{{u"name"_s, u"Anna's phone"_s}}}};
            for (const QString &name : names)
                devices.insert(u"service of "_s + name,
                               PropertyList::Dictionary{{u"name"_s, name}});
            _desk->outputObject(OutputObject::fixed(MessageEnvelope::make(
                MessageEnvelope::Type::ConnectedDevices, PropertyList(devices))));
        };
        QCOMPARE(from(2), u"desk"_s);
        QCOMPARE(from(1), QString());
        tellOf({u"Ben \n 2"_s});
        QCOMPARE(from(2), u"desk"_s);
        QCOMPARE(from(1), u"Ben 2"_s);
        // Of two phones it could be either.
        tellOf({u"Ben"_s, u"Cleo"_s});
        QCOMPARE(from(1), QString());
        tellOf({});
        QCOMPARE(from(1), QString());
    }

    void whatADeskHasNoReasonToSayIsPassedOver() {
        const auto page = paired();
        connectDesk();
        using Type = MessageEnvelope::Type;
        const PropertyList item(PropertyList::Dictionary{{u"string"_s, u"no"_s}});
        const PropertyList clip(PropertyList::Dictionary{{u"items"_s, PropertyList::List{item}}});
        for (const PropertyList &message :
             {MessageEnvelope::make(Type::ClipForDevices, clip),
              MessageEnvelope::make(Type::DeviceRecord, clip), clip,
              PropertyList(PropertyList::Dictionary{}),
              MessageEnvelope::make(Type::ConnectedDevices,
                                    PropertyList(PropertyList::Dictionary{{u"a"_s, u"b"_s}})),
              // Nothing that a page can show.
              clipOf({{u"other"_s, QByteArray("x")}})})
            _desk->outputObject(OutputObject::fixed(message));
        QTest::ignoreMessage(QtWarningMsg,
                             QRegularExpression(u"^a message of the desk is not taken: "_s));
        _desk->outputObject(OutputObject::fixed(MessageEnvelope::make(
            Type::Clip, PropertyList(PropertyList::Dictionary{{u"items"_s, u"none"_s}}))));
        _desk->outputObject(OutputObject::fixed(clipOf({{u"string"_s, u"yes"_s}})));
        QCOMPARE(page->hear(u"clip"_s)[u"clip"_s][u"text"_s].toString(), u"yes"_s);
    }

    void aTextOfThePageReachesTheDesk() {
        const auto page = paired();
        connectDesk();
        page->say({{u"is"_s, u"send"_s},
                   {u"transfer"_s, 1},
                   {u"size"_s, 7},
                   {u"kind"_s, u"text"_s},
                   {u"relay"_s, false}});
        page->sendPiece(1, "Grü");
        page->sendPiece(1, "ße");
        QCOMPARE(page->hear(u"sent"_s)[u"for"_s].toInt(), 1);
        QTRY_COMPARE(_received.size(), 2);
        const auto items = _received[1].find(u"1"_s)->find(u"items"_s)->list();
        QCOMPARE(items[0].find(u"string"_s)->string(), u"Grüße"_s);
    }

    void aBrowserThatForgetsLeavesNothingBehind() {
        const auto other = paired(u"Ben's phone"_s);
        const auto page = paired();
        const auto folder = [this](const std::unique_ptr<Page> &one) {
            return _folder->filePath(u"data/"_s +
                                     QString::fromLatin1(one->client().browserId().toHex()));
        };
        QVERIFY(QDir().mkpath(folder(page)));
        QVERIFY(QDir().mkpath(folder(other)));
        page->say({{u"is"_s, u"forget"_s}});
        QVERIFY(!page->hear(u"revoked"_s).isEmpty());
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
        QCOMPARE(page->hear(u"waiting"_s)[u"for"_s].toInt(), 1);
        sendText(*page, 3, "two", true);
        QCOMPARE(page->hear(u"waiting"_s)[u"for"_s].toInt(), 3);
        connectDesk();
        QCOMPARE(page->hear(u"sent"_s)[u"for"_s].toInt(), 1);
        QCOMPARE(page->hear(u"sent"_s)[u"for"_s].toInt(), 3);
        QTRY_COMPARE(_received.size(), 3);
        QCOMPARE(_received[1].find(u"1"_s)->find(u"items"_s)->list()[0].find(u"string"_s)->string(),
                 u"one"_s);
        QCOMPARE(lastItems(u"2"_s)[0].find(u"string"_s)->string(), u"two"_s);
    }

    void whatWaitsOutlivesTheProgram() {
        const auto page = paired();
        sendText(*page, 1, "one", true);
        QCOMPARE(page->hear(u"waiting"_s)[u"for"_s].toInt(), 1);
        end();
        start();
        connectDesk();
        QTRY_COMPARE(_received.size(), 2);
        QCOMPARE(lastItems(u"2"_s)[0].find(u"string"_s)->string(), u"one"_s);
        // It was sent, and is not sent again.
        end();
        start();
        connectDesk();
        const auto later = resumed(resuming(page));
        sendText(*later, 1, "two");
        QTRY_COMPARE(_received.size(), 2);
        QCOMPARE(lastItems(u"1"_s)[0].find(u"string"_s)->string(), u"two"_s);
    }

    void whereNothingIsKeptNothingWaits() {
        end();
        start(false);
        const auto page = paired();
        QCOMPARE(_welcome[u"keeps"_s].toBool(true), false);
        sendText(*page, 1, "one");
        QCOMPARE(page->hear(u"notSent"_s)[u"why"_s].toString(), u"noDesk"_s);
        connectDesk();
        _desk->outputObject(OutputObject::fixed(clipOf({{u"string"_s, u"shown"_s}})));
        const QJsonObject clip = page->hear(u"clip"_s)[u"clip"_s].toObject();
        QCOMPARE(clip[u"text"_s].toString(), u"shown"_s);
        // As long as a page is open it can be fetched.
        const auto second = resumed(resuming(page));
        QCOMPARE(second->hear(u"clips"_s)[u"clips"_s].toArray().size(), 1);
        page->socket().socket().close();
        second->socket().socket().close();
        QTRY_COMPARE(_web->list()[0][u"pages"_s].toInt(), 0);
        QCOMPARE(resumed(resuming(page))->hear(u"clips"_s)[u"clips"_s].toArray().size(), 0);
        QVERIFY(!QDir(_folder->filePath(u"data"_s))
                     .entryList()
                     .contains(_web->list()[0][u"id"_s].toString()));
    }

    void whatAnEarlierRunKeptGoesWhereNothingIsToBe() {
        const auto page = paired();
        const QString folder =
            _folder->filePath(u"data/"_s + QString::fromLatin1(page->client().browserId().toHex()));
        connectDesk();
        _desk->outputObject(OutputObject::fixed(clipOf({{u"string"_s, u"kept"_s}})));
        QVERIFY(!page->hear(u"clip"_s).isEmpty());
        end();
        QVERIFY(QFileInfo::exists(folder));
        start(false);
        QVERIFY(!QFileInfo::exists(folder));
        QCOMPARE(resumed(resuming(page))->hear(u"clips"_s)[u"clips"_s].toArray().size(), 0);
        // What the page was promised to be kept for the desk comes there with the next run that
        // may.
        end();
        start();
        const auto later = resumed(resuming(page));
        connectDesk();
        _desk->outputObject(OutputObject::fixed(clipOf({{u"string"_s, u"kept"_s}})));
        QVERIFY(!later->hear(u"clip"_s).isEmpty());
        _desk.reset();
        QCOMPARE(later->hear(u"state"_s)[u"desk"_s].toString(), u"away"_s);
        sendText(*later, 1, "waits");
        QVERIFY(!later->hear(u"waiting"_s).isEmpty());
        end();
        start(false);
        QVERIFY(QFileInfo::exists(folder));
        end();
        start();
        QCOMPARE(resumed(resuming(page))->hear(u"clips"_s)[u"clips"_s].toArray().size(), 0);
        connectDesk();
        QTRY_COMPARE(_received.size(), 2);
        QCOMPARE(lastItems(u"1"_s)[0].find(u"string"_s)->string(), u"waits"_s);
    }

    void whatCameMeanwhileIsThere() {
        const auto page = paired();
        const PageClient::Secrets secrets = resuming(page);
        connectDesk();
        page->socket().socket().close();
        for (int number = 0; number < 52; ++number)
            _desk->outputObject(
                OutputObject::fixed(clipOf({{u"string"_s, u"text %1"_s.arg(number)}})));
        const auto shown = [&] {
            const auto later = resumed(secrets);
            QJsonArray clips = later->hear(u"clips"_s)[u"clips"_s].toArray();
            return clips;
        };
        QTRY_COMPARE(shown()[0][u"text"_s].toString(), u"text 51"_s);
        QCOMPARE(shown().size(), 50);
        QCOMPARE(shown()[49][u"text"_s].toString(), u"text 2"_s);
        end();
        start();
        QCOMPARE(shown().size(), 50);
        QCOMPARE(shown()[0][u"text"_s].toString(), u"text 51"_s);
    }

    void longClipsComeInSeveralMessages() {
        const auto page = paired();
        connectDesk();
        for (int number = 0; number < 6; ++number) {
            _desk->outputObject(OutputObject::fixed(
                clipOf({{u"string"_s, QString(20'000, QChar(u'a' + number))}})));
            const QJsonObject clip = page->hear(u"clip"_s)[u"clip"_s].toObject();
            QCOMPARE(clip[u"length"_s].toInt(), 20'000);
            QCOMPARE(clip[u"text"_s].toString().size(), 16'000);
        }
        const auto later = resumed(resuming(page));
        const QJsonObject first = later->hear(u"clips"_s);
        QCOMPARE(first[u"more"_s].toBool(), true);
        QCOMPARE(first[u"clips"_s].toArray().size(), 4);
        const QJsonObject second = later->hear(u"clips"_s);
        QVERIFY(!second.contains(u"more"_s));
        QCOMPARE(second[u"clips"_s].toArray().size(), 2);
        const QString id = second[u"clips"_s][1][u"id"_s].toString();
        later->say(
            {{u"is"_s, u"fetch"_s}, {u"clip"_s, id}, {u"what"_s, u"text"_s}, {u"transfer"_s, 1}});
        QCOMPARE(later->hearData(1), QByteArray(20'000, 'a'));
    }

    void pagesOfOneBrowserShowTheSame() {
        const auto page = paired();
        const auto other = resumed(resuming(page));
        const auto stranger = paired(u"Ben's phone"_s);
        (void)page->hear(u"clips"_s);
        (void)other->hear(u"clips"_s);
        _desk.reset();
        QTRY_COMPARE(_backend.published().size(), 2);
        _desk = ZRKStreamHandler::initWithInputStreamOutputStream(connectingStreamPair(
            {{QHostAddress(QHostAddress::LocalHost), _backend.published().constFirst().port}},
            RunLoop::Seconds(10)));
        _desk->outputObject(OutputObject::fixed(clipOf({{u"string"_s, u"both"_s}})));
        const QString id = page->hear(u"clip"_s)[u"clip"_s][u"id"_s].toString();
        QVERIFY(!id.isEmpty());
        QCOMPARE(other->hear(u"clip"_s)[u"clip"_s][u"id"_s].toString(), id);
        page->say({{u"is"_s, u"remove"_s}, {u"clip"_s, id}});
        QCOMPARE(other->hear(u"gone"_s)[u"clips"_s].toArray(), QJsonArray{id});
        other->say(
            {{u"is"_s, u"fetch"_s}, {u"clip"_s, id}, {u"what"_s, u"text"_s}, {u"transfer"_s, 1}});
        QCOMPARE(other->hear(u"refused"_s)[u"why"_s].toString(), u"gone"_s);
        page->say({{u"is"_s, u"rename"_s}, {u"name"_s, u" My \n phone "_s}});
        QCOMPARE(other->hear(u"renamed"_s)[u"name"_s].toString(), u"My phone"_s);
        // Nothing of it is the other browser's.
        stranger->say({{u"is"_s, u"ping"_s}});
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
        QVERIFY(paired(u"Ben's phone"_s));
        QVERIFY(phone(stored(), u"local/Ben's phone"_s));
        QTest::ignoreMessage(
            QtWarningMsg, QRegularExpression(u"^the desk is not told of it: .*paired already"_s));
        QVERIFY(paired());
        QVERIFY(stored() == changed(list, u"local/Ben's phone"_s, {.name = u"Ben's phone"_s}));
    }

    void theDeskIsToldOfABrowser() {
        using RegisteredPhones::phones;
        const auto stored = [this] {
            return phones(_settings->value(Settings::Key::ServerServices));
        };
        const auto page = paired();
        QCOMPARE(stored().size(), 1);
        QCOMPARE(stored()[0].service, u"local/Anna's phone"_s);
        QCOMPARE(stored()[0].name, u"Anna's phone"_s);
        QVERIFY(_web->renameNamed(u"Anna's phone"_s, u"Mum"_s));
        QCOMPARE(stored().size(), 1);
        QCOMPARE(stored()[0].service, u"local/Anna's phone"_s);
        QCOMPARE(stored()[0].name, u"Mum"_s);
        QVERIFY(_web->revokeNamed(u"Mum"_s));
        QCOMPARE(stored().size(), 0);
        QVERIFY(!page->hear(u"revoked"_s).isEmpty());
        QVERIFY(page->socket().closes());
        QTRY_COMPARE(_backend.published().size(), 0);
        QVERIFY(!_web->revokeNamed(u"Mum"_s));
    }

    void aBrowserThatTheDeskUnpairedStaysSo() {
        const auto page = paired();
        QVERIFY(RegisteredPhones::remove(*_settings, u"local/Anna's phone"_s));
        page->say({{u"is"_s, u"rename"_s}, {u"name"_s, u"Mum"_s}});
        QCOMPARE(page->hear(u"renamed"_s)[u"name"_s].toString(), u"Mum"_s);
        QVERIFY(
            RegisteredPhones::phones(_settings->value(Settings::Key::ServerServices)).isEmpty());
    }

    void aPageThatReadsSlowlyHearsItsEnd() {
        const auto page = paired();
        connectDesk();
        _desk->outputObject(OutputObject::fixed(clipOf({{u"string"_s, QString(9'900'000, u'x')}})));
        const QString id = page->hear(u"clip"_s)[u"clip"_s][u"id"_s].toString();
        // More than the sockets between them hold.
        QTcpSocket &socket = page->socket().socket();
        socket.setReadBufferSize(1000);
        for (const int transfer : {1, 3, 5})
            page->say({{u"is"_s, u"fetch"_s},
                       {u"clip"_s, id},
                       {u"what"_s, u"text"_s},
                       {u"transfer"_s, transfer}});
        QTRY_VERIFY(socket.bytesAvailable() > 0);
        const auto untilNothingMoves = [] {
            while (QAbstractEventDispatcher::instance()->processEvents(QEventLoop::AllEvents)) {
            }
        };
        untilNothingMoves();
        QVERIFY(_web->revokeNamed(u"Anna's phone"_s));
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
        QCOMPARE(page->hear(u"state"_s)[u"desk"_s].toString(), u"away"_s);
        QVERIFY(_settings->set(Settings::Key::SyncEnabled, PropertyList(false)));
        QCOMPARE(page->hear(u"state"_s)[u"desk"_s].toString(), u"off"_s);
    }

    void aCodeIsUsedOnce() {
        const QByteArray shown = code();
        Page first(port(), PageClient::withCode(shown));
        Page second(port(), PageClient::withCode(shown));
        QVERIFY(first.shakeHands());
        QVERIFY(second.shakeHands());
        const QJsonObject pair{{u"is"_s, u"pair"_s}, {u"name"_s, u"A"_s}, {u"language"_s, u"en"_s}};
        first.say(pair);
        QVERIFY(!first.hear(u"welcome"_s).isEmpty());
        // Whoever was quicker with the hello has nothing of it.
        second.say(pair);
        QVERIFY(second.hear(u"welcome"_s).isEmpty());
        QVERIFY(second.socket().closes());
        Page third(port(), PageClient::withCode(shown));
        QVERIFY(!third.shakeHands());
        QCOMPARE(_web->list().size(), 1);
        // A new code ends the one before.
        const QByteArray old = code();
        QVERIFY(paired(u"B"_s));
        Page late(port(), PageClient::withCode(old));
        QVERIFY(!late.shakeHands());
    }

    void filtersAreAppliedByTheProgram() {
        const auto page = paired();
        const auto german = resumed(resuming(page), u"de-AT"_s);
        QStringList labels;
        for (const auto &filter : _welcome[u"filters"_s].toArray())
            labels += filter[u"label"_s].toString();
        QVERIFY2(labels.contains(u"In Großbuchstaben umwandeln"_s), qPrintable(labels.join(u'|')));
        const auto ask = [&](int transfer, const QString &name, const QByteArray &text) {
            page->say({{u"is"_s, u"filter"_s},
                       {u"transfer"_s, transfer},
                       {u"size"_s, text.size()},
                       {u"filter"_s, name}});
            page->sendPiece(quint32(transfer), text);
        };
        ask(1, u"ZRKClipmuleUppercaseFilter"_s, "grüße");
        QCOMPARE(page->hearData(1), QByteArray("GRÜSSE"));
        ask(3, u"NoSuchFilter"_s, "a");
        QCOMPARE(page->hear(u"refused"_s)[u"why"_s].toString(), u"filter"_s);
        ask(5, u"ZRKClipmuleUppercaseFilter"_s, "\xff");
        QCOMPARE(page->hear(u"refused"_s)[u"why"_s].toString(), u"malformed"_s);
        connectDesk();
        _desk->outputObject(OutputObject::fixed(clipOf({{u"string"_s, u"abc"_s}})));
        const QString id = page->hear(u"clip"_s)[u"clip"_s][u"id"_s].toString();
        page->say({{u"is"_s, u"filter"_s},
                   {u"transfer"_s, 7},
                   {u"clip"_s, id},
                   {u"filter"_s, u"ZRKClipmuleUppercaseFilter"_s}});
        QCOMPARE(page->hearData(7), QByteArray("ABC"));
    }

    void aPictureOfThePageReachesTheDesk() {
        const auto page = paired();
        connectDesk();
        const QByteArray bytes = png(300);
        const auto announce = [&](int transfer, qsizetype size) {
            page->say({{u"is"_s, u"send"_s},
                       {u"transfer"_s, transfer},
                       {u"size"_s, size},
                       {u"kind"_s, u"picture"_s},
                       {u"type"_s, u"image/png"_s}});
        };
        announce(1, bytes.size());
        for (qsizetype at = 0; at < bytes.size(); at += 65'000)
            page->sendPiece(1, bytes.mid(at, 65'000));
        QCOMPARE(page->hear(u"sent"_s)[u"for"_s].toInt(), 1);
        QTRY_COMPARE(_received.size(), 2);
        QVERIFY(lastItems(u"1"_s)[0].find(u"imageData"_s)->data() == bytes);
        announce(3, 4);
        page->sendPiece(3, "none");
        QCOMPARE(page->hear(u"notSent"_s)[u"why"_s].toString(), u"malformed"_s);
        announce(5, 10'000'000);
        QCOMPARE(page->hear(u"notSent"_s)[u"why"_s].toString(), u"tooLarge"_s);
        // What was on its way then is passed over.
        page->sendPiece(5, "more");
        page->say({{u"is"_s, u"ping"_s}});
        QVERIFY(!page->hear(u"pong"_s).isEmpty());
    }

    void aLinkIsSentAsALink() {
        const auto page = paired();
        connectDesk();
        sendText(*page, 1, " https://example.org/a?b=1 \n");
        (void)page->hear(u"sent"_s);
        QTRY_COMPARE(_received.size(), 2);
        QVERIFY(lastItems(u"1"_s)[0].find(u"url"_s));
        sendText(*page, 3, "javascript:alert(1)");
        (void)page->hear(u"sent"_s);
        QTRY_COMPARE(_received.size(), 3);
        QCOMPARE(lastItems(u"1"_s)[0].find(u"string"_s)->string(), u"javascript:alert(1)"_s);
        _desk->outputObject(OutputObject::fixed(clipOf({{u"url"_s, u"javascript:alert(1)"_s}})));
        const QJsonObject clip = page->hear(u"clip"_s)[u"clip"_s].toObject();
        QCOMPARE(clip[u"kind"_s].toString(), u"text"_s);
        QVERIFY(!clip.contains(u"url"_s));
    }
};

QTEST_GUILESS_MAIN(WebProgramTest)
#include "tst_webprogram.moc"
