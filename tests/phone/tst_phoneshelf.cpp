// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "phone/PhoneShelf.h"
#include "platform/foundation/PlatformException.h"
#include "tests/kit/ManualRunLoop.h"
#include "tests/kit/TestCase.h"

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QTemporaryDir>
#include <QTest>

using namespace clipmule;

namespace {

PropertyList::Dictionary dictionary(const QString &text, const QByteArray &image = {}) {
    PropertyList::Dictionary item{{u"oid"_qs, u"chosen elsewhere"_qs}, {u"createdBy"_qs, 2}};
    if (!text.isEmpty())
        item.insert(u"string"_qs, text);
    if (!image.isEmpty())
        item.insert(u"imageData"_qs, image);
    return {{u"creationDate"_qs, Date{0}}, {u"items"_qs, PropertyList::List{PropertyList(item)}}};
}

// Of its first item.
QByteArray imageOf(const PropertyList::Dictionary &clip) {
    const PropertyList item = clip.value(u"items"_qs).list().constFirst();
    const PropertyList *const image = item.find(u"imageData"_qs);
    return image ? image->data() : QByteArray("(none)");
}

} // namespace

/// The stand-in's history and boards, by the commands that are typed.
class PhoneShelfTest final : public kit::TestCase {
    Q_OBJECT

    void begin() override {
        _folder = std::make_unique<QTemporaryDir>();
        _lines.clear();
        _errors.clear();
        _sent.clear();
        _isConnected = true;
        _limit = DataFile::largest;
        start();
    }

    void end() override { _shelf.reset(); }

private Q_SLOTS:
    void numbersClipsInTheOrderInWhichTheyCome() {
        QCOMPARE(_shelf->keep(dictionary(u"one"_qs)), 1);
        QCOMPARE(_shelf->keep(dictionary(u"two"_qs)), 2);
        QCOMPARE(shown("history"), (QStringList{u"2 two"_qs, u"1 one"_qs, u"history 2"_qs}));
    }

    void numbersStayWhenClipsComeAndGo() {
        keepAll({u"one"_qs, u"two"_qs, u"three"_qs});
        type("forget 2");
        QCOMPARE(_shelf->keep(dictionary(u"four"_qs)), 4);
        QCOMPARE(shown("history"),
                 (QStringList{u"4 four"_qs, u"3 three"_qs, u"1 one"_qs, u"history 3"_qs}));
    }

    void listsTheBeginningsOfLongTexts() {
        _shelf->keep(dictionary(u"first line\nsecond  "_qs + QString(100, u'x')));
        type("history");
        QCOMPARE(_lines.constFirst()[u"text"_qs].toString(),
                 u"first line second "_qs + QString(62, u'x') + u"…"_qs);
        // Not half a character.
        _shelf->keep(dictionary(QString(79, u'x') + u"😀 and more"_qs));
        type("history");
        QCOMPARE(_lines.constFirst()[u"text"_qs].toString(), QString(79, u'x') + u"…"_qs);
        _shelf->keep(dictionary(QString(80, u'x')));
        type("history");
        QCOMPARE(_lines.constFirst()[u"text"_qs].toString(), QString(80, u'x'));
    }

    void listsWhatKindOfClipItIs() {
        PropertyList::Dictionary clip = dictionary({}, "\x89PNG");
        clip.insert(u"title"_qs, u"A title"_qs);
        clip.insert(u"items"_qs, PropertyList::List{clip.value(u"items"_qs).list().constFirst(),
                                                    PropertyList(PropertyList::Dictionary{
                                                        {u"url"_qs, u"https://example.org/"_qs}})});
        _shelf->keep(clip);
        type("history");
        const QJsonObject expected{{u"event"_qs, u"entry"_qs},
                                   {u"number"_qs, 1},
                                   {u"board"_qs, u"Clipboard"_qs},
                                   {u"items"_qs, 2},
                                   {u"title"_qs, u"A title"_qs},
                                   {u"image"_qs, true},
                                   {u"url"_qs, u"https://example.org/"_qs},
                                   {u"date"_qs, u"2001-01-01T00:00:00Z"_qs}};
        QCOMPARE(_lines.constFirst(), expected);
    }

