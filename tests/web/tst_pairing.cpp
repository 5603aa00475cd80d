// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "tests/kit/ManualRunLoop.h"
#include "tests/kit/Results.h"
#include "tests/kit/TestCase.h"
#include "tests/web/PageClient.h"
#include "web/OwnNetworks.h"
#include "web/PageConnection.h"
#include "web/PairedBrowsers.h"
#include "web/PairingCode.h"
#include "web/QrPicture.h"

#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>
#include <QTest>

using namespace clipmule;
using namespace Qt::StringLiterals;
using web_test::PageClient;

namespace {

QByteArray idOf(const QByteArray &shown) {
    const QByteArray code = QByteArray::fromBase64(shown, QByteArray::Base64UrlEncoding);
    return PageClient::withCode(code).id;
}

PageKey keyOf(char letter) {
    return {QByteArray(16, letter), SecretKey(QByteArray(32, letter))};
}

} // namespace

// Who may come in: the code, the browsers that are kept, and the networks that are served.
class PairingTest final : public kit::TestCase {
    Q_OBJECT

private Q_SLOTS:
    void aCodeHoldsForTenMinutes() {
        PairingCode code;
        int expiries = 0;
        code.onExpiry = [&expiries] { ++expiries; };
        const QByteArray shown = code.make();
        QCOMPARE(shown.size(), 43);
        QVERIFY(!shown.contains('=') && !shown.contains('+') && !shown.contains('/'));
        const auto key = code.keyOf(idOf(shown));
        QVERIFY(key);
        QCOMPARE(key->view().toByteArray(),
                 QByteArray::fromBase64(shown, QByteArray::Base64UrlEncoding));
        _runLoop.advance(599.0);
        QVERIFY(code.keyOf(idOf(shown)));
        QVERIFY(code.isValid());
        QCOMPARE(expiries, 0);
        for (int times = 0; times < 2; ++times) {
            _runLoop.advance(1.0);
            QCOMPARE(expiries, 1);
            QVERIFY(!code.keyOf(idOf(shown)));
            QVERIFY(!code.spend(idOf(shown)));
            QVERIFY(!code.isValid());
        }
    }

    void aPageWithAnExpiredCodeIsToldAsMuchAsAnyOther() {
        PairingCode code;
        const PageClient page(PageClient::withCode(
            QByteArray::fromBase64(code.make(), QByteArray::Base64UrlEncoding)));
        const auto answer = [&] {
            PageConnection connection(
                [&](PageChannel::Kind, QByteArrayView id) { return code.keyOf(id); });
            connection.receive(page.hello());
            return std::pair(connection.next().value_or(QByteArray()).left(1), connection.isOver());
        };
        _runLoop.advance(599.0);
        QCOMPARE(answer(), std::pair(QByteArray("\2"), false));
        for (int times = 0; times < 2; ++times) {
            _runLoop.advance(1.0);
            QCOMPARE(answer(), std::pair(QByteArray("\3"), true));
        }
    }

    void aNewCodeEndsTheOneBefore() {
        PairingCode code;
        const QByteArray first = code.make();
        _runLoop.advance(400.0);
        const QByteArray second = code.make();
        QVERIFY(first != second);
        QVERIFY(!code.keyOf(idOf(first)));
        QVERIFY(!code.spend(idOf(first)));
        // With ten minutes of its own.
        _runLoop.advance(400.0);
        QVERIFY(code.keyOf(idOf(second)));
    }

    void aCodeIsSpentOnce() {
        PairingCode code;
        QVERIFY(!code.spend(QByteArray(16, 'x')));
        const QByteArray shown = code.make();
        QVERIFY(!code.spend(QByteArray(16, 'x')));
        QVERIFY(code.isValid());
        int expiries = 0;
        code.onExpiry = [&expiries] { ++expiries; };
        QVERIFY(code.spend(idOf(shown)));
        QVERIFY(!code.isValid());
        _runLoop.advance(700.0);
        QCOMPARE(expiries, 0);
        QVERIFY(!code.spend(idOf(shown)));
        QVERIFY(!code.keyOf(idOf(shown)));
    }

