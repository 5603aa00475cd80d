// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "preferences/PagePairing.h"
#include "tests/kit/LocalAnswerer.h"
#include "tests/kit/ManualRunLoop.h"
#include "tests/kit/TestCase.h"
#include "tests/preferences/FakeUserServices.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QTest>

using namespace clipmule;
using namespace clipmule::kit;
using namespace Qt::StringLiterals;
using Stage = PagePairing::Stage;

namespace {

const QString pageLink =
    QStringLiteral("http://192.168.1.20:24736/#") + QString(43, QLatin1Char('A'));

QJsonArray picture(qsizetype side) {
    QJsonArray rows;
    for (qsizetype row = 0; row < side; ++row)
        rows.append(QString(side, QLatin1Char('1')));
    return rows;
}

QJsonObject goodAnswer() {
    return {{QStringLiteral("link"), pageLink},
            {QStringLiteral("rows"), picture(21)},
            {QStringLiteral("seconds"), 600}};
}

QByteArray lineOf(const QJsonObject &object) {
    return QJsonDocument(object).toJson(QJsonDocument::Compact) + '\n';
}

} // namespace

Q_DECLARE_METATYPE(clipmule::PagePairing::Stage)

// How a code comes to the window, and what becomes of it; with a program that does not run, lies,
// is silent, or says too much.
class PagePairingTest final : public kit::TestCase {
    Q_OBJECT

    void begin() override {
        _answerer = std::make_unique<LocalAnswerer>();
        _services = std::make_unique<FakeUserServices>();
        _program = std::make_unique<PageProgram>(
            path(), *_services,
            AutostartEntry(path() + u"-autostart"_s, {}, {path(), u"page.desktop"_s}));
        writeProgram(path(), "sleep 5\n");
        _pairing = std::make_unique<PagePairing>(*_program, _answerer->folder());
        _stages.clear();
        _pairing->onChange = [this] { _stages.append(_pairing->stage()); };
    }
    void end() override {
        _pairing.reset();
        _answerer.reset();
    }

private Q_SLOTS:
    void theCodeIsShown() {
        askAndShow();
        QCOMPARE(_stages, (QList<Stage>{Stage::Idle, Stage::Starting, Stage::Shown}));
        QCOMPARE(_pairing->code().link, pageLink);
        QCOMPARE(_pairing->code().port, 24736);
        QCOMPARE(_pairing->code().rows, QStringList(21, QString(21, u'1')));
        QCOMPARE(_pairing->code().end.secondsSinceReference,
                 Date::now().secondsSinceReference + 600);
        QCOMPARE(_services->asked, QStringList());
    }

    void whatBecomesOfIt_data() {
        QTest::addColumn<QByteArray>("news");
        QTest::addColumn<Stage>("stage");
        QTest::addColumn<QString>("told");
        QTest::newRow("fetched") << QByteArray("{\"code\":\"fetched\"}\n") << Stage::Fetched
                                 << QString();
        QTest::newRow("fetched and used")
            << QByteArray("{\"code\":\"fetched\"}\n{\"code\":\"used\",\"name\":\"Mum\\n\","
                          "\"service\":\"local/Mum\"}\n")
            << Stage::Paired << u"Mum\\n"_s;
        QTest::newRow("refused") << QByteArray("{\"code\":\"refused\",\"error\":\"no room\"}\n")
                                 << Stage::Refused << u"no room"_s;
        QTest::newRow("expired") << QByteArray("{\"code\":\"expired\"}\n") << Stage::Expired
                                 << QString();
        QTest::newRow("replaced") << QByteArray("{\"code\":\"replaced\"}\n") << Stage::Replaced
                                  << QString();
        QTest::newRow("moved") << QByteArray("{\"code\":\"moved\"}\n") << Stage::Moved << QString();
        QTest::newRow("fetched twice")
            << QByteArray("{\"code\":\"fetched\"}\n{\"code\":\"fetched\"}\n") << Stage::Ended
            << QString();
        QTest::newRow("what nobody knows")
            << QByteArray("{\"code\":1}\n") << Stage::Ended << QString();
        QTest::newRow("nonsense") << QByteArray("nonsense\n") << Stage::Ended << QString();
        QTest::newRow("more after the end")
            << QByteArray("{\"code\":\"expired\"}\n{\"code\":\"fetched\"}\n") << Stage::Expired
            << QString();
    }
    void whatBecomesOfIt() {
        QFETCH(QByteArray, news);
        QFETCH(Stage, stage);
        askAndShow();
        _answerer->say(news);
        QTRY_COMPARE(_pairing->stage(), stage);
        QTEST(_pairing->told(), "told");
        // Who has nothing more to say of use is let go.
        if (stage != Stage::Fetched)
            QTRY_VERIFY(_answerer->wasHungUpOn());
        if (stage == Stage::Paired)
            QCOMPARE(_pairing->service(), u"local/Mum"_s);
    }

