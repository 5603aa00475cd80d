// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/foundation/FileHandle.h"
#include "platform/preferences/backends/file/FilePreferencesDatabase.h"
#include "tests/kit/FullDisk.h"
#include "tests/kit/ManualRunLoop.h"
#include "tests/kit/MemoryPreferencesDatabase.h"
#include "tests/kit/TestCase.h"
#include "tests/services/PrivateBus.h"

#include <QDir>
#include <QFile>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

#include <cerrno>
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace clipmule;
using namespace clipmule::kit;

namespace {

// What happens where the program brings a file to the disk; nothing for the system's own.
std::function<int(int)> onFlush;
// What happens where a file gets another name, likewise.
std::function<int(const QString &from, const QString &to)> onRename;

} // namespace

// The system's functions as the program sees it.
extern "C" int fdatasync(int descriptor) {
    using Function = int (*)(int);
    static const auto own = reinterpret_cast<Function>(::dlsym(RTLD_NEXT, "fdatasync"));
    return onFlush ? onFlush(descriptor) : own(descriptor);
}
extern "C" int rename(const char *from, const char *to) noexcept {
    using Function = int (*)(const char *, const char *);
    static const auto own = reinterpret_cast<Function>(::dlsym(RTLD_NEXT, "rename"));
    return onRename ? onRename(QFile::decodeName(from), QFile::decodeName(to)) : own(from, to);
}

namespace {

const QString domain = QStringLiteral("com.zendrik.Test");
const QString key = QStringLiteral("showStatus");

mode_t permissions(const QString &path) {
    struct stat status {};
    return ::stat(QFile::encodeName(path).constData(), &status) == 0 ? status.st_mode & 07777 : 0;
}

QByteArray contents(const QString &path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

void fill(const QString &path, const QByteArray &bytes) {
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    QCOMPARE(file.write(bytes), bytes.size());
}

void expectWarning(const QString &pattern) {
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression(pattern));
}

} // namespace

class PreferencesDatabaseTest final : public kit::TestCase {
    Q_OBJECT

    void begin() override {
        _home = std::make_unique<QTemporaryDir>();
        _folder = _home->filePath(QStringLiteral("config/clipmule-sync"));
    }

private Q_SLOTS:
    // What holds for every database.

    void aDomainThatWasNeverWrittenIsEmpty_data() { databases(); }
    void aDomainThatWasNeverWrittenIsEmpty() {
        const auto database = makeDatabase();
        QVERIFY(database->copyMultiple(domain).isEmpty());
        QVERIFY(database->synchronize(domain));
        QVERIFY(database->setValue(domain, key, std::nullopt));
        QVERIFY(database->copyMultiple(domain).isEmpty());
    }

    void valuesOfEveryKindComeBack_data() { databases(); }
    void valuesOfEveryKindComeBack() {
        const auto database = makeDatabase();
        const PropertyList::Dictionary values{
            {QStringLiteral("text"), QStringLiteral("Gr\u00fc\u00dfe \U0001F4CE <&> \r\n\x01")},
            {QStringLiteral("empty"), QString()},
            {QStringLiteral("yes"), true},
            {QStringLiteral("no"), false},
            {QStringLiteral("negative"), -7},
            {QStringLiteral("largest"), ~quint64(0)},
            {QStringLiteral("real"), 0.1},
            {QStringLiteral("date"), Date{700000000}},
            {QStringLiteral("data"), QByteArray("\0\xff\x80", 3)},
            {QStringLiteral("list"), PropertyList::List{1, QStringLiteral("two")}},
            {QStringLiteral("dictionary"),
             PropertyList::Dictionary{{QStringLiteral("inner"), PropertyList::List{}}}},
            {QString(), QStringLiteral("the empty key")}};
        for (const auto &[name, value] : values.asKeyValueRange())
            QVERIFY(database->setValue(domain, name, value));
        QCOMPARE(database->copyMultiple(domain), values);
    }

    void aValueIsReplacedAndRemoved_data() { databases(); }
    void aValueIsReplacedAndRemoved() {
        const auto database = makeDatabase();
        QVERIFY(database->setValue(domain, key, true));
        QVERIFY(database->setValue(domain, QStringLiteral("other"), 1));
        QVERIFY(database->setValue(domain, key, QStringLiteral("no")));
        const PropertyList::Dictionary both{{key, QStringLiteral("no")},
                                            {QStringLiteral("other"), 1}};
        QCOMPARE(database->copyMultiple(domain), both);
        QVERIFY(database->setValue(domain, key, std::nullopt));
        const PropertyList::Dictionary rest{{QStringLiteral("other"), 1}};
        QCOMPARE(database->copyMultiple(domain), rest);
    }

