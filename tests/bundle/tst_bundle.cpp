// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/bundle/Bundle.h"

#include "platform/propertylist/PropertyListSerialization.h"
#include "tests/kit/Results.h"
#include "tests/kit/TestCase.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

#include <cstdio>

using namespace clipmule;

namespace {

const char printMainBundle[] = "--print-main-bundle";

/// A folder with files in it.
class Folder {
public:
    Folder() { QVERIFY(_folder.isValid()); }
    [[nodiscard]] QString path(const QString &name = {}) const {
        return name.isEmpty() ? QDir(_folder.path()).canonicalPath()
                              : QDir(_folder.path()).canonicalPath() + u'/' + name;
    }
    void write(const QString &name, const QByteArray &contents) const {
        QDir(path()).mkpath(QFileInfo(name).path());
        QFile file(path(name));
        QVERIFY(file.open(QIODevice::WriteOnly));
        QCOMPARE(file.write(contents), contents.size());
    }

private:
    QTemporaryDir _folder;
};

QStringList pathsOf(const QList<Bundle> &bundles) {
    QStringList paths;
    for (const Bundle &bundle : bundles)
        paths.append(bundle.path());
    return paths;
}

} // namespace

class BundleTest final : public kit::TestCase {
    Q_OBJECT

    void begin() override { qunsetenv("CLIPMULE_RESOURCES"); }

private Q_SLOTS:
    void inTheBuildTreeTheMainBundleIsTheSources() {
        const Bundle bundle = Bundle::mainBundle();
        // Through a link that lies where an installed program has its data.
        QCOMPARE(QDir(bundle.path()).dirName(), QStringLiteral("clipmule-sync"));
        QCOMPARE(
            QFileInfo(bundle.path()).canonicalFilePath(),
            QFileInfo(QStringLiteral(CLIPMULE_TEST_DATA "/../../resources")).canonicalFilePath());
        QCOMPARE(bundle.identifier(), QStringLiteral("com.zendrik.ClipmuleSync"));
        const auto &info = bundle.infoDictionary();
        QCOMPARE(find(info, QStringLiteral("ZendrikSharedPreferencesIdentifier"))->string(),
                 QStringLiteral("com.zendrik.ClipmuleSync.shared"));
        QCOMPARE(find(info, QStringLiteral("CFBundleHelpBookName"))->string(),
                 QStringLiteral("Clipmule Sync Help"));
        const auto defaults =
            bundle.propertyListResource(QStringLiteral("Defaults"), QStringLiteral("xml"));
        QVERIFY(*defaults->find(QStringLiteral("showStatus")) == PropertyList(true));
        QVERIFY(*defaults->find(QStringLiteral("autoUpdateEnabled")) == PropertyList(false));
    }

    void theEnvironmentNamesAnotherMainBundle() {
        const Folder folder;
        folder.write(QStringLiteral("Info.plist"), "{ CFBundleIdentifier = other; }");
        qputenv("CLIPMULE_RESOURCES", folder.path().toUtf8());
        QCOMPARE(Bundle::mainBundle().path(), folder.path());
        QCOMPARE(Bundle::mainBundle().identifier(), QStringLiteral("other"));
        QVERIFY(Bundle::allBundles().first() == Bundle::mainBundle());
    }

    void anInstalledProgramFindsItsDataFolder() {
        // This program, copied into a prefix.
        const Folder prefix;
        QDir(prefix.path()).mkpath(QStringLiteral("bin"));
        const QString program = prefix.path(QStringLiteral("bin/program"));
        QVERIFY(QFile::copy(QCoreApplication::applicationFilePath(), program));
        const auto mainBundleOfProgram = [&program] {
            QProcess process;
            process.start(program, {QString::fromLatin1(printMainBundle)});
            process.waitForFinished();
            return QString::fromUtf8(process.readAllStandardOutput());
        };
        // Also when it is not there: never the folder where the program happened to be built.
        QCOMPARE(mainBundleOfProgram(), prefix.path(QStringLiteral("share/clipmule-sync")));
    }

    void resourcesAreFoundByNameTypeAndLocalisation() {
        const Folder folder;
        folder.write(QStringLiteral("Defaults.xml"), "{ a = plain; }");
        folder.write(QStringLiteral("English.lproj/Defaults.xml"), "{ a = english; }");
        folder.write(QStringLiteral("English.lproj/only.png"), "x");
        folder.write(QStringLiteral("bare"), "x");
        const Bundle bundle(folder.path());
        const QString name = QStringLiteral("Defaults");
        const QString type = QStringLiteral("xml");
        const QString english = QStringLiteral("English");
        QCOMPARE(bundle.pathForResource(name, type), folder.path(QStringLiteral("Defaults.xml")));
        QCOMPARE(bundle.pathForResource(name, type, english),
                 folder.path(QStringLiteral("English.lproj/Defaults.xml")));
        QCOMPARE(bundle.pathForResource(QStringLiteral("bare"), {}),
                 folder.path(QStringLiteral("bare")));
        QCOMPARE(bundle.propertyListResource(name, type)->find(QStringLiteral("a"))->string(),
                 QStringLiteral("plain"));
        QCOMPARE(
            bundle.propertyListResource(name, type, english)->find(QStringLiteral("a"))->string(),
            QStringLiteral("english"));
        // Neither the one in place of the other, nor a folder.
        QCOMPARE(bundle.pathForResource(QStringLiteral("only"), QStringLiteral("png")), QString());
        QCOMPARE(bundle.pathForResource(name, type, QStringLiteral("German")), QString());
        QCOMPARE(bundle.pathForResource(QStringLiteral("English"), QStringLiteral("lproj")),
                 QString());
        QVERIFY(!bundle.propertyListResource(QStringLiteral("missing"), type));
    }