    void survivesARestart() {
        keepAll({u"one"_qs, u"two"_qs});
        _shelf->keep(dictionary({}, "image"));
        type("board new Work");
        type("file 1 Work");
        restart();
        QCOMPARE(shown("history"),
                 (QStringList{u"3 -"_qs, u"2 two"_qs, u"1 one"_qs, u"history 3"_qs}));
        QCOMPARE(shown("history Work"), (QStringList{u"4 one"_qs, u"history 1"_qs}));
        type("show 3");
        QCOMPARE(
            _lines.constLast()[u"clip"_qs][u"items"_qs][0][u"imageData"_qs][u"bytes"_qs].toInt(),
            5);
    }

    // As when the machine loses its power a moment after a beat of the store.
    void savesByItself() {
        keepAll({u"one"_qs});
        _runLoop.advance(5);
        QVERIFY(QFile::exists(path(u"Main.clipboardItems"_qs)));
    }

    void letsImagesGoAfterAWhile() {
        _shelf->keep(dictionary({}, "image"));
        _runLoop.advance(10);
        const QStringList files = QDir(path({})).entryList({u"*.imageData"_qs});
        QCOMPARE(files.size(), 1);
        QVERIFY(QFile::remove(path(files[0])));
        type("show 1");
        QVERIFY(
            !_lines.constLast()[u"clip"_qs][u"items"_qs][0].toObject().contains(u"imageData"_qs));
    }

    void showsAClipInFull() {
        _shelf->keep(dictionary(QString(200, u'x')));
        type("show 1");
        QCOMPARE(_lines.constLast()[u"event"_qs].toString(), u"shown"_qs);
        QCOMPARE(_lines.constLast()[u"board"_qs].toString(), u"Clipboard"_qs);
        QCOMPARE(_lines.constLast()[u"clip"_qs][u"items"_qs][0][u"string"_qs].toString(),
                 QString(200, u'x'));
    }

    void copiesToTheDesk() {
        _shelf->keep(dictionary(u"one"_qs, "image"));
        restart();
        type("copy 1");
        QCOMPARE(_sent.size(), 1);
        const PropertyList item = _sent.constFirst().value(u"items"_qs).list().constFirst();
        QCOMPARE(item.find(u"string"_qs)->string(), u"one"_qs);
        QCOMPARE(item.find(u"imageData"_qs)->data(), QByteArray("image"));
        QCOMPARE(_lines.constLast(), (QJsonObject{{u"event"_qs, u"copied"_qs}, {u"number"_qs, 1}}));
    }

    void saysNothingOfACopyThatWasNotSent() {
        keepAll({u"one"_qs});
        _isConnected = false;
        type("copy 1");
        QVERIFY(_lines.isEmpty());
    }

    void aClipWithoutADateIsDatedNow() {
        PropertyList::Dictionary clip = dictionary(u"one"_qs);
        clip.remove(u"creationDate"_qs);
        _shelf->keep(clip);
        type("copy 1");
        QCOMPARE(_sent.constFirst().value(u"creationDate"_qs).date(), _runLoop.wallClock());
    }

    // The sender chose the same id for both.
    void clipsOfTheSameIdKeepFilesOfTheirOwn() {
        _shelf->keep(dictionary({}, "first"));
        _shelf->keep(dictionary({}, "second"));
        type("forget 2");
        restart();
        type("copy 1");
        QCOMPARE(imageOf(_sent.constFirst()), QByteArray("first"));
    }

    void aMalformedClipIsRefused() {
        PropertyList::Dictionary clip = dictionary(u"one"_qs);
        clip.insert(u"items"_qs, u"no list"_qs);
        QVERIFY_THROWS_EXCEPTION(PlatformException, (void)_shelf->keep(clip));
        QCOMPARE(shown("history"), QStringList{u"history 0"_qs});
    }

    void theHistoryForgetsTheOldest() {
        for (int number = 1; number <= 201; ++number)
            _shelf->keep(dictionary(QString::number(number)));
        const QStringList lines = shown("history");
        QCOMPARE(lines.size(), 201);
        QCOMPARE(lines[199], u"2 2"_qs);
        QCOMPARE(error("show 1"), u"there is no clip 1; “history” lists them"_qs);
    }