    void domainsAreApart_data() { databases(); }
    void domainsAreApart() {
        const auto database = makeDatabase();
        QVERIFY(database->setValue(domain, key, 1));
        QVERIFY(database->setValue(domain + QStringLiteral(".stats"), key, 2));
        QCOMPARE(database->copyMultiple(domain).value(key), PropertyList(1));
        QCOMPARE(database->copyMultiple(domain + QStringLiteral(".stats")).value(key),
                 PropertyList(2));
        QVERIFY(database->synchronize(domain));
    }

    // The files.

    void theFolderIsTheUsersOwn() {
        const QByteArray before = qgetenv("XDG_CONFIG_HOME");
        qputenv("XDG_CONFIG_HOME", QFile::encodeName(_home->path()));
        const QString folder = preferencesFolder();
        qputenv("XDG_CONFIG_HOME", before);
        QCOMPARE(folder, _home->path() + QStringLiteral("/clipmule-sync"));
    }

    void aRelativeFolderIsIgnored_data() {
        QTest::addColumn<QByteArray>("folder");
        QTest::newRow("relative") << QByteArray("relative");
        QTest::newRow("dotted") << QByteArray("./here");
        QTest::newRow("empty") << QByteArray("");
    }
    void aRelativeFolderIsIgnored() {
        QFETCH(QByteArray, folder);
        const QByteArray before = qgetenv("XDG_CONFIG_HOME");
        qputenv("XDG_CONFIG_HOME", folder);
        const QString found = preferencesFolder();
        qputenv("XDG_CONFIG_HOME", before);
        QCOMPARE(found, QDir::homePath() + QStringLiteral("/.config/clipmule-sync"));
    }

    // A power failure finds the old file or the whole new one.
    void aNewFileIsOnDiskBeforeItTakesItsPlace() {
        FilePreferencesDatabase database(_folder);
        QVERIFY(database.setValue(domain, key, 1));
        const QByteArray before = contents(file());
        QByteArray flushed;
        QByteArray inPlace;
        onFlush = [&](int descriptor) {
            flushed =
                contents(QFile::symLinkTarget(QStringLiteral("/proc/self/fd/%1").arg(descriptor)));
            inPlace = contents(file());
            return 0;
        };
        QVERIFY(database.setValue(domain, key, 2));
        onFlush = nullptr;
        QCOMPARE(inPlace, before);
        QVERIFY(flushed != before);
        QCOMPARE(flushed, contents(file()));
    }

    void aDiskThatTakesNothingLeavesTheFileAsItWas() {
        FilePreferencesDatabase database(_folder);
        QVERIFY(database.setValue(domain, key, 1));
        const QByteArray before = contents(file());
        onFlush = [](int) {
            errno = EIO;
            return -1;
        };
        expectWarning(
            QStringLiteral("^preference showStatus of com\\.zendrik\\.Test not written: "));
        QVERIFY(!database.setValue(domain, key, 2));
        onFlush = nullptr;
        QCOMPARE(contents(file()), before);
        QCOMPARE(QDir(_folder).entryList(QDir::Files | QDir::Hidden),
                 QStringList({QStringLiteral(".lock"), QStringLiteral("com.zendrik.Test.plist")}));
    }

    // Settings that are kept elsewhere, and linked.
    void aLinkStaysAndItsTargetChanges() {
        QVERIFY(QDir().mkpath(_folder));
        const QString kept = _home->filePath(QStringLiteral("dotfiles.plist"));
        FilePreferencesDatabase database(_folder);
        QVERIFY(database.setValue(domain, key, 1));
        QVERIFY(QFile::rename(file(), kept));
        QVERIFY(QFile::link(kept, file()));
        QVERIFY(database.setValue(domain, key, 2));
        QCOMPARE(QFile::symLinkTarget(file()), kept);
        QCOMPARE(database.copyMultiple(domain).value(key), PropertyList(2));
        QVERIFY(contents(kept).contains("<integer>2</integer>"));
        QCOMPARE(permissions(kept), mode_t(0600));
        // A link that leads nowhere is replaced.
        QVERIFY(QFile::remove(kept));
        QVERIFY(database.setValue(domain, key, 3));
        QCOMPARE(database.copyMultiple(domain).value(key), PropertyList(3));
        QVERIFY(!QFile::exists(kept));
    }

