// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/archive/KeyedArchiver.h"
#include "platform/propertylist/PropertyListSerialization.h"
#include "platform/propertylist/TypedJson.h"
#include "tests/kit/TestCase.h"
#include "tests/kit/Vectors.h"
#include "tools/Tool.h"

#include <QBuffer>
#include <QJsonArray>
#include <QJsonDocument>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

using namespace clipmule;

namespace {

struct Run {
    int status = -1;
    QList<QJsonObject> lines;
    QString messages;
};

QList<QJsonObject> linesOf(const QByteArray &output) {
    QList<QJsonObject> lines;
    for (const QByteArray &line : output.split('\n')) {
        if (line.isEmpty())
            continue;
        const auto document = QJsonDocument::fromJson(line);
        if (!document.isObject())
            qFatal("no JSON object: %s", line.constData());
        lines.append(document.object());
    }
    return lines;
}

/// The real program.
Run runProgram(const QStringList &arguments, const QByteArray &input = {}) {
    QProcess program;
    program.start(QStringLiteral(CLIPMULE_BIN "/clipmule-inspect"), arguments);
    program.write(input);
    program.closeWriteChannel();
    if (!program.waitForFinished())
        qFatal("clipmule-inspect does not end");
    return {program.exitCode(), linesOf(program.readAllStandardOutput()),
            QString::fromUtf8(program.readAllStandardError())};
}

/// The same without the process, over bytes.
Run runOver(const QByteArray &bytes, const QStringList &options = {},
            qint64 largest = Tool::largestInput) {
    QBuffer input;
    input.setData(bytes);
    input.open(QIODevice::ReadOnly);
    QBuffer output;
    output.open(QIODevice::WriteOnly);
    QStringList messages;
    Run result;
    result.status = InspectCommand::run(options + QStringList{QStringLiteral("-")}, input, output,
                                        messages, largest);
    result.lines = linesOf(output.data());
    result.messages = messages.join(u'\n');
    return result;
}

QString vectorPath(const QString &name) {
    return QStringLiteral(CLIPMULE_TEST_DATA "/vectors/") + name;
}

QByteArray objectFrame(const QByteArray &payload) {
    const auto length = quint32(payload.size());
    QByteArray frame("\x00\x4B\x52\x5A", 4);
    for (int shift = 0; shift < 32; shift += 8)
        frame += char(length >> shift);
    return frame + payload;
}

const QByteArray ping("\x01\x4B\x52\x5A", 4);

QByteArray textPayload(const char *text) {
    return PropertyListSerialization::xml(QString::fromLatin1(text));
}

/// Frames as "object@offset text", one a line.
QStringList framesOf(const Run &run) {
    QStringList frames;
    for (const QJsonObject &line : run.lines) {
        QString frame =
            QStringLiteral("%1@%2").arg(line[u"frame"].toString()).arg(line[u"offset"].toInteger());
        if (line.contains(u"bytes"))
            frame += QStringLiteral(" %1 bytes").arg(line[u"bytes"].toInteger());
        if (line.contains(u"value"))
            frame += u' ' + line[u"value"][u"string"].toString();
        if (line.contains(u"error"))
            frame += QStringLiteral(" refused");
        frames.append(frame);
    }
    return frames;
}

} // namespace

class InspectCommandTest final : public kit::TestCase {
    Q_OBJECT

private Q_SLOTS:
    void propertyLists_data() {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("format");
        const auto row = [](const char *name, const char *format) {
            QTest::newRow(name) << QString::fromLatin1(name) << QString::fromLatin1(format);
        };
        row("binary/valid/all_types_plistlib.bplist", "binary");
        row("xml/valid/clip_envelope.plist", "xml");
        row("openstep/valid/basic.plist", "openstep");
    }
    void propertyLists() {
        QFETCH(QString, name);
        QFETCH(QString, format);
        const Run run = runProgram({vectorPath(name)});
        QCOMPARE(run.status, 0);
        QCOMPARE(run.messages, QString());
        QCOMPARE(run.lines.size(), 1);
        QCOMPARE(run.lines[0][u"file"].toString(), vectorPath(name));
        QCOMPARE(run.lines[0][u"kind"].toString(), QStringLiteral("plist"));
        QCOMPARE(run.lines[0][u"format"].toString(), format);
        QCOMPARE(run.lines[0][u"value"].toObject(), kit::expectedValue(name));
    }

