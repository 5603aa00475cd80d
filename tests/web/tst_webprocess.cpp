// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "tests/web/WebProcess.h"
#include "tests/web/WebTestCase.h"

#include <QBuffer>
#include <QImage>
#include <QJsonArray>

using namespace clipmule;
using web_test::clipOf;
using web_test::Page;
using web_test::PageClient;
using web_test::WebProcess;

// The program as a process of its own, which somebody kills.
class WebProcessTest final : public kit::TestCase {
    Q_OBJECT

    void begin() override {
        _web = std::make_unique<WebProcess>();
        QVERIFY2(_web->start(), _web->process().readAllStandardError().constData());
    }
    void end() override {
        _desk.reset();
        _web.reset();
    }

private Q_SLOTS:
    void whatAPageWasShownIsThereAfterAKill() {
        const auto page = paired();
        QVERIFY(page);
        connectDesk();
        send({{u"string"_qs, u"text"_qs}});
        QVERIFY(!page->hear(u"clip"_qs).isEmpty());
        send({{u"imageData"_qs, picture()}});
        const QString id = page->hear(u"clip"_qs)[u"clip"_qs][u"id"_qs].toString();
        killAndStart();
        const auto later = resumed(page);
        QVERIFY(later);
        const QJsonArray clips = later->hear(u"clips"_qs)[u"clips"_qs].toArray();
        QCOMPARE(clips.size(), 2);
        QCOMPARE(clips[0][u"id"_qs].toString(), id);
        QCOMPARE(clips[1][u"text"_qs].toString(), u"text"_qs);
        later->say({{u"is"_qs, u"fetch"_qs},
                    {u"clip"_qs, id},
                    {u"what"_qs, u"picture"_qs},
                    {u"transfer"_qs, 1}});
        QCOMPARE(later->hearData(1), picture());
        // What was deleted stays so.
        later->say({{u"is"_qs, u"remove"_qs}, {u"clip"_qs, id}});
        QVERIFY(!later->hear(u"gone"_qs).isEmpty());
        killAndStart();
        const QJsonArray left = resumed(page)->hear(u"clips"_qs)[u"clips"_qs].toArray();
        QCOMPARE(left.size(), 1);
        QCOMPARE(left[0][u"text"_qs].toString(), u"text"_qs);
    }

    void whatWaitsForADeskComesAfterAKillAndOnce() {
        const auto page = paired();
        QVERIFY(page);
        sendText(*page, 1, "waits");
        QVERIFY(!page->hear(u"waiting"_qs).isEmpty());
        killAndStart();
        connectDesk();
        QTRY_COMPARE(_texts, QStringList{u"waits"_qs});
        const auto later = resumed(page);
        QVERIFY(later);
        QCOMPARE(later->hear(u"state"_qs)[u"desk"_qs].toString(), u"connected"_qs);
        _desk.reset();
        QCOMPARE(later->hear(u"state"_qs)[u"desk"_qs].toString(), u"away"_qs);
        sendText(*later, 1, "waits too");
        QVERIFY(!later->hear(u"waiting"_qs).isEmpty());
        connectDesk();
        QVERIFY(!later->hear(u"sent"_qs).isEmpty());
        killAndStart();
        _texts.clear();
        connectDesk();
        const auto last = resumed(page);
        QVERIFY(last);
        sendText(*last, 1, "last");
        QTRY_COMPARE(_texts, QStringList{u"last"_qs});
    }

private:
    static QByteArray picture() {
        QImage image(30, 20, QImage::Format_RGB32);
        image.fill(Qt::red);
        QByteArray bytes;
        QBuffer buffer(&bytes);
        image.save(&buffer, "PNG");
        return bytes;
    }

    void killAndStart() {
        _web->kill();
        _desk.reset();
        QVERIFY2(_web->start(), _web->process().readAllStandardError().constData());
    }

    std::unique_ptr<Page> paired() {
        auto page = std::make_unique<Page>(_web->port(), _web->code());
        if (!page->shakeHands())
            return nullptr;
        page->say({{u"is"_qs, u"pair"_qs}, {u"name"_qs, u"Anna"_qs}, {u"language"_qs, u"en"_qs}});
        (void)page->hear(u"clips"_qs);
        return page;
    }

    std::unique_ptr<Page> resumed(const std::unique_ptr<Page> &before) {
        auto page = std::make_unique<Page>(_web->port(), resuming(before));
        if (!page->shakeHands())
            return nullptr;
        page->say({{u"is"_qs, u"resume"_qs}, {u"language"_qs, u"en"_qs}});
        return page;
    }

    void connectDesk() {
        _isTold = false;
        _desk = ZRKStreamHandler::initWithInputStreamOutputStream(_web->connectDesk());
        _desk->onReceiveObject = [this](ZRKStreamHandler &, const PropertyList &object) {
            _isTold = true;
            if (const PropertyList *const clip = object.find(u"1"_qs);
                clip && clip->find(u"items"_qs))
                _texts += clip->find(u"items"_qs)->list()[0].find(u"string"_qs)->string();
        };
        QTRY_VERIFY(_isTold);
    }

    void send(const PropertyList::Dictionary &item) {
        _desk->outputObject(OutputObject::fixed(clipOf(item)));
    }

    QtRunLoop _runLoop;
    const RunLoop::Installation _installation{_runLoop};
    std::unique_ptr<WebProcess> _web;
    std::shared_ptr<ZRKStreamHandler> _desk;
    bool _isTold = false;
    QStringList _texts;
};

QTEST_GUILESS_MAIN(WebProcessTest)
#include "tst_webprocess.moc"