    void theProgramEnds() {
        askAndShow();
        _answerer->hangUp();
        QTRY_COMPARE(_pairing->stage(), Stage::Ended);
        // A new one is asked for as the first.
        _pairing->begin();
        QCOMPARE(_answerer->question(), question);
        _answerer->say(lineOf(goodAnswer()));
        QTRY_COMPARE(_pairing->stage(), Stage::Shown);
    }

    void whatIsInTheWayIsAskedAfterHalfAMinute() {
        askAndShow();
        _runLoop.advance(29.9);
        QVERIFY(!_pairing->isOverdue());
        _stages.clear();
        _runLoop.advance(0.2);
        QVERIFY(_pairing->isOverdue());
        QCOMPARE(_stages, QList<Stage>{Stage::Shown});
        // Somebody came after all.
        _answerer->say("{\"code\":\"fetched\"}\n");
        QTRY_COMPARE(_pairing->stage(), Stage::Fetched);
        QVERIFY(!_pairing->isOverdue());
    }

    void nothingIsInTheWayOfAPageThatWasFetched() {
        askAndShow();
        _answerer->say("{\"code\":\"fetched\"}\n");
        QTRY_COMPARE(_pairing->stage(), Stage::Fetched);
        _runLoop.advance(60);
        QVERIFY(!_pairing->isOverdue());
    }

    void aCodeEndsAlsoWhenNobodySaysSo() {
        askAndShow();
        _runLoop.advance(599.9);
        QCOMPARE(_pairing->stage(), Stage::Shown);
        _runLoop.advance(0.2);
        QCOMPARE(_pairing->stage(), Stage::Expired);
        QTRY_VERIFY(_answerer->wasHungUpOn());
        // A new one is not overdue from the start.
        QVERIFY(_pairing->isOverdue());
        _pairing->begin();
        QVERIFY(!_pairing->isOverdue());
    }

