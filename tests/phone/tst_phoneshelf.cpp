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
using namespace Qt::StringLiterals;

namespace {

PropertyList::Dictionary dictionary(const QString &text, const QByteArray &image = {}) {
    PropertyList::Dictionary item{{u"oid"_s, u"chosen elsewhere"_s}, {u"createdBy"_s, 2}};
    if (!text.isEmpty())
        item.insert(u"string"_s, text);
    if (!image.isEmpty())
        item.insert(u"imageData"_s, image);
    return {{u"creationDate"_s, Date{0}}, {u"items"_s, PropertyList::List{PropertyList(item)}}};
}

// Of its first item.
QByteArray imageOf(const PropertyList::Dictionary &clip) {
    const PropertyList item = clip.value(u"items"_s).list().constFirst();
    const PropertyList *const image = item.find(u"imageData"_s);
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
        QCOMPARE(_shelf->keep(dictionary(u"one"_s)), 1);
        QCOMPARE(_shelf->keep(dictionary(u"two"_s)), 2);
        QCOMPARE(shown("history"), (QStringList{u"2 two"_s, u"1 one"_s, u"history 2"_s}));
    }

    void numbersStayWhenClipsComeAndGo() {
        keepAll({u"one"_s, u"two"_s, u"three"_s});
        type("forget 2");
        QCOMPARE(_shelf->keep(dictionary(u"four"_s)), 4);
        QCOMPARE(shown("history"),
                 (QStringList{u"4 four"_s, u"3 three"_s, u"1 one"_s, u"history 3"_s}));
    }

    void listsTheBeginningsOfLongTexts() {
        _shelf->keep(dictionary(u"first line\nsecond  "_s + QString(100, u'x')));
        type("history");
        QCOMPARE(_lines.constFirst()[u"text"_s].toString(),
                 u"first line second "_s + QString(62, u'x') + u"…"_s);
        // Not half a character.
        _shelf->keep(dictionary(QString(79, u'x') + u"😀 and more"_s));
        type("history");
        QCOMPARE(_lines.constFirst()[u"text"_s].toString(), QString(79, u'x') + u"…"_s);
        _shelf->keep(dictionary(QString(80, u'x')));
        type("history");
        QCOMPARE(_lines.constFirst()[u"text"_s].toString(), QString(80, u'x'));
    }

    void listsWhatKindOfClipItIs() {
        PropertyList::Dictionary clip = dictionary({}, "\x89PNG");
        clip.insert(u"title"_s, u"A title"_s);
        clip.insert(u"items"_s, PropertyList::List{clip.value(u"items"_s).list().constFirst(),
                                                   PropertyList(PropertyList::Dictionary{
                                                       {u"url"_s, u"https://example.org/"_s}})});
        _shelf->keep(clip);
        type("history");
        const QJsonObject expected{{u"event"_s, u"entry"_s},
                                   {u"number"_s, 1},
                                   {u"board"_s, u"Clipboard"_s},
                                   {u"items"_s, 2},
                                   {u"title"_s, u"A title"_s},
                                   {u"image"_s, true},
                                   {u"url"_s, u"https://example.org/"_s},
                                   {u"date"_s, u"2001-01-01T00:00:00Z"_s}};
        QCOMPARE(_lines.constFirst(), expected);
    }

    void survivesARestart() {
        keepAll({u"one"_s, u"two"_s});
        _shelf->keep(dictionary({}, "image"));
        type("board new Work");
        type("file 1 Work");
        restart();
        QCOMPARE(shown("history"), (QStringList{u"3 -"_s, u"2 two"_s, u"1 one"_s, u"history 3"_s}));
        QCOMPARE(shown("history Work"), (QStringList{u"4 one"_s, u"history 1"_s}));
        type("show 3");
        QCOMPARE(_lines.constLast()[u"clip"_s][u"items"_s][0][u"imageData"_s][u"bytes"_s].toInt(),
                 5);
    }

    // As when the machine loses its power a moment after a beat of the store.
    void savesByItself() {
        keepAll({u"one"_s});
        _runLoop.advance(5);
        QVERIFY(QFile::exists(path(u"Main.clipboardItems"_s)));
    }