    void boards() {
        keepAll({u"one"_qs});
        type("board new Work");
        type("board new \"At home\"");
        type("file 1 \"At home\"");
        QCOMPARE(_lines.constLast(), (QJsonObject{{u"event"_qs, u"filed"_qs},
                                                  {u"number"_qs, 2},
                                                  {u"of"_qs, 1},
                                                  {u"board"_qs, u"At home"_qs}}));
        type("board rename Work Office");
        type("board move Office 2");
        QCOMPARE(_lines.constLast()[u"position"_qs].toInt(), 2);
        restart();
        QCOMPARE(boardNames(),
                 (QStringList{u"0 Clipboard 1"_qs, u"1 At home 1"_qs, u"2 Office 0"_qs}));
        type("board remove \"At home\"");
        QCOMPARE(_lines.constLast()[u"clips"_qs].toInt(), 1);
        restart();
        QCOMPARE(boardNames(), (QStringList{u"0 Clipboard 1"_qs, u"1 Office 0"_qs}));
    }

    void aFiledClipOutlivesTheOneInTheHistory() {
        _shelf->keep(dictionary(u"one"_qs, "image"));
        type("board new Work");
        type("file 1 Work");
        type("forget 1");
        restart();
        QCOMPARE(shown("history Work"), (QStringList{u"1 one"_qs, u"history 1"_qs}));
        type("copy 1");
        QCOMPARE(imageOf(_sent.constFirst()), QByteArray("image"));
        QCOMPARE(_sent.constFirst().value(u"creationDate"_qs).date(), Date{0});
    }

    void clipsOfARemovedBoardAreNotFoundAnyMore() {
        keepAll({u"one"_qs});
        type("board new Work");
        type("file 1 Work");
        type("board remove Work");
        QCOMPARE(error("copy 2"), u"there is no clip 2; “history” lists them"_qs);
        QCOMPARE(shown("history"), (QStringList{u"1 one"_qs, u"history 1"_qs}));
    }

    void listsTheFiltersThatApply() {
        _shelf->keep(dictionary(u"one"_qs));
        _shelf->keep(dictionary({}, "image"));
        type("filters 1");
        QCOMPARE(_lines.size(), 11);
        QCOMPARE(_lines.constFirst()[u"title"_qs].toString(), u"Convert to Lowercase"_qs);
        QCOMPARE(_lines[5][u"title"_qs].toString(), u"Find and Replace"_qs);
        QCOMPARE(_lines[5][u"options"_qs].toArray(),
                 (QJsonArray{QJsonObject{{u"name"_qs, u"find"_qs}, {u"placeholder"_qs, u"Find"_qs}},
                             QJsonObject{{u"name"_qs, u"replace"_qs},
                                         {u"placeholder"_qs, u"Replace"_qs}}}));
        QCOMPARE(_lines.constLast()[u"filters"_qs].toInt(), 10);
        type("filters 2");
        QCOMPARE(_lines.size(), 1);
        QCOMPARE(_lines.constLast()[u"filters"_qs].toInt(), 0);
    }

    void filtersIntoANewClip() {
        _shelf->keep(dictionary(u"a\nb"_qs));
        type("filter 1 \"quote lines\" start=\"> \"");
        QCOMPARE(_lines.constLast()[u"event"_qs].toString(), u"filtered"_qs);
        QCOMPARE(_lines.constLast()[u"number"_qs].toInt(), 2);
        QCOMPARE(_lines.constLast()[u"filter"_qs].toString(), u"Quote Lines"_qs);
        type("copy 2");
        const PropertyList item = _sent.constFirst().value(u"items"_qs).list().constFirst();
        QCOMPARE(item.find(u"string"_qs)->string(), u"> a\n> b"_qs);
        QCOMPARE(item.find(u"createdBy"_qs)->integerValue(), 1);
        // The source stays, and values do not stay for the next time.
        type("filter 1 \"Quote Lines\"");
        QCOMPARE(shown("history"),
                 (QStringList{u"3 a b"_qs, u"2 > a > b"_qs, u"1 a b"_qs, u"history 3"_qs}));
    }

    void filtersEveryItem() {
        PropertyList::Dictionary clip = dictionary(u"One"_qs);
        const PropertyList item = clip.value(u"items"_qs).list().constFirst();
        clip.insert(u"items"_qs, PropertyList::List{item, item});
        _shelf->keep(clip);
        type("filter 1 \"Convert to Uppercase\"");
        type("copy 2");
        const auto items = _sent.constFirst().value(u"items"_qs).list();
        QCOMPARE(items.size(), 2);
        QCOMPARE(items[1].find(u"string"_qs)->string(), u"ONE"_qs);
    }