    void anAnswerThatIsNone_data() {
        QTest::addColumn<QByteArray>("line");
        QTest::addColumn<Stage>("stage");
        const auto row = [](const char *name, const QString &key, const QJsonValue &value,
                            Stage stage = Stage::Failed) {
            QJsonObject answer = goodAnswer();
            answer.insert(key, value);
            QTest::newRow(name) << lineOf(answer) << stage;
        };
        QTest::newRow("nonsense") << QByteArray("nonsense\n") << Stage::Failed;
        QTest::newRow("nothing") << QByteArray("{}\n") << Stage::Failed;
        row("no link", u"link"_s, {});
        row("another scheme", u"link"_s, QString(pageLink).replace(u"http"_s, u"file"_s));
        row("https", u"link"_s, QString(pageLink).replace(u"http"_s, u"https"_s), Stage::Shown);
        row("the usual port", u"link"_s, QString(pageLink).remove(u":24736"_s), Stage::Shown);
        row("no port", u"link"_s, QString(pageLink).replace(u"24736"_s, u"0"_s));
        row("no host", u"link"_s, QString(pageLink).remove(u"192.168.1.20"_s));
        row("a short code", u"link"_s, pageLink.chopped(1));
        row("a long code", u"link"_s, pageLink + u'A');
        const auto longLink = [](qsizetype size) {
            return QString(pageLink).replace(u"/#"_s,
                                             u'/' + QString(size - pageLink.size(), u'a') + u'#');
        };
        row("the longest link", u"link"_s, longLink(PagePairing::longestLink), Stage::Shown);
        row("one longer", u"link"_s, longLink(PagePairing::longestLink + 1));
        row("no picture", u"rows"_s, {});
        row("a small picture", u"rows"_s, picture(PagePairing::smallestPicture - 1));
        row("the largest picture", u"rows"_s, picture(PagePairing::largestPicture), Stage::Shown);
        row("a larger picture", u"rows"_s, picture(PagePairing::largestPicture + 1));
        QJsonArray uneven = picture(21);
        uneven[20] = QString(20, u'1');
        row("an uneven picture", u"rows"_s, uneven);
        QJsonArray odd = picture(21);
        odd[20] = QString(20, u'1') + u'2';
        row("another sign", u"rows"_s, odd);
        row("no time", u"seconds"_s, 0);
        row("a little time", u"seconds"_s, 0.5, Stage::Shown);
        row("the most time", u"seconds"_s, PagePairing::longestLife, Stage::Shown);
        row("more time", u"seconds"_s, PagePairing::longestLife + 1);
        row("no network", u"why"_s, u"network"_s, Stage::NoNetwork);
    }
    void anAnswerThatIsNone() {
        QFETCH(QByteArray, line);
        ask();
        _answerer->say(line);
        QTRY_VERIFY(_pairing->stage() != Stage::Starting);
        QTEST(_pairing->stage(), "stage");
    }

    void thePortIsTheUsualOneWhereTheLinkHasNone_data() {
        QTest::addColumn<QString>("beginning");
        QTest::addColumn<int>("port");
        QTest::newRow("http") << u"http://desk/#"_s << 80;
        QTest::newRow("https") << u"https://desk/#"_s << 443;
    }
    void thePortIsTheUsualOneWhereTheLinkHasNone() {
        QFETCH(QString, beginning);
        QJsonObject answer = goodAnswer();
        answer.insert(u"link"_s, beginning + pageLink.section(u'#', 1));
        ask();
        _answerer->say(lineOf(answer));
        QTRY_COMPARE(_pairing->stage(), Stage::Shown);
        QTEST(_pairing->code().port, "port");
    }

    void whyThereIsNoCodeIsTold() {
        ask();
        _answerer->say("{\"error\":\"no such\\nrequest\"}\n");
        QTRY_COMPARE(_pairing->stage(), Stage::Failed);
        QCOMPARE(_pairing->told(), u"no such\\nrequest"_s);
    }

    void whoDoesNotAnswerIsGivenUp() {
        ask();
        _runLoop.advance(LocalRequest::patience);
        QCOMPARE(_pairing->stage(), Stage::Failed);
        QCOMPARE(_pairing->told(), QString());
    }

    void aClosedWindowLetsGo() {
        askAndShow();
        _pairing->end();
        QCOMPARE(_pairing->stage(), Stage::Idle);
        QTRY_VERIFY(_answerer->wasHungUpOn());
        QCOMPARE(_runLoop.pendingCount(), 0);
    }

    void aUnitIsStartedWhereThereIsOne() {
        _services->atLogin = UserServices::AtLogin::Off;
        _pairing->begin();
        QCOMPARE(_services->asked, QStringList{u"start clipmule-web.service"_s});
        QCOMPARE(_pairing->stage(), Stage::Starting);
        _runLoop.advance(1.0);
        _answerer->start(LocalRequest::pageControl);
        _runLoop.advance(PagePairing::knockInterval);
        QCOMPARE(_answerer->question(), question);
        QCOMPARE(_services->asked.size(), 1);
    }

