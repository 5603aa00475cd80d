// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/foundation/LineReader.h"
#include "platform/foundation/QuitSignals.h"
#include "tests/kit/TestCase.h"

#include <QTest>

#include <unistd.h>

#include <array>
#include <csignal>

using namespace clipmule;

namespace {

// A pipe whose reading end feeds a LineReader.
struct Pipe {
    Pipe() {
        std::array<int, 2> ends{};
        if (::pipe(ends.data()) != 0)
            qFatal("no pipe");
        reading = FileHandle(ends[0]);
        writing = FileHandle(ends[1]);
    }
    void write(const QByteArray &bytes) const {
        QCOMPARE(::write(writing.descriptor(), bytes.constData(), size_t(bytes.size())),
                 ssize_t(bytes.size()));
    }
    FileHandle reading;
    FileHandle writing;
};

struct Lines {
    explicit Lines(int descriptor)
        : reader(descriptor) {
        reader.onLine = [this](const QByteArray &line) { lines.append(line); };
        reader.onError = [this](const QString &text) { errors.append(text); };
        reader.onEnd = [this] { ended = true; };
        reader.start();
    }
    QByteArrayList lines;
    QStringList errors;
    bool ended = false;
    LineReader reader;
};

} // namespace

class LineReaderTest final : public kit::TestCase {
    Q_OBJECT

private Q_SLOTS:
    void cutsLinesAcrossReads() {
        const Pipe pipe;
        const Lines seen(pipe.reading.descriptor());
        pipe.write("one\ntw");
        QTRY_COMPARE(seen.lines, QByteArrayList{"one"});
        pipe.write("o\n\nthree\n");
        QTRY_COMPARE(seen.lines, (QByteArrayList{"one", "two", "", "three"}));
        QVERIFY(!seen.ended);
    }

    void deliversALastLineWithoutItsEnd() {
        Pipe pipe;
        const Lines seen(pipe.reading.descriptor());
        pipe.write("quit");
        pipe.writing.close();
        QTRY_VERIFY(seen.ended);
        QCOMPARE(seen.lines, QByteArrayList{"quit"});
    }

    void dropsALineThatIsTooLongAndGoesOn() {
        Pipe pipe;
        const Lines seen(pipe.reading.descriptor());
        // Larger than a pipe holds: written as it is read.
        qsizetype left = LineReader::longestLine + 200000;
        while (left > 0) {
            const qsizetype part = std::min<qsizetype>(left, 32768);
            pipe.write(QByteArray(part, 'x'));
            left -= part;
            QCoreApplication::processEvents();
        }
        pipe.write("\nnext\n");
        QTRY_COMPARE(seen.lines, QByteArrayList{"next"});
        QCOMPARE(seen.errors, QStringList{QStringLiteral("a line of more than 1048576 bytes")});
    }

    void quitSignalBecomesACallback() {
        int seen = 0;
        const QuitSignals signals([&](int signal) { seen = signal; });
        QCOMPARE(::raise(SIGTERM), 0);
        QTRY_COMPARE(seen, SIGTERM);
        QCOMPARE(::raise(SIGINT), 0);
        QTRY_COMPARE(seen, SIGINT);
    }
};

QTEST_GUILESS_MAIN(LineReaderTest)
#include "tst_linereader.moc"