    void badUseChangesNothing_data() {
        QTest::addColumn<QByteArray>("line");
        QTest::addColumn<QString>("text");
        const auto row = [](const char *line, const QString &text) {
            QTest::newRow(line) << QByteArray(line) << text;
        };
        row("show 7", u"there is no clip 7; “history” lists them"_qs);
        row("copy 7", u"there is no clip 7; “history” lists them"_qs);
        row("forget 7", u"there is no clip 7; “history” lists them"_qs);
        row("filters 7", u"there is no clip 7; “history” lists them"_qs);
        row("filter 7 \"Quote Lines\"", u"there is no clip 7; “history” lists them"_qs);
        row("filter 1 Rot13",
            u"no filter “Rot13” applies to clip 1; “filters 1” lists those that do"_qs);
        row("filter 2 \"Quote Lines\"",
            u"no filter “Quote Lines” applies to clip 2; “filters 2” lists those that do"_qs);
        row("filter 1 \"Quote Lines\" start=a middle=b",
            u"“Quote Lines” has no option “middle”"_qs);
        row("filter 1 \"Quote Lines\" start", u"“start”: expected NAME=VALUE"_qs);
        row("file 7 Work", u"there is no clip 7; “history” lists them"_qs);
        row("file 1 Play", u"there is no board “Play”; “boards” lists them"_qs);
        row("history Play", u"there is no board “Play”; “boards” lists them"_qs);
        row("board new Work", u"there is a board “Work” already"_qs);
        row("board new Clipboard", u"there is a board “Clipboard” already"_qs);
        row("board new \" \"", u"a board needs a name"_qs);
        row("board rename Play X", u"there is no board “Play”; “boards” lists them"_qs);
        row("board rename Work Clipboard", u"there is a board “Clipboard” already"_qs);
        row("board rename Clipboard X", u"“Clipboard” is the history and stays as it is"_qs);
        row("board move Work 2", u"positions go from 1 to 1"_qs);
        row("board move Play 1", u"there is no board “Play”; “boards” lists them"_qs);
        row("board remove Play", u"there is no board “Play”; “boards” lists them"_qs);
        row("board remove Clipboard", u"“Clipboard” is the history and stays as it is"_qs);
    }
    void badUseChangesNothing() {
        QFETCH(QByteArray, line);
        QFETCH(QString, text);
        keepAll({u"one"_qs});
        _shelf->keep(dictionary({}, "image"));
        type("board new Work");
        QCOMPARE(error(line), text);
        QVERIFY(_lines.isEmpty());
        QVERIFY(_sent.isEmpty());
        QCOMPARE(shown("history"), (QStringList{u"2 -"_qs, u"1 one"_qs, u"history 2"_qs}));
        QCOMPARE(boardNames(), (QStringList{u"0 Clipboard 2"_qs, u"1 Work 0"_qs}));
    }

    void oneProcessAtATime() {
        PhoneShelf second(path());
        QCOMPARE(second.open().error().reason, path() + u": in use by another clipmule-phone"_qs);
    }

    void aFolderOfAnOlderVersionIsOpened() {
        keepAll({u"one"_qs});
        _shelf.reset();
        QVERIFY(QFile::remove(path() + u"/clipmule-phone.version"_qs));
        start();
        QCOMPARE(shown("history"), (QStringList{u"1 one"_qs, u"history 1"_qs}));
        QFile version(path() + u"/clipmule-phone.version"_qs);
        QVERIFY(version.open(QIODevice::ReadOnly));
        QCOMPARE(version.readAll(), QByteArray("1\n"));
    }

    void aFolderOfAnotherVersionIsLeftAlone_data() {
        QTest::addColumn<QByteArray>("bytes");
        QTest::newRow("the next") << QByteArray("2\n");
        QTest::newRow("a later one") << QByteArray("10\n");
        QTest::newRow("damaged") << QByteArray();
    }
    void aFolderOfAnotherVersionIsLeftAlone() {
        QFETCH(QByteArray, bytes);
        keepAll({u"one"_qs});
        _shelf.reset();
        const QString name = path() + u"/clipmule-phone.version"_qs;
        QFile version(name);
        QVERIFY(version.open(QIODevice::WriteOnly));
        QCOMPARE(version.write(bytes), bytes.size());
        version.close();
        {
            PhoneShelf shelf(path());
            QCOMPARE(shelf.open().error().reason,
                     name + u": of another version of clipmule-phone, or damaged"_qs);
        }
        QVERIFY(version.open(QIODevice::ReadOnly));
        QCOMPARE(version.readAll(), bytes);
        version.close();
        // Nothing else was touched.
        QVERIFY(QFile::remove(name));
        start();
        QCOMPARE(shown("history"), (QStringList{u"1 one"_qs, u"history 1"_qs}));
    }

