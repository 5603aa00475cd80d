// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "preferences/PagePairingDialog.h"
#include "tests/kit/LocalAnswerer.h"
#include "tests/kit/ManualRunLoop.h"
#include "tests/kit/TestCase.h"
#include "tests/preferences/FakeUserServices.h"

#include <QApplication>
#include <QClipboard>
#include <QImage>
#include <QLabel>
#include <QLayout>
#include <QLineEdit>
#include <QMimeData>
#include <QPainter>
#include <QPushButton>
#include <QTest>

using namespace clipmule;
using namespace clipmule::kit;
using namespace Qt::StringLiterals;

// What the window says of a code, and how it is drawn.
class PagePairingDialogTest final : public kit::TestCase {
    Q_OBJECT

    void begin() override {
        _answerer = std::make_unique<LocalAnswerer>();
        _services = std::make_unique<FakeUserServices>();
        const QString program = QFile::decodeName(_answerer->folder()) + u"/clipmule-web"_s;
        _program = std::make_unique<PageProgram>(
            program, *_services, AutostartEntry(program + u'd', {}, {program, u"page"_s}));
        _pairing = std::make_unique<PagePairing>(*_program, _answerer->folder());
        _path = qgetenv("PATH");
    }
    void end() override {
        _dialog.reset();
        _pairing.reset();
        _answerer.reset();
        qputenv("PATH", _path);
    }

private Q_SLOTS:
    void theCodeIsDrawnSharpAndDarkOnLight_data() {
        QTest::addColumn<qreal>("scale");
        QTest::addColumn<QColor>("ground");
        QTest::newRow("light") << 1.0 << QColor(Qt::lightGray);
        QTest::newRow("dark") << 1.0 << QColor(20, 20, 20);
        QTest::newRow("one and a half") << 1.5 << QColor(20, 20, 20);
        QTest::newRow("three") << 3.0 << QColor(20, 20, 20);
    }
    void theCodeIsDrawnSharpAndDarkOnLight() {
        QFETCH(qreal, scale);
        QFETCH(QColor, ground);
        QrView view;
        // A corner, and one dark module in each row.
        QStringList rows;
        for (int row = 0; row < 21; ++row)
            rows.append(QString(row, u'0') + u'1' + QString(20 - row, u'0'));
        view.showCode(rows);
        view.resize(200, 200);
        QImage image(QSize(200, 200) * scale, QImage::Format_RGB32);
        image.setDevicePixelRatio(scale);
        image.fill(ground);
        view.render(&image, QPoint(), QRegion(), QWidget::RenderFlags());
        // 21 modules and four on each side.
        const int module = int(200 * scale) / 29;
        const int corner = (int(200 * scale) - 29 * module) / 2;
        for (int y = 0; y < image.height(); ++y) {
            for (int x = 0; x < image.width(); ++x) {
                const int column = x < corner ? -1 : (x - corner) / module;
                const int row = y < corner ? -1 : (y - corner) / module;
                const bool isInside = column >= 0 && column < 29 && row >= 0 && row < 29;
                const bool isDark = isInside && column == row && column >= 4 && column < 25;
                const QRgb expected = !isInside ? ground.rgb() : isDark ? 0xff000000 : 0xffffffff;
                if (image.pixel(x, y) != expected)
                    QFAIL(qPrintable(u"%1, %2"_s.arg(x).arg(y)));
            }
        }
    }

    void aCodeOnShow() {
        show(24736);
        QVERIFY(label(u"status"_s)->text().startsWith(u"The code lets one browser in, until "_s));
        QVERIFY(label(u"pageAdvice"_s)->isHidden());
        QCOMPARE(_dialog->findChild<QLineEdit *>(u"link"_s)->text(), link(24736));
        QVERIFY(button(u"New Code"_s)->isHidden());
        button(u"Copy"_s)->click();
        const QMimeData *const copied = QApplication::clipboard()->mimeData();
        QCOMPARE(copied->text(), link(24736));
        QCOMPARE(copied->data(u"x-kde-passwordManagerHint"_s), "secret");
    }