    void refusedFilesGetOneLineEach() {
        const QString good = vectorPath(QStringLiteral("openstep/valid/basic.plist"));
        const QString bad = vectorPath(QStringLiteral("openstep/invalid/junk_after.plist"));
        const QString missing = vectorPath(QStringLiteral("missing"));
        const Run run = runProgram({bad, good, missing});
        QCOMPARE(run.status, 1);
        QCOMPARE(run.lines.size(), 1);
        QCOMPARE(run.lines[0][u"file"].toString(), good);
        const QStringList messages = run.messages.split(u'\n', Qt::SkipEmptyParts);
        QCOMPARE(messages.size(), 2);
        QVERIFY(messages[0].startsWith(QStringLiteral("clipmule-inspect: %1: ").arg(bad)));
        QVERIFY(messages[1].startsWith(QStringLiteral("clipmule-inspect: %1: ").arg(missing)));
    }

    void aFolderIsRefused() {
        const Run run = runProgram({vectorPath(QStringLiteral("xml"))});
        QCOMPARE(run.status, 1);
        QCOMPARE(run.messages.count(u'\n'), 1);
    }

    void readsStandardInput() {
        const Run run = runProgram({QStringLiteral("-")}, "( a, <00> )");
        QCOMPARE(run.status, 0);
        QCOMPARE(run.lines.size(), 1);
        QCOMPARE(run.lines[0][u"file"].toString(), QStringLiteral("-"));
        QCOMPARE(run.lines[0][u"value"].toObject(),
                 typedJson(PropertyList::List{QStringLiteral("a"), QByteArray("\0", 1)}));
    }

    void badUse_data() {
        QTest::addColumn<QStringList>("arguments");
        QTest::newRow("no file") << QStringList();
        QTest::newRow("unknown kind")
            << QStringList{QStringLiteral("--as"), QStringLiteral("json"), QStringLiteral("-")};
        QTest::newRow("kind missing") << QStringList{QStringLiteral("--as")};
        QTest::newRow("unknown option")
            << QStringList{QStringLiteral("--colour"), QStringLiteral("-")};
    }
    void badUse() {
        QFETCH(QStringList, arguments);
        const Run run = runProgram(arguments);
        QCOMPARE(run.status, 2);
        QVERIFY(run.lines.isEmpty());
        QVERIFY(run.messages.startsWith(u"clipmule-inspect: "));
        QCOMPARE(run.messages.count(u'\n'), 1);
    }

    void helpAndVersion_data() {
        QTest::addColumn<QString>("usage");
        QTest::newRow("clipmule-inspect") << QStringLiteral(" [options] FILE...");
        QTest::newRow("clipmule-filter") << QStringLiteral(" [options] FILTER");
        QTest::newRow("clipmule-phone") << QStringLiteral(" [options]");
        QTest::newRow("clipmule-sync") << QStringLiteral(" [options]");
    }
    void helpAndVersion() {
        QFETCH(QString, usage);
        const QString name = QString::fromLatin1(QTest::currentDataTag());
        const QString program = QStringLiteral(CLIPMULE_BIN "/") + name;
        // By its name, however it was started.
        const QByteArray help = told(program, QStringLiteral("--help"), 0);
        QVERIFY(help.startsWith("Usage: " + name.toUtf8() + usage.toUtf8() + '\n'));
        QVERIFY(help.contains("Show this help."));
        QVERIFY(help.contains("Show the version."));
        QVERIFY(!help.contains("--help-all"));
        QCOMPARE(told(program, QStringLiteral("-h"), 0), help);
        QCOMPARE(told(program, QStringLiteral("--help-all"), 2), QByteArray());
        const QByteArray version = told(program, QStringLiteral("--version"), 0);
        static const QRegularExpression number(QStringLiteral("^[0-9]+\\.[0-9]+\\.[0-9]+\n$"));
        QVERIFY(version.startsWith(name.toUtf8() + ' '));
        QVERIFY(number.match(QString::fromUtf8(version.sliced(name.size() + 1))).hasMatch());
        QCOMPARE(told(program, QStringLiteral("-v"), 0), version);
    }