    void aUnitThatDoesNotComeUpIsFollowedByTheProgramItself() {
        _services->atLogin = UserServices::AtLogin::Off;
        writeProgram(path(),
                     "echo noise >&2; echo 'clipmule-web: the port is taken' >&2; exit 1\n");
        _pairing->begin();
        _runLoop.advance(PagePairing::mostKnocks * PagePairing::knockInterval -
                         RunLoop::Seconds(0.1));
        QCOMPARE(_pairing->stage(), Stage::Starting);
        _runLoop.advance(0.2);
        QTRY_VERIFY(_program->itselfHasEnded());
        _runLoop.advance(PagePairing::knockInterval);
        QCOMPARE(_pairing->stage(), Stage::Failed);
        QCOMPARE(_pairing->told(), u"the port is taken"_s);
    }

    void theProgramItselfIsStartedWhereThereIsNoUnit() {
        _pairing->begin();
        QCOMPARE(_pairing->stage(), Stage::Starting);
        _answerer->start(LocalRequest::pageControl);
        _runLoop.advance(PagePairing::knockInterval);
        QCOMPARE(_answerer->question(), question);
        _answerer->say(lineOf(goodAnswer()));
        QTRY_COMPARE(_pairing->stage(), Stage::Shown);
    }

    void aPortThatAnotherProgramHas() {
        writeProgram(path(), QByteArray("echo 'clipmule-web: port 24736 of 10.0.0.1: ") +
                                 LocalRequest::portIsTaken + "' >&2; exit 1\n");
        _pairing->begin();
        QTRY_VERIFY(_program->itselfHasEnded());
        _runLoop.advance(PagePairing::knockInterval);
        QCOMPARE(_pairing->stage(), Stage::PortTaken);
    }

    void aProgramThatServesNothingIsGivenUp() {
        _pairing->begin();
        _runLoop.advance((PagePairing::mostKnocks - 1) * PagePairing::knockInterval);
        QCOMPARE(_pairing->stage(), Stage::Starting);
        _runLoop.advance(2 * PagePairing::knockInterval);
        QCOMPARE(_pairing->stage(), Stage::Failed);
        QCOMPARE(_pairing->told(), QString());
        QCOMPARE(_runLoop.pendingCount(), 0);
    }

    void aProgramThatIsNotInstalled() {
        QVERIFY(QFile::remove(path()));
        _services->atLogin = UserServices::AtLogin::Off;
        _pairing->begin();
        QCOMPARE(_pairing->stage(), Stage::NotInstalled);
        QCOMPARE(_services->asked, QStringList());
        // It is there as soon as it is installed.
        writeProgram(path(), "sleep 5\n");
        _pairing->begin();
        QCOMPARE(_pairing->stage(), Stage::Starting);
    }

    void aSocketThatIsNotToBeUsed() {
        PagePairing pairing(*_program, "relative");
        pairing.begin();
        QCOMPARE(pairing.stage(), Stage::Failed);
    }

    void anAnswerOfTheManagerMayComeTooLate() {
        _services->atLogin = UserServices::AtLogin::Off;
        _services->onStart = [this] { _pairing->end(); };
        _pairing->begin();
        QCOMPARE(_pairing->stage(), Stage::Idle);
        QCOMPARE(_runLoop.pendingCount(), 0);
    }

private:
    [[nodiscard]] QString path() const {
        return QFile::decodeName(_answerer->folder()) + u"/clipmule-web"_s;
    }
    void ask() {
        _answerer->start(LocalRequest::pageControl);
        _pairing->begin();
        QCOMPARE(_answerer->question(), question);
    }
    void askAndShow() {
        ask();
        _answerer->say(lineOf(goodAnswer()));
        QTRY_COMPARE(_pairing->stage(), Stage::Shown);
    }

    const QByteArray question = "{\"do\":\"code\",\"watch\":true}\n";
    ManualRunLoop _runLoop;
    const RunLoop::Installation _installation{_runLoop};
    std::unique_ptr<LocalAnswerer> _answerer;
    std::unique_ptr<FakeUserServices> _services;
    std::unique_ptr<PageProgram> _program;
    std::unique_ptr<PagePairing> _pairing;
    QList<Stage> _stages;
};

QTEST_GUILESS_MAIN(PagePairingTest)
#include "tst_pagepairing.moc"
