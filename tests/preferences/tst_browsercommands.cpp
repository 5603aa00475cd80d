// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "preferences/PreferencesCommands.h"
#include "support/RegisteredPhones.h"
#include "tests/kit/FakeDnsSd.h"
#include "tests/kit/ManualRunLoop.h"
#include "tests/kit/MemoryDistributedNotifications.h"
#include "tests/kit/MemoryPreferencesDatabase.h"
#include "tests/kit/Settle.h"
#include "tests/kit/TestCase.h"
#include "tests/preferences/BrokenServices.h"
#include "tests/preferences/StoredSettings.h"

#include <QTest>

using namespace clipmule;
using namespace clipmule::kit;
using namespace Qt::StringLiterals;

// What a command tells the program that serves the page, which keeps the keys and names of
// browsers.
class BrowserCommandsTest final : public kit::TestCase {
    Q_OBJECT

    void begin() override {
        _database.emplace();
        _notifications.emplace();
        _dnssd.emplace();
        _told.clear();
        QVERIFY(_database->setValue(
            sharedDomain, serverServices,
            PropertyList::List{phone(u"local/Mum"_s, u"Mum"_s), phone(u"Anna"_s, u"Anna"_s)}));
    }
    void end() override { _commands.reset(); }

private Q_SLOTS:
    void whatIsTold_data() {
        QTest::addColumn<QStringList>("words");
        QTest::addColumn<QStringList>("told");
        QTest::newRow("unpaired") << QStringList{u"unpair"_s, u"local/Mum"_s}
                                  << QStringList{u"unpaired local/Mum"_s};
        QTest::newRow("renamed") << QStringList{u"rename"_s, u"local/Mum"_s, u"Dad"_s}
                                 << QStringList{u"local/Mum is Dad"_s};
        QTest::newRow("paired anew by a name")
            << QStringList{u"pair"_s, u"local/Mum"_s, u"--name"_s, u"Dad"_s}
            << QStringList{u"local/Mum is Dad"_s};
        QTest::newRow("without a look")
            << QStringList{u"pair"_s, u"local/Mum"_s, u"--name"_s, u"Dad"_s, u"--wait"_s, u"0"_s}
            << QStringList{u"local/Mum is Dad"_s};
        QTest::newRow("paired by no name")
            << QStringList{u"pair"_s, u"local/Mum"_s} << QStringList();
        // A phone of the network is none of its business.
        QTest::newRow("unpaired on the network")
            << QStringList{u"unpair"_s, u"Anna"_s} << QStringList();
        QTest::newRow("renamed on the network")
            << QStringList{u"rename"_s, u"Anna"_s, u"Ann"_s} << QStringList();
        QTest::newRow("nobody") << QStringList{u"unpair"_s, u"local/Dad"_s} << QStringList();
    }
    void whatIsTold() {
        QFETCH(QStringList, words);
        run(words);
        QTEST(_told, "told");
        QCOMPARE(_status, _told.isEmpty() && words.last() == u"local/Dad" ? 1 : 0);
    }

    void nothingIsToldOfWhatWasNotWritten() {
        FullDatabase full;
        ZRKUserDefaults::Environment environment;
        environment.database = &full;
        environment.distributedNotifications = &*_notifications;
        run({u"pair"_s, u"local/Mum"_s, u"--name"_s, u"Dad"_s}, environment);
        QCOMPARE(_status, 1);
        QCOMPARE(_told, QStringList());
    }

private:
    void run(const QStringList &words) {
        ZRKUserDefaults::Environment environment;
        environment.database = &*_database;
        environment.distributedNotifications = &*_notifications;
        run(words, environment);
    }
    void run(const QStringList &words, const ZRKUserDefaults::Environment &environment) {
        const auto line = parseCommandLine(words);
        QVERIFY2(line, qPrintable(line ? QString() : line.error().reason));
        _status = -1;
        PreferencesCommands::Services services;
        services.preferences = environment;
        services.dnssd = [this]() -> dnssd::Backend & { return *_dnssd; };
        services.wasUnpaired = [this](const QString &service) {
            _told += QStringLiteral("unpaired ") + service;
        };
        services.wasRenamed = [this](const QString &service, const QString &name) {
            _told += service + QStringLiteral(" is ") + name;
        };
        services.print = [](const QString &) {};
        services.complain = [](const QString &) {};
        services.finish = [this](int exitStatus) {
            QCOMPARE(_status, -1); // once
            _status = exitStatus;
        };
        _commands = std::make_unique<PreferencesCommands>(std::move(services));
        _commands->perform(*line);
        QVERIFY(kit::settle(_runLoop));
        _runLoop.advance(PreferencesCommands::waitForPaired.count());
        QVERIFY(_status >= 0);
    }

    ManualRunLoop _runLoop;
    const RunLoop::Installation _installation{_runLoop};
    std::optional<MemoryPreferencesDatabase> _database;
    std::optional<MemoryDistributedNotifications> _notifications;
    std::optional<FakeDnsSd> _dnssd;
    std::unique_ptr<PreferencesCommands> _commands;
    QStringList _told;
    int _status = -1;
};

QTEST_GUILESS_MAIN(BrowserCommandsTest)
#include "tst_browsercommands.moc"