    void aMissingFolderIsAnEmptyBundle() {
        const Bundle bundle(QStringLiteral("/missing/folder/"));
        QCOMPARE(bundle.path(), QStringLiteral("/missing/folder"));
        QVERIFY(bundle.infoDictionary().isEmpty());
        QCOMPARE(bundle.identifier(), QString());
    }

    void theInformationDictionaryIsReadOnce() {
        const Folder folder;
        folder.write(QStringLiteral("Info.plist"), "{ CFBundleIdentifier = first; }");
        const Bundle bundle(folder.path());
        // NOLINTNEXTLINE(performance-unnecessary-copy-initialization): it is what is tested.
        const Bundle copy = bundle;
        QCOMPARE(bundle.identifier(), QStringLiteral("first"));
        folder.write(QStringLiteral("Info.plist"), "{ CFBundleIdentifier = second; }");
        QCOMPARE(copy.identifier(), QStringLiteral("first"));
        QCOMPARE(Bundle(folder.path()).identifier(), QStringLiteral("second"));
    }

    void damagedInformationIsToldInTheLog_data() {
        QTest::addColumn<QByteArray>("contents");
        QTest::addColumn<QString>("message");
        QTest::newRow("no property list")
            << QByteArray("<plist>") << kit::reasonOf(PropertyListSerialization::parse("<plist>"));
        QTest::newRow("empty") << QByteArray()
                               << QStringLiteral("Cannot parse a NULL or zero-length data");
    }
    void damagedInformationIsToldInTheLog() {
        QFETCH(QByteArray, contents);
        QFETCH(QString, message);
        const Folder folder;
        folder.write(QStringLiteral("Info.plist"), contents);
        const QString line = folder.path(QStringLiteral("Info.plist")) + QStringLiteral(": ");
        QTest::ignoreMessage(QtWarningMsg, qPrintable(line + message));
        QVERIFY(Bundle(folder.path()).infoDictionary().isEmpty());
    }

    void informationOfAnotherKindIsNone() {
        const Folder folder;
        folder.write(QStringLiteral("Info.plist"), "( a )");
        QVERIFY(Bundle(folder.path()).infoDictionary().isEmpty());
        folder.write(QStringLiteral("Info.plist"), "{ CFBundleIdentifier = (); }");
        QCOMPARE(Bundle(folder.path()).identifier(), QString());
    }

    void filesAreReadUpToALimit_data() {
        QTest::addColumn<qint64>("size");
        QTest::addColumn<bool>("accepted");
        QTest::newRow("one below") << Bundle::largestPropertyListFile - 1 << true;
        QTest::newRow("at the limit") << Bundle::largestPropertyListFile << true;
        QTest::newRow("one above") << Bundle::largestPropertyListFile + 1 << false;
    }
    void filesAreReadUpToALimit() {
        QFETCH(qint64, size);
        QFETCH(bool, accepted);
        const Folder folder;
        QByteArray contents = "{ CFBundleIdentifier = a; }";
        contents.resize(size, ' ');
        folder.write(QStringLiteral("Info.plist"), contents);
        if (!accepted)
            QTest::ignoreMessage(QtWarningMsg,
                                 qPrintable(folder.path(QStringLiteral("Info.plist")) +
                                            QStringLiteral(": it is larger than %1 bytes")
                                                .arg(Bundle::largestPropertyListFile)));
        QCOMPARE(Bundle(folder.path()).identifier(), accepted ? QStringLiteral("a") : QString());
    }

    void loadedBundlesAreListedOnceInTheirOrder() {
        const Bundle first(QStringLiteral("/b/first"));
        const Bundle framework(QStringLiteral("/b/Some.framework"));
        const Bundle second(QStringLiteral("/b/second"));
        const QString mainPath = Bundle::mainBundle().path();
        QCOMPARE(pathsOf(Bundle::allBundles()), QStringList{mainPath});
        for (const Bundle &bundle : {first, framework, second, first, Bundle::mainBundle()})
            Bundle::load(bundle);
        QCOMPARE(pathsOf(Bundle::allBundles()),
                 (QStringList{mainPath, first.path(), second.path()}));
        QCOMPARE(pathsOf(Bundle::allFrameworks()), QStringList{framework.path()});
        for (const Bundle &bundle : {first, framework, second, Bundle::mainBundle()})
            Bundle::unload(bundle);
        QCOMPARE(pathsOf(Bundle::allBundles()), QStringList{mainPath});
        QVERIFY(Bundle::allFrameworks().isEmpty());
    }
};

int main(int argc, char *argv[]) {
    const QCoreApplication application(argc, argv);
    if (application.arguments().value(1) == QLatin1String(printMainBundle)) {
        std::fputs(qPrintable(Bundle::mainBundle().path()), stdout);
        return 0;
    }
    BundleTest test;
    return QTest::qExec(&test, argc, argv);
}
#include "tst_bundle.moc"
