// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "preferences/Doctor.h"
#include "tests/kit/TestCase.h"

#include <QJsonArray>
#include <QRegularExpression>
#include <QTest>

using namespace clipmule;
using namespace Qt::StringLiterals;

namespace {

using Agent = StatusReader::Agent;
using Multicast = dnssd::NetworkFacts::Multicast;
using Presence = PhoneList::Presence;

PhoneList::Phone phone(const QString &name, Presence presence, const QString &error = QString()) {
    return {.service = name + QStringLiteral("'s Phone"),
            .name = name,
            .isRegistered = true,
            .presence = presence,
            .lastSeen = Date{0}, // 2001-01-01
            .details = {},
            .lastError = error};
}

/// A computer on which all is well.
Doctor::Facts healthy() {
    Doctor::Facts facts;
    facts.version = QStringLiteral("1.2.3");
    facts.qtVersion = QStringLiteral("6.4.2");
    facts.system = QStringLiteral("Debian 12");
    facts.sessionType = QStringLiteral("x11");
    facts.display = QStringLiteral(":0");
    facts.hasSessionBus = true;
    facts.agent = Agent::Running;
    facts.status.emplace();
    facts.status->version = QStringLiteral("1.2.3");
    facts.status->hasDisplay = true;
    facts.status->pasteboardBackend = QStringLiteral("x11");
    facts.status->pasteboardCanRead = true;
    facts.status->pasteboardCanWrite = true;
    facts.status->pasteBackend = QStringLiteral("xtest");
    facts.status->canPaste = true;
    facts.status->trayKind = QStringLiteral("notifier");
    facts.status->discovery = QStringLiteral("Avahi's daemon");
    facts.network.hasSystemBus = true;
    facts.network.avahiRuns = true;
    facts.network.avahiVersion = QStringLiteral("avahi 0.8");
    facts.network.interfaces.append({.name = QStringLiteral("lo"),
                                     .addresses = {QStringLiteral("127.0.0.1")},
                                     .isLoopback = true,
                                     .isUp = true,
                                     .canMulticast = false});
    facts.network.interfaces.append({.name = QStringLiteral("eth0"),
                                     .addresses = {QStringLiteral("10.0.0.1")},
                                     .isLoopback = false,
                                     .isUp = true,
                                     .canMulticast = true});
    facts.network.multicast = Multicast::OthersAnswer;
    facts.registered.append(phone(QStringLiteral("Bert"), Presence::Connected));
    return facts;
}

QString text(const Doctor::Facts &facts) {
    return Doctor::examine(facts).lines.join(u'\n');
}

} // namespace

class DoctorTest final : public kit::TestCase {
    Q_OBJECT

private Q_SLOTS:
    void aHealthyComputerHasNoProblem() {
        const Doctor::Report report = Doctor::examine(healthy());
        QCOMPARE(report.problems, QStringList());
        QCOMPARE(report.lines.last(), QStringLiteral("problems      none"));
        // One screen of a terminal.
        QVERIFY(report.lines.size() <= 24);
    }

    void everyFactIsTold() {
        const QString told = text(healthy());
        for (const char *fact :
             {"Clipmule Sync 1.2.3, Qt 6.4.2, Debian 12",
              "session       x11; desktop: none; X display: :0", "; Wayland display: none",
              "session bus: yes; system bus: yes", "clipboard     x11: reading yes, writing yes",
              "pasting       xtest", "tray          notifier", "Avahi         runs, avahi 0.8",
              "interfaces    eth0: up, 10.0.0.1", "multicast     other devices answer",
              "phones        Bert (Bert's Phone): connected", "last refused  none"})
            QVERIFY2(told.contains(QLatin1String(fact)), fact);
        QVERIFY(!told.contains(QStringLiteral("127.0.0.1")));
    }

