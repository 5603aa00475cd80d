// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/streams/LocalRequest.h"
#include "tests/kit/LocalAnswerer.h"
#include "tests/kit/ManualRunLoop.h"
#include "tests/kit/TestCase.h"

#include <QTest>

using namespace clipmule;
using Answer = LocalFolder::Answer;

// Asks another program, which may be silent, lie, or never end.
class LocalRequestTest final : public kit::TestCase {
    Q_OBJECT

    void begin() override {
        _answerer = std::make_unique<kit::LocalAnswerer>();
        _request = std::make_unique<LocalRequest>();
        _heard.clear();
        _ends = 0;
        _request->onLine = [this](const QByteArray &line) { _heard.append(line); };
        _request->onEnd = [this] { ++_ends; };
    }
    void end() override {
        _request.reset();
        _answerer.reset();
    }

private Q_SLOTS:
    void linesAreHeardAsTheyCome() {
        ask();
        _answerer->say("on");
        QCoreApplication::processEvents();
        QCOMPARE(_heard, QByteArrayList());
        _answerer->say("e\ntwo\n\nlast");
        QTRY_COMPARE(_heard, (QByteArrayList{"one", "two", ""}));
        // Without its end it is none.
        _answerer->hangUp();
        QTRY_COMPARE(_ends, 1);
        QCOMPARE(_heard.size(), 3);
    }

    void whoIsNotThereIsNotWaitedFor() {
        QCOMPARE(_request->start(_answerer->folder(), "page-control", "question"), Answer::Nobody);
        QCOMPARE(_runLoop.pendingCount(), 0);
    }

    void aFolderThatIsNoneIsRefused() {
        QCOMPARE(_request->start("relative", "page-control", "question"), Answer::Refused);
    }

    void theSilentAreGivenUp() {
        ask();
        _runLoop.advance(LocalRequest::patience - RunLoop::Seconds(0.1));
        QCOMPARE(_ends, 0);
        _runLoop.advance(0.2);
        QCOMPARE(_ends, 1);
        QTRY_VERIFY(_answerer->wasHungUpOn());
    }

    void whoHasAnsweredMayTakeItsTime() {
        ask();
        _answerer->say("answer\n");
        QTRY_COMPARE(_heard.size(), 1);
        _runLoop.advance(10 * LocalRequest::patience);
        QCOMPARE(_ends, 0);
        _answerer->say("news\n");
        QTRY_COMPARE(_heard.size(), 2);
    }

    void aLineHasALength() {
        ask();
        _answerer->say(QByteArray(LocalRequest::longestLine, 'x'));
        _answerer->say("\n");
        QTRY_COMPARE(_heard.size(), 1);
        QCOMPARE(_heard[0].size(), LocalRequest::longestLine);
        // One more.
        _answerer->say(QByteArray(LocalRequest::longestLine + 1, 'x'));
        QTRY_COMPARE(_ends, 1);
        QTRY_VERIFY(_answerer->wasHungUpOn());
        QCOMPARE(_heard.size(), 1);
    }

    void aLineThatEndsTooLateIsNoneEither() {
        ask();
        _answerer->say(QByteArray(LocalRequest::longestLine + 1, 'x') + '\n');
        QTRY_COMPARE(_ends, 1);
        QCOMPARE(_heard, QByteArrayList());
    }

    void itMayBeDestroyedByWhatItHears() {
        _request->onLine = [this](const QByteArray &line) {
            _heard.append(line);
            _request.reset();
        };
        ask();
        _answerer->say("one\ntwo\n");
        QTRY_VERIFY(_answerer->wasHungUpOn());
        QCOMPARE(_heard, QByteArrayList{"one"});
        QCOMPARE(_ends, 0);
    }

    void itMayBeDestroyedByItsEnd() {
        _request->onEnd = [this] {
            ++_ends;
            _request.reset();
        };
        ask();
        _runLoop.advance(LocalRequest::patience);
        QCOMPARE(_ends, 1);
        QCOMPARE(_runLoop.pendingCount(), 0);
    }

private:
    void ask() {
        _answerer->start("page-control");
        QCOMPARE(_request->start(_answerer->folder(), "page-control", "question"),
                 Answer::Connected);
        QCOMPARE(_answerer->question(), "question\n");
    }

    kit::ManualRunLoop _runLoop;
    const RunLoop::Installation _installation{_runLoop};
    std::unique_ptr<kit::LocalAnswerer> _answerer;
    std::unique_ptr<LocalRequest> _request;
    QByteArrayList _heard;
    int _ends = 0;
};

QTEST_GUILESS_MAIN(LocalRequestTest)
#include "tst_localrequest.moc"