    void inputIsBounded_data() {
        QTest::addColumn<int>("size");
        QTest::addColumn<bool>("accepted");
        QTest::newRow("one below") << 99 << true;
        QTest::newRow("at the limit") << 100 << true;
        QTest::newRow("one above") << 101 << false;
    }
    void inputIsBounded() {
        QFETCH(int, size);
        QFETCH(bool, accepted);
        const Run run = runOver(QByteArray(size, 'x'), {}, 100);
        QCOMPARE(run.status, accepted ? 0 : 1);
        QCOMPARE(run.messages, accepted ? QString() : QStringLiteral("-: more than 100 bytes"));
    }

    void theProgramsOwnLimitHolds() {
        const QTemporaryDir folder;
        QFile file(folder.filePath(QStringLiteral("large")));
        QVERIFY(file.open(QIODevice::WriteOnly));
        QVERIFY(file.resize(Tool::largestInput + 1)); // holds no blocks
        const Run run = runProgram({file.fileName()});
        QCOMPARE(run.status, 1);
        QVERIFY(run.messages.contains(QString::number(Tool::largestInput)));
    }

    void framesAreOneLineEach() {
        const Run run = runOver(ping + objectFrame(textPayload("one")) + ping +
                                objectFrame(textPayload("two")));
        QCOMPARE(run.status, 0);
        const auto second = 4 + 8 + textPayload("one").size();
        QCOMPARE(framesOf(run),
                 (QStringList{QStringLiteral("ping@0"), QStringLiteral("object@4 one"),
                              QStringLiteral("ping@%1").arg(second),
                              QStringLiteral("object@%1 two").arg(second + 4)}));
        QCOMPARE(run.lines[1][u"kind"].toString(), QStringLiteral("frames"));
        QCOMPARE(run.lines[1][u"format"].toString(), QStringLiteral("xml"));
        QCOMPARE(run.lines[1][u"length"].toInteger(), textPayload("one").size());
    }

    void framesOfAFileThroughTheProgram() {
        const QTemporaryDir folder;
        QFile file(folder.filePath(QStringLiteral("captured")));
        QVERIFY(file.open(QIODevice::WriteOnly));
        const QByteArray envelope =
            kit::vectorBytes(QStringLiteral("xml/valid/clip_envelope.plist"));
        file.write(objectFrame(envelope));
        file.close();
        const Run run = runProgram({file.fileName()});
        QCOMPARE(run.status, 0);
        QCOMPARE(run.lines.size(), 1);
        QCOMPARE(run.lines[0][u"value"].toObject(),
                 kit::expectedValue(QStringLiteral("xml/valid/clip_envelope.plist")));
    }

    void framesAreFoundAgainInStepsOfFourBytes() {
        const QStringList asFrames{QStringLiteral("--as"), QStringLiteral("frames")};
        QCOMPARE(
            framesOf(runOver("garbage!" + objectFrame(textPayload("one")), asFrames)),
            (QStringList{QStringLiteral("skipped@0 8 bytes"), QStringLiteral("object@8 one")}));
        // One byte too many, and nothing lines up again.
        const QByteArray shifted = "x" + objectFrame(textPayload("one"));
        const Run lost = runOver(shifted, asFrames);
        QCOMPARE(lost.status, 1);
        QCOMPARE(lost.messages, QStringLiteral("-: there is no frame in it"));
    }

    void anUndecodablePayloadIsToldAndSkipped() {
        const Run run =
            runOver(objectFrame("<<<") + objectFrame({}) + objectFrame(textPayload("two")));
        QCOMPARE(framesOf(run), (QStringList{QStringLiteral("object@0 refused"),
                                             QStringLiteral("object@11 refused"),
                                             QStringLiteral("object@19 two")}));
        QCOMPARE(run.lines[1][u"error"].toString(),
                 QStringLiteral("Cannot parse a NULL or zero-length data"));
        QCOMPARE(run.status, 1);
        QCOMPARE(run.messages, QStringLiteral("-: 2 of 3 frames refused"));
    }