    void letsImagesGoAfterAWhile() {
        _shelf->keep(dictionary({}, "image"));
        _runLoop.advance(10);
        const QStringList files = QDir(path({})).entryList({u"*.imageData"_s});
        QCOMPARE(files.size(), 1);
        QVERIFY(QFile::remove(path(files[0])));
        type("show 1");
        QVERIFY(!_lines.constLast()[u"clip"_s][u"items"_s][0].toObject().contains(u"imageData"_s));
    }

    void showsAClipInFull() {
        _shelf->keep(dictionary(QString(200, u'x')));
        type("show 1");
        QCOMPARE(_lines.constLast()[u"event"_s].toString(), u"shown"_s);
        QCOMPARE(_lines.constLast()[u"board"_s].toString(), u"Clipboard"_s);
        QCOMPARE(_lines.constLast()[u"clip"_s][u"items"_s][0][u"string"_s].toString(),
                 QString(200, u'x'));
    }

    void copiesToTheDesk() {
        _shelf->keep(dictionary(u"one"_s, "image"));
        restart();
        type("copy 1");
        QCOMPARE(_sent.size(), 1);
        const PropertyList item = _sent.constFirst().value(u"items"_s).list().constFirst();
        QCOMPARE(item.find(u"string"_s)->string(), u"one"_s);
        QCOMPARE(item.find(u"imageData"_s)->data(), QByteArray("image"));
        QCOMPARE(_lines.constLast(), (QJsonObject{{u"event"_s, u"copied"_s}, {u"number"_s, 1}}));
    }

    void saysNothingOfACopyThatWasNotSent() {
        keepAll({u"one"_s});
        _isConnected = false;
        type("copy 1");
        QVERIFY(_lines.isEmpty());
    }

    void aClipWithoutADateIsDatedNow() {
        PropertyList::Dictionary clip = dictionary(u"one"_s);
        clip.remove(u"creationDate"_s);
        _shelf->keep(clip);
        type("copy 1");
        QCOMPARE(_sent.constFirst().value(u"creationDate"_s).date(), _runLoop.wallClock());
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
        PropertyList::Dictionary clip = dictionary(u"one"_s);
        clip.insert(u"items"_s, u"no list"_s);
        QVERIFY_THROWS_EXCEPTION(PlatformException, (void)_shelf->keep(clip));
        QCOMPARE(shown("history"), QStringList{u"history 0"_s});
    }

    void theHistoryForgetsTheOldest() {
        for (int number = 1; number <= 201; ++number)
            _shelf->keep(dictionary(QString::number(number)));
        const QStringList lines = shown("history");
        QCOMPARE(lines.size(), 201);
        QCOMPARE(lines[199], u"2 2"_s);
        QCOMPARE(error("show 1"), u"there is no clip 1; “history” lists them"_s);
    }

    void boards() {
        keepAll({u"one"_s});
        type("board new Work");
        type("board new \"At home\"");
        type("file 1 \"At home\"");
        QCOMPARE(_lines.constLast(), (QJsonObject{{u"event"_s, u"filed"_s},
                                                  {u"number"_s, 2},
                                                  {u"of"_s, 1},
                                                  {u"board"_s, u"At home"_s}}));
        type("board rename Work Office");
        type("board move Office 2");
        QCOMPARE(_lines.constLast()[u"position"_s].toInt(), 2);
        restart();
        QCOMPARE(boardNames(),
                 (QStringList{u"0 Clipboard 1"_s, u"1 At home 1"_s, u"2 Office 0"_s}));
        type("board remove \"At home\"");
        QCOMPARE(_lines.constLast()[u"clips"_s].toInt(), 1);
        restart();
        QCOMPARE(boardNames(), (QStringList{u"0 Clipboard 1"_s, u"1 Office 0"_s}));
    }