    void browsersAreKept() {
        PairedBrowsers browsers(path());
        QVERIFY(browsers.load());
        QVERIFY(browsers.add(keyOf('a'), u"Anna"_s));
        QVERIFY(browsers.add(keyOf('b'), u"Anna"_s));
        PairedBrowsers again(path());
        QVERIFY(again.load());
        QCOMPARE(again.all().size(), size_t(2));
        QVERIFY(again.keyOf(QByteArray(16, 'a')) == std::optional(SecretKey(QByteArray(32, 'a'))));
        QVERIFY(!again.keyOf(QByteArray(16, 'c')));
        QVERIFY(!again.keyOf(QByteArray(15, 'a')));
        QCOMPARE(again.withId(QByteArray(16, 'a'))->service, u"Anna"_s);
        QCOMPARE(again.withId(QByteArray(16, 'b'))->service, u"Anna (2)"_s);
        QCOMPARE(again.withId(QByteArray(16, 'b'))->name, u"Anna"_s);
        QCOMPARE(again.withId(QByteArray(16, 'b'))->created.secondsSinceReference,
                 Date::now().secondsSinceReference);
        QCOMPARE(QFile::permissions(path()) & 0x0077, QFileDevice::Permissions());
    }

    void browsersAreFoundByNameAndId() {
        PairedBrowsers browsers(path());
        QVERIFY(browsers.add(keyOf('a'), u"Anna"_s));
        QVERIFY(browsers.add(keyOf('b'), u"Anna"_s));
        QVERIFY(browsers.add(keyOf('c'), u"Ben"_s));
        QCOMPARE(kit::valueOf(browsers.find(u"Ben"_s))->key.id, QByteArray(16, 'c'));
        QVERIFY(kit::reasonOf(browsers.find(u"Anna"_s)).contains(u"more than one"_s));
        QCOMPARE(kit::valueOf(browsers.find(u"61616161"_s))->key.id, QByteArray(16, 'a'));
        // As the agent knows it, whoever else is called so.
        QCOMPARE(kit::valueOf(browsers.find(u"local/Anna (2)"_s))->key.id, QByteArray(16, 'b'));
        QVERIFY(kit::reasonOf(browsers.find(u"Anna (2)"_s)).contains(u"no browser"_s));
        QVERIFY(kit::reasonOf(browsers.find(u"6161616"_s)).contains(u"no browser"_s));
        QVERIFY(kit::reasonOf(browsers.find(QString())).contains(u"no browser"_s));
    }

    void browsersAreRenamedAndRemoved() {
        PairedBrowsers browsers(path());
        QVERIFY(browsers.add(keyOf('a'), u"Anna"_s));
        QVERIFY(browsers.add(keyOf('b'), u"Ben"_s));
        QVERIFY(browsers.rename(QByteArray(16, 'a'), u"Mum"_s));
        QVERIFY(browsers.remove(QByteArray(16, 'b')));
        QVERIFY(!browsers.rename(QByteArray(16, 'b'), u"x"_s));
        QVERIFY(!browsers.remove(QByteArray(16, 'b')));
        PairedBrowsers again(path());
        QVERIFY(again.load());
        QCOMPARE(again.all().size(), size_t(1));
        QCOMPARE(again.all().front().name, u"Mum"_s);
        QCOMPARE(again.all().front().service, u"Anna"_s);
    }

    void aFileThatCannotBeWrittenChangesNothing() {
        PairedBrowsers browsers(path());
        QVERIFY(browsers.add(keyOf('a'), u"Anna"_s));
        QVERIFY(QFile::rename(path(), path() + u".old"_s));
        QVERIFY(QDir().mkdir(path()));
        QVERIFY(!browsers.add(keyOf('b'), u"Ben"_s));
        QVERIFY(!browsers.rename(QByteArray(16, 'a'), u"Mum"_s));
        QVERIFY(!browsers.remove(QByteArray(16, 'a')));
        QCOMPARE(browsers.all().size(), size_t(1));
        QCOMPARE(browsers.all().front().name, u"Anna"_s);
    }