    void anUnfinishedFrameIsTold() {
        const QByteArray frame = objectFrame(textPayload("one"));
        QCOMPARE(framesOf(runOver(ping + frame.chopped(1))),
                 (QStringList{QStringLiteral("ping@0"),
                              QStringLiteral("incomplete@4 %1 bytes").arg(frame.size() - 1)}));
        QCOMPARE(framesOf(runOver(ping + frame.first(7))),
                 (QStringList{QStringLiteral("ping@0"), QStringLiteral("incomplete@4 7 bytes")}));
        QCOMPARE(framesOf(runOver(ping + "ab")),
                 (QStringList{QStringLiteral("ping@0"), QStringLiteral("incomplete@4 2 bytes")}));
    }

    void aFrameThatWouldCloseTheConnectionEndsTheStream() {
        // 64 MiB and one byte; 64 MiB would be waited for.
        const Run above = runOver(QByteArray("\x00\x4B\x52\x5A\x01\x00\x00\x04", 8) + ping);
        QCOMPARE(framesOf(above), QStringList{QStringLiteral("object@0 refused")});
        QCOMPARE(above.lines[0][u"error"].toString(), QStringLiteral("too large"));
        QCOMPARE(above.lines[0][u"length"].toInteger(), 64 * 1024 * 1024 + 1);
        const Run at = runOver(ping + QByteArray("\x00\x4B\x52\x5A\x00\x00\x00\x04", 8) + ping);
        QCOMPARE(framesOf(at),
                 (QStringList{QStringLiteral("ping@0"), QStringLiteral("incomplete@4 12 bytes")}));
    }

    void txtRecords_data() {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QStringList>("options");
        QTest::newRow("detected") << QStringLiteral("txt/rfc_example.bin") << QStringList();
        QTest::newRow("forced") << QStringLiteral("txt/rfc_example.bin")
                                << QStringList{QStringLiteral("--as"), QStringLiteral("txt")};
    }
    void txtRecords() {
        QFETCH(QString, name);
        QFETCH(QStringList, options);
        const Run run = runProgram(options + QStringList{vectorPath(name)});
        QCOMPARE(run.status, 0);
        QCOMPARE(run.lines.size(), 1);
        QCOMPARE(run.lines[0][u"kind"].toString(), QStringLiteral("txt"));
        const QJsonArray entries = run.lines[0][u"value"][u"dict"].toArray();
        const auto entry = [](const QString &key, const QString &text) {
            return QJsonArray{key, typedJson(text)};
        };
        QVERIFY(entries.contains(entry(QStringLiteral("txtvers"), QStringLiteral("1"))));
        QVERIFY(entries.contains(entry(QStringLiteral("note"), QString())));
    }

    void bytesThatNoRecordHasAreRefused() {
        const QStringList asTxt{QStringLiteral("--as"), QStringLiteral("txt")};
        QCOMPARE(runOver({}, asTxt).status, 1);
        QCOMPARE(runOver(QByteArray(65536, '\0'), asTxt).status, 1);
        QCOMPARE(runOver(QByteArray(65535, '\0'), asTxt).status, 0);
        // An entry that runs beyond the end: the program takes it for an empty record.
        QCOMPARE(runOver("\x03"
                         "a=b",
                         asTxt)
                     .status,
                 0);
        const Run run = runOver("\x03"
                                "a=b"
                                "\x04"
                                "a=b",
                                asTxt);
        QCOMPARE(run.status, 1);
        QVERIFY(run.lines.isEmpty());
        QCOMPARE(run.messages,
                 QStringLiteral("-: no TXT record: the entry at byte 4 has 4 bytes, and 3 follow"));
        QCOMPARE(runOver("<?xml version=\"1.0\"?><plist><true/></plist>", asTxt).status, 1);
    }

