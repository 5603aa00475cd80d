// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/preferences/backends/file/FilePreferencesDatabase.h"
#include "tests/kit/ManualRunLoop.h"
#include "tests/kit/TestCase.h"

#include <QDir>
#include <QFile>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

using namespace clipmule;

namespace {

const QString domain = QStringLiteral("com.zendrik.Test");
const QString key = QStringLiteral("showStatus");

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

/// Settings of other versions of this program: read, and never lost.
class PreferencesVersionsTest final : public kit::TestCase {
    Q_OBJECT

    void begin() override {
        _home = std::make_unique<QTemporaryDir>();
        _folder = _home->path();
    }

private Q_SLOTS:
    // As version 0.1.0 wrote it: a phone, what it is called, and a setting.
    void aFileOfAnOlderVersionIsReadAndKept() {
        fill(file(),
             contents(QStringLiteral(CLIPMULE_TEST_DATA
                                     "/settings-0.1.0/com.zendrik.ClipmuleSync.shared.plist")));
        FilePreferencesDatabase database(_folder);
        const QString phones = QStringLiteral("serverServices");
        PropertyList::Dictionary values{
            {key, true},
            {phones, PropertyList::List{PropertyList::Dictionary{
                         {QStringLiteral("serverName"), QStringLiteral("Anna")},
                         {QStringLiteral("serverService"), QStringLiteral("Anna's Phone")}}}}};
        QCOMPARE(database.copyMultiple(domain), values);
        QVERIFY(database.setValue(domain, key, false));
        values.insert(key, false);
        QCOMPARE(database.copyMultiple(domain), values);
        QVERIFY(contents(file()).contains("<key>preferencesVersion</key>\n\t<integer>1</integer>"));
    }

    void aFileOfAnotherVersionIsReadAndNotWritten_data() {
        QTest::addColumn<QByteArray>("version");
        QTest::newRow("the next") << QByteArray("<integer>2</integer>");
        QTest::newRow("one that never was") << QByteArray("<integer>0</integer>");
        QTest::newRow("no number") << QByteArray("<string>1</string>");
    }
    void aFileOfAnotherVersionIsReadAndNotWritten() {
        QFETCH(QByteArray, version);
        const QByteArray bytes = "<plist><dict><key>showStatus</key><true/><key>later</key><date>"
                                 "2031-01-01T00:00:00Z</date><key>preferencesVersion</key>" +
                                 version + "</dict></plist>";
        fill(file(), bytes);
        FilePreferencesDatabase database(_folder);
        QCOMPARE(database.copyMultiple(domain).keys(), QStringList({QStringLiteral("later"), key}));
        QVERIFY(database.setValue(domain, key, true));
        for (const std::optional<PropertyList> &value : {std::optional<PropertyList>(false), {}}) {
            expectWarning(
                QStringLiteral("^preference showStatus of com\\.zendrik\\.Test not written: "));
            const auto written = database.setValue(domain, key, value);
            QVERIFY(!written);
            QCOMPARE(written.error().reason,
                     file() + QStringLiteral(" belongs to another version of "
                                             "this program, and stays as it is"));
        }
        QCOMPARE(contents(file()), bytes);
        QCOMPARE(QDir(_folder).entryList(QDir::Files),
                 QStringList(QStringLiteral("com.zendrik.Test.plist")));
    }

    void theVersionOfTheFileIsNoPreference() {
        FilePreferencesDatabase database(_folder);
        const QString version = QStringLiteral("preferencesVersion");
        for (const std::optional<PropertyList> &value : {std::optional<PropertyList>(7), {}}) {
            expectWarning(
                QStringLiteral("^preference preferencesVersion of .* is the file's own$"));
            QVERIFY(!database.setValue(domain, version, value));
        }
        QVERIFY(database.setValue(domain, key, true));
        QCOMPARE(database.copyMultiple(domain).keys(), QStringList(key));
    }

private:
    QString file() const { return _folder + QStringLiteral("/com.zendrik.Test.plist"); }

    kit::ManualRunLoop _runLoop;
    RunLoop::Installation _installation{_runLoop};
    std::unique_ptr<QTemporaryDir> _home;
    QString _folder;
};

QTEST_GUILESS_MAIN(PreferencesVersionsTest)
#include "tst_preferencesversions.moc"