    void aProblemIsTold_data() {
        QTest::addColumn<std::function<void(Doctor::Facts &)>>("change");
        QTest::addColumn<QString>("problem");
        using Change = std::function<void(Doctor::Facts &)>;
        const auto row = [](const char *name, const Change &change, const char *problem) {
            QTest::newRow(name) << change << QString::fromLatin1(problem);
        };
        row(
            "bus", [](Doctor::Facts &facts) { facts.hasSessionBus = false; }, "no session bus");
        row(
            "agent",
            [](Doctor::Facts &facts) {
                facts.agent = Agent::NotRunning;
                facts.status.reset();
            },
            "The agent is not running");
        row(
            "silent agent",
            [](Doctor::Facts &facts) {
                facts.agent = Agent::Silent;
                facts.status.reset();
            },
            "does not answer");
        row(
            "older agent", [](Doctor::Facts &facts) { facts.status->version = u"1.2.2"_s; },
            "Version 1.2.2 of the agent runs, and 1.2.3 is installed.");
        row(
            "reading", [](Doctor::Facts &facts) { facts.status->pasteboardCanRead = false; },
            "cannot be read");
        row(
            "writing", [](Doctor::Facts &facts) { facts.status->pasteboardCanWrite = false; },
            "cannot be written");
        row(
            "no clipboard",
            [](Doctor::Facts &facts) {
                facts.status->pasteboardBackend = QStringLiteral("none");
                facts.status->pasteboardCanRead = false;
                facts.status->pasteboardCanWrite = false;
            },
            "has no clipboard for programs without a window");
        row(
            "a compositor's X server",
            [](Doctor::Facts &facts) {
                facts.status->pasteboardBackend = QStringLiteral("xwayland");
                facts.status->pasteboardCanRead = false;
                facts.status->pasteboardCanWrite = false;
            },
            "only through XWayland. Most do so while an X11 window has the focus");
        row(
            "pasting", [](Doctor::Facts &facts) { facts.status->canPaste = false; },
            "but cannot be pasted.");
        row(
            "pasting through a compositor's X server",
            [](Doctor::Facts &facts) {
                facts.status->pasteBackend = QStringLiteral("xwayland");
                facts.status->canPaste = false;
                facts.status->pasteObstacle = QStringLiteral("it takes none for others");
            },
            "pasted into windows of X11 programs only: it takes none for others.");
        row(
            "why no pasting",
            [](Doctor::Facts &facts) {
                facts.status->canPaste = false;
                facts.status->pasteObstacle = QStringLiteral("there is\nnothing to do it with");
            },
            "but cannot be pasted: there is\\nnothing to do it with.");
        row(
            "a long path",
            [](Doctor::Facts &facts) {
                facts.status->canPaste = false;
                facts.status->pasteObstacle = QString(500, u'x');
            },
            QByteArray("but cannot be pasted: " + QByteArray(500, 'x') + '.').constData());
        row(
            "too long a path",
            [](Doctor::Facts &facts) {
                facts.status->canPaste = false;
                facts.status->pasteObstacle = QString(501, u'x');
            },
            "(501).");
        row(
            "no display",
            [](Doctor::Facts &facts) {
                facts.status->hasDisplay = false;
                facts.status->pasteboardCanRead = false;
                facts.status->pasteboardCanWrite = false;
                facts.status->canPaste = false;
            },
            "started without a display");
        row(
            "list", [](Doctor::Facts &facts) { facts.listIsReadable = false; },
            "unset serverServices");
        row(
            "no phone", [](Doctor::Facts &facts) { facts.registered.clear(); },
            "No phone is paired.");
        row(
            "switched off",
            [](Doctor::Facts &facts) {
                facts.syncEnabled = false;
                facts.registered[0].presence = Presence::Seen;
            },
            "Sync is off");
        row(
            "phone without an error",
            [](Doctor::Facts &facts) {
                facts.registered.append(phone(QStringLiteral("Anna"), Presence::Seen));
            },
            "Anna is on the network, but not connected.");
        row(
            "phone on this computer",
            [](Doctor::Facts &facts) {
                facts.registered.append(phone(QStringLiteral("local/Anna"), Presence::Seen));
            },
            "local/Anna is on this computer, but not connected.");
        row(
            "absent phone on this computer",
            [](Doctor::Facts &facts) {
                facts.registered.append(phone(QStringLiteral("local/Anna"), Presence::NotSeen));
            },
            "local/Anna is not on this computer. It was last seen on 2001-01-01T00:00:00Z.");
        row(
            "absent phone beside another",
            [](Doctor::Facts &facts) {
                facts.registered.append(phone(QStringLiteral("Anna"), Presence::NotSeen));
            },
            "Anna is not on the network. It was last seen on 2001-01-01T00:00:00Z.");
        row(
            "absent phone beside somebody's",
            [](Doctor::Facts &facts) {
                facts.available.append(phone(QStringLiteral("Carl"), Presence::Seen));
                facts.registered[0].presence = Presence::NotSeen;
                facts.registered[0].lastSeen.reset();
            },
            "Bert has not been seen on the network yet.");
        row(
            "phone",
            [](Doctor::Facts &facts) {
                facts.registered.append(
                    phone(QStringLiteral("Anna"), Presence::Seen, QStringLiteral("no answer")));
            },
            "Anna is on the network, but not connected: no answer.");
    }
    void aProblemIsTold() {
        QFETCH(std::function<void(Doctor::Facts &)>, change);
        QFETCH(QString, problem);
        Doctor::Facts facts = healthy();
        change(facts);
        const Doctor::Report report = Doctor::examine(facts);
        QCOMPARE(report.problems.size(), 1);
        QVERIFY2(report.problems[0].contains(problem), qPrintable(report.problems[0]));
        QCOMPARE(report.lines.last(), QStringLiteral("problems      ") + report.problems[0]);
        QCOMPARE(report.json.value(u"problems").toArray().size(), 1);
    }