    void nothingIsRefused_data() {
        QTest::addColumn<QString>("kind");
        for (const char *kind : {"", "plist", "frames", "txt", "archive", "typedstream"})
            QTest::newRow(kind) << QString::fromLatin1(kind);
    }
    void nothingIsRefused() {
        QFETCH(QString, kind);
        const Run run =
            runOver({}, kind.isEmpty() ? QStringList() : QStringList{QStringLiteral("--as"), kind});
        QCOMPARE(run.status, 1);
        QCOMPARE(run.messages, QStringLiteral("-: there is nothing in it"));
    }

    void theBeginningOfABinaryListIsNoWord() {
        // Although that is what the reader of what a phone sends makes of it.
        for (const QByteArray &bytes : {QByteArray("bplist"), QByteArray("bplist00")}) {
            const Run run = runOver(bytes);
            QCOMPARE(run.status, 1);
            QVERIFY(run.lines.isEmpty());
        }
        QCOMPARE(runOver("bpl").lines.value(0)[u"format"].toString(), QStringLiteral("openstep"));
    }

    void otherVersionsAreNamed() {
        const Run run = runOver(QByteArray("\x03\x0bstreamtyped\x81\xe8\x03", 16),
                                {QStringLiteral("--as"), QStringLiteral("typedstream")});
        QCOMPARE(run.messages,
                 QStringLiteral("-: old archive: version 3, where only 4 can be read"));
    }