    void whatMayBeInTheWay_data() {
        QTest::addColumn<QString>("firewall");
        QTest::addColumn<int>("port");
        QTest::addColumn<QString>("said");
        QTest::newRow("ufw") << u"ufw"_s << 24736 << u": sudo ufw allow \"Clipmule Sync Page\"\n"_s;
        QTest::newRow("ufw, another port") << u"ufw"_s << 8080 << u": sudo ufw allow 8080/tcp\n"_s;
        QTest::newRow("firewalld")
            << u"firewall-cmd"_s << 24736
            << u": sudo firewall-cmd --permanent --add-service=clipmule-web && sudo firewall-cmd "
               "--reload\n"_s;
        QTest::newRow("firewalld, another port")
            << u"firewall-cmd"_s << 8080
            << u": sudo firewall-cmd --permanent --add-port=8080/tcp && sudo firewall-cmd --reload\n"_s;
    }
    void whatMayBeInTheWay() {
        QFETCH(QString, firewall);
        QFETCH(int, port);
        QFETCH(QString, said);
        qputenv("PATH", _answerer->folder());
        writeProgram(QFile::decodeName(_answerer->folder()) + u'/' + firewall, "");
        show(port);
        _runLoop.advance(PagePairing::patienceForPhone);
        const auto *const advice = label(u"pageAdvice"_s);
        QVERIFY(!advice->isHidden());
        QVERIFY2(advice->text().contains(said), qPrintable(advice->text()));
        for (const QString &part :
             {u"guest network"_s, u"Mobile data"_s, u"open http://192.168.1.20:%1/ in"_s.arg(port)})
            QVERIFY2(advice->text().contains(part), qPrintable(part));
        // It can be copied, and nothing of it lets anybody in.
        QVERIFY(advice->textInteractionFlags() & Qt::TextSelectableByKeyboard);
        QVERIFY(!advice->text().contains(u'#'));
        // All of it has room.
        QVERIFY(_dialog->height() >= _dialog->layout()->totalHeightForWidth(_dialog->width()));
        _answerer->say("{\"code\":\"fetched\"}\n");
        QTRY_VERIFY(advice->isHidden());
        QVERIFY(label(u"status"_s)->text().startsWith(u"The page is open on a phone."_s));
    }

    void whatHappenedIsSaid_data() {
        QTest::addColumn<QByteArray>("news");
        QTest::addColumn<QString>("said");
        QTest::addColumn<bool>("offersNew");
        QTest::newRow("used") << QByteArray("{\"code\":\"used\",\"name\":\"<b>Mum\"}\n")
                              << u"“<b>Mum” is paired."_s << false;
        QTest::newRow("refused") << QByteArray("{\"code\":\"refused\",\"error\":\"no room\"}\n")
                                 << u"The phone could not be paired: no room"_s << true;
        QTest::newRow("expired") << QByteArray("{\"code\":\"expired\"}\n") << u"ten minutes"_s
                                 << true;
        QTest::newRow("replaced") << QByteArray("{\"code\":\"replaced\"}\n") << u"A newer code"_s
                                  << true;
        QTest::newRow("moved") << QByteArray("{\"code\":\"moved\"}\n") << u"another address"_s
                               << true;
        QTest::newRow("ended") << QByteArray("{}\n") << u"has ended"_s << true;
    }
    void whatHappenedIsSaid() {
        QFETCH(QByteArray, news);
        QFETCH(QString, said);
        QFETCH(bool, offersNew);
        show(24736);
        _answerer->say(news);
        QTRY_VERIFY(label(u"status"_s)->text().contains(said));
        QCOMPARE(label(u"status"_s)->textFormat(), Qt::PlainText);
        // The code that does not hold any more is not on the screen.
        QVERIFY(_dialog->findChild<QrView *>()->isHidden());
        QVERIFY(_dialog->findChild<QLineEdit *>(u"link"_s)->text().isEmpty());
        QCOMPARE(button(u"New Code"_s)->isHidden(), !offersNew);
        // Whoever was paired can come back; that it may not after the next login is said.
        QCOMPARE(label(u"pageAdvice"_s)->isHidden(), offersNew);
        if (!offersNew)
            return;
        button(u"New Code"_s)->click();
        QCOMPARE(_pairing->stage(), PagePairing::Stage::Starting);
        QVERIFY(!_dialog->findChild<QrView *>()->isHidden());
    }