    void aFiledClipOutlivesTheOneInTheHistory() {
        _shelf->keep(dictionary(u"one"_s, "image"));
        type("board new Work");
        type("file 1 Work");
        type("forget 1");
        restart();
        QCOMPARE(shown("history Work"), (QStringList{u"1 one"_s, u"history 1"_s}));
        type("copy 1");
        QCOMPARE(imageOf(_sent.constFirst()), QByteArray("image"));
        QCOMPARE(_sent.constFirst().value(u"creationDate"_s).date(), Date{0});
    }

    void clipsOfARemovedBoardAreNotFoundAnyMore() {
        keepAll({u"one"_s});
        type("board new Work");
        type("file 1 Work");
        type("board remove Work");
        QCOMPARE(error("copy 2"), u"there is no clip 2; “history” lists them"_s);
        QCOMPARE(shown("history"), (QStringList{u"1 one"_s, u"history 1"_s}));
    }

    void listsTheFiltersThatApply() {
        _shelf->keep(dictionary(u"one"_s));
        _shelf->keep(dictionary({}, "image"));
        type("filters 1");
        QCOMPARE(_lines.size(), 11);
        QCOMPARE(_lines.constFirst()[u"title"_s].toString(), u"Convert to Lowercase"_s);
        QCOMPARE(_lines[5][u"title"_s].toString(), u"Find and Replace"_s);
        QCOMPARE(
            _lines[5][u"options"_s].toArray(),
            (QJsonArray{QJsonObject{{u"name"_s, u"find"_s}, {u"placeholder"_s, u"Find"_s}},
                        QJsonObject{{u"name"_s, u"replace"_s}, {u"placeholder"_s, u"Replace"_s}}}));
        QCOMPARE(_lines.constLast()[u"filters"_s].toInt(), 10);
        type("filters 2");
        QCOMPARE(_lines.size(), 1);
        QCOMPARE(_lines.constLast()[u"filters"_s].toInt(), 0);
    }

    void filtersIntoANewClip() {
        _shelf->keep(dictionary(u"a\nb"_s));
        type("filter 1 \"quote lines\" start=\"> \"");
        QCOMPARE(_lines.constLast()[u"event"_s].toString(), u"filtered"_s);
        QCOMPARE(_lines.constLast()[u"number"_s].toInt(), 2);
        QCOMPARE(_lines.constLast()[u"filter"_s].toString(), u"Quote Lines"_s);
        type("copy 2");
        const PropertyList item = _sent.constFirst().value(u"items"_s).list().constFirst();
        QCOMPARE(item.find(u"string"_s)->string(), u"> a\n> b"_s);
        QCOMPARE(item.find(u"createdBy"_s)->integerValue(), 1);
        // The source stays, and values do not stay for the next time.
        type("filter 1 \"Quote Lines\"");
        QCOMPARE(shown("history"),
                 (QStringList{u"3 a b"_s, u"2 > a > b"_s, u"1 a b"_s, u"history 3"_s}));
    }

    void filtersEveryItem() {
        PropertyList::Dictionary clip = dictionary(u"One"_s);
        const PropertyList item = clip.value(u"items"_s).list().constFirst();
        clip.insert(u"items"_s, PropertyList::List{item, item});
        _shelf->keep(clip);
        type("filter 1 \"Convert to Uppercase\"");
        type("copy 2");
        const auto items = _sent.constFirst().value(u"items"_s).list();
        QCOMPARE(items.size(), 2);
        QCOMPARE(items[1].find(u"string"_s)->string(), u"ONE"_s);
    }

