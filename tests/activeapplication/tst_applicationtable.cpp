// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/desktop/ApplicationTable.h"

#include <QFile>
#include <QTemporaryDir>
#include <QTest>

using namespace clipmule;

class ApplicationTableTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init() { QTest::failOnWarning(QRegularExpression(QStringLiteral(".*"))); }
    void initTestCase() {
        QTest::failOnWarning(QRegularExpression(QStringLiteral(".*")));
        QVERIFY(_folder.isValid());
    }

    void theProgramsOwnTableKnowsTheUsualOnes() {
        const auto table =
            ApplicationTable::read(QStringLiteral(CLIPMULE_RESOURCES "/applications.plist"));
        for (const char *manager :
             {"org.gnome.Nautilus", "Thunar", "Caja", "Nemo", "Pcmanfm", "pcmanfm-qt", "dolphin"})
            QCOMPARE(table.partOf(QString::fromLatin1(manager)),
                     QStringLiteral("com.apple.finder"));
        QCOMPARE(table.partOf(QStringLiteral("Shotwell")), QStringLiteral("com.apple.iPhoto"));
        QVERIFY(!table.partOf(QStringLiteral("XTerm")));
        QVERIFY(!table.partOf(QString()));
    }

    void missingTableIsSaidAndEmpty() {
        const QString path = _folder.filePath(QStringLiteral("missing.plist"));
        QTest::ignoreMessage(QtWarningMsg,
                             qPrintable(QStringLiteral("the table of applications cannot be read: "
                                                       "%1 No such file or directory")
                                            .arg(path)));
        QVERIFY(!ApplicationTable::read(path).partOf(QStringLiteral("thunar")));
    }

    void brokenTableIsSaidAndEmpty() {
        const QString path = _folder.filePath(QStringLiteral("broken.plist"));
        write(path, "<plist><dict>");
        QTest::ignoreMessage(QtWarningMsg,
                             QRegularExpression(QStringLiteral(
                                 "^the table of applications cannot be read: .*broken.plist .+")));
        QVERIFY(!ApplicationTable::read(path).partOf(QStringLiteral("thunar")));
    }

    void otherValuesAreLeftOut() {
        const QString path = _folder.filePath(QStringLiteral("odd.plist"));
        write(path, "{ a = (x, (y), Z); b = word; }");
        const auto table = ApplicationTable::read(path);
        QCOMPARE(table.partOf(QStringLiteral("X")), QStringLiteral("a"));
        QCOMPARE(table.partOf(QStringLiteral("z")), QStringLiteral("a"));
        QVERIFY(!table.partOf(QStringLiteral("y")));
        QVERIFY(!table.partOf(QStringLiteral("word")));
    }

private:
    static void write(const QString &path, const QByteArray &contents) {
        QFile file(path);
        QVERIFY(file.open(QIODevice::WriteOnly));
        QCOMPARE(file.write(contents), contents.size());
    }

    QTemporaryDir _folder;
};

QTEST_GUILESS_MAIN(ApplicationTableTest)
#include "tst_applicationtable.moc"