    void aPageServedAtLoginNeedsNoWordsAboutIt() {
        _services->atLogin = UserServices::AtLogin::On;
        _program->look();
        show(24736);
        _answerer->say("{\"code\":\"used\",\"name\":\"Mum\"}\n");
        QTRY_COMPARE(_pairing->stage(), PagePairing::Stage::Paired);
        QVERIFY(label(u"pageAdvice"_s)->isHidden());
    }

    void aProgramThatIsNotInstalledIsNamedWithItsCommand() {
        qputenv("PATH", _answerer->folder());
        const QString apt = QFile::decodeName(_answerer->folder()) + u"/apt"_s;
        for (const bool hasApt : {true, false}) {
            writeProgram(apt, "");
            if (!hasApt)
                QVERIFY(QFile::remove(apt));
            _dialog = std::make_unique<PagePairingDialog>(*_pairing, *_program);
            _dialog->show();
            QVERIFY(label(u"status"_s)->text().contains(u"clipmule-web, which is not installed"_s));
            const QString advice = label(u"pageAdvice"_s)->text();
            QVERIFY(advice.startsWith(u"It comes from where Clipmule Sync came from"_s));
            QCOMPARE(advice.endsWith(u": sudo apt install ./clipmule-web_*.deb"_s), hasApt);
            QCOMPARE(advice.contains(u"apt"_s), hasApt);
            QVERIFY(!button(u"New Code"_s)->isHidden());
            _dialog.reset();
        }
    }

    void aPortThatAnotherProgramHas() {
        writeProgram(QFile::decodeName(_answerer->folder()) + u"/clipmule-web"_s,
                     QByteArray("echo 'clipmule-web: ") + LocalRequest::portIsTaken +
                         "' >&2; exit 1\n");
        _dialog = std::make_unique<PagePairingDialog>(*_pairing, *_program);
        _dialog->show();
        QTRY_VERIFY(_program->itselfHasEnded());
        _runLoop.advance(PagePairing::knockInterval);
        QCOMPARE(label(u"status"_s)->text(),
                 u"The page cannot be served: another program on this computer has its port."_s);
        QVERIFY(label(u"pageAdvice"_s)->text().endsWith(u"\nclipmule-web --port 0"_s));
        QVERIFY(!button(u"New Code"_s)->isHidden());
    }

    void thereIsNoNetwork() {
        openWith("{\"why\":\"network\",\"error\":\"none\"}\n");
        QTRY_VERIFY(label(u"status"_s)->text().startsWith(u"This computer is in no network"_s));
    }

    void whyThereIsNoCode() {
        openWith("{\"error\":\"taken\"}\n");
        QTRY_COMPARE(label(u"status"_s)->text(), u"The page cannot be served: taken"_s);
    }

private:
    [[nodiscard]] static QString link(int port) {
        return u"http://192.168.1.20:%1/#"_s.arg(port) + QString(43, u'A');
    }
    void openWith(const QByteArray &answer) {
        _answerer->start(LocalRequest::pageControl);
        _dialog = std::make_unique<PagePairingDialog>(*_pairing, *_program);
        _dialog->show();
        QVERIFY(!_answerer->question().isEmpty());
        _answerer->say(answer);
    }
    void show(int port) {
        QByteArray rows;
        for (int row = 0; row < 21; ++row)
            rows += (row == 0 ? "\"" : ",\"") + QByteArray(21, '1') + '"';
        openWith("{\"link\":\"" + link(port).toUtf8() + "\",\"seconds\":600,\"rows\":[" + rows +
                 "]}\n");
        QTRY_COMPARE(_pairing->stage(), PagePairing::Stage::Shown);
    }
    [[nodiscard]] QLabel *label(const QString &name) const {
        return _dialog->findChild<QLabel *>(name);
    }
    [[nodiscard]] QPushButton *button(const QString &text) const {
        for (auto *one : _dialog->findChildren<QPushButton *>()) {
            if (QString(one->text()).remove(u'&') == text)
                return one;
        }
        return nullptr;
    }

    ManualRunLoop _runLoop;
    const RunLoop::Installation _installation{_runLoop};
    std::unique_ptr<LocalAnswerer> _answerer;
    std::unique_ptr<FakeUserServices> _services;
    std::unique_ptr<PageProgram> _program;
    std::unique_ptr<PagePairing> _pairing;
    std::unique_ptr<PagePairingDialog> _dialog;
    QByteArray _path;
};

QTEST_MAIN(PagePairingDialogTest)
#include "tst_pagepairingdialog.moc"