    void badUseChangesNothing_data() {
        QTest::addColumn<QByteArray>("line");
        QTest::addColumn<QString>("text");
        const auto row = [](const char *line, const QString &text) {
            QTest::newRow(line) << QByteArray(line) << text;
        };
        row("show 7", u"there is no clip 7; “history” lists them"_s);
        row("copy 7", u"there is no clip 7; “history” lists them"_s);
        row("forget 7", u"there is no clip 7; “history” lists them"_s);
        row("filters 7", u"there is no clip 7; “history” lists them"_s);
        row("filter 7 \"Quote Lines\"", u"there is no clip 7; “history” lists them"_s);
        row("filter 1 Rot13",
            u"no filter “Rot13” applies to clip 1; “filters 1” lists those that do"_s);
        row("filter 2 \"Quote Lines\"",
            u"no filter “Quote Lines” applies to clip 2; “filters 2” lists those that do"_s);
        row("filter 1 \"Quote Lines\" start=a middle=b", u"“Quote Lines” has no option “middle”"_s);
        row("filter 1 \"Quote Lines\" start", u"“start”: expected NAME=VALUE"_s);
        row("file 7 Work", u"there is no clip 7; “history” lists them"_s);
        row("file 1 Play", u"there is no board “Play”; “boards” lists them"_s);
        row("history Play", u"there is no board “Play”; “boards” lists them"_s);
        row("board new Work", u"there is a board “Work” already"_s);
        row("board new Clipboard", u"there is a board “Clipboard” already"_s);
        row("board new \" \"", u"a board needs a name"_s);
        row("board rename Play X", u"there is no board “Play”; “boards” lists them"_s);
        row("board rename Work Clipboard", u"there is a board “Clipboard” already"_s);
        row("board rename Clipboard X", u"“Clipboard” is the history and stays as it is"_s);
        row("board move Work 2", u"positions go from 1 to 1"_s);
        row("board move Play 1", u"there is no board “Play”; “boards” lists them"_s);
        row("board remove Play", u"there is no board “Play”; “boards” lists them"_s);
        row("board remove Clipboard", u"“Clipboard” is the history and stays as it is"_s);
    }
    void badUseChangesNothing() {
        QFETCH(QByteArray, line);
        QFETCH(QString, text);
        keepAll({u"one"_s});
        _shelf->keep(dictionary({}, "image"));
        type("board new Work");
        QCOMPARE(error(line), text);
        QVERIFY(_lines.isEmpty());
        QVERIFY(_sent.isEmpty());
        QCOMPARE(shown("history"), (QStringList{u"2 -"_s, u"1 one"_s, u"history 2"_s}));
        QCOMPARE(boardNames(), (QStringList{u"0 Clipboard 2"_s, u"1 Work 0"_s}));
    }

    void oneProcessAtATime() {
        PhoneShelf second(path());
        QCOMPARE(second.open().error().reason, path() + u": in use by another clipmule-phone"_s);
    }

    void aFolderOfAnOlderVersionIsOpened() {
        keepAll({u"one"_s});
        _shelf.reset();
        QVERIFY(QFile::remove(path() + u"/clipmule-phone.version"_s));
        start();
        QCOMPARE(shown("history"), (QStringList{u"1 one"_s, u"history 1"_s}));
        QFile version(path() + u"/clipmule-phone.version"_s);
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
        keepAll({u"one"_s});
        _shelf.reset();
        const QString name = path() + u"/clipmule-phone.version"_s;
        QFile version(name);
        QVERIFY(version.open(QIODevice::WriteOnly));
        QCOMPARE(version.write(bytes), bytes.size());
        version.close();
        {
            PhoneShelf shelf(path());
            QCOMPARE(shelf.open().error().reason,
                     name + u": of another version of clipmule-phone, or damaged"_s);
        }
        QVERIFY(version.open(QIODevice::ReadOnly));
        QCOMPARE(version.readAll(), bytes);
        version.close();
        // Nothing else was touched.
        QVERIFY(QFile::remove(name));
        start();
        QCOMPARE(shown("history"), (QStringList{u"1 one"_s, u"history 1"_s}));
    }

    void aFolderThatCannotBeMadeIsRefused() {
        QFile file(_folder->filePath(u"file"_s));
        QVERIFY(file.open(QIODevice::WriteOnly));
        PhoneShelf shelf(file.fileName());
        QCOMPARE(shelf.open().error().reason, file.fileName() + u": the folder cannot be made"_s);
    }

    void aNewFolderIsTheUsersAlone() {
        QCOMPARE(QFile::permissions(path()) & (QFile::ReadGroup | QFile::ReadOther),
                 QFile::Permissions());
    }