    void aDomainIsOneFileForItsOwnerOnly() {
        FilePreferencesDatabase database(_folder);
        QVERIFY(database.setValue(domain, key, true));
        QCOMPARE(permissions(_folder), mode_t(0700));
        QCOMPARE(permissions(file()), mode_t(0600));
        QCOMPARE(contents(file()),
                 QByteArray("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                            "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
                            "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
                            "<plist version=\"1.0\">\n<dict>\n"
                            "\t<key>preferencesVersion</key>\n\t<integer>1</integer>\n"
                            "\t<key>showStatus</key>\n\t<true/>\n"
                            "</dict>\n</plist>\n"));
        QCOMPARE(QDir(_folder).entryList(QDir::Files),
                 QStringList{QStringLiteral("com.zendrik.Test.plist")});
    }

    void readingMakesNothing() {
        FilePreferencesDatabase database(_folder);
        QVERIFY(database.copyMultiple(domain).isEmpty());
        QVERIFY(!QFile::exists(_folder));
    }

    void twoDatabasesOnOneFolderSeeEachOther() {
        FilePreferencesDatabase agent(_folder);
        FilePreferencesDatabase panel(_folder);
        QVERIFY(agent.setValue(domain, key, true));
        QVERIFY(panel.setValue(domain, QStringLiteral("other"), 1));
        const PropertyList::Dictionary both{{key, true}, {QStringLiteral("other"), 1}};
        QCOMPARE(agent.copyMultiple(domain), both);
        QCOMPARE(panel.copyMultiple(domain), both);
    }

    void processesDoNotUndoEachOthersWrites() {
        constexpr int processes = 3;
        constexpr int writes = 40;
        std::vector<std::unique_ptr<QProcess>> peers;
        for (int i = 0; i < processes; ++i) {
            peers.push_back(
                kit::startProgram(QStringLiteral(CLIPMULE_PREFERENCES_PEER),
                                  {QStringLiteral("write"), _folder, domain,
                                   QStringLiteral("key%1").arg(i), QString::number(writes)}));
            QVERIFY(peers.back());
        }
        for (const auto &peer : peers) {
            QVERIFY(peer->waitForFinished(60000));
            QCOMPARE(peer->exitCode(), 0);
        }
        QCOMPARE(FilePreferencesDatabase(_folder).copyMultiple(domain).size(), processes * writes);
    }

    void anEqualValueLeavesTheFileAlone() {
        FilePreferencesDatabase database(_folder);
        QVERIFY(database.setValue(domain, key, true));
        struct stat before {};
        QCOMPARE(::stat(QFile::encodeName(file()).constData(), &before), 0);
        QVERIFY(database.setValue(domain, key, true));
        struct stat after {};
        QCOMPARE(::stat(QFile::encodeName(file()).constData(), &after), 0);
        QCOMPARE(after.st_ino, before.st_ino);
        QVERIFY(database.setValue(domain, key, 1)); // equal only in meaning
        QCOMPARE(::stat(QFile::encodeName(file()).constData(), &after), 0);
        QVERIFY(after.st_ino != before.st_ino);
    }

    void anyFormOfPropertyListIsRead() {
        QVERIFY(QDir().mkpath(_folder));
        fill(file(), "{ showStatus = yes; }");
        FilePreferencesDatabase database(_folder);
        QCOMPARE(database.copyMultiple(domain).value(key), PropertyList(QStringLiteral("yes")));
    }

