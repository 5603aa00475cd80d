// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "preferences/AutostartEntry.h"
#include "tests/kit/TestCase.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

using namespace clipmule;

namespace {
const QByteArray installed("[Desktop Entry]\nType=Application\nName=Clipmule Sync\n"
                           "Exec=clipmule-sync\nX-GNOME-Autostart-enabled=true\n");
const QString fileName = QStringLiteral("/com.zendrik.ClipmuleSync.desktop");
} // namespace

class AutostartEntryTest final : public kit::TestCase {
    Q_OBJECT

    void begin() override {
        _folder = std::make_unique<QTemporaryDir>();
        QVERIFY(QDir().mkpath(systemFolder()));
        makeProgram(program());
    }

private Q_SLOTS:
    void withoutAnyEntryItDoesNotStart() {
        QVERIFY(!entry().isEnabled());
        QVERIFY(entry().setEnabled(false));
        QVERIFY(!QFile::exists(userFolder()));
    }

    // A folder by a relative name would be another one for each program.
    void relativeFoldersAreIgnored() {
        const QByteArray home = qgetenv("HOME");
        const QByteArray user = qgetenv("XDG_CONFIG_HOME");
        const QByteArray system = qgetenv("XDG_CONFIG_DIRS");
        const QTemporaryDir folder;
        QVERIFY(QDir(folder.path()).mkpath(QStringLiteral("relative/autostart")));
        write(folder.filePath(QStringLiteral("relative/autostart")), "[Desktop Entry]\n");
        const QString before = QDir::currentPath();
        QVERIFY(QDir::setCurrent(folder.path()));
        qputenv("HOME", QFile::encodeName(folder.path()));
        qputenv("XDG_CONFIG_HOME", "relative");
        qputenv("XDG_CONFIG_DIRS", "relative");
        AutostartEntry entry = AutostartEntry::standard();
        const bool wasEnabled = entry.isEnabled();
        const bool isWritten = entry.setEnabled(true).has_value();
        qputenv("HOME", home);
        qputenv("XDG_CONFIG_HOME", user);
        qputenv("XDG_CONFIG_DIRS", system);
        QVERIFY(QDir::setCurrent(before));
        QVERIFY(!wasEnabled);
        QVERIFY(isWritten);
        QVERIFY(QDir(folder.filePath(QStringLiteral(".config/autostart")))
                    .entryList(QDir::Files)
                    .size() == 1);
    }

    void anInstalledEntryStartsIt() {
        write(systemFolder(), installed);
        QVERIFY(entry().isEnabled());
    }

    void anInstalledEntryIsSwitchedOffByOneOfTheUser() {
        write(systemFolder(), installed);
        QVERIFY(entry().setEnabled(false));
        QVERIFY(!entry().isEnabled());
        QCOMPARE(read(systemFolder()), installed);
        QVERIFY(read(userFolder()).contains("\nHidden=true\n"));
        // The system's entry counts again.
        QVERIFY(entry().setEnabled(true));
        QVERIFY(entry().isEnabled());
        QVERIFY(!QFile::exists(userFolder() + fileName));
    }

    void anEntryOfAProgramThatIsGoneDoesNotCount_data() {
        QTest::addColumn<QByteArray>("line");
        QTest::addColumn<bool>("counts");
        const auto row = [](const char *name, const char *line, bool counts) {
            QTest::newRow(name) << QByteArray(line) << counts;
        };
        row("there", "Exec=/bin/sh", true);
        row("there, with arguments", "Exec=/bin/sh -c true", true);
        row("there, in quotes", "Exec=\"/bin/sh\" -c true", true);
        row("gone", "Exec=/none/clipmule-sync", false);
        row("gone, in quotes", "Exec=\"/none/clip mule/clipmule-sync\"", false);
        row("gone, with arguments", "Exec=/none/sh -c /bin/sh", false);
        row("no program", "Exec=/etc", true); // a folder is executable, and says so
        row("a name is looked up by the session", "Exec=clipmule-sync", true);
        row("what is tried is gone", "Exec=/bin/sh\nTryExec=/none/sh", false);
        row("what is tried is there", "Exec=/bin/sh\nTryExec=/bin/sh", true);
    }
    void anEntryOfAProgramThatIsGoneDoesNotCount() {
        QFETCH(QByteArray, line);
        QVERIFY(QDir().mkpath(userFolder()));
        write(userFolder(), "[Desktop Entry]\nType=Application\nName=A\n" + line + "\n");
        QTEST(entry().isEnabled(), "counts");
        if (entry().isEnabled())
            return;
        // Switching it on names the program that is there.
        QVERIFY(entry().setEnabled(true));
        QVERIFY(entry().isEnabled());
        QVERIFY(read(userFolder()).contains("Exec=\"" + program().toUtf8() + "\"\n"));
        QVERIFY(read(userFolder()).contains("TryExec=" + program().toUtf8() + "\n"));
    }

