// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/windows/ActiveApplication.h"
#include "platform/windows/ApplicationTable.h"
#include "tests/kit/TestCase.h"

#include <QFile>
#include <QTemporaryDir>
#include <QTest>

using namespace clipmule;

class ApplicationTableTest final : public kit::TestCase {
    Q_OBJECT

private Q_SLOTS:
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
        QCOMPARE(table.partOf(QStringLiteral("libreoffice-calc")),
                 QStringLiteral("com.apple.iWork.Numbers"));
        QVERIFY(!table.partOf(QStringLiteral("libreoffice-writer")));
        QVERIFY(!table.partOf(QStringLiteral("XTerm")));
        for (const char *terminal : {"Gnome-terminal", "org.gnome.Terminal", "konsole", "kitty",
                                     "Xfce4-terminal", "Lxterminal", "Alacritty"}) {
            const QString name = QString::fromLatin1(terminal);
            QCOMPARE(table.pasteKeysOf(name), QStringLiteral("Ctrl+Shift+V"));
            QVERIFY(!table.pastesFromSelection(name));
        }
        for (const char *terminal : {"XTerm", "UXTerm", "URxvt"}) {
            const QString name = QString::fromLatin1(terminal);
            QCOMPARE(table.pasteKeysOf(name), QStringLiteral("Shift+Insert"));
            QVERIFY(table.pastesFromSelection(name));
        }
        QVERIFY(!table.pasteKeysOf(QStringLiteral("gedit")));
        QVERIFY(!table.pastesFromSelection(QStringLiteral("gedit")));
        QVERIFY(!table.partOf(QString()));
    }

    void eachRoleHasOneIdentifier() {
        for (const auto &[identifier, role] :
             {std::pair("com.apple.finder", ApplicationRole::FileManager),
              std::pair("com.apple.iPhoto", ApplicationRole::PhotoManager),
              std::pair("com.apple.iWork.Numbers", ApplicationRole::Spreadsheet)}) {
            QCOMPARE(roleOf(QString::fromLatin1(identifier)), role);
            QCOMPARE(identifierOf(role), QString::fromLatin1(identifier));
        }
        QCOMPARE(roleOf(QStringLiteral("com.apple.Finder")), ApplicationRole::Other);
        QCOMPARE(roleOf(QString()), ApplicationRole::Other);
        QCOMPARE(roleOf(std::nullopt), ApplicationRole::Unknown);
        QCOMPARE(identifierOf(ApplicationRole::Other), QString());
        QCOMPARE(identifierOf(ApplicationRole::Unknown), QString());
    }

    void missingTableIsSaidAndEmpty() {
        const QString path = _folder.filePath(QStringLiteral("missing.plist"));
        QTest::ignoreMessage(QtWarningMsg,
                             qPrintable(QStringLiteral("the table of applications cannot be read: "
                                                       "%1 there is none")
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

    void theUsersOwnTableGoesFirst() {
        const QString path = _folder.filePath(QStringLiteral("own.plist"));
        auto table =
            ApplicationTable::read(QStringLiteral(CLIPMULE_RESOURCES "/applications.plist"));
        // There need not be one.
        table.addUsersOwn(_folder.filePath(QStringLiteral("none.plist")));
        write(path, "{ com.apple.finder = (MyFiles);"
                    "  pasteKeys = { \"Ctrl+Shift+V\" = (mine, XTerm); None = (kitty); };"
                    "  pasteFromSelection = (mine); }");
        table.addUsersOwn(path);
        QCOMPARE(table.partOf(QStringLiteral("myfiles")), QStringLiteral("com.apple.finder"));
        QCOMPARE(table.partOf(QStringLiteral("thunar")), QStringLiteral("com.apple.finder"));
        QCOMPARE(table.pasteKeysOf(QStringLiteral("Mine")), QStringLiteral("Ctrl+Shift+V"));
        QVERIFY(table.pastesFromSelection(QStringLiteral("Mine")));
        QCOMPARE(table.pasteKeysOf(QStringLiteral("kitty")), QStringLiteral("None"));
        QCOMPARE(table.pasteKeysOf(QStringLiteral("konsole")), QStringLiteral("Ctrl+Shift+V"));
        // Set up by its owner to paste what was copied.
        QCOMPARE(table.pasteKeysOf(QStringLiteral("xterm")), QStringLiteral("Ctrl+Shift+V"));
        QVERIFY(!table.pastesFromSelection(QStringLiteral("xterm")));
        QVERIFY(!table.partOf(QStringLiteral("mine")));
    }

    void damagedTableOfTheUserAddsNothing_data() {
        QTest::addColumn<QByteArray>("contents");
        QTest::addColumn<QString>("problem");
        QTest::newRow("cut off") << QByteArray("{ pasteKeys = { a = (x); }; ")
                                 << QStringLiteral(".+");
        QTest::newRow("empty") << QByteArray() << QStringLiteral(".+");
        QTest::newRow("list") << QByteArray("(a)") << QStringLiteral("it is no dictionary");
        QTest::newRow("part that is no list")
            << QByteArray("{ a = x; pasteKeys = { None = (mine); }; }")
            << QStringLiteral("an entry is no list of names");
        QTest::newRow("name that is none")
            << QByteArray("{ a = (x, (y)); pasteKeys = { None = (mine); }; }")
            << QStringLiteral("an entry is no list of names");
        QTest::newRow("strokes that are no dictionary")
            << QByteArray("{ a = (x); pasteKeys = (mine); }")
            << QStringLiteral("\"pasteKeys\" is not made of lists of names");
        QTest::newRow("stroke that is no list")
            << QByteArray("{ a = (x); pasteKeys = { None = mine; }; }")
            << QStringLiteral("\"pasteKeys\" is not made of lists of names");
        QTest::newRow("selection that is no list")
            << QByteArray("{ a = (x); pasteKeys = { None = (mine); }; pasteFromSelection = x; }")
            << QStringLiteral("\"pasteFromSelection\" is no list of names");
    }
    void damagedTableOfTheUserAddsNothing() {
        QFETCH(QByteArray, contents);
        QFETCH(QString, problem);
        const QString path = _folder.filePath(QStringLiteral("damaged.plist"));
        write(path, contents);
        auto table =
            ApplicationTable::read(QStringLiteral(CLIPMULE_RESOURCES "/applications.plist"));
        QTest::ignoreMessage(
            QtWarningMsg,
            QRegularExpression(
                QStringLiteral("^the table of applications cannot be read: .*damaged.plist ") +
                problem + QStringLiteral("$")));
        table.addUsersOwn(path);
        QVERIFY(!table.partOf(QStringLiteral("x")));
        QVERIFY(!table.pasteKeysOf(QStringLiteral("mine")));
        QCOMPARE(table.pasteKeysOf(QStringLiteral("konsole")), QStringLiteral("Ctrl+Shift+V"));
    }

    void largestTable_data() {
        QTest::addColumn<int>("size");
        QTest::addColumn<bool>("isRead");
        QTest::newRow("one below") << 262'143 << true;
        QTest::newRow("at the limit") << 262'144 << true;
        QTest::newRow("one above") << 262'145 << false;
    }
    void largestTable() {
        QFETCH(int, size);
        QFETCH(bool, isRead);
        const QString path = _folder.filePath(QStringLiteral("large.plist"));
        QByteArray contents = "{ a = (x); }";
        contents += QByteArray(size - contents.size(), ' ');
        write(path, contents);
        if (!isRead)
            QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral(
                                                   "it is larger than 262144 bytes$")));
        QCOMPARE(ApplicationTable::read(path).partOf(QStringLiteral("x")).has_value(), isRead);
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