    void aPhoneOnThisComputerSaysNothingOfTheNetwork() {
        // The one of the network is missed, and why is still to be told.
        Doctor::Facts facts = healthy();
        facts.registered[0].presence = Presence::NotSeen;
        facts.network.interfaces.clear();
        const qsizetype problems = Doctor::examine(facts).problems.size();
        facts.registered.append(phone(QStringLiteral("local/Anna"), Presence::Connected));
        facts.available.append(phone(QStringLiteral("local/Carl"), Presence::Seen));
        const Doctor::Report report = Doctor::examine(facts);
        QCOMPARE(report.problems.size(), problems);
        const QString lines = report.lines.join(u'\n');
        QVERIFY2(
            lines.contains(QStringLiteral("(local/Anna's Phone): connected, on this computer")),
            qPrintable(lines));
        QVERIFY(lines.contains(QStringLiteral("local/Carl, on this computer")));
    }

    void whatIsNoProblemIsNone_data() {
        QTest::addColumn<std::function<void(Doctor::Facts &)>>("change");
        using Change = std::function<void(Doctor::Facts &)>;
        QTest::newRow("no tray") << Change(
            [](Doctor::Facts &facts) { facts.status->trayKind = QStringLiteral("none"); });
        QTest::newRow("no daemon") << Change([](Doctor::Facts &facts) {
            facts.network.avahiRuns = false;
            facts.network.avahiVersion.clear();
        });
        QTest::newRow("nobody else")
            << Change([](Doctor::Facts &facts) { facts.network.multicast = Multicast::OnlyOwn; });
        QTest::newRow("a compositor's X server that could be read")
            << Change([](Doctor::Facts &facts) {
                   facts.status->pasteboardBackend = QStringLiteral("xwayland");
               });
        QTest::newRow("connected on this very computer") << Change([](Doctor::Facts &facts) {
            facts.network.interfaces.removeLast();
            facts.network.multicast = Multicast::NoAnswer;
        });
        QTest::newRow("no network, and a phone on this computer")
            << Change([](Doctor::Facts &facts) {
                   facts.registered = {phone(QStringLiteral("local/Anna"), Presence::Connected)};
                   facts.network.interfaces.clear();
                   facts.network.multicast = Multicast::NoAnswer;
               });
    }
    void whatIsNoProblemIsNone() {
        QFETCH(std::function<void(Doctor::Facts &)>, change);
        Doctor::Facts facts = healthy();
        change(facts);
        QCOMPARE(Doctor::examine(facts).problems, QStringList());
    }

    void gnomesMissingIconIsExplained_data() {
        QTest::addColumn<QString>("desktop");
        QTest::addColumn<QString>("tray");
        QTest::addColumn<bool>("hasDisplay");
        QTest::addColumn<bool>("isExplained");
        QTest::newRow("GNOME") << u"GNOME"_s << u"none"_s << true << true;
        QTest::newRow("of a distribution") << u"ubuntu:GNOME"_s << u"none"_s << true << true;
        QTest::newRow("with the extension") << u"GNOME"_s << u"statusnotifier"_s << true << false;
        QTest::newRow("not wanted") << u"GNOME"_s << u"hidden"_s << true << false;
        QTest::newRow("no display") << u"GNOME"_s << u"none"_s << false << false;
        QTest::newRow("another") << u"sway"_s << u"none"_s << true << false;
        QTest::newRow("no name") << QString() << u"none"_s << true << false;
    }
    void gnomesMissingIconIsExplained() {
        QFETCH(QString, desktop);
        QFETCH(QString, tray);
        QFETCH(bool, hasDisplay);
        QFETCH(bool, isExplained);
        Doctor::Facts facts = healthy();
        facts.desktop = desktop;
        facts.status->trayKind = tray;
        facts.status->hasDisplay = hasDisplay;
        const QStringList lines =
            Doctor::examine(facts).lines.filter(QRegularExpression(QStringLiteral("^tray ")));
        QCOMPARE(lines.size(), 1);
        QCOMPARE(lines[0].contains(u"Install gnome-shell-extension-appindicator, log in again"),
                 isExplained);
        QVERIFY(lines[0].startsWith(u"tray          "_s + tray));
        QCOMPARE(lines[0] == u"tray          "_s + tray, !isExplained);
        // The program does its work without.
        QCOMPARE(Doctor::examine(facts).problems, QStringList());
    }