    void aDamagedFileIsKeptAside_data() {
        QTest::addColumn<QByteArray>("bytes");
        QTest::newRow("no bytes") << QByteArray();
        QTest::newRow("half a file") << QByteArray("<?xml version=\"1.0\"?><plist><dict><key>a");
        QTest::newRow("a list") << QByteArray("<plist><array/></plist>");
        QTest::newRow("noise") << QByteArray("\x00\x01\x02\xff", 4);
        QTest::newRow("too large") << QByteArray(FilePreferencesDatabase::largestFile + 1, ' ');
    }
    void aDamagedFileIsKeptAside() {
        QFETCH(QByteArray, bytes);
        QVERIFY(QDir().mkpath(_folder));
        fill(file(), bytes);
        FilePreferencesDatabase database(_folder);
        expectWarning(QStringLiteral("^preferences not read: .*com\\.zendrik\\.Test\\.plist: "));
        QVERIFY(database.copyMultiple(domain).isEmpty());
        // Nothing to remove, nothing to replace.
        QVERIFY(database.setValue(domain, key, std::nullopt));
        QCOMPARE(contents(file()), bytes);
        expectWarning(QStringLiteral("^damaged preferences kept as .*\\.plist\\.damaged-1$"));
        QVERIFY(database.setValue(domain, key, true));
        const PropertyList::Dictionary values{{key, true}};
        QCOMPARE(database.copyMultiple(domain), values);
        QCOMPARE(contents(file() + QStringLiteral(".damaged-1")), bytes);
    }

    void whatCannotBeKeptAsideStays() {
        QVERIFY(QDir().mkpath(_folder));
        fill(file(), "damage <");
        FilePreferencesDatabase database(_folder);
        const auto reset = qScopeGuard([] { onRename = nullptr; });
        QString aside;
        onRename = [&](const QString &, const QString &to) {
            aside = to;
            errno = EACCES;
            return -1;
        };
        expectWarning(QStringLiteral("not written: .*\\.plist\\.damaged-1: Permission denied$"));
        QVERIFY(!database.setValue(domain, key, 1));
        QCOMPARE(aside, file() + QStringLiteral(".damaged-1"));
        QCOMPARE(contents(file()), QByteArray("damage <"));
    }

    void aFileThatCannotTakeItsPlaceLeavesTheOldOne() {
        FilePreferencesDatabase database(_folder);
        QVERIFY(database.setValue(domain, key, 1));
        const QByteArray before = contents(file());
        const auto reset = qScopeGuard([] { onRename = nullptr; });
        onRename = [](const QString &, const QString &) {
            errno = EBUSY;
            return -1;
        };
        expectWarning(QStringLiteral("not written: .*: Device or resource busy$"));
        QVERIFY(!database.setValue(domain, key, 2));
        QCOMPARE(contents(file()), before);
        QCOMPARE(QDir(_folder).entryList(QDir::Files | QDir::Hidden),
                 QStringList({QStringLiteral(".lock"), QStringLiteral("com.zendrik.Test.plist")}));
    }

    void whatWasKeptAsideIsNotReplaced() {
        QVERIFY(QDir().mkpath(_folder));
        FilePreferencesDatabase database(_folder);
        for (int number = 1; number <= 99; ++number) {
            fill(file(), "damage " + QByteArray::number(number) + " <");
            expectWarning(QStringLiteral("damaged-%1$").arg(number));
            QVERIFY(database.setValue(domain, key, number));
        }
        QCOMPARE(contents(file() + QStringLiteral(".damaged-1")), QByteArray("damage 1 <"));
        QCOMPARE(contents(file() + QStringLiteral(".damaged-99")), QByteArray("damage 99 <"));
        fill(file(), "one too many <");
        expectWarning(QStringLiteral("not written: .*: too many damaged files beside it$"));
        QVERIFY(!database.setValue(domain, key, 100));
        QCOMPARE(contents(file()), QByteArray("one too many <"));
    }

    void whatIsNoFileIsKeptAside() {
        QVERIFY(QDir().mkpath(file()));
        FilePreferencesDatabase database(_folder);
        expectWarning(QStringLiteral("^preferences not read: .*: it cannot be read$"));
        QVERIFY(database.copyMultiple(domain).isEmpty());
        expectWarning(QStringLiteral("damaged-1$"));
        QVERIFY(database.setValue(domain, key, true));
        QVERIFY(QFileInfo(file() + QStringLiteral(".damaged-1")).isDir());
        QCOMPARE(database.copyMultiple(domain).value(key), PropertyList(true));
    }

    void aPipeDoesNotHoldUpTheReader() {
        QVERIFY(QDir().mkpath(_folder));
        QCOMPARE(::mkfifo(QFile::encodeName(file()).constData(), 0600), 0);
        FilePreferencesDatabase database(_folder);
        expectWarning(QStringLiteral("^preferences not read: .*: it cannot be read$"));
        QVERIFY(database.copyMultiple(domain).isEmpty());
    }

