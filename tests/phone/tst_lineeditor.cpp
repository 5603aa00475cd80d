// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "phone/LineEditor.h"
#include "tests/kit/TestCase.h"

#include <QTest>
#include <QTimer>

#include <fcntl.h>
#include <pty.h>
#include <unistd.h>

using namespace clipmule;

/// Lines typed at a terminal: the fingers are on the other side of a pseudo terminal.
class LineEditorTest final : public kit::TestCase {
    Q_OBJECT

    void begin() override {
        _lines.clear();
        _shown.clear();
        _hasEnded = false;
        _endsByLine = false;
        QCOMPARE(::openpty(&_master, &_slave, nullptr, nullptr, nullptr), 0);
        QCOMPARE(::fcntl(_master, F_SETFL, O_NONBLOCK), 0);
        _answer.reset();
        _editor = LineEditor::make(_slave, _slave, "phone> ");
        if (!_editor)
            QSKIP("built without a library for it");
        _editor->onLine = [this](const QByteArray &line) {
            _lines.append(line);
            if (_answer)
                _editor->print(*_answer);
            // As a program does: not before its event loop runs again.
            if (_endsByLine)
                QTimer::singleShot(0, qApp, [this] { _editor.reset(); });
        };
        _editor->onEnd = [this] {
            _hasEnded = true;
            _editor.reset();
        };
        _editor->start();
    }

    void end() override {
        _editor.reset();
        ::close(_master);
        ::close(_slave);
    }

private Q_SLOTS:
    void initTestCase() {
        // Neither the user's keys nor a terminal that cannot move its cursor.
        qputenv("INPUTRC", "/dev/null");
        qputenv("TERM", "xterm");
    }

    void onlyAtATerminal() {
        std::array<int, 2> pipe{};
        QCOMPARE(::pipe(pipe.data()), 0);
        QVERIFY(!LineEditor::make(pipe[0], _slave, ""));
        QVERIFY(!LineEditor::make(_slave, pipe[1], ""));
        ::close(pipe[0]);
        ::close(pipe[1]);
    }

    void showsThePrompt() { QVERIFY(shows("phone> ")); }

    void givesLines() {
        press("text one\r");
        QTRY_COMPARE(_lines, QByteArrayList{"text one"});
        press("\r  two\r");
        QTRY_COMPARE(_lines, (QByteArrayList{"text one", "", "  two"}));
    }

    void editsThem() {
        press("txt\x1b[D\x1b[De\x7f"
              "e\x05 x\r");
        QTRY_COMPARE(_lines, QByteArrayList{"text x"});
    }

    void bringsEarlierOnesBack() {
        press("one\r");
        QTRY_COMPARE(_lines.size(), 1);
        press("\r");
        QTRY_COMPARE(_lines.size(), 2);
        // The blank one is not among them.
        press("\x1b[A!\r");
        QTRY_COMPARE(_lines.value(2), QByteArray("one!"));
    }

    // Before the next one: the library remembers for good that an input has ended.
    void endsByALine() {
        _endsByLine = true;
        press("quit\r");
        QTRY_VERIFY(!_editor);
        QCOMPARE(_lines, QByteArrayList{"quit"});
        // The prompt that came behind the line is gone again.
        QCOMPARE(::write(_slave, "shell", 5), 5);
        QVERIFY(shows("shell"));
        const QByteArray last = _shown.sliced(_shown.lastIndexOf("phone> "));
        QVERIFY(last.contains("\r\x1b[K"));
        QVERIFY(last.endsWith("\rshell"));
        QVERIFY(!last.contains('\n'));
    }

    void endsByCtrlD() {
        press("\x04");
        QTRY_VERIFY(_hasEnded);
        QVERIFY(_lines.isEmpty());
        QVERIFY(isFollowedByTheShell());
    }

    void printsAboveWhatIsBeingTyped() {
        QVERIFY(shows("phone> "));
        press("text o");
        QVERIFY(shows("text o"));
        _shown.clear();
        _editor->print("{\"event\":\"opened\"}");
        QVERIFY(shows("{\"event\":\"opened\"}\r\n"));
        QVERIFY(shows("phone> text o"));
        press("ne\r");
        QTRY_COMPARE(_lines, QByteArrayList{"text one"});
    }

    void answersStandBelowTheLine() {
        _answer = "answer";
        press("text\r");
        QVERIFY(shows("text\r\n"));
        QVERIFY(shows("answer\r\n"));
        _shown.clear();
        press("x");
        QVERIFY(shows("x"));
    }

private:
    // No second prompt, and what comes next has a line of its own.
    bool isFollowedByTheShell() {
        return ::write(_slave, "shell", 5) == 5 && shows("shell") && _shown.count("phone> ") == 1 &&
               _shown.endsWith("\r\nshell") && !_shown.endsWith("\n\r\nshell");
    }
    void press(const QByteArray &keys) const {
        QCOMPARE(::write(_master, keys.constData(), size_t(keys.size())), ssize_t(keys.size()));
    }
    bool shows(const QByteArray &text) {
        return QTest::qWaitFor([&] {
            std::array<char, 4096> bytes{};
            for (;;) {
                const ssize_t count = ::read(_master, bytes.data(), bytes.size());
                if (count <= 0)
                    break;
                _shown.append(bytes.data(), count);
            }
            return _shown.contains(text);
        });
    }

    int _master = -1;
    int _slave = -1;
    std::unique_ptr<LineEditor> _editor;
    QByteArrayList _lines;
    QByteArray _shown;
    std::optional<QByteArray> _answer;
    bool _hasEnded = false;
    bool _endsByLine = false;
};

QTEST_GUILESS_MAIN(LineEditorTest)
#include "tst_lineeditor.moc"
