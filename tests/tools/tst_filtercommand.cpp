// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "tests/kit/TestCase.h"
#include "tools/Tool.h"

#include <QBuffer>
#include <QProcess>
#include <QTest>

using namespace clipmule;
using namespace Qt::StringLiterals;

namespace {

struct Run {
    int status;
    QByteArray output;
    QStringList messages;
};

Run run(const QStringList &arguments, const QByteArray &text = {}) {
    QBuffer input;
    input.setData(text);
    input.open(QIODevice::ReadOnly);
    QBuffer output;
    output.open(QIODevice::WriteOnly);
    Run result{};
    result.status = FilterCommand::run(arguments, input, output, result.messages);
    result.output = output.data();
    return result;
}

} // namespace

class FilterCommandTest final : public kit::TestCase {
    Q_OBJECT

private Q_SLOTS:
    void filtersAndAddsNothing_data() {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<QByteArray>("input");
        QTest::addColumn<QByteArray>("output");
        QTest::newRow("no newline is added") << QStringList{u"Convert to Uppercase"_s}
                                             << QByteArray("stra\xC3\x9F"
                                                           "e")
                                             << QByteArray("STRASSE");
        QTest::newRow("a newline stays") << QStringList{u"Convert to Lowercase"_s}
                                         << QByteArray("A\r\nB\n") << QByteArray("a\r\nb\n");
        QTest::newRow("empty") << QStringList{u"Convert to Lowercase"_s} << QByteArray()
                               << QByteArray();
        QTest::newRow("byte-order mark stays") << QStringList{u"Convert to Lowercase"_s}
                                               << QByteArray("\xEF\xBB\xBF"
                                                             "A")
                                               << QByteArray("\xEF\xBB\xBF"
                                                             "a");
        QTest::newRow("zero bytes stay") << QStringList{u"Convert to Lowercase"_s}
                                         << QByteArray("A\0B", 3) << QByteArray("a\0b", 3);
        QTest::newRow("any case of the title") << QStringList{u"straighten quotes"_s}
                                               << QByteArray("\xE2\x80\x9C") << QByteArray("\"");
        QTest::newRow("class name")
            << QStringList{u"ZRKClipmuleLowercaseFilter"_s} << QByteArray("A") << QByteArray("a");
        QTest::newRow("options") << QStringList{u"Quote Lines"_s, u"--option"_s, u"start=> "_s,
                                                u"--option"_s, u"end=="_s}
                                 << QByteArray("a\nb") << QByteArray("> a=\n> b=");
        QTest::newRow("option without a name")
            << QStringList{u"Wrap in HTML Tags"_s, u"--option"_s, u"=a href=x"_s} << QByteArray("y")
            << QByteArray("<a href=x>y</a>");
    }
    void filtersAndAddsNothing() {
        QFETCH(QStringList, arguments);
        QFETCH(QByteArray, input);
        QFETCH(QByteArray, output);
        const Run result = run(arguments, input);
        QCOMPARE(result.messages, QStringList());
        QCOMPARE(result.status, 0);
        QCOMPARE(result.output, output);
    }

    void valuesDoNotOutliveARun() {
        QCOMPARE(run({u"Quote Lines"_s, u"--option"_s, u"start=> "_s}, "a").output,
                 QByteArray("> a"));
        QCOMPARE(run({u"Quote Lines"_s}, "a").output, QByteArray("a"));
    }

    void refusesBadUse_data() {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<QString>("message");
        QTest::newRow("nothing") << QStringList() << u"name a filter; --list shows them"_s;
        QTest::newRow("two") << QStringList{u"Quote"_s, u"Lines"_s}
                             << u"one filter at a time; its title needs quotes"_s;
        QTest::newRow("unknown") << QStringList{u"Rot13"_s}
                                 << u"no filter “Rot13”; --list shows them"_s;
        QTest::newRow("unknown option of the program")
            << QStringList{u"--what"_s} << u"Unknown option 'what'."_s;
        QTest::newRow("unknown option of the filter")
            << QStringList{u"Quote Lines"_s, u"--option"_s, u"x=y"_s}
            << u"“Quote Lines” has no option “x”"_s;
        QTest::newRow("no value") << QStringList{u"Quote Lines"_s, u"--option"_s, u"start"_s}
                                  << u"“start”: expected NAME=VALUE"_s;
    }
    void refusesBadUse() {
        QFETCH(QStringList, arguments);
        QFETCH(QString, message);
        const Run result = run(arguments, "a");
        QCOMPARE(result.status, 2);
        QCOMPARE(result.messages, QStringList{message});
        QCOMPARE(result.output, QByteArray());
    }

    void refusesWhatIsNoText() {
        const Run result = run({u"Convert to Lowercase"_s}, "a\xFF");
        QCOMPARE(result.status, 1);
        QCOMPARE(result.messages, QStringList{u"the input is not UTF-8 text"_s});
        QCOMPARE(result.output, QByteArray());
        QCOMPARE(run({u"Convert to Lowercase"_s}, "a\xC3").status, 1);
    }

    void saysWhenACharacterIsLost() {
        const Run result = run({u"Decode HTML Entities"_s}, "&#55357;");
        QCOMPARE(result.status, 0);
        QCOMPARE(result.output, QByteArray("\xEF\xBF\xBD"));
        QCOMPARE(result.messages.size(), 1);
        // Two halves are a whole.
        QCOMPARE(run({u"Decode HTML Entities"_s}, "&#55357;&#56832;").output,
                 QByteArray("\xF0\x9F\x98\x80"));
    }

    void listsTheFilters() {
        const Run result = run({u"--list"_s});
        QCOMPARE(result.status, 0);
        const auto lines = result.output.trimmed().split('\n');
        QCOMPARE(lines.size(), 10);
        QCOMPARE(lines.first(), QByteArray("Convert to Lowercase"));
        QVERIFY(lines.contains("Quote Lines\tstart=… (Start Quote)\tend=… (End Quote)"));
        QVERIFY(lines.contains("Wrap in HTML Tags\t=… (Enter a Tag)"));
    }

    void saysWhenTheTextCannotBeWritten() {
        QProcess program;
        program.setStandardOutputFile(u"/dev/full"_s);
        program.start(QStringLiteral(CLIPMULE_BIN "/clipmule-filter"), {u"Convert to Lowercase"_s});
        program.write("A");
        program.closeWriteChannel();
        QVERIFY(program.waitForFinished());
        QCOMPARE(program.exitCode(), 1);
        QVERIFY(program.readAllStandardError().startsWith(
            "clipmule-filter: the text cannot be written: "));
    }

    void theProgramDoesTheSame() {
        QProcess program;
        program.start(QStringLiteral(CLIPMULE_BIN "/clipmule-filter"), {u"Encode HTML Entities"_s});
        program.write("<\xC3\xA9>");
        program.closeWriteChannel();
        QVERIFY(program.waitForFinished());
        QCOMPARE(program.exitCode(), 0);
        QCOMPARE(program.readAllStandardOutput(), QByteArray("&lt;&eacute;&gt;"));
        program.start(QStringLiteral(CLIPMULE_BIN "/clipmule-filter"), {u"Rot13"_s});
        QVERIFY(program.waitForFinished());
        QCOMPARE(program.exitCode(), 2);
        QCOMPARE(QString::fromUtf8(program.readAllStandardError()),
                 u"clipmule-filter: no filter “Rot13”; --list shows them\n"_s);
    }
};

QTEST_GUILESS_MAIN(FilterCommandTest)
#include "tst_filtercommand.moc"