    void theFileHasALargestSize() {
        // The document around an empty text under the key "k", measured.
        FilePreferencesDatabase database(_folder);
        const QString shortKey = QStringLiteral("k");
        QVERIFY(database.setValue(domain, shortKey, QString()));
        const qint64 around = QFileInfo(file()).size();
        const qsizetype room = FilePreferencesDatabase::largestFile - around;
        for (const qsizetype size : {room - 1, room}) {
            const QString text(size, u'x');
            QVERIFY(database.setValue(domain, shortKey, text));
            QCOMPARE(QFileInfo(file()).size(), around + size);
            QVERIFY(database.copyMultiple(domain).value(shortKey) == PropertyList(text));
        }
        expectWarning(QStringLiteral("^preference k of com\\.zendrik\\.Test not written: the "
                                     "preferences would take more than 8388608 bytes$"));
        QVERIFY(!database.setValue(domain, shortKey, QString(room + 1, u'y')));
        QVERIFY(database.copyMultiple(domain).value(shortKey) == PropertyList(QString(room, u'x')));
    }

    void aValueThatCannotBeWrittenIsRefused() {
        FilePreferencesDatabase database(_folder);
        QVERIFY(database.setValue(domain, key, true));
        PropertyList deep = PropertyList::List();
        for (int level = 0; level < 600; ++level)
            deep = PropertyList::List{deep};
        expectWarning(QStringLiteral("^preference deep of com\\.zendrik\\.Test not written: "));
        QVERIFY(!database.setValue(domain, QStringLiteral("deep"), deep));
        const PropertyList::Dictionary values{{key, true}};
        QCOMPARE(database.copyMultiple(domain), values);
    }

    void charactersThatXmlCannotCarryAreReplaced() {
        FilePreferencesDatabase database(_folder);
        QVERIFY(database.setValue(domain, key, QStringLiteral("a") + QChar(0xd800) + u'b'));
        QCOMPARE(database.copyMultiple(domain).value(key),
                 PropertyList(QStringLiteral("a\ufffdb")));
    }

    void aFullDiskLeavesTheFileAsItWas() {
        FilePreferencesDatabase database(_folder);
        QVERIFY(database.setValue(domain, key, true));
        const QByteArray before = contents(file());
        Result<void> written;
        {
            const kit::FullDisk disk(1000);
            expectWarning(
                QStringLiteral("^preference large of com\\.zendrik\\.Test not written: "));
            written = database.setValue(domain, QStringLiteral("large"), QString(5000, u'x'));
        }
        QCOMPARE(written.error().reason,
                 _folder + QStringLiteral("/.com.zendrik.Test.plist.new: File too large"));
        QCOMPARE(contents(file()), before);
        QCOMPARE(QDir(_folder).entryList(QDir::Files | QDir::Hidden),
                 QStringList({QStringLiteral(".lock"), QStringLiteral("com.zendrik.Test.plist")}));
    }

    void whatACrashLeftBehindIsNoObstacle() {
        QVERIFY(QDir().mkpath(_folder));
        fill(_folder + QStringLiteral("/.com.zendrik.Test.plist.new"), "half a docu");
        FilePreferencesDatabase database(_folder);
        QVERIFY(database.setValue(domain, key, true));
        QCOMPARE(database.copyMultiple(domain).value(key), PropertyList(true));
    }

    void aLockThatIsNotGivenBackIsNotWaitedForForEver() {
        FilePreferencesDatabase database(_folder);
        QVERIFY(database.setValue(domain, key, 1));
        const FileHandle lock(::open(
            QFile::encodeName(_folder + QStringLiteral("/.lock")).constData(), O_RDWR | O_CLOEXEC));
        QCOMPARE(::flock(lock.descriptor(), LOCK_EX), 0);
        const auto before = _runLoop.paused();
        expectWarning(QStringLiteral("not written: .*: another program holds the lock$"));
        QVERIFY(!database.setValue(domain, key, 2));
        const auto waited = _runLoop.paused() - before;
        QVERIFY(waited >= FilePreferencesDatabase::lockPatience);
        QVERIFY(waited < FilePreferencesDatabase::lockPatience + RunLoop::Seconds(0.01));
        // Readers need no lock.
        QCOMPARE(database.copyMultiple(domain).value(key), PropertyList(1));
        QCOMPARE(::flock(lock.descriptor(), LOCK_UN), 0);
        QVERIFY(database.setValue(domain, key, 2));
        QCOMPARE(database.copyMultiple(domain).value(key), PropertyList(2));
    }