    void aFolderThatCannotBeMadeIsRefused() {
        QFile file(_folder->filePath(u"file"_qs));
        QVERIFY(file.open(QIODevice::WriteOnly));
        PhoneShelf shelf(file.fileName());
        QCOMPARE(shelf.open().error().reason, file.fileName() + u": the folder cannot be made"_qs);
    }

    void aNewFolderIsTheUsersAlone() {
        QCOMPARE(QFile::permissions(path()) & (QFile::ReadGroup | QFile::ReadOther),
                 QFile::Permissions());
    }

    void saysWhenItCannotSave() {
        keepAll({u"one"_qs});
        // A folder stands where the file should be.
        QVERIFY(QDir().mkpath(path(u"Main.clipboard"_qs)));
        _shelf->save();
        _shelf->save();
        QCOMPARE(_errors.size(), 1);
        QVERIFY2(_errors[0].startsWith(path() + u": what changed could not be saved"_qs),
                 qPrintable(_errors[0]));
        QVERIFY(QDir().rmdir(path(u"Main.clipboard"_qs)));
        _lines.clear();
        _shelf->save();
        _shelf->save();
        QCOMPARE(_lines, (QList<QJsonObject>{QJsonObject{{u"event"_qs, u"saved"_qs}}}));
    }

    void saysWhatIsLostAtTheEnd() {
        keepAll({u"one"_qs});
        QVERIFY(QDir().mkpath(path(u"Main.clipboard"_qs)));
        _shelf.reset();
        QCOMPARE(_errors.size(), 2);
        QVERIFY(_errors[1].endsWith(u"is lost"_qs));
    }

    void putsBackWhatWasSetAside() {
        keepAll({u"one"_qs, u"two"_qs});
        _shelf.reset();
        const QString items = path(u"Main.clipboardItems"_qs);
        QVERIFY(QFile::rename(items, items + u".unreadable"_qs));
        const QString garbage = path(u"Custom.clipboards.unreadable"_qs);
        QVERIFY(QFile(garbage).open(QIODevice::WriteOnly));
        start();
        QVERIFY(_lines.isEmpty());
        _shelf->recover();
        QCOMPARE(_lines.size(), 2);
        QCOMPARE(_lines[0][u"event"_qs].toString(), u"set aside"_qs);
        QCOMPARE(_lines[0][u"file"_qs].toString(), u"Custom.clipboards.unreadable"_qs);
        QVERIFY(!_lines[0][u"reason"_qs].toString().isEmpty());
        QCOMPARE(_lines[1], (QJsonObject{{u"event"_qs, u"restored"_qs},
                                         {u"file"_qs, u"Main.clipboardItems.unreadable"_qs},
                                         {u"clips"_qs, 2},
                                         {u"boards"_qs, 0}}));
        QCOMPARE(shown("history").size(), 3);
        // By hand, when the file can be read.
        type("restore");
        QCOMPARE(
            _lines.constLast(),
            (QJsonObject{{u"event"_qs, u"restore"_qs}, {u"files"_qs, 1}, {u"restored"_qs, 0}}));
        QVERIFY(QFile::remove(garbage));
        type("board new Work");
        _shelf->save();
        QVERIFY(QFile::copy(path(u"Custom.clipboards"_qs), garbage));
        type("board remove Work");
        type("restore");
        QCOMPARE(_lines.constLast()[u"restored"_qs].toInt(), 1);
        QCOMPARE(boardNames(), (QStringList{u"0 Clipboard 2"_qs, u"1 Work 0"_qs}));
    }

    void sweepsTheFolder() {
        type("board new Work");
        _shelf->save();
        const QString orphan = path(u"01234567-89AB-4DEF-8123-456789ABCDEF.imageData"_qs);
        QVERIFY(QFile(orphan).open(QIODevice::WriteOnly));
        _shelf->recover();
        QVERIFY(!QFile::exists(orphan));
    }