    void saysWhenItCannotSave() {
        keepAll({u"one"_s});
        // A folder stands where the file should be.
        QVERIFY(QDir().mkpath(path(u"Main.clipboard"_s)));
        _shelf->save();
        _shelf->save();
        QCOMPARE(_errors.size(), 1);
        QVERIFY2(_errors[0].startsWith(path() + u": what changed could not be saved"_s),
                 qPrintable(_errors[0]));
        QVERIFY(QDir().rmdir(path(u"Main.clipboard"_s)));
        _lines.clear();
        _shelf->save();
        _shelf->save();
        QCOMPARE(_lines, (QList<QJsonObject>{QJsonObject{{u"event"_s, u"saved"_s}}}));
    }

    void saysWhatIsLostAtTheEnd() {
        keepAll({u"one"_s});
        QVERIFY(QDir().mkpath(path(u"Main.clipboard"_s)));
        _shelf.reset();
        QCOMPARE(_errors.size(), 2);
        QVERIFY(_errors[1].endsWith(u"is lost"_s));
    }

    void putsBackWhatWasSetAside() {
        keepAll({u"one"_s, u"two"_s});
        _shelf.reset();
        const QString items = path(u"Main.clipboardItems"_s);
        QVERIFY(QFile::rename(items, items + u".unreadable"_s));
        const QString garbage = path(u"Custom.clipboards.unreadable"_s);
        QVERIFY(QFile(garbage).open(QIODevice::WriteOnly));
        start();
        QVERIFY(_lines.isEmpty());
        _shelf->recover();
        QCOMPARE(_lines.size(), 2);
        QCOMPARE(_lines[0][u"event"_s].toString(), u"set aside"_s);
        QCOMPARE(_lines[0][u"file"_s].toString(), u"Custom.clipboards.unreadable"_s);
        QVERIFY(!_lines[0][u"reason"_s].toString().isEmpty());
        QCOMPARE(_lines[1], (QJsonObject{{u"event"_s, u"restored"_s},
                                         {u"file"_s, u"Main.clipboardItems.unreadable"_s},
                                         {u"clips"_s, 2},
                                         {u"boards"_s, 0}}));
        QCOMPARE(shown("history").size(), 3);
        // By hand, when the file can be read.
        type("restore");
        QCOMPARE(_lines.constLast(),
                 (QJsonObject{{u"event"_s, u"restore"_s}, {u"files"_s, 1}, {u"restored"_s, 0}}));
        QVERIFY(QFile::remove(garbage));
        type("board new Work");
        _shelf->save();
        QVERIFY(QFile::copy(path(u"Custom.clipboards"_s), garbage));
        type("board remove Work");
        type("restore");
        QCOMPARE(_lines.constLast()[u"restored"_s].toInt(), 1);
        QCOMPARE(boardNames(), (QStringList{u"0 Clipboard 2"_s, u"1 Work 0"_s}));
    }

    void sweepsTheFolder() {
        type("board new Work");
        _shelf->save();
        const QString orphan = path(u"01234567-89AB-4DEF-8123-456789ABCDEF.imageData"_s);
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
        QCOMPARE(_lines[0][u"event"_s].toString(), u"dropped"_s);
        const int dropped = _lines[0][u"clips"_s].toInt();
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
                                       u"100000 bytes on disk"_s);
        QCOMPARE(shown("history Work").size(), 2);
    }

private:
    QString path(const QString &name = {}) const {
        const QString data = _folder->filePath(u"data"_s);
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
        return _lines.constFirst()[u"number"_s].toInt();
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
            if (line[u"event"_s] == u"entry"_s)
                lines.append(u"%1 %2"_s.arg(line[u"number"_s].toInt())
                                 .arg(line[u"text"_s].toString(u"-"_s)));
            else
                lines.append(
                    u"%1 %2"_s.arg(line[u"event"_s].toString()).arg(line[u"clips"_s].toInt()));
        }
        return lines;
    }
    // "POSITION NAME CLIPS"
    QStringList boardNames() {
        type("boards");
        QStringList lines;
        for (const QJsonObject &line : std::as_const(_lines)) {
            if (line[u"event"_s] == u"board"_s)
                lines.append(u"%1 %2 %3"_s.arg(line[u"position"_s].toInt())
                                 .arg(line[u"name"_s].toString())
                                 .arg(line[u"clips"_s].toInt()));
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