    // In the words of the window, whenever no phone is seen.
    void theNetworkIsToldOfWhereNoPhoneIsSeen_data() {
        QTest::addColumn<std::function<void(dnssd::NetworkFacts &)>>("change");
        QTest::addColumn<bool>("keepsEveryPhoneAway");
        using Change = std::function<void(dnssd::NetworkFacts &)>;
        QTest::newRow("no interface")
            << Change([](auto &network) { network.interfaces.removeLast(); }) << true;
        QTest::newRow("cable") << Change([](auto &network) {
            network.interfaces.last().isUp = false;
        }) << true;
        QTest::newRow("refused") << Change([](auto &network) {
            network.multicast = Multicast::Refused;
            network.multicastError = QStringLiteral("not permitted");
        }) << true;
        QTest::newRow("no answer")
            << Change([](auto &network) { network.multicast = Multicast::NoAnswer; }) << true;
        QTest::newRow("no daemon")
            << Change([](auto &network) { network.avahiRuns = false; }) << false;
        QTest::newRow("no system bus") << Change([](auto &network) {
            network.hasSystemBus = false;
            network.avahiRuns = false;
        }) << false;
        QTest::newRow("only own") << Change([](auto &network) {
            network.multicast = Multicast::OnlyOwn;
        }) << false;
        QTest::newRow("nothing wrong") << Change([](auto &) {}) << false;
    }
    void theNetworkIsToldOfWhereNoPhoneIsSeen() {
        QFETCH(std::function<void(dnssd::NetworkFacts &)>, change);
        QFETCH(bool, keepsEveryPhoneAway);
        Doctor::Facts facts = healthy();
        change(facts.network);
        const NetworkAdvice advice = adviceFor(facts.network);
        const QString problem = advice.reason + u' ' + advice.whatToTry;
        facts.registered[0].presence = Presence::NotSeen;
        const QStringList both{problem, QStringLiteral("Bert is not on the network. It was last "
                                                       "seen on 2001-01-01T00:00:00Z.")};
        QCOMPARE(Doctor::examine(facts).problems, both);
        // Without a phone that is waited for, only what concerns them all.
        facts.registered.clear();
        QCOMPARE(Doctor::examine(facts).problems.contains(problem), keepsEveryPhoneAway);
        // Where somebody's phone is seen, it is not the network.
        facts = healthy();
        change(facts.network);
        facts.registered[0].presence = Presence::NotSeen;
        facts.available.append(phone(QStringLiteral("Carl"), Presence::Seen));
        QVERIFY(!Doctor::examine(facts).problems.contains(problem));
    }

    void whatWasRefusedIsTold() {
        Doctor::Facts facts = healthy();
        Refusal refusal{
            .reason = Refusal::Reason::TooLarge, .size = 20, .limit = 10, .date = Date{0}};
        facts.status->refusals = {refusal, refusal, refusal, refusal};
        facts.status->refusals[0].count = 2;
        const Doctor::Report report = Doctor::examine(facts);
        const qsizetype first = report.lines.indexOf(QRegularExpression(
            QStringLiteral("^last refused  2001-01-01T00:00:00Z, .* \\(2 times\\)$")));
        QVERIFY2(first > 0, qPrintable(report.lines.join(u'\n')));
        QCOMPARE(report.lines.filter(englishText(refusal)).size(), 3);
        QCOMPARE(report.json.value(u"agentStatus").toObject().value(u"refusals").toArray().size(),
                 4);
    }

    void withoutAnAgentTheRestIsTold() {
        Doctor::Facts facts = healthy();
        facts.agent = Agent::NotRunning;
        facts.status.reset();
        const QString told = text(facts);
        QVERIFY(told.contains(QStringLiteral("agent         not running")));
        QVERIFY(told.contains(QStringLiteral("clipboard     unknown")));
        QVERIFY(told.contains(QStringLiteral("eth0")));
        const QJsonObject json = Doctor::examine(facts).json;
        QVERIFY(json.value(u"agentStatus").isNull());
        QCOMPARE(json.value(u"agent").toString(), QStringLiteral("not running"));
    }

    void theLastRefusedClipIsTold() {
        Doctor::Facts facts = healthy();
        facts.status->lastRefusedClip = QStringLiteral("too\nlarge");
        facts.status->lastRefusedClipDate = Date{0};
        QVERIFY(text(facts).contains(
            QStringLiteral("last refused  2001-01-01T00:00:00Z, too\\nlarge")));
        const QJsonObject refused = Doctor::examine(facts)
                                        .json.value(u"agentStatus")
                                        .toObject()
                                        .value(u"lastRefusedClip")
                                        .toObject();
        QCOMPARE(refused.value(u"reason").toString(), QStringLiteral("too\nlarge"));
        QCOMPARE(refused.value(u"date").toString(), QStringLiteral("2001-01-01T00:00:00Z"));
    }
};

QTEST_GUILESS_MAIN(DoctorTest)
#include "tst_doctor.moc"