    void theHistoryStaysSmallEnoughToBeSaved() {
        restartWithLimit(100'000);
        const auto keepText = [this](const QString &text) { _shelf->keep(dictionary(text)); };
        for (int number = 0; number < 20; ++number)
            keepText(QString(30'000, QChar(u'a' + number % 2)));
        // Two texts, however often they are there.
        QCOMPARE(shown("history").size(), 21);
        _lines.clear();
        keepText(QString(50'000, u'x'));
        QCOMPARE(_lines.size(), 1);
        QCOMPARE(_lines[0][u"event"_qs].toString(), u"dropped"_qs);
        const int dropped = _lines[0][u"clips"_qs].toInt();
        QVERIFY(dropped > 0 && dropped < 20);
        QCOMPARE(shown("history").size(), 22 - dropped);
        _shelf->save();
        QCOMPARE(_errors, QStringList());
        restartWithLimit(100'000);
        QCOMPARE(shown("history").size(), 22 - dropped);
        // The one that has just come stays in any case.
        keepText(QString(200'000, u'x'));
        QCOMPARE(shown("history").size(), 2);
        QVERIFY(QDir().exists(path()));
        type("forget " + QByteArray::number(lastNumber()));
    }

    void aFullBoardTakesNoMore() {
        restartWithLimit(100'000);
        type("board new Work");
        _shelf->keep(dictionary(QString(60'000, u'x')));
        type("file 1 Work");
        QCOMPARE(_shelf->keep(dictionary(QString(60'000, u'y'))), 3);
        QCOMPARE(error("file 3 Work"), u"“Work” is full: with this clip it would take more than "
                                       u"100000 bytes on disk"_qs);
        QCOMPARE(shown("history Work").size(), 2);
    }

private:
    QString path(const QString &name = {}) const {
        const QString data = _folder->filePath(u"data"_qs);
        return name.isEmpty() ? data : data + u'/' + name;
    }

    void start() {
        _shelf = std::make_unique<PhoneShelf>(path(), _limit);
        _shelf->onPrint = [this](const QJsonObject &line) { _lines.append(line); };
        _shelf->onError = [this](const QString &text) { _errors.append(text); };
        _shelf->onSend = [this](const PropertyList::Dictionary &clip) {
            if (_isConnected)
                _sent.append(clip);
            return _isConnected;
        };
        QVERIFY(_shelf->open());
    }
    void restartWithLimit(qint64 limit) {
        _shelf.reset();
        _limit = limit;
        start();
    }
    int lastNumber() {
        type("history");
        return _lines.constFirst()[u"number"_qs].toInt();
    }
    void restart() {
        _shelf.reset();
        QCOMPARE(_errors, QStringList());
        start();
    }
    void keepAll(const QStringList &texts) {
        for (const QString &text : texts)
            _shelf->keep(dictionary(text));
    }
    void type(const QByteArray &line) {
        _lines.clear();
        const auto command = PhoneCommand::parse(QString::fromUtf8(line));
        QVERIFY2(command.verb >= PhoneCommand::Verb::History, line.constData());
        _shelf->perform(command);
    }
    QString error(const QByteArray &line) {
        _errors.clear();
        type(line);
        return _errors.join(u'\n');
    }
    // "NUMBER TEXT", and last "history COUNT".
    QStringList shown(const QByteArray &command) {
        type(command);
        QStringList lines;
        for (const QJsonObject &line : std::as_const(_lines)) {
            if (line[u"event"_qs] == u"entry"_qs)
                lines.append(u"%1 %2"_qs.arg(line[u"number"_qs].toInt())
                                 .arg(line[u"text"_qs].toString(u"-"_qs)));
            else
                lines.append(
                    u"%1 %2"_qs.arg(line[u"event"_qs].toString()).arg(line[u"clips"_qs].toInt()));
        }
        return lines;
    }
    // "POSITION NAME CLIPS"
    QStringList boardNames() {
        type("boards");
        QStringList lines;
        for (const QJsonObject &line : std::as_const(_lines)) {
            if (line[u"event"_qs] == u"board"_qs)
                lines.append(u"%1 %2 %3"_qs.arg(line[u"position"_qs].toInt())
                                 .arg(line[u"name"_qs].toString())
                                 .arg(line[u"clips"_qs].toInt()));
        }
        return lines;
    }

    kit::ManualRunLoop _runLoop;
    const RunLoop::Installation _installation{_runLoop};
    std::unique_ptr<QTemporaryDir> _folder;
    std::unique_ptr<PhoneShelf> _shelf;
    QList<QJsonObject> _lines;
    QStringList _errors;
    QList<PropertyList::Dictionary> _sent;
    bool _isConnected = true;
    qint64 _limit = DataFile::largest;
};

QTEST_GUILESS_MAIN(PhoneShelfTest)
#include "tst_phoneshelf.moc"