    void thereIsAnEndToBrowsers() {
        PairedBrowsers browsers(path());
        for (size_t number = 0; number < PairedBrowsers::mostBrowsers; ++number)
            QVERIFY(browsers.add(keyOf(char('A' + number)), u"x"_s));
        QVERIFY(!browsers.add(keyOf('z'), u"x"_s));
        PairedBrowsers again(path());
        QVERIFY(again.load());
        QCOMPARE(again.all().size(), PairedBrowsers::mostBrowsers);
    }

    void aDamagedFileStaysAsItIs_data() {
        QTest::addColumn<QByteArray>("bytes");
        QTest::newRow("empty") << QByteArray("");
        QTest::newRow("no JSON") << QByteArray("{");
        QTest::newRow("no list") << QByteArray(R"({"browsers":1})");
        QTest::newRow("version 0") << QByteArray(R"({"version":0,"browsers":[]})");
        QTest::newRow("no version") << QByteArray(R"({"version":"1","browsers":[]})");
        QTest::newRow("a newer version") << QByteArray(R"({"version":2,"browsers":[]})");
        QTest::newRow("no browser") << QByteArray(R"({"browsers":[{}]})");
        QTest::newRow("a short key") << QByteArray(
            R"({"browsers":[{"id":"61616161616161616161616161616161","key":"61","name":"a","service":"a"}]})");
        QTest::newRow("large") << QByteArray(PairedBrowsers::largestFile + 1, ' ');
    }
    void aDamagedFileStaysAsItIs() {
        QFETCH(QByteArray, bytes);
        QFile file(path());
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(bytes);
        file.close();
        PairedBrowsers browsers(path());
        QVERIFY(!browsers.load());
        QVERIFY(file.open(QIODevice::ReadOnly));
        QCOMPARE(file.readAll(), bytes);
    }

    void aFileOfTheFirstFormIsRead() {
        QByteArray list = R"("browsers":[{"id":"I","key":"KEY","name":"Anna","service":"Anna"}]})";
        list.replace("\"I\"", '"' + QByteArray(16, 'a').toHex() + '"');
        list.replace("KEY", QByteArray(32, 'a').toHex());
        for (const QByteArray &begin : {QByteArray("{"), QByteArray(R"({"version":1,)")}) {
            QFile file(path());
            QVERIFY(file.open(QIODevice::WriteOnly));
            file.write(begin + list);
            file.close();
            PairedBrowsers browsers(path());
            QVERIFY(browsers.load());
            QCOMPARE(browsers.all().size(), size_t(1));
            // From then on it says which.
            QVERIFY(browsers.rename(QByteArray(16, 'a'), u"Mum"_s));
            QVERIFY(file.open(QIODevice::ReadOnly));
            QVERIFY(file.readAll().contains("\"version\": 1\n"));
        }
    }

    void aNewerFormIsNamed() {
        QFile file(path());
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(R"({"version":2})");
        file.close();
        PairedBrowsers browsers(path());
        QVERIFY(kit::reasonOf(browsers.load()).endsWith(u"written by a newer clipmule-web"_s));
    }

    void seeingABrowserIsWrittenDownOnceAnHour() {
        PairedBrowsers browsers(path());
        QVERIFY(browsers.add(keyOf('a'), u"Anna"_s));
        const auto seen = [this] {
            PairedBrowsers again(path());
            (void)again.load();
            return again.all().front().lastSeen.secondsSinceReference;
        };
        const double first = seen();
        _runLoop.advance(3599.0);
        browsers.sawNow(QByteArray(16, 'a'));
        QCOMPARE(seen(), first);
        _runLoop.advance(1.0);
        browsers.sawNow(QByteArray(16, 'a'));
        QCOMPARE(seen(), first + 3600.0);
    }

    void namesAreForReading_data() {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("cleaned");
        QTest::newRow("plain") << u"Anna’s phone"_s << u"Anna’s phone"_s;
        QTest::newRow("blanks") << u"  a \n\t b "_s << u"a b"_s;
        QTest::newRow("a terminal's") << u"a\x1b[31mb"_s << u"a[31mb"_s;
        QTest::newRow("turned round") << u"a\u202eb"_s << u"ab"_s;
        QTest::newRow("nothing") << u" \u202e "_s << u"Browser"_s;
        QTest::newRow("longest") << QString(57, u'a') << QString(57, u'a');
        QTest::newRow("too long") << QString(58, u'a') << QString(57, u'a');
        QTest::newRow("too long for whole characters")
            << QString(56, u'a') + u"ü"_s << QString(56, u'a');
        QTest::newRow("pairs") << QString(55, u'a') + u"🐴"_s << QString(55, u'a');
    }
    void namesAreForReading() {
        QFETCH(QString, name);
        QFETCH(QString, cleaned);
        QCOMPARE(PairedBrowsers::cleaned(name), cleaned);
    }