    void anEntryGoesWithItsProgram() {
        const QString odd = _folder->filePath(QStringLiteral("100% \"odd\" $HOME\\sync"));
        makeProgram(odd);
        AutostartEntry own(userFolder(), {systemFolder()}, odd);
        QVERIFY(own.setEnabled(true));
        QVERIFY(own.isEnabled());
        QVERIFY(QFile::remove(odd));
        QVERIFY(!own.isEnabled());
    }

    void whereNothingIsInstalledAnEntryIsWritten() {
        QVERIFY(entry().setEnabled(true));
        QVERIFY(entry().isEnabled());
        QVERIFY2(read(userFolder()).contains("\nExec=\"" + program().toUtf8() + "\"\n"),
                 read(userFolder()).constData());
        QVERIFY(entry().setEnabled(false));
        QVERIFY(!entry().isEnabled());
    }

    void theEntryIsValid() {
        const QString validator =
            QStandardPaths::findExecutable(QStringLiteral("desktop-file-validate"));
        if (validator.isEmpty())
            QSKIP("desktop-file-validate is not installed");
        for (const bool enabled : {true, false}) {
            QVERIFY(entry().setEnabled(enabled));
            QProcess process;
            process.start(validator, {userFolder() + fileName});
            QVERIFY(process.waitForFinished());
            QCOMPARE(process.exitCode(), 0);
            QCOMPARE(process.readAllStandardOutput(), QByteArray());
        }
    }

    void whatTheUserWroteStays() {
        const QByteArray own("# mine\n[Desktop Entry]\nType=Application\nName=Mine\nHidden = true\n"
                             "Exec=clipmule-sync --loud\n[Desktop Action Hidden]\nHidden=true\n");
        QVERIFY(QDir().mkpath(userFolder()));
        write(userFolder(), own);
        QVERIFY(!entry().isEnabled());
        QVERIFY(entry().setEnabled(true));
        QByteArray expected = own;
        expected.replace("Hidden = true\n", "");
        QCOMPARE(read(userFolder()), expected);
        QVERIFY(entry().setEnabled(false));
        expected.replace("[Desktop Entry]\n", "[Desktop Entry]\nHidden=true\n");
        QCOMPARE(read(userFolder()), expected);
    }

    void whatADesktopsOwnSettingsWroteCounts() {
        QVERIFY(QDir().mkpath(userFolder()));
        QByteArray off = installed;
        off.replace("enabled=true", "enabled=false");
        write(userFolder(), off);
        QVERIFY(!entry().isEnabled());
        QVERIFY(entry().setEnabled(true));
        QVERIFY(entry().isEnabled());
    }

    void aFolderThatCannotBeWrittenIsToldOf() {
        // A file where the folder should be.
        QFile file(userFolder());
        QVERIFY(QDir().mkpath(QFileInfo(userFolder()).path()));
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.close();
        AutostartEntry own = entry();
        QVERIFY(!own.setEnabled(true).error().reason.isEmpty());
        QVERIFY(!own.isEnabled());
    }

    void aFileThatIsTooLargeIsLeftAlone() {
        QVERIFY(QDir().mkpath(userFolder()));
        const QByteArray head("[Desktop Entry]\nHidden=true\n#");
        const auto padded = [&head](qint64 size) {
            return head + QByteArray(size - head.size(), 'x');
        };
        write(userFolder(), padded(AutostartEntry::largestFile + 1));
        AutostartEntry own = entry();
        QCOMPARE(own.setEnabled(true).error().reason, QStringLiteral("The file is too large."));
        QCOMPARE(read(userFolder()).size(), AutostartEntry::largestFile + 1);
        write(userFolder(), padded(AutostartEntry::largestFile));
        QVERIFY(entry().setEnabled(true));
        QVERIFY(entry().isEnabled());
    }

private:
    QString userFolder() const { return _folder->filePath(QStringLiteral("home/autostart")); }
    QString systemFolder() const { return _folder->filePath(QStringLiteral("etc/autostart")); }
    AutostartEntry entry() const { return {userFolder(), {systemFolder()}, program()}; }
    QString program() const { return _folder->filePath(QStringLiteral("clip mule/clipmule-sync")); }
    static void makeProgram(const QString &path) {
        QVERIFY(QDir().mkpath(QFileInfo(path).path()));
        QFile file(path);
        QVERIFY(file.open(QIODevice::WriteOnly));
        QVERIFY(file.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner));
    }
    static void write(const QString &folder, const QByteArray &bytes) {
        QFile file(folder + fileName);
        QVERIFY(file.open(QIODevice::WriteOnly));
        QCOMPARE(file.write(bytes), bytes.size());
    }
    static QByteArray read(const QString &folder) {
        QFile file(folder + fileName);
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }

    std::unique_ptr<QTemporaryDir> _folder;
};

QTEST_GUILESS_MAIN(AutostartEntryTest)
#include "tst_autostartentry.moc"