    void aFolderThatCannotBeMadeIsReported() {
        fill(_home->filePath(QStringLiteral("config")), "a file where the folder should be");
        FilePreferencesDatabase database(_folder);
        expectWarning(QStringLiteral("^preference showStatus of com\\.zendrik\\.Test not written"));
        const auto written = database.setValue(domain, key, true);
        QCOMPARE(written.error().reason, _folder + QStringLiteral(": Not a directory"));
        QVERIFY(!database.synchronize(domain));
        QVERIFY(QFile::remove(_home->filePath(QStringLiteral("config"))));
        QVERIFY(database.setValue(domain, key, true));
    }

    void synchronizingFailsWhereTheFileCannotBeOpened() {
        FilePreferencesDatabase database(_folder);
        QVERIFY(database.setValue(domain, key, true));
        QVERIFY(database.synchronize(domain));
        // A link that leads round in circles.
        QVERIFY(QFile::remove(file()));
        QVERIFY(QFile::link(file(), file()));
        QCOMPARE(database.synchronize(domain).error().reason,
                 file() + QStringLiteral(": Too many levels of symbolic links"));
        QVERIFY(QFile::remove(file()));
        QVERIFY(database.synchronize(domain));
    }

    void domainsAreFileNames_data() {
        QTest::addColumn<QString>("name");
        QTest::addColumn<bool>("valid");
        const int longest = int(FilePreferencesDatabase::longestDomain);
        QTest::newRow("identifier") << QStringLiteral("com.zendrik.ClipmuleSync.shared") << true;
        QTest::newRow("one character") << QStringLiteral("a") << true;
        QTest::newRow("dash and underline") << QStringLiteral("a-b_c") << true;
        QTest::newRow("one below the longest") << QString(longest - 1, u'a') << true;
        QTest::newRow("longest") << QString(longest, u'a') << true;
        QTest::newRow("one above the longest") << QString(longest + 1, u'a') << false;
        QTest::newRow("empty") << QString() << false;
        QTest::newRow("parent") << QStringLiteral("..") << false;
        QTest::newRow("hidden") << QStringLiteral(".lock") << false;
        QTest::newRow("separator") << QStringLiteral("a/b") << false;
        QTest::newRow("up and away") << QStringLiteral("../secret") << false;
        QTest::newRow("NUL") << QStringLiteral("a") + QChar(0) + u'b' << false;
        QTest::newRow("line break") << QStringLiteral("a\nb") << false;
        QTest::newRow("not ASCII") << QStringLiteral("d\u00f6main") << false;
    }
    void domainsAreFileNames() {
        QFETCH(QString, name);
        QFETCH(bool, valid);
        QCOMPARE(FilePreferencesDatabase::isValidDomain(name), valid);
        FilePreferencesDatabase database(_folder);
        if (!valid) {
            expectWarning(QStringLiteral("^preference showStatus of .* not written: no name for "));
            expectWarning(QStringLiteral("^no name for a preferences domain: "));
        }
        QCOMPARE(database.setValue(name, key, true).has_value(), valid);
        QCOMPARE(database.copyMultiple(name).size(), valid ? 1 : 0);
        QCOMPARE(database.synchronize(name).has_value(), valid);
        QCOMPARE(QDir(_folder).entryList(QDir::Files).size(), valid ? 1 : 0);
    }

private:
    static void databases() {
        QTest::addColumn<bool>("real");
        QTest::newRow("memory") << false;
        QTest::newRow("files") << true;
    }
    std::unique_ptr<PreferencesDatabase> makeDatabase() {
        QFETCH(bool, real);
        if (real)
            return std::make_unique<FilePreferencesDatabase>(_folder);
        return std::make_unique<MemoryPreferencesDatabase>();
    }
    QString file() const { return _folder + QStringLiteral("/com.zendrik.Test.plist"); }

    kit::ManualRunLoop _runLoop;
    RunLoop::Installation _installation{_runLoop};
    std::unique_ptr<QTemporaryDir> _home;
    QString _folder;
};

QTEST_GUILESS_MAIN(PreferencesDatabaseTest)
#include "tst_preferencesdatabase.moc"