    void longNamesAreToldApart() {
        PairedBrowsers browsers(path());
        const QString name(57, u'a');
        QVERIFY(browsers.add(keyOf('a'), name));
        const auto second = browsers.add(keyOf('b'), name);
        QCOMPARE((*second)->service, QString(53, u'a') + u" (2)"_s);
    }

    void aNetworkHoldsItsOwnDevices() {
        const OwnNetwork home{QHostAddress(u"192.168.1.7"_s), 24};
        QVERIFY(home.holds(QHostAddress(u"192.168.1.250"_s)));
        QVERIFY(home.holds(QHostAddress(u"::ffff:192.168.1.250"_s)));
        QVERIFY(!home.holds(QHostAddress(u"192.168.2.1"_s)));
        QVERIFY(!home.holds(QHostAddress(u"8.8.8.8"_s)));
        QVERIFY(!home.holds(QHostAddress(u"fd00::1"_s)));
        QVERIFY(!home.holds(QHostAddress()));
        const OwnNetwork local{QHostAddress(u"fd00:1::7"_s), 64};
        QVERIFY(local.holds(QHostAddress(u"fd00:1::8"_s)));
        QVERIFY(!local.holds(QHostAddress(u"fd00:2::8"_s)));
    }

    void onlyPrivateAddressesAreServedUnasked_data() {
        QTest::addColumn<QString>("address");
        QTest::addColumn<bool>("isPrivate");
        for (const char *address : {"10.0.0.1", "10.255.255.255", "172.16.0.1", "172.31.255.255",
                                    "192.168.0.1", "169.254.1.1", "fc00::1", "fdff::1"})
            QTest::newRow(address) << QString::fromLatin1(address) << true;
        for (const char *address :
             {"9.255.255.255", "11.0.0.1", "172.15.0.1", "172.32.0.1", "192.167.0.1", "192.169.0.1",
              "8.8.8.8", "127.0.0.1", "::1", "fe80::1", "2001:db8::1", "fe00::1"})
            QTest::newRow(address) << QString::fromLatin1(address) << false;
    }
    void onlyPrivateAddressesAreServedUnasked() {
        QFETCH(QString, address);
        QFETCH(bool, isPrivate);
        QCOMPARE((OwnNetwork{QHostAddress(address), 24}.isPrivate()), isPrivate);
    }

    void aLinkIsDrawnForATerminal() {
        const QString link = u"http://192.168.1.7:24736/#"_s + QString(43, u'x');
        const auto rows = QrPicture::modules(link);
        QCOMPARE(rows.size(), 37);
        // The corner that cameras look for.
        QCOMPARE(rows[0].first(8), (QList<bool>{true, true, true, true, true, true, true, false}));
        const QStringList lines = QrPicture::forTerminal(link).split(u'\n', Qt::SkipEmptyParts);
        QCOMPARE(lines.size(), (37 + 8 + 1) / 2);
        QCOMPARE(lines[2], u"\x1b[30;107m    "_s + lines[2].mid(13, 37) + u"    \x1b[0m"_s);
        QVERIFY(lines[2].mid(13).startsWith(u"█▀▀▀▀▀█"_s));
        QVERIFY(QrPicture::forTerminal(QString(5000, u'x')).isEmpty());
    }

private:
    void begin() override { _folder = std::make_unique<QTemporaryDir>(); }
    [[nodiscard]] QString path() const { return _folder->filePath(u"browsers.json"_s); }

    kit::ManualRunLoop _runLoop;
    const RunLoop::Installation _installation{_runLoop};
    std::unique_ptr<QTemporaryDir> _folder;
};

QTEST_GUILESS_MAIN(PairingTest)
#include "tst_pairing.moc"