    void whatGrowsIsRefused_data() {
        QTest::addColumn<QByteArray>("bytes");
        using List = PropertyList::List;
        const PropertyList texts(List(1'000, PropertyList(QString(100'000, u'x'))));
        QTest::newRow("archive") << KeyedArchiver::archivedData(ArchiveValue(texts));
        const PropertyList numbers(List(3'000'000, PropertyList(1)));
        QTest::newRow("many small values") << PropertyListSerialization::xml(numbers);
        // Its reader refuses this one already.
        QTest::newRow("list") << PropertyListSerialization::binary(texts);
    }
    void whatGrowsIsRefused() {
        QFETCH(QByteArray, bytes);
        const Run run = runOver(bytes);
        QCOMPARE(run.status, 1);
        QVERIFY(run.lines.isEmpty());
        if (qstrcmp(QTest::currentDataTag(), "list") != 0)
            QCOMPARE(run.messages,
                     QStringLiteral("-: too large to be shown with all that it refers to"));
    }

    // A history as the program writes it: one text in every clip.
    void anOrdinaryAmountOfSharingIsShown() {
        const PropertyList shared(PropertyList::List(200, PropertyList(QString(50'000, u'x'))));
        const Run run = runOver(KeyedArchiver::archivedData(ArchiveValue(shared)));
        QCOMPARE(run.status, 0);
        QCOMPARE(run.lines.size(), 1);
    }

    void nothingForeignReachesTheTerminal() {
        // A class whose name clears the screen, in an archive and on its own line.
        const QByteArray evil("\xc2\x9b"
                              "2J\x1b]0;x\x07\r\nforged \xe2\x80\xae",
                              21);
        QByteArray archive("\x04\x0bstreamtyped\x81\xe8\x03\x84\x01@\x84\x84\x84", 22);
        archive += char(evil.size()) + evil + QByteArray("\x00\x85\x86", 3);
        QTemporaryDir folder;
        QFile file(folder.filePath(QString::fromUtf8("\xc2\x9b") + QStringLiteral("file\n")));
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(archive);
        file.close();
        QProcess program;
        program.start(QStringLiteral(CLIPMULE_BIN "/clipmule-inspect"),
                      {QStringLiteral("--as"), QStringLiteral("typedstream"), file.fileName()});
        QVERIFY(program.waitForFinished());
        QCOMPARE(program.exitCode(), 1);
        const QByteArray message = program.readAllStandardError();
        QCOMPARE(message.count('\n'), 1);
        QVERIFY2(message.contains("unknown class"), message.constData());
        for (const char *raw : {"\x1b", "\r", "\x07", "\xc2\x9b", "\xe2\x80\xae"})
            QVERIFY2(!message.contains(raw), message.constData());
        QVERIFY(message.contains("\\x9b"));
        // The same in what is shown.
        program.start(QStringLiteral(CLIPMULE_BIN "/clipmule-inspect"), {QStringLiteral("-")});
        program.write(
            PropertyListSerialization::xml(PropertyList(QString::fromUtf8("\xc2\x9b"
                                                                          "\xe2\x80\xae"))));
        program.closeWriteChannel();
        QVERIFY(program.waitForFinished());
        QVERIFY(program.readAllStandardOutput().contains("\\u009b\\u202e"));
    }

    void keyedArchivesAreShownAsObjects() {
        const Run run = runProgram({vectorPath(QStringLiteral("keyed/mac_clip_no_date.bplist"))});
        QCOMPARE(run.status, 0);
        QCOMPARE(run.lines[0][u"kind"].toString(), QStringLiteral("archive"));
        const auto expected =
            QJsonDocument::fromJson("{\"root\": "
                                    "{\"object\": 1, \"class\": \"ZRKClipmuleData\", \"values\": [ "
                                    "[\"creationDate\", {\"nil\": true}], "
                                    "[\"items\", {\"object\": 4, \"class\": \"NSMutableArray\", "
                                    "\"values\": [[\"NS.objects\", {\"array\": []}]]}], "
                                    "[\"oid\", {\"string\": \"C-ND\"}], "
                                    "[\"title\", {\"string\": \"T\"}]]}}");
        QCOMPARE(run.lines[0][u"value"].toObject(), expected.object());
    }

    void anObjectMetAgainIsAReference() {
        const PropertyList archive = PropertyList::Dictionary{
            {QStringLiteral("$archiver"), QStringLiteral("NSKeyedArchiver")},
            {QStringLiteral("$top"),
             PropertyList::Dictionary{{QStringLiteral("root"), PropertyList::Uid{1}}}},
            {QStringLiteral("$objects"),
             PropertyList::List{
                 QStringLiteral("$null"),
                 PropertyList::Dictionary{{QStringLiteral("self"), PropertyList::Uid{1}},
                                          {QStringLiteral("$class"), PropertyList::Uid{2}}},
                 PropertyList::Dictionary{{QStringLiteral("$classname"), QStringLiteral("Any")}}}}};
        const Run run = runOver(PropertyListSerialization::binary(archive));
        QCOMPARE(run.status, 0);
        QCOMPARE(run.lines[0][u"value"][u"root"][u"values"].toArray(),
                 (QJsonArray{QJsonArray{QStringLiteral("self"),
                                        QJsonObject{{QStringLiteral("reference"), 1}}}}));
    }

    void archivesAsPropertyLists() {
        const QString name = QStringLiteral("keyed/mac_item_text.bplist");
        const Run run =
            runProgram({QStringLiteral("--as"), QStringLiteral("plist"), vectorPath(name)});
        QCOMPARE(run.lines[0][u"kind"].toString(), QStringLiteral("plist"));
        QCOMPARE(run.lines[0][u"value"].toObject(),
                 typedJson(*PropertyListSerialization::parse(kit::vectorBytes(name))));
    }

    void malformedArchivesAreRefused_data() {
        QTest::addColumn<QString>("name");
        for (const char *name : {"no_objects", "no_top", "uid_out_of_range", "class_missing",
                                 "classname_missing", "archiver", "not_plist", "truncated"})
            QTest::newRow(name) << QStringLiteral("keyed/bad_%1.bplist").arg(QLatin1String(name));
    }
    void malformedArchivesAreRefused() {
        QFETCH(QString, name);
        const Run run =
            runProgram({QStringLiteral("--as"), QStringLiteral("archive"), vectorPath(name)});
        QCOMPARE(run.status, 1);
        QVERIFY(run.lines.isEmpty());
        QCOMPARE(run.messages.count(u'\n'), 1);
    }

    void deeplyNestedArchivesAreRefused() {
        // Each record holds a list of lists around the next record.
        const auto nested = [](quint32 records) {
            PropertyList::List objects{QStringLiteral("$null")};
            for (quint32 number = 1; number <= records; ++number) {
                PropertyList value = PropertyList::Uid{number == records ? 0 : number + 1};
                for (int level = 0; level < 48; ++level)
                    value = PropertyList::List{value};
                objects.append(PropertyList::Dictionary{
                    {QStringLiteral("v"), value},
                    {QStringLiteral("$class"), PropertyList::Uid{records + 1}}});
            }
            objects.append(
                PropertyList::Dictionary{{QStringLiteral("$classname"), QStringLiteral("Any")}});
            return PropertyListSerialization::binary(PropertyList::Dictionary{
                {QStringLiteral("$archiver"), QStringLiteral("NSKeyedArchiver")},
                {QStringLiteral("$top"),
                 PropertyList::Dictionary{{QStringLiteral("root"), PropertyList::Uid{1}}}},
                {QStringLiteral("$objects"), objects}});
        };
        // 49 levels a record.
        static_assert(KeyedArchiver::maximumDepth == 500);
        QCOMPARE(runOver(nested(10)).status, 0);
        QCOMPARE(runOver(nested(11)).messages, QStringLiteral("-: objects nested too deeply"));
    }

    void typedStreams_data() {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QByteArray>("expected");
        const auto row = [](const char *name, const char *expected) {
            QTest::newRow(name) << QStringLiteral("typedstream/%1.bin").arg(QLatin1String(name))
                                << QByteArray(expected);
        };
        row("color_red", "{\"color\": {\"red\": {\"real\": \"1\"}, \"green\": {\"real\": \"0\"}, "
                         "\"blue\": {\"real\": \"0\"}, \"alpha\": {\"real\": \"1\"}}}");
        row("font_menlo_11", "{\"font\": {\"name\": {\"string\": \"Menlo-Regular\"}, \"size\": "
                             "{\"real\": \"11\"}}}");
        row("string", "{\"value\": {\"string\": \"string value\"}}");
    }
    void typedStreams() {
        QFETCH(QString, name);
        QFETCH(QByteArray, expected);
        const Run run = runProgram({vectorPath(name)});
        QCOMPARE(run.status, 0);
        QJsonObject line = QJsonDocument::fromJson(expected).object();
        line.insert(QStringLiteral("file"), vectorPath(name));
        line.insert(QStringLiteral("kind"), QStringLiteral("typedstream"));
        QCOMPARE(run.lines, QList<QJsonObject>{line});
    }

    void badTypedStreamsAreRefused_data() {
        QTest::addColumn<QString>("name");
        for (const QString &name : kit::vectorsIn(QStringLiteral("typedstream"))) {
            if (name.contains(u"/bad_"))
                QTest::newRow(qPrintable(name)) << name;
        }
    }
    void badTypedStreamsAreRefused() {
        QFETCH(QString, name);
        const Run run =
            runProgram({QStringLiteral("--as"), QStringLiteral("typedstream"), vectorPath(name)});
        QCOMPARE(run.status, 1);
        QVERIFY(run.lines.isEmpty());
        QCOMPARE(run.messages.count(u'\n'), 1);
    }

    void saysWhenTheTextCannotBeWritten() {
        QProcess program;
        program.setStandardOutputFile(QStringLiteral("/dev/full"));
        program.start(QStringLiteral(CLIPMULE_BIN "/clipmule-inspect"), {QStringLiteral("-")});
        program.write("{}");
        program.closeWriteChannel();
        QVERIFY(program.waitForFinished());
        QCOMPARE(program.exitCode(), 1);
        QVERIFY(program.readAllStandardError().startsWith(
            "clipmule-inspect: the text cannot be written: "));
    }

private:
    // What the program writes to standard output, in a session without a display.
    static QByteArray told(const QString &program, const QString &option, int status) {
        QProcess process;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        for (const char *variable : {"DISPLAY", "WAYLAND_DISPLAY", "QT_QPA_PLATFORM"})
            environment.remove(QString::fromLatin1(variable));
        process.setProcessEnvironment(environment);
        process.start(program, {option});
        if (!process.waitForFinished() || process.exitCode() != status)
            return "ended otherwise";
        return process.readAllStandardOutput();
    }
};

QTEST_GUILESS_MAIN(InspectCommandTest)
#include "tst_inspectcommand.moc"
